#pragma once
#include <array>
#include <string>
#include <string_view>

#include "kestrel/editing/GradCurve.h"
#include "kestrel/foundation/Export.h"

namespace kestrel {

/// What the gradation editor shows and a preset keeps: the four curves, their mode, and how they are looked at.
struct KESTREL_API Gradation {
    enum Channel { Gray, Red, Green, Blue };
    static constexpr int kChannels = 4;

    std::array<CGradCurve, kChannels> curves{};  ///< by `Channel`; gray is the curve of all tones
    bool yiq = false;                            ///< the gray curve works on the luminance only
    int channel = Gray;                          ///< whose curve is edited
    bool percent = false;                        ///< axes in percent, otherwise 0-255
    bool grid = true;
    bool onlyActive = false;  ///< the other channels' curves are not drawn

    CGradCurve& Active() { return curves[static_cast<std::size_t>(channel)]; }
    const CGradCurve& Active() const { return curves[static_cast<std::size_t>(channel)]; }

    /// All four curves are straight segments, or all are splines.
    bool IsLinear() const { return curves[Gray].IsLinear(); }
    void SetLinear(bool linear);

    /// Takes curves and mode from a parameter text as a fresh filter would, brings the curves into a form that can be
    /// edited, and keeps the view and, where there are still so many nodes, the selections.
    void Read(std::string_view parameterText);
    /// The parameter text in the dialog's form: the nodes that exist, and the filter on.
    std::string ParameterText() const;

    bool operator==(const Gradation&) const = default;
};

}  // namespace kestrel
