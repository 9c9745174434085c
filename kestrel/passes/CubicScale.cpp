#include "kestrel/passes/CubicScale.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>

#include "kestrel/foundation/HelperThreads.h"

namespace kestrel::passes {
namespace {

constexpr int kUnit = 4096;

double Cubic(double x) {
    x = std::abs(x);
    if (x < 1) return 1.5 * x * x * x - 2.5 * x * x + 1;
    if (x < 2) return -0.5 * x * x * x + 2.5 * x * x - 4 * x + 2;
    return 0;
}

std::uint8_t Clamp(int value) { return static_cast<std::uint8_t>(std::clamp(value, 0, 255)); }

std::uint8_t PlainValue(const kernels::CubicTap& tap, int p0, int p1, int p2, int p3) {
    return Clamp((tap.Weigh(p0, p1, p2, p3) + kUnit / 2) >> 12);
}

int NotZero(int value) { return value == 0 ? 1 : value; }

/// Colours and opacities of up to four neighbours, and the pixel that they make.
struct Neighbours {
    const std::uint8_t* colour[4];
    int opacity[4];
};

/// Neighbours that are all there or all not are most of a picture and need no division by a weight of their own.
void MixPixel(const kernels::CubicTap& tap, const kernels::OpaqueDivision& divide, const Neighbours& from,
              std::uint8_t* colour, std::uint8_t* opacity) {
    const int all = from.opacity[0] & from.opacity[1] & from.opacity[2] & from.opacity[3];
    if (all == 255) {
        for (int c = 0; c < 3; ++c)
            colour[c] = divide(tap.Weigh(from.colour[0][c], from.colour[1][c], from.colour[2][c], from.colour[3][c]));
        *opacity = 255;
        return;
    }
    if ((from.opacity[0] | from.opacity[1] | from.opacity[2] | from.opacity[3]) == 0) {
        colour[0] = colour[1] = colour[2] = *opacity = 0;
        return;
    }
    const int sum = NotZero(tap.Sum());
    int weights[4];
    int visible = 0;
    for (int k = 0; k < 4; ++k) visible += weights[k] = from.opacity[k] * tap.weight[k];
    *opacity = Clamp((visible + sum / 2) / sum);
    const int divisor = NotZero(visible);
    for (int c = 0; c < 3; ++c) {
        int value = 0;
        for (int k = 0; k < 4; ++k) value += from.colour[k][c] * weights[k];
        colour[c] = Clamp((value + divisor / 2) / divisor);
    }
}

/// One row, of the padded source or of the intermediate. `opacity` is 255 minus the mask.
struct HeldRow {
    std::vector<std::uint8_t> colour;
    std::vector<std::uint8_t> opacity;
    bool opaque = true;  ///< every opacity is 255

    HeldRow(const ConstPlanes& like, int width)
        : colour(like.rows ? static_cast<std::size_t>(width) * 3 : 0),
          opacity(like.maskRows ? static_cast<std::size_t>(width) : 0) {}
};

/// Columns that the padded source has before and after the picture, copies of its edge.
constexpr int kBefore = 1;
constexpr int kAfter = 2;

void LoadPadded(const ConstPlanes& source, int y, HeldRow& into) {
    const auto width = static_cast<std::size_t>(source.width);
    if (source.rows) {
        const std::uint8_t* row = source.rows[y];
        std::uint8_t* to = into.colour.data();
        std::copy_n(row, 3, to);
        std::copy_n(row, width * 3, to + 3);
        for (int k = 0; k < kAfter; ++k) std::copy_n(row + width * 3 - 3, 3, to + (width + kBefore) * 3 + k * 3);
    }
    if (source.maskRows) {
        const std::uint8_t* row = source.maskRows[y];
        std::uint8_t* to = into.opacity.data();
        std::uint8_t masked = 0;
        for (std::size_t x = 0; x < width; ++x) {
            masked |= row[x];
            to[x + kBefore] = static_cast<std::uint8_t>(255 - row[x]);
        }
        to[0] = to[kBefore];
        for (std::size_t k = 0; k < kAfter; ++k) to[width + kBefore + k] = to[width];
        into.opaque = masked == 0;
    }
}

/// The first pass: one padded source row to the width of the result.
class RowPass {
public:
    RowPass(const ConstPlanes& source, const kernels::CubicLine& line)
        : source_(source), line_(line), padded_(source, source.width + kBefore + kAfter) {
        padded_.colour.resize(padded_.colour.size() + kernels::kCubicPadding);
    }

