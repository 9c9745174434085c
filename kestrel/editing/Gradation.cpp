#include "kestrel/editing/Gradation.h"

#include <fmt/format.h>

#include <iterator>

#include "kestrel/filters/tone/GradCurvesFilter.h"

namespace kestrel {
namespace {

constexpr std::string_view kLetters = "LRGB";  // of the curves in the keys

CGradCurve Edited(const CurveSlots& slots, int selected) {
    CGradCurve curve;
    const auto nodes = slots.Nodes();
    curve.SetCount(static_cast<int>(nodes.size()));
    for (std::size_t i = 0; i < nodes.size(); ++i) curve.SetNode(static_cast<int>(i), nodes[i].x, nodes[i].y);
    curve.Repair();
    curve.Select(std::min(selected, curve.GetCount() - 1));
    return curve;
}

}  // namespace

void Gradation::SetLinear(bool linear) {
    for (CGradCurve& curve : curves) curve.SetLinear(linear);
}

void Gradation::Read(std::string_view parameterText) {
    GradCurvesParameters parameters;
    table::ReadAll(parameterText, kGradCurvesText, parameters);
    for (std::size_t i = 0; i < curves.size(); ++i) curves[i] = Edited(parameters.curves[i], curves[i].GetSelected());
    SetLinear(parameters.linear);
    yiq = parameters.yiqOn;
}

std::string Gradation::ParameterText() const {
    std::string text;
    const auto append = std::back_inserter(text);
    for (std::size_t i = 0; i < curves.size(); ++i)
        fmt::format_to(append, "n{}={}, ", kLetters[i], curves[i].GetCount());
    for (const char axis : {'x', 'y'})
        for (std::size_t i = 0; i < curves.size(); ++i)
            for (int number = 0; const CGradCurve::Node& node : curves[i].Nodes())
                fmt::format_to(append, "{}{}{}={}, ", axis, kLetters[i], ++number, axis == 'x' ? node.x : node.y);
    fmt::format_to(append, "Linear={:d},YIQOn={:d},FilterOn=1,", IsLinear(), yiq);
    return text;
}

}  // namespace kestrel
