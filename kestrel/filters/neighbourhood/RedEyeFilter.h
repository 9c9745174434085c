#pragma once
#include <algorithm>
#include <array>

#include "kestrel/framework/TwinFilter.h"
#include "kestrel/passes/RedEyeRepair.h"

namespace kestrel {

/// The clicks of one picture. Entries beyond `N` are remembered but mean nothing; texts number them from 1.
struct ClickPointList {
    static constexpr int kMaximum = 128;

    std::int32_t N = 0;  ///< clicks in use, 0..`kMaximum`; -1 in a list that was never committed
    std::array<passes::ClickPoint, kMaximum> points{};

    int Used() const { return std::clamp(N, 0, kMaximum); }
};

/// The count, then the keys of the entries, of which a text holds those in use, entry by entry.
inline constexpr auto kRedEyeText = [] {
    using List = ClickPointList;
    const auto byTheFilter = [](const List&) { return false; };
    Parameter<List> fraction{.range = {0, 1}, .unit = Unit::Fraction, .count = List::kMaximum, .infinite = true};
    fraction = fraction.HeldOr(0.5).When(byTheFilter).NotReset();
    Parameter<List> slider{.range = {-50, 50}, .count = List::kMaximum};
    slider = slider.HeldOr(0).Digits(1).When(byTheFilter).NotReset();
    ParameterTable<List, 5> table{
        .keys = {Number("N", &List::N, {0, List::kMaximum}, "IDS_REDEYE_POINTS", "number of clicks")
                     .Equals()
                     .Or(0)
                     .Digits(1),
                 fraction, fraction, slider, slider},
        .minimumBuffer = 501};
    auto& [count, x, y, e, f] = table.keys;
    x.key = "X#";
    x.label = "IDS_REDEYE_X";
    x.meaning = "place of a click from the left";
    x.field = [](List& list, std::size_t i) -> double& { return list.points[i].X; };
    y.key = "Y#";
    y.label = "IDS_REDEYE_Y";
    y.meaning = "place of a click from the bottom";
    y.field = [](List& list, std::size_t i) -> double& { return list.points[i].Y; };
    e.key = "E#";
    e.label = "IDS_REDEYE_DARKEN";
    e.meaning = "darkening";
    e.field = [](List& list, std::size_t i) -> std::int32_t& { return list.points[i].E; };
    f.key = "F#";
    f.label = "IDS_REDEYE_SENSITIVITY";
    f.meaning = "sensitivity";
    f.field = [](List& list, std::size_t i) -> std::int32_t& { return list.points[i].F; };
    return table;
}();

inline constexpr Description kRedEye{.progId = "TMFilter.RedEye.1",
                                     .clsid = MakeGuid("{69820186-FD45-4DF2-BEE2-20B30962FC04}"),
                                     .id = 30,
                                     .nameKey = "IDS_REDEYE_NAME",
                                     .name = "Red Eyes",
                                     .icon = "icons_redeye",
                                     .help = "HLP_REDEYE",
                                     .summary = "Darkens the red and other reflections of flash light in clicked eyes.",
                                     .lengths = Lengths::Follow};

class CRedEyeFilter final : public TwinFilter<ClickPointList, kRedEyeText, kRedEye> {
public:
    /// Entries that are not in use count for nothing.
    bool HasChanged() override;

protected:
    HRESULT TransformWindow(const Window& window) override;
    void ReadText(std::string_view text) override;
    std::string Written(const ClickPointList& list) const override;

private:
    /// Fetches the whole input picture into the cache and repairs it there.
    HRESULT Repair();
};

}  // namespace kestrel