    void operator()(int y, HeldRow& into) {
        LoadPadded(source_, y, padded_);
        into.opaque = padded_.opaque;
        if (!source_.maskRows)
            Colour(into.colour.data());
        else if (!source_.rows)
            Mask(into.opacity.data());
        else if (padded_.opaque)
            Opaque(into);
        else
            Both(into);
    }

private:
    const std::uint8_t* Pixel(const kernels::CubicTap& tap) const {
        return padded_.colour.data() + std::ptrdiff_t{tap.base} * 3;
    }
    const std::uint8_t* Opacity(const kernels::CubicTap& tap) const { return padded_.opacity.data() + tap.base; }

    void Colour(std::uint8_t* to) const {
        for (const kernels::CubicTap& tap : line_.taps) {
            const std::uint8_t* p = Pixel(tap);
            for (int c = 0; c < 3; ++c) *to++ = PlainValue(tap, p[c], p[c + 3], p[c + 6], p[c + 9]);
        }
    }

    void Mask(std::uint8_t* to) const {
        for (const kernels::CubicTap& tap : line_.taps) {
            const std::uint8_t* o = Opacity(tap);
            *to++ = PlainValue(tap, o[0], o[1], o[2], o[3]);
        }
    }

    void Opaque(HeldRow& into) const {
        kernels::CubicPixels(line_, padded_.colour.data(), into.colour);
        std::fill(into.opacity.begin(), into.opacity.end(), std::uint8_t{255});
    }

    void Both(HeldRow& into) const {
        for (std::size_t j = 0; j < line_.taps.size(); ++j) {
            const std::uint8_t* p = Pixel(line_.taps[j]);
            const std::uint8_t* o = Opacity(line_.taps[j]);
            MixPixel(line_.taps[j], line_.divisions[j], {{p, p + 3, p + 6, p + 9}, {o[0], o[1], o[2], o[3]}},
                     into.colour.data() + j * 3, into.opacity.data() + j);
        }
    }

    const ConstPlanes source_;
    const kernels::CubicLine& line_;
    HeldRow padded_;
};

/// The second pass: four rows of the intermediate to one row of the result.
void ColumnPass(const kernels::CubicTap& tap, const std::array<const HeldRow*, 4>& from, const Planes& target, int y) {
    const auto width = static_cast<std::size_t>(target.width);
    const auto colour = [&from](std::size_t k) { return from[k]->colour.data(); };
    const auto opacity = [&from](std::size_t k) { return from[k]->opacity.data(); };
    const auto plain = [&](const auto& plane, std::uint8_t* to, std::size_t size) {
        for (std::size_t i = 0; i < size; ++i)
            to[i] = PlainValue(tap, plane(0)[i], plane(1)[i], plane(2)[i], plane(3)[i]);
    };
    if (!target.maskRows) return plain(colour, target.rows[y], width * 3);
    std::uint8_t* const mask = target.maskRows[y];
    if (!target.rows) {
        plain(opacity, mask, width);
        for (std::size_t i = 0; i < width; ++i) mask[i] = static_cast<std::uint8_t>(255 - mask[i]);
        return;
    }
    std::uint8_t* const to = target.rows[y];
    if (std::all_of(from.begin(), from.end(), [](const HeldRow* row) { return row->opaque; })) {
        kernels::CubicRow(tap, {from[0]->colour, from[1]->colour, from[2]->colour, from[3]->colour}, target.Pixels(y));
        std::fill_n(mask, width, std::uint8_t{0});
        return;
    }
    const kernels::OpaqueDivision divide(tap);
    for (std::size_t i = 0; i < width; ++i) {
        std::uint8_t opaque = 0;
        MixPixel(tap, divide,
                 {{colour(0) + i * 3, colour(1) + i * 3, colour(2) + i * 3, colour(3) + i * 3},
                  {opacity(0)[i], opacity(1)[i], opacity(2)[i], opacity(3)[i]}},
                 to + i * 3, &opaque);
        mask[i] = static_cast<std::uint8_t>(255 - opaque);
    }
}

/// Makes rows of the result. The second pass looks at four rows that follow each other, so that no more of the
/// intermediate is held: the row of source row y stands at y % 4 once it is made.
class CubicRows {
public:
    CubicRows(const ConstPlanes& source, int targetWidth, const kernels::CubicLine& columns)
        : last_(source.height - 1), rowPass_(source, columns), held_(4, HeldRow(source, targetWidth)) {}

