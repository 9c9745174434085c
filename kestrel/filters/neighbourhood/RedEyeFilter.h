#pragma once
#include <algorithm>
#include <array>

#include "kestrel/filters/neighbourhood/RedEyeRepair.h"
#include "kestrel/framework/TwinFilter.h"

namespace kestrel {

/// The clicks of one picture. Entries beyond `N` are remembered but mean nothing; texts number them from 1.
struct ClickPointList {
    static constexpr int kMost = 128;

    std::int32_t N = 0;  ///< clicks in use, 0..`kMost`; -1 in a list that was never committed
    std::array<ClickPoint, kMost> points{};

    int Used() const { return std::clamp(N, 0, kMost); }
    bool operator==(const ClickPointList& other) const {
        return N == other.N && std::equal(points.begin(), points.begin() + Used(), other.points.begin());
    }
};

/// The count; the keys of the entries are numbered, so the filter reads and writes them itself.
inline constexpr ParameterTable<ClickPointList, 1> kRedEyeText{
    .keys = {{{"N", &ClickPointList::N, {0, ClickPointList::kMost}, "", Reading::EqualsOrFallback, 0}}},
    .written = "N=%d",
    .leastBuffer = 501,
    .standard = "N=0"};

inline constexpr Description kRedEye{
    .progId = "TMFilter.RedEye.1",
    .clsid = MakeGuid("{69820186-FD45-4DF2-BEE2-20B30962FC04}"),
    .id = 30,
    .nameKey = "IDS_REDEYE_NAME",
    .name = "Red Eyes",
    .icon = "icons_redeye",
    .help = "HLP_REDEYE",
    .summary = "Darkens the red and other reflections of flash light in clicked eyes."};

class CRedEyeFilter final : public TwinFilter<ClickPointList, kRedEyeText, kRedEye> {
public:
    static ParameterInfo Parameters();

protected:
    HRESULT TransformWindow(const Window& window) override;
    void ReadText(std::string_view text) override;
    std::string PendingText() const override;
    std::string ActiveText() const override;

private:
    /// Fetches the whole input picture into the cache and repairs it there.
    HRESULT Repair();
};

}  // namespace kestrel
