// Any bytes as a gradation preset: what is read can be edited, and comes back from both of its written forms.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string_view>

#include "kestrel/editing/GradationPreset.h"

using namespace kestrel;

namespace {

void Require(bool holds) {
    if (!holds) std::abort();
}

void RequireEditable(const CGradCurve& curve) {
    Require(curve.GetCount() >= 2 && curve.GetCount() <= CGradCurve::kMaximumCount);
    Require(curve.GetSelected() >= CGradCurve::kNone && curve.GetSelected() < curve.GetCount());
    int next = 0;
    for (const auto& node : curve.Nodes()) {
        Require(node.x >= next && node.x <= 255 && node.y >= 0 && node.y <= 255);
        next = node.x + 1;
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    Gradation read;
    int version = 0;
    if (!ParsePreset({reinterpret_cast<const char*>(data), size}, read, version)) {
        Require(read == Gradation());
        return 0;
    }
    for (const CGradCurve& curve : read.curves) RequireEditable(curve);
    Gradation again = read;
    Require(ParsePreset(FormatPreset(read), again, version) && version == 2 && again == read);
    again.Read(read.ParameterText());
    for (std::size_t i = 0; i < read.curves.size(); ++i) Require(again.curves[i].Nodes() == read.curves[i].Nodes());
    return 0;
}
