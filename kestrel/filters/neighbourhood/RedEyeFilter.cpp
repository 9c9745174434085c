#include "kestrel/filters/neighbourhood/RedEyeFilter.h"

#include <algorithm>

#include "kestrel/diagnostics/LogSink.h"

namespace kestrel {

bool CRedEyeFilter::HasChanged() {
    return Pending().N != Active().N ||
           !std::equal(Pending().points.begin(), Pending().points.begin() + Pending().Used(), Active().points.begin());
}

void CRedEyeFilter::ReadText(std::string_view text) {
    ClickPointList& list = Pending();
    const auto& rows = kRedEyeText.keys;
    table::Read(text, rows[0], list);
    list.N = list.Used();
    for (std::size_t i = 0; i < static_cast<std::size_t>(list.N); ++i)
        for (std::size_t row = 1; row < rows.size(); ++row) table::Read(text, rows[row], list, i);
}

std::string CRedEyeFilter::Written(const ClickPointList& list) const {
    const auto& rows = kRedEyeText.keys;
    std::string text;
    const auto append = [&](const auto& row, std::size_t i) {
        table::AppendPiece(text, kRedEyeText.separator, table::KeyOf(row, i),
                           table::ValueText(row, list, i, kRedEyeText.digits));
    };
    append(rows[0], 0);
    for (std::size_t i = 0; i < static_cast<std::size_t>(list.Used()); ++i)
        for (std::size_t row = 1; row < rows.size(); ++row) append(rows[row], i);
    return text;
}

FilterResult CRedEyeFilter::MakePixels(const PixelRequest& request) {
    return CachedWhole(request, [this] { return Repair(); });
}

FilterResult CRedEyeFilter::Repair() {
    if (const FilterResult result = FetchIntoCache(); result.Failed()) return result;
    const ClickPointList& clicks = Pending();  // what is seen while a dialog is open; a commit makes both lists agree
    const auto report = [](int line, const std::string& text) { LogLine(-1, "RedEyeFilter", line, text); };
    passes::RedEyeRepair repair(passes::PlanesOf(*m_Cache, m_InActive.Width, m_InActive.Height), m_RenderScale, report);
    for (int i = 1; i <= clicks.Used(); ++i) {
        if (Aborted()) return kNotDone;
        repair.Repair(i, clicks.points[static_cast<std::size_t>(i - 1)]);
    }
    return S_OK;
}

}  // namespace kestrel
