#include "kestrel/filters/neighbourhood/RedEyeFilter.h"

#include <fmt/format.h>

#include <cmath>

namespace kestrel {
namespace {

constexpr int kShift = 50;  // greatest E and F

double ReadFraction(std::string_view text, char letter, int number) {
    const double value = ReadDoubleBehindEquals(text, fmt::format("{}{}", letter, number)).value_or(std::nan(""));
    return std::isnan(value) ? 0.5 : std::clamp(value, 0.0, 1.0);
}

std::int32_t ReadShift(std::string_view text, char letter, int number) {
    return std::clamp(ReadIntBehindEquals(text, fmt::format("{}{}", letter, number)).value_or(0), -kShift, kShift);
}

std::string Write(const ClickPointList& list) {
    std::string text = table::Write(kRedEyeText, kRedEyeText.written, list);
    for (int i = 1; i <= list.Used(); ++i) {
        const ClickPoint& point = list.points[static_cast<std::size_t>(i - 1)];
        text += fmt::format(", X{0}={1:.4f}, Y{0}={2:.4f}, E{0}={3}, F{0}={4}", i, point.X, point.Y, point.E, point.F);
    }
    return text;
}

}  // namespace

ParameterInfo CRedEyeFilter::Parameters() {
    ParameterInfo info = table::Info(kRedEyeText);
    const KeyInfo entry[] = {{"X1", "number", true, 0, 1, "0.5", ""},
                             {"Y1", "number", true, 0, 1, "0.5", ""},
                             {"E1", "integer", true, -kShift, kShift, "0", ""},
                             {"F1", "integer", true, -kShift, kShift, "0", ""}};
    info.keys.insert(info.keys.end(), std::begin(entry), std::end(entry));
    return info;
}

void CRedEyeFilter::ReadText(std::string_view text) {
    ClickPointList& list = Pending();
    TwinFilter::ReadText(text);
    list.N = list.Used();
    for (int i = 1; i <= list.N; ++i)
        list.points[static_cast<std::size_t>(i - 1)] = {ReadFraction(text, 'X', i), ReadFraction(text, 'Y', i),
                                                        ReadShift(text, 'E', i), ReadShift(text, 'F', i)};
}

std::string CRedEyeFilter::PendingText() const { return Write(Pending()); }
std::string CRedEyeFilter::ActiveText() const { return Write(Active()); }

HRESULT CRedEyeFilter::TransformWindow(const Window& window) {
    return CachedWhole(window, [this] { return Repair(); });
}

HRESULT CRedEyeFilter::Repair() {
    if (const HRESULT result = FetchIntoCache(); result != S_OK) return result;
    const ClickPointList& clicks = Pending();  // what is seen while a dialog is open; a commit makes both lists agree
    RedEyeRepair repair(m_Cache->Rows(), m_InActive.Width, m_InActive.Height, m_RenderScale);
    for (int i = 1; i <= clicks.Used(); ++i) {
        if (Aborted()) return kNotDone;
        repair.Repair(i, clicks.points[static_cast<std::size_t>(i - 1)]);
    }
    return S_OK;
}

}  // namespace kestrel
