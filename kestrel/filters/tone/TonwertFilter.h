#pragma once
#include "kestrel/framework/TwinFilter.h"
#include "kestrel/kernels/Histogram.h"

namespace kestrel {

/// Sets black point, white point and midtone from the picture's histograms, or by hand.
struct TonwertParameters {
    bool autoContrast = true;      ///< black and white points from the histogram, else from `lo` and `hi`
    bool autoContrastRGB = false;  ///< points for each channel, else one pair from the luminance
    bool autoTone = false;         ///< midtone from the histogram, else `med`
    std::int32_t hi = 0;           ///< 0..100, tones below white
    std::int32_t med = 0;          ///< -100..100
    std::int32_t lo = 0;           ///< 0..100, tones above black
    std::int32_t addhi = 0;        ///< -100..100, tones that the automatic white point goes down
    std::int32_t addmed = 0;       ///< -100..100, added to the automatic midtone
    std::int32_t addlo = 0;        ///< -100..100, tones that the automatic black point goes up
    bool operator==(const TonwertParameters&) const = default;
};

inline constexpr ParameterTable<TonwertParameters, 9> kTonwertText{
    .keys = {{{"AutoContrast", &TonwertParameters::autoContrast, {0, 1}, "IDS_TONWERT_AUTOCON"},
              {"AutoContrastRGB", &TonwertParameters::autoContrastRGB, {0, 1}, "IDS_TONWERT_AUTOCON_RGB"},
              {"AutoTone", &TonwertParameters::autoTone, {0, 1}, "IDS_TONWERT_AUTOTON"},
              {"Hi", &TonwertParameters::hi, {0, 100}, "IDS_TONWERT_HI"},
              {"Med", &TonwertParameters::med, {-100, 100}, "IDS_TONWERT_MED"},
              {"Lo", &TonwertParameters::lo, {0, 100}, "IDS_TONWERT_LO"},
              {"Addhi", &TonwertParameters::addhi, {-100, 100}, "IDS_TONWERT_ADDHI"},
              {"Addmed", &TonwertParameters::addmed, {-100, 100}, "IDS_TONWERT_ADDMED"},
              {"Addlo", &TonwertParameters::addlo, {-100, 100}, "IDS_TONWERT_ADDLO"}}},
    .written =
        "AutoContrast=%.1d, AutoContrastRGB=%.1d, AutoTone=%.1d, Hi=%.3d, Med=%.3d, Lo=%.3d, Addhi=%.3d, "
        "Addmed=%.3d, Addlo=%.3d",
    .leastBuffer = 101,
    .standard = "AutoTone=0,AutoContrast=1,AutoContrastRGB=0,Hi=0,Med=0,Lo=0,Addhi=0,Addmed=0,Addlo=0"};

inline constexpr Description kTonwert{
    .progId = "TMFilter.Tonwert.1",
    .clsid = MakeGuid("{C57ECEDF-7649-428F-9CB7-3AD890A9F6BA}"),
    .id = 9,
    .nameKey = "IDS_TONWERT_NAME",
    .name = "Auto Tone Levels",
    .icon = "icons_tonwert",
    .help = "HLP_TONWERT",
    .summary =
        "Sets black point, white point and midtones from the whole picture's histograms or by hand; how much is "
        "clipped, and the automatic midtone, follow the size of the region that is asked for."};

class CTonwertFilter final : public TwinFilter<TonwertParameters, kTonwertText, kTonwert> {
protected:
    HRESULT TransformWindow(const Window& window) override;

private:
    /// The darkest and the brightest tone that the clip left, as bytes: a clip past the other end wraps.
    struct Limits {
        std::uint8_t low = 0;
        std::uint8_t high = 255;
    };
    /// Black and white point; by hand they may be any number.
    struct BlackWhite {
        std::int64_t black;
        std::int64_t white;
    };

    /// Fetches the whole picture into the cache and counts it.
    HRESULT Measure(const Window& window);
    /// What each byte becomes in a request for this window.
    kernels::ChannelTables Tables(const Window& window) const;
    BlackWhite Points(Limits limits) const;
    /// The automatic midtone, -100..100, for a request of `pixels` pixels.
    std::int64_t EstimateMidtone(double pixels, BlackWhite points) const;

    kernels::Histogram HistLuma{};
    kernels::Histogram HistRed{};
    kernels::Histogram HistGreen{};
    kernels::Histogram HistBlue{};
    Limits luma_;
    Limits red_;
    Limits green_;
    Limits blue_;
};

}  // namespace kestrel
