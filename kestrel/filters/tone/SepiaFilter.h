#pragma once
#include "kestrel/filters/tone/KeepByteFilter.h"

namespace kestrel {

inline constexpr KeepByteTable kSepiaText = MakeKeepByteTable("Sepia", "Sepia=%.3d", "Sepia=000", "IDS_SEPIA_NAME");

inline constexpr Description kSepia{.progId = "TMFilter.Sepia.1",
                                    .clsid = MakeGuid("{75D1E4FD-A2C9-4405-A3F3-986E632A3CEF}"),
                                    .id = 31,
                                    .nameKey = "IDS_SEPIA_NAME",
                                    .name = "Sepia",
                                    .icon = "icons_sepia",
                                    .help = "HLP_SEPIA",
                                    .summary = "Tones the picture brown, as an old photograph is.",
                                    .inPlace = true};

/// Tones the picture brown, as an old photograph is.
class CSepiaFilter final : public KeepByteFilter<kSepiaText, kSepia> {
public:
    HRESULT TransformColor(unsigned char* pixel) override;

protected:
    HRESULT TransformWindow(const Window& window) override;
};

}  // namespace kestrel
