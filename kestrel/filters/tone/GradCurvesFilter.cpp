#include "kestrel/filters/tone/GradCurvesFilter.h"

#include "kestrel/kernels/YiqRows.h"

namespace kestrel {
namespace {

constexpr std::array<char, 4> kCurveLetters = {'L', 'R', 'G', 'B'};

std::string CountKey(char curve) { return std::string{'n', curve}; }
std::string NodeKey(char axis, char curve, int slot) { return std::string{axis, curve} + std::to_string(slot + 1); }

/// Calls `visit(key, axis, curve, slot)` for all coordinates in the order of the text: each axis, curve and slot.
template <class Visit>
void ForEachCoordinate(const Visit& visit) {
    for (const char axis : {'x', 'y'})
        for (std::size_t curve = 0; curve < kCurveLetters.size(); ++curve)
            for (int slot = 0; slot < CGradCurve::kSlots; ++slot)
                visit(NodeKey(axis, kCurveLetters[curve], slot), axis, curve, slot);
}

std::int32_t Coordinate(const CGradCurve& curve, char axis, int slot) {
    const kernels::CurveNode node = curve.Slots()[static_cast<std::size_t>(slot)];
    return axis == 'x' ? node.x : node.y;
}

std::string Write(const GradCurvesParameters& parameters) {
    std::string text;
    const auto append = [&text](const std::string& key, std::int32_t value, int digits) {
        text += key + '=';
        AppendDecimal(text, value, digits);
        text += ", ";
    };
    for (std::size_t i = 0; i < kCurveLetters.size(); ++i)
        append(CountKey(kCurveLetters[i]), parameters.curves[i].GetCount(), 2);
    ForEachCoordinate([&](const std::string& key, char axis, std::size_t curve, int slot) {
        append(key, Coordinate(parameters.curves[curve], axis, slot), 3);
    });
    return text + table::Write(kGradCurvesText, kGradCurvesText.written, parameters);
}

/// A curve that no table can be made of, with one node or two at the same x, changes nothing.
kernels::ByteTable MakeTable(const CGradCurve& curve, bool linear) {
    kernels::ByteTable table = kernels::kIdentityTable;
    if (linear)
        kernels::LinearTable(curve.Nodes(), table);
    else
        kernels::SplineTable(curve.Nodes(), table);
    return table;
}

/// Unlike a fresh record in every count and flag, so that the first update is a change.
GradCurvesParameters Unlike() {
    GradCurvesParameters parameters = table::Unlike(kGradCurvesText);
    for (CGradCurve& curve : parameters.curves) curve.SetCount(3);
    return parameters;
}

}  // namespace

CGradCurvesFilter::CGradCurvesFilter() : TwinFilter(Unlike()) {}

ParameterInfo CGradCurvesFilter::Parameters() {
    const GradCurvesParameters fresh;
    ParameterInfo flags = table::Info(kGradCurvesText);
    ParameterInfo info;
    info.standard = Write(fresh);
    info.leastBuffer = flags.leastBuffer;
    const auto add = [&info](const std::string& key, int least, int greatest, std::int32_t standard) {
        info.keys.push_back({.key = key,
                             .kind = "integer",
                             .ranged = true,
                             .least = static_cast<double>(least),
                             .greatest = static_cast<double>(greatest),
                             .standard = std::to_string(standard),
                             .label = ""});
    };
    for (std::size_t i = 0; i < kCurveLetters.size(); ++i)
        add(CountKey(kCurveLetters[i]), 2, CGradCurve::kSlots, fresh.curves[i].GetCount());
    ForEachCoordinate([&](const std::string& key, char axis, std::size_t curve, int slot) {
        add(key, 0, CGradCurve::kLargest, Coordinate(fresh.curves[curve], axis, slot));
    });
    info.keys.insert(info.keys.end(), flags.keys.begin(), flags.keys.end());
    return info;
}

void CGradCurvesFilter::ReadText(std::string_view text) {
    bool changed = false;
    for (std::size_t i = 0; i < kCurveLetters.size(); ++i) {
        std::int32_t count = Pending().curves[i].GetCount();
        ReadIntParameter(text, CountKey(kCurveLetters[i]), &count, &changed);
        Pending().curves[i].SetCount(count);
    }
    ForEachCoordinate([&](const std::string& key, char axis, std::size_t index, int slot) {
        CGradCurve& curve = Pending().curves[index];
        kernels::CurveNode node = curve.Slots()[static_cast<std::size_t>(slot)];
        if (ReadIntParameter(text, key, axis == 'x' ? &node.x : &node.y, &changed)) curve.SetNode(slot, node.x, node.y);
    });
    table::ReadAll(text, kGradCurvesText, Pending());
}

std::string CGradCurvesFilter::PendingText() const { return Write(Pending()); }

std::string CGradCurvesFilter::ActiveText() const { return Write(Active()); }

HRESULT CGradCurvesFilter::TransformWindow(const Window& window) {
    return InPlacePasses(window, [&] { return Active().filterOn ? WorkCurves(window) : S_OK; });
}

HRESULT CGradCurvesFilter::WorkCurves(const Window& window) const {
    const auto make = [this](std::size_t curve) { return MakeTable(Active().curves[curve], Active().linear); };
    const kernels::ByteTable master = make(0);
    kernels::ChannelTables tables{.blue = make(3), .green = make(2), .red = make(1)};
    if (Active().yiqOn)
        return WalkRows(window,
                        [&](std::span<std::uint8_t> pixels) { kernels::LuminanceCurveRow(pixels, master, tables); });
    tables = {kernels::Composed(master, tables.blue), kernels::Composed(master, tables.green),
              kernels::Composed(master, tables.red)};
    return WalkRows(window, [&](std::span<std::uint8_t> pixels) { kernels::ChannelTablesRow(pixels, tables); });
}

}  // namespace kestrel
