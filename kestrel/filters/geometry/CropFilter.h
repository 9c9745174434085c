#pragma once
#include "kestrel/filters/geometry/CropRecord.h"
#include "kestrel/framework/TwinFilter.h"

namespace kestrel {

inline constexpr Description kCrop{.progId = "TMFilter.Crop.1",
                                   .clsid = MakeGuid("{1532021C-3CEA-459C-93B9-AD78CBB4BBD4}"),
                                   .id = 5,
                                   .cost = 200,
                                   .nameKey = "IDS_CROP_NAME",
                                   .name = "Crop",
                                   .icon = "icons_crop",
                                   .help = "HLP_CROP",
                                   .summary = "Cuts a margin off the picture, given as fractions of its size.",
                                   .reach = 0};

/// Moving pattern: it holds no picture, it shifts the request.
class CCropFilter final : public TwinFilter<CropRecord, kCropText, kCrop> {
public:
    CCropFilter();

    std::optional<RowSpan> InputRows(RowSpan output) const override;
    HRESULT CommitChanges() override;
    HRESULT MapSize(int width, int height, int* outWidth, int* outHeight) override;
    HRESULT SetViewSize(int width, int height) override;
    HRESULT GetRequiredSize(int* width, int* height, double aspect) override;

protected:
    FilterResult MakePixels(const PixelRequest& request) override;

private:
    /// Place of the output's corner in the input.
    int OriginX() const;
    int OriginY() const;
    /// What is cut off a width or a height.
    int CutWidth(int width) const;
    int CutHeight(int height) const;
};

}  // namespace kestrel