    void Make(const kernels::CubicTap& row, const Planes& target, int y) {
        ColumnPass(row, {At(row.base - 1), At(row.base), At(row.base + 1), At(row.base + 2)}, target, y);
    }

private:
    /// Below the first row its copy stands; above the last its copy and then the last but one.
    const HeldRow* At(int padded) {
        const int y = padded < 0 ? 0 : padded <= last_ ? padded : padded == last_ + 1 ? last_ : std::max(last_ - 1, 0);
        const auto at = static_cast<std::size_t>(y % 4);
        if (holds_[at] != y) {
            rowPass_(y, held_[at]);
            holds_[at] = y;
        }
        return &held_[at];
    }

    const int last_;
    RowPass rowPass_;
    std::vector<HeldRow> held_;
    std::array<int, 4> holds_{-1, -1, -1, -1};
};

}  // namespace

kernels::CubicTap CubicTapOf(int inSize, int outSize, int pixel) {
    const auto ratio = static_cast<float>(static_cast<double>(inSize) / outSize);
    const double pos = (pixel + 0.5) * double{ratio} - 0.00001;
    // Beyond ten million pixels the single ratio may point one pixel too far.
    const int base = static_cast<int>(std::min(pos, inSize - 1.0));
    const double t = -(static_cast<int>((pos - base) * 50 + 0.5) / 50.0);
    return {base,
            {static_cast<int>(Cubic(t - 0.5) * kUnit), static_cast<int>(Cubic(t + 0.5) * kUnit),
             static_cast<int>(Cubic(t + 1.5) * kUnit), static_cast<int>(Cubic(t + 2.5) * kUnit)}};
}

std::vector<kernels::CubicTap> BuildCubicTaps(int inSize, int outSize) {
    std::vector<kernels::CubicTap> taps(static_cast<std::size_t>(outSize));
    for (int j = 0; j < outSize; ++j) taps[static_cast<std::size_t>(j)] = CubicTapOf(inSize, outSize, j);
    return taps;
}

bool ScaleCubic(const ConstPlanes& source, const Planes& target, std::span<const kernels::CubicTap> rows,
                const AbortFlag& abort) {
    if (source.width < kNarrowestCubic || source.height < 1) return true;
    const kernels::CubicLine columns(BuildCubicTaps(source.width, target.width));
    return ShareRows(0, target.height, [&](std::int64_t y, std::int64_t end) {
        CubicRows result(source, target.width, columns);
        for (; y < end; ++y) {
            if (abort.IsSet()) return false;
            result.Make(rows[static_cast<std::size_t>(y)], target, static_cast<int>(y));
        }
        return true;
    });
}

}  // namespace kestrel::passes
