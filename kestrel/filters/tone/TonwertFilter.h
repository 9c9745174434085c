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
};

inline constexpr ParameterTable<TonwertParameters, 9> kTonwertText{
    .keys = {Flag("AutoContrast", &TonwertParameters::autoContrast, "IDS_TONWERT_AUTOCON",
                  "black and white point from the histogram")
                 .ResetAt(1),
             Flag("AutoContrastRGB", &TonwertParameters::autoContrastRGB, "IDS_TONWERT_AUTOCON_RGB",
                  "points for each channel")
                 .ResetAt(1),
             Flag("AutoTone", &TonwertParameters::autoTone, "IDS_TONWERT_AUTOTON", "midtones from the histogram"),
             Number("Hi", &TonwertParameters::hi, {0, 100}, "IDS_TONWERT_HI", "highlights by hand: tones below white")
                 .ResetAt(1),
             Number("Med", &TonwertParameters::med, {-100, 100}, "IDS_TONWERT_MED", "midtones by hand").ResetAt(1),
             Number("Lo", &TonwertParameters::lo, {0, 100}, "IDS_TONWERT_LO", "shadows by hand: tones above black")
                 .ResetAt(1),
             Number("Addhi", &TonwertParameters::addhi, {-100, 100}, "IDS_TONWERT_ADDHI",
                    "highlights relative to the automatic white point")
                 .ResetAt(1),
             Number("Addmed", &TonwertParameters::addmed, {-100, 100}, "IDS_TONWERT_ADDMED",
                    "midtones relative to the automatic ones")
                 .ResetAt(1),
             Number("Addlo", &TonwertParameters::addlo, {-100, 100}, "IDS_TONWERT_ADDLO",
                    "shadows relative to the automatic black point")
                 .ResetAt(1)},
    .minimumBuffer = 101,
    .resetDigits = 1};

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
        "clipped, and the automatic midtone, follow the size of the region that is asked for.",
    .measuresRequest = true};

class CTonwertFilter final : public TwinFilter<TonwertParameters, kTonwertText, kTonwert> {
protected:
    FilterResult MakePixels(const PixelRequest& request) override;

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

    /// Fetches the whole picture into the cache and counts it, as far as the counts are needed.
    FilterResult Measure(const PixelRequest& request);
    /// What each byte becomes in this request.
    kernels::ChannelTables Tables(const PixelRequest& request) const;
    BlackWhite Points(Limits limits) const;
    /// The automatic midtone, -100..100, for a request of `pixels` pixels.
    std::int64_t EstimateMidtone(double pixels, BlackWhite points) const;

    // Counted only as far as the active values need them: a change of those has the picture counted again.
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
