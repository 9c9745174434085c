#pragma once
#include "kestrel/framework/FilterGeometry.h"
#include "kestrel/image/WorkImage.h"
#include "kestrel/kernels/GaussReduce.h"

namespace kestrel {

/// The change of a picture's size that both scale filters make: a weighted average that is sharpened afterwards where
/// both axes shrink, a cubic everywhere else.
class Resampler {
public:
    double m_ScaleX = 1;
    double m_ScaleY = 1;

    /// Takes the input's size and origin and the rounded result size, which may be 0, and fills size, frame and origin
    /// of the output; a size of 0 or below becomes 1. `possible` says whether such a picture can be made at all; the
    /// input must be there as well.
    void SetGeometry(const FilterGeometry& in, int outWidth, int outHeight, bool possible, FilterGeometry* out);

    /// False for sizes that no picture has, asked for or given.
    bool IsPossible() const { return possible_; }

    /// Makes the tap tables of a pass. Throws `std::bad_alloc` for a pass that is beyond memory or patience.
    void Prepare();
    /// The pass: the whole input into the whole output. Pixels that it leaves alone are not there. False when aborted.
    bool Calculate(const CWorkImage& source, CWorkImage& target, kernels::OpaqueSums sums, const AbortFlag& abort);

private:
    bool Shrinks() const { return m_ScaleX < 1 && m_ScaleY < 1; }

    static constexpr double m_GaussLambda = 5.0;  ///< fall of the weights per squared output pixel
    kernels::ScaleAxis columns_;
    kernels::ScaleAxis rows_;
    kernels::TapTable m_ColumnTaps;
    kernels::TapTable m_RowTaps;
    bool possible_ = false;
};

/// The planes of a work image of which `width` × `height` pixels are in use.
inline kernels::Planes PlanesOf(const CWorkImage& image, int width, int height) {
    return {image.Rows(), image.MaskRows(), width, height};
}

}  // namespace kestrel
