#pragma once
#include <algorithm>

#include "kestrel/image/RowSpan.h"
#include "kestrel/image/WorkImage.h"
#include "kestrel/kernels/GaussRows.h"
#include "kestrel/passes/CubicScale.h"
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
    /// False for an enlargement that `Prepare` refuses.
    bool IsBearable() const { return bearable_; }

    /// Does every pixel of the output depend on whether there is transparency anywhere in the input?
    bool AsksForTransparency() const { return Shrinks(); }
    /// Is nothing there in the output, whatever the input is?
    bool HidesAll() const { return !Shrinks() && columns_.inSize < kNarrowestCubic; }
    /// The rows that a pass makes for rows of the output: their neighbours, too, where it sharpens.
    RowSpan MadeRows(RowSpan output) const;
    /// The rows of the input that those are made of.
    RowSpan InputRows(RowSpan output) const;

    /// Makes the tap tables of all passes, once. Throws `std::bad_alloc` for passes that are beyond memory or patience.
    void Prepare();
    /// Rows of the input, in planes that begin with the first of them.
    struct Source {
        ConstPlanes planes;  ///< a reduction of an opaque input does without a mask
        RowSpan rows;
        bool opaque = false;  ///< the whole input is known to have no transparency
    };
    /// A pass for rows of the output, all of them or a part. `source` has their `InputRows` at least, and all rows of
    /// an input that it asks for transparency and that is not known to have none; `target` gets their `MadeRows`.
    /// Pixels that the pass leaves alone are not there. False when aborted.
    [[nodiscard]] bool Calculate(const Source& source, CWorkImage& target, RowSpan output, kernels::OpaqueSums sums,
                                 const AbortFlag& abort) const;

private:
    bool Shrinks() const { return columns_.factor < 1 && rows_.factor < 1; }
    int OutWidth() const { return std::max(columns_.outSize, 1); }
    int OutHeight() const { return std::max(rows_.outSize, 1); }
    bool Reduce(const Source& source, const Planes& target, RowSpan made, kernels::OpaqueSums sums,
                const AbortFlag& abort) const;
    bool ScaleByCubic(const Source& source, const Planes& target, RowSpan made, const AbortFlag& abort) const;
    static constexpr double kGaussLambda = 5.0;  ///< fall of the weights per squared output pixel
    ScaleAxis columns_;
    ScaleAxis rows_;
    TapTable columnTaps_;
    TapTable rowTaps_;
    bool possible_ = false;
    bool bearable_ = false;
};

}  // namespace kestrel::passes
