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
    const auto ofEachClick = [](const char* key, Field<List> field, Range range, const char* label,
                                const char* meaning) {
        return ParameterRow<List>{.key = key,
                                  .field = field,
                                  .range = range,
                                  .label = label,
                                  .meaning = meaning,
                                  .count = List::kMaximum,
                                  .writtenWhen = [](const List&) { return false; }}  // by the filter, entry by entry
            .NotReset();
    };
    const auto fraction = [&](const char* key, Element<List, double> field, const char* label, const char* meaning) {
        ParameterRow<List> row = ofEachClick(key, field, {0, 1}, label, meaning).HeldOr(0.5);
        row.unit = Unit::Fraction;
        row.infinite = true;
        return row;
    };
    const auto slider = [&](const char* key, Element<List, std::int32_t> field, const char* label,
                            const char* meaning) {
        return ofEachClick(key, field, {-50, 50}, label, meaning).HeldOr(0).Digits(1);
    };
    return ParameterTable<List, 5>{
        .keys = {Number("N", &List::N, {0, List::kMaximum}, "IDS_REDEYE_POINTS", "number of clicks")
                     .Equals()
                     .Or(0)
                     .Digits(1),
                 fraction(
                     "X#", [](List& list, std::size_t i) -> double& { return list.points[i].X; }, "IDS_REDEYE_X",
                     "place of a click from the left"),
                 fraction(
                     "Y#", [](List& list, std::size_t i) -> double& { return list.points[i].Y; }, "IDS_REDEYE_Y",
                     "place of a click from the bottom"),
                 slider(
                     "E#", [](List& list, std::size_t i) -> std::int32_t& { return list.points[i].E; },
                     "IDS_REDEYE_DARKEN", "darkening"),
                 slider(
                     "F#", [](List& list, std::size_t i) -> std::int32_t& { return list.points[i].F; },
                     "IDS_REDEYE_SENSITIVITY", "sensitivity")},
        .minimumBuffer = 501};
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
    FilterResult MakePixels(const PixelRequest& request) override;
    void ReadText(std::string_view text) override;
    std::string Written(const ClickPointList& list) const override;

private:
    /// Fetches the whole input picture into the cache and repairs it there.
    FilterResult Repair();
};

}  // namespace kestrel
