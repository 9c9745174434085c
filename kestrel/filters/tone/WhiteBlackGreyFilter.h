#pragma once
#include <array>

#include "kestrel/framework/TwinFilter.h"
#include "kestrel/kernels/ByteTable.h"

namespace kestrel {

/// Removes a colour cast: the picked grey point becomes neutral.
struct WhiteBlackGreyParameters {
    std::int32_t redG = 255;  ///< grey point, 0..255
    std::int32_t greenG = 255;
    std::int32_t blueG = 255;
    std::int32_t mode = 0;       ///< 0 linear, 1 curves, 2 curves and common contrast, 3 curves and contrast by channel
    std::int32_t opacity = 100;  ///< percent of the effect, 0..100
    bool filterOn = true;        ///< the filter acts at all
};

inline constexpr Choice kBalanceMethods[] = {{0, "IDS_WHITEBLACKGREY_MODELINEAR", "Linear"},
                                             {1, "IDS_WHITEBLACKGREY_MODECURVES", "Gradation Curves"},
                                             {2, "IDS_WHITEBLACKGREY_MODECURVES_AUTOCONTRAST", "Auto-Contrast"},
                                             {3, "IDS_WHITEBLACKGREY_MODECURVES_AUTOTONE", "Auto-RGB"}};

/// A text without a mode means the linear one.
inline constexpr ParameterTable<WhiteBlackGreyParameters, 6> kWhiteBlackGreyText{
    .keys = {Number("RedG", &WhiteBlackGreyParameters::redG, {0, 255}, "IDS_WHITEBLACKGREY_RGB",
                    "red of the colour that becomes grey")
                 .PartOf(Channel::Red)
                 .Under("IDS_WHITEBLACKGREY_COLOR"),
             Number("GreenG", &WhiteBlackGreyParameters::greenG, {0, 255}, "IDS_WHITEBLACKGREY_RGB",
                    "green of the colour that becomes grey")
                 .PartOf(Channel::Green)
                 .Under("IDS_WHITEBLACKGREY_COLOR"),
             Number("BlueG", &WhiteBlackGreyParameters::blueG, {0, 255}, "IDS_WHITEBLACKGREY_RGB",
                    "blue of the colour that becomes grey")
                 .PartOf(Channel::Blue)
                 .Under("IDS_WHITEBLACKGREY_COLOR"),
             Number("Mode", &WhiteBlackGreyParameters::mode, {0, 3}, "IDS_WHITEBLACKGREY_MODES", "method")
                 .OneOf(kBalanceMethods)
                 .Or(0)
                 .Digits(1),
             Percent("Opacity", &WhiteBlackGreyParameters::opacity, "IDS_WHITEBLACKGREY_OPACITY",
                     "strength of the effect"),
             Flag("FilterOn", &WhiteBlackGreyParameters::filterOn, "", "the filter acts at all").ActiveAt(1)},
    .minimumBuffer = 41,
    .resetSeparator = nullptr};

inline constexpr Description kWhiteBlackGrey{
    .progId = "TMFilter.WhiteBlackGrey.1",
    .clsid = MakeGuid("{C249826F-F763-4715-99B8-7C98069092DC}"),
    .id = 10,
    .nameKey = "IDS_WHITEBLACKGREY_NAME",
    .name = "White Balance",
    .icon = "icons_whitebalance",
    .help = "HLP_WHITEBLACKGREY",
    .summary =
        "Removes a colour cast by a picked grey point; modes 2 and 3 also stretch the contrast, measured in the "
        "region that is asked for.",
    .inPlace = true,
    .measuresRequest = true};

class CWhiteBlackGreyFilter final : public TwinFilter<WhiteBlackGreyParameters, kWhiteBlackGreyText, kWhiteBlackGrey> {
public:
    CWhiteBlackGreyFilter() : TwinFilter({0, 0, 0, 1, 0, false}) {}

protected:
    FilterResult MakePixels(const PixelRequest& request) override;

private:
    /// A value for each channel: red, green, blue.
    using Triple = std::array<std::int32_t, 3>;

    /// What each byte of a request becomes.
    kernels::ChannelTables Tables(const PixelRequest& request);
    /// Tables for modes that do not look at the picture; the identity for an unknown mode.
    void BuildSimpleTables();
    /// Tables for modes 2 and 3 from black points, white points and the grey point.
    void BuildRangeTables(Triple black, Triple white, const Triple& grey);
    /// Measures the region and builds the tables of mode 2 or 3.
    void BuildMeasuredTables(const PixelRequest& request);

    kernels::ByteTable LevelRed{};
    kernels::ByteTable LevelGreen{};
    kernels::ByteTable LevelBlue{};
    const std::array<kernels::ByteTable*, 3> levels_ = {&LevelRed, &LevelGreen, &LevelBlue};
};

}  // namespace kestrel
