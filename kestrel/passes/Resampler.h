#pragma once
#include "kestrel/image/WorkImage.h"
#include "kestrel/kernels/GaussRows.h"
#include "kestrel/passes/GaussTaps.h"
#include "kestrel/passes/Planes.h"

namespace kestrel::passes {

/// The change of a picture's size that both scale filters make: a weighted average that is sharpened afterwards where
/// both axes shrink, a cubic everywhere else.
class Resampler {
public:
    /// Takes the axes of the passes to come. `possible` says whether such a picture can be made at all; there must be
    /// an input as well. The factors decide how the picture is made.
    void SetAxes(const ScaleAxis& columns, const ScaleAxis& rows, bool possible);

    /// False for sizes that no picture has, asked for or given.
    bool IsPossible() const { return possible_; }

    /// Makes the tap tables of a pass. Throws `std::bad_alloc` for a pass that is beyond memory or patience.
    void Prepare();
    /// The pass: the whole input into the whole output. Pixels that it leaves alone are not there. False when aborted.
    [[nodiscard]] bool Calculate(const CWorkImage& source, CWorkImage& target, kernels::OpaqueSums sums,
                                 const AbortFlag& abort);

private:
    bool Shrinks() const { return columns_.factor < 1 && rows_.factor < 1; }

    static constexpr double kGaussLambda = 5.0;  ///< fall of the weights per squared output pixel
    ScaleAxis columns_;
    ScaleAxis rows_;
    TapTable columnTaps_;
    TapTable rowTaps_;
    bool possible_ = false;
};

}  // namespace kestrel::passes
