#pragma once
#include <array>
#include <memory>

#include "kestrel/framework/TwinFilter.h"
#include "kestrel/kernels/HueRangeRow.h"

namespace kestrel {

/// Corrects colour by a power curve for each channel, for all colours and softly within six ranges of colours. Of each
/// five values the first is the scope (all colours: below 0 the highlights are spared, above 0 the shadows; a range:
/// degrees that its centre is moved), the next three are cyan to red, magenta to green, yellow to blue, and the last is
/// the brightness, -100..100.
struct GammaParameters {
    std::int32_t s10 = 0, s20 = 0, s30 = 0, s40 = 0, s50 = 0;  ///< all colours
    std::int32_t s11 = 0, s21 = 0, s31 = 0, s41 = 0, s51 = 0;  ///< reds
    std::int32_t s12 = 0, s22 = 0, s32 = 0, s42 = 0, s52 = 0;  ///< yellows
    std::int32_t s13 = 0, s23 = 0, s33 = 0, s43 = 0, s53 = 0;  ///< greens
    std::int32_t s14 = 0, s24 = 0, s34 = 0, s44 = 0, s54 = 0;  ///< cyans
    std::int32_t s15 = 0, s25 = 0, s35 = 0, s45 = 0, s55 = 0;  ///< blues
    std::int32_t s16 = 0, s26 = 0, s36 = 0, s46 = 0, s56 = 0;  ///< magentas
    bool operator==(const GammaParameters&) const = default;
};

/// Groups of five keys: all colours, then the six ranges.
inline constexpr ParameterTable<GammaParameters, 35> kGammaText{
    .keys = {{{"S10", &GammaParameters::s10, {-45, 45}, "IDS_CCEX_SLIDER1_ALL"},
              {"S20", &GammaParameters::s20, {-100, 100}, "IDS_CCEX_SLIDER2"},
              {"S30", &GammaParameters::s30, {-100, 100}, "IDS_CCEX_SLIDER3"},
              {"S40", &GammaParameters::s40, {-100, 100}, "IDS_CCEX_SLIDER4"},
              {"S50", &GammaParameters::s50, {-100, 100}, "IDS_CCEX_SLIDER5"},
              {"S11", &GammaParameters::s11, {-45, 45}, "IDS_CCEX_SLIDER1"},
              {"S21", &GammaParameters::s21, {-100, 100}, "IDS_CCEX_SLIDER2"},
              {"S31", &GammaParameters::s31, {-100, 100}, "IDS_CCEX_SLIDER3"},
              {"S41", &GammaParameters::s41, {-100, 100}, "IDS_CCEX_SLIDER4"},
              {"S51", &GammaParameters::s51, {-100, 100}, "IDS_CCEX_SLIDER5"},
              {"S12", &GammaParameters::s12, {-45, 45}, "IDS_CCEX_SLIDER1"},
              {"S22", &GammaParameters::s22, {-100, 100}, "IDS_CCEX_SLIDER2"},
              {"S32", &GammaParameters::s32, {-100, 100}, "IDS_CCEX_SLIDER3"},
              {"S42", &GammaParameters::s42, {-100, 100}, "IDS_CCEX_SLIDER4"},
              {"S52", &GammaParameters::s52, {-100, 100}, "IDS_CCEX_SLIDER5"},
              {"S13", &GammaParameters::s13, {-45, 45}, "IDS_CCEX_SLIDER1"},
              {"S23", &GammaParameters::s23, {-100, 100}, "IDS_CCEX_SLIDER2"},
              {"S33", &GammaParameters::s33, {-100, 100}, "IDS_CCEX_SLIDER3"},
              {"S43", &GammaParameters::s43, {-100, 100}, "IDS_CCEX_SLIDER4"},
              {"S53", &GammaParameters::s53, {-100, 100}, "IDS_CCEX_SLIDER5"},
              {"S14", &GammaParameters::s14, {-45, 45}, "IDS_CCEX_SLIDER1"},
              {"S24", &GammaParameters::s24, {-100, 100}, "IDS_CCEX_SLIDER2"},
              {"S34", &GammaParameters::s34, {-100, 100}, "IDS_CCEX_SLIDER3"},
              {"S44", &GammaParameters::s44, {-100, 100}, "IDS_CCEX_SLIDER4"},
              {"S54", &GammaParameters::s54, {-100, 100}, "IDS_CCEX_SLIDER5"},
              {"S15", &GammaParameters::s15, {-45, 45}, "IDS_CCEX_SLIDER1"},
              {"S25", &GammaParameters::s25, {-100, 100}, "IDS_CCEX_SLIDER2"},
              {"S35", &GammaParameters::s35, {-100, 100}, "IDS_CCEX_SLIDER3"},
              {"S45", &GammaParameters::s45, {-100, 100}, "IDS_CCEX_SLIDER4"},
              {"S55", &GammaParameters::s55, {-100, 100}, "IDS_CCEX_SLIDER5"},
              {"S16", &GammaParameters::s16, {-45, 45}, "IDS_CCEX_SLIDER1"},
              {"S26", &GammaParameters::s26, {-100, 100}, "IDS_CCEX_SLIDER2"},
              {"S36", &GammaParameters::s36, {-100, 100}, "IDS_CCEX_SLIDER3"},
              {"S46", &GammaParameters::s46, {-100, 100}, "IDS_CCEX_SLIDER4"},
              {"S56", &GammaParameters::s56, {-100, 100}, "IDS_CCEX_SLIDER5"}}},
    .written =
        "S10=%.3d,S20=%.3d,S30=%.3d,S40=%.3d,S50=%.3d,S11=%.3d,S21=%.3d,S31=%.3d,S41=%.3d,S51=%.3d,S12=%.3d,S22=%.3d,"
        "S32=%.3d,S42=%.3d,S52=%.3d,S13=%.3d,S23=%.3d,S33=%.3d,S43=%.3d,S53=%.3d,S14=%.3d,S24=%.3d,S34=%.3d,S44=%.3d,"
        "S54=%.3d,S15=%.3d,S25=%.3d,S35=%.3d,S45=%.3d,S55=%.3d,S16=%.3d,S26=%.3d,S36=%.3d,S46=%.3d,S56=%.3d",
    .leastBuffer = 501,
    .standard =
        "S10=0,S20=0,S30=0,S40=0,S50=0,S11=0,S21=0,S31=0,S41=0,S51=0,S12=0,S22=0,S32=0,S42=0,S52=0,S13=0,S23=0,S33=0,"
        "S43=0,S53=0,S14=0,S24=0,S34=0,S44=0,S54=0,S15=0,S25=0,S35=0,S45=0,S55=0,S16=0,S26=0,S36=0,S46=0,S56=0"};

inline constexpr Description kGamma{
    .progId = "TMFilter.Gamma.1",
    .clsid = MakeGuid("{0D60B8DC-0929-4465-9BDB-CAC201D3C92E}"),
    .id = 17,
    .nameKey = "IDS_CCEX_NAME",
    .name = "Color Balance",
    .icon = "icons_colorbalance",
    .help = "HLP_CCEX",
    .summary = "Balances colours by a curve for each channel, for all colours and within six ranges of colours.",
    .inPlace = true};

class CGammaFilter final : public TwinFilter<GammaParameters, kGammaText, kGamma> {
public:
    HRESULT CommitChanges() override;
    void RebuildTables() override;

protected:
    HRESULT TransformWindow(const Window& window) override;
    void ReadText(std::string_view text) override;

private:
    static constexpr std::size_t kRanges = 7;

    void BuildRange(std::size_t k);
    /// Goes over the request once for each range in use.
    HRESULT WorkRanges(const Window& window) const;

    std::array<bool, kRanges> ChangedRange{};
    /// Tables of the ranges in use: what a tone becomes for all colours, what is added to it in the others.
    std::array<std::unique_ptr<kernels::RangeTables>, kRanges> tables_;
};

}  // namespace kestrel
