#include "kestrel/kernels/Composite.h"

#include <cstddef>
#include <cstring>

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "kestrel/kernels/Composite.cpp"
#include <hwy/foreach_target.h>
#include <hwy/highway.h>

HWY_BEFORE_NAMESPACE();
namespace kestrel::kernels::HWY_NAMESPACE {
namespace hn = hwy::HWY_NAMESPACE;

#if HWY_TARGET != HWY_SCALAR
// Single precision is exact here: sums of weights are at most 255 * 255, so that each weighted sum is a whole number of
// at most 24 bits, and a quotient of at most 255 that is not whole lies further below the next whole number (1 / 65025)
// than floats lie apart there (1 / 65536). Cutting the rounded quotient therefore cuts the quotient.
using Lanes = hn::ScalableTag<float>;
using ByteLanes = hn::Rebind<std::uint8_t, Lanes>;
using Numbers = hn::Vec<Lanes>;
using Bytes = hn::Vec<ByteLanes>;
using Which = hn::Mask<Lanes>;

HWY_INLINE Numbers Widened(Bytes bytes) {
    const hn::RebindToSigned<Lanes> di;
    return hn::ConvertTo(Lanes(), hn::PromoteTo(di, bytes));
}

/// The numbers, 0..255, cut to bytes.
HWY_INLINE Bytes Cut(Numbers numbers) {
    return hn::DemoteTo(ByteLanes(), hn::ConvertTo(hn::RebindToSigned<Lanes>(), numbers));
}

HWY_INLINE Numbers Set(int value) { return hn::Set(Lanes(), static_cast<float>(value)); }

/// A run of pixels in three planes.
struct Pixels {
    Bytes blue, green, red;

    HWY_INLINE explicit Pixels(const std::uint8_t* from) { hn::LoadInterleaved3(ByteLanes(), from, blue, green, red); }
    HWY_INLINE explicit Pixels(Bgr color)
        : blue(hn::Set(ByteLanes(), color.blue)),
          green(hn::Set(ByteLanes(), color.green)),
          red(hn::Set(ByteLanes(), color.red)) {}
    HWY_INLINE void Store(std::uint8_t* to) const { hn::StoreInterleaved3(blue, green, red, ByteLanes(), to); }
};

/// Two pixels by their weights; where both weigh nothing, the second one.
struct Mix {
    Numbers first, second, sum;
    Which nothing;

    HWY_INLINE Mix(Numbers a, Numbers b) : first(a), second(b), sum(hn::Add(a, b)) {
        nothing = hn::Eq(sum, hn::Zero(Lanes()));
        sum = hn::IfThenElse(nothing, Set(1), sum);
    }
    HWY_INLINE Bytes Of(Bytes a, Bytes b) const {
        const auto y = Widened(b);
        const auto mixed = hn::Div(hn::Add(hn::Mul(Widened(a), first), hn::Mul(y, second)), sum);
        return Cut(hn::IfThenElse(nothing, y, mixed));
    }
    HWY_INLINE Pixels Of(const Pixels& a, Pixels b) const {
        b.blue = Of(a.blue, b.blue);
        b.green = Of(a.green, b.green);
        b.red = Of(a.red, b.red);
        return b;
    }
};

/// `OverPixel` for all of its cases: they come out of the one formula, where the lower mask is 0 or 255 as well.
struct OverMix {
    Mix mix;
    Bytes mask;

    HWY_INLINE OverMix(Bytes underMask, Bytes overMask) : OverMix(Widened(underMask), Widened(overMask)) {}
    HWY_INLINE OverMix(Numbers under, Numbers over)
        : mix(hn::Mul(hn::Sub(Set(255), over), Set(255)), hn::Mul(over, hn::Sub(Set(255), under))),
          mask(Cut(hn::Div(hn::Mul(over, under), Set(255)))) {}
};

/// Pixels of one colour, to be laid over many.
class Fill {
public:
    explicit Fill(Bgr color) {
        hn::StoreInterleaved3(hn::Set(d_, color.blue), hn::Set(d_, color.green), hn::Set(d_, color.red), d_, bytes_);
    }
    /// Writes as many pixels as a vector has bytes.
    HWY_INLINE void Store(std::uint8_t* to) const {
        const std::size_t lanes = hn::Lanes(d_);
        for (std::size_t i = 0; i < 3 * lanes; i += lanes) hn::StoreU(hn::Load(d_, bytes_ + i), d_, to + i);
    }

private:
    const hn::ScalableTag<std::uint8_t> d_;
    HWY_ALIGN std::uint8_t bytes_[3 * HWY_MAX_BYTES];
};
#endif

/// Goes over a mask and does runs of pixels by what it says, so that the large parts of a picture that are there, or
/// not, cost little: `there(x, count)` where it is 0, `gone(x, count)` where it is 255, for as many pixels as a vector
/// has bytes, `mix(x)` for as many as a vector has numbers. Returns the number of pixels done; the others are the
/// caller's.
template <class There, class Gone, class Blend>
std::size_t Runs([[maybe_unused]] ConstRow mask, [[maybe_unused]] const There& there, [[maybe_unused]] const Gone& gone,
                 [[maybe_unused]] const Blend& mix) {
    std::size_t x = 0;
#if HWY_TARGET != HWY_SCALAR
    const hn::ScalableTag<std::uint8_t> d;
    const std::size_t count = hn::Lanes(d), lanes = hn::Lanes(Lanes());
    for (; x + count <= mask.size(); x += count) {
        const auto m = hn::LoadU(d, mask.data() + x);
        const auto all = [&](int value) HWY_ATTR { return hn::AllTrue(d, hn::Eq(m, hn::Set(d, value))); };
        if (all(0))
            there(x, count);
        else if (all(255))
            gone(x, count);
        else
            for (std::size_t k = x; k < x + count; k += lanes) mix(k);
    }
    for (; x + lanes <= mask.size(); x += lanes) mix(x);
#endif
    return x;
}

void OverRow(MaskedRow under, ConstMaskedRow over) {
    std::uint8_t* const pixels = under.pixels.data();
    std::uint8_t* const mask = under.mask.data();
    const std::uint8_t* const upper = over.pixels.data();
    const std::uint8_t* const upperMask = over.mask.data();
    const std::size_t size = under.mask.size();
    std::size_t x = 0;
#if HWY_TARGET != HWY_SCALAR
    const auto there = [&](std::size_t i, std::size_t count) {
        std::memcpy(pixels + 3 * i, upper + 3 * i, 3 * count);
        std::memset(mask + i, 0, count);
    };
    const auto gone = [](std::size_t, std::size_t) {};
    x = Runs(over.mask.first(size), there, gone, [&](std::size_t i) HWY_ATTR {
        const OverMix laid(hn::LoadU(ByteLanes(), mask + i), hn::LoadU(ByteLanes(), upperMask + i));
        laid.mix.Of(Pixels(upper + 3 * i), Pixels(pixels + 3 * i)).Store(pixels + 3 * i);
        hn::StoreU(laid.mask, ByteLanes(), mask + i);
    });
#endif
    for (; x < size; ++x) OverPixel(pixels + 3 * x, mask[x], upper + 3 * x, upperMask[x]);
}

void LayOnColorRow(MaskedRow row, Bgr color, ConstRow colorMask) {
    std::uint8_t* const pixels = row.pixels.data();
    std::uint8_t* const mask = row.mask.data();
    const std::uint8_t* const under = colorMask.data();
    const std::size_t size = row.mask.size();
    std::size_t x = 0;
#if HWY_TARGET != HWY_SCALAR
    const Fill fill(color);
    const auto there = [](std::size_t, std::size_t) {};
    const auto gone = [&](std::size_t i, std::size_t count) HWY_ATTR {
        fill.Store(pixels + 3 * i);
        std::memcpy(mask + i, under + i, count);
    };
    x = Runs(row.mask, there, gone, [&](std::size_t i) HWY_ATTR {
        const OverMix over(hn::LoadU(ByteLanes(), under + i), hn::LoadU(ByteLanes(), mask + i));
        over.mix.Of(Pixels(pixels + 3 * i), Pixels(color)).Store(pixels + 3 * i);
        hn::StoreU(over.mask, ByteLanes(), mask + i);
    });
#endif
    for (; x < size; ++x) LayOnColorPixel(pixels + 3 * x, mask[x], color, under[x]);
}

void PaintInnerRow(MaskedRow row, Bgr board, std::int32_t alpha) {
    std::uint8_t* const pixels = row.pixels.data();
    std::uint8_t* const mask = row.mask.data();
    const std::size_t size = row.mask.size();
    std::size_t x = 0;
#if HWY_TARGET != HWY_SCALAR
    const Pixels shown(ShownBoard(board, alpha));
    std::uint8_t bare[3] = {}, bareMask = 255;
    PaintInnerPixel(bare, bareMask, board, alpha);
    const Fill fill({bare[0], bare[1], bare[2]});
    const auto there = [](std::size_t, std::size_t) {};
    const auto gone = [&](std::size_t i, std::size_t count) HWY_ATTR {
        fill.Store(pixels + 3 * i);
        std::memset(mask + i, bareMask, count);
    };
    x = Runs(row.mask, there, gone, [&](std::size_t i) HWY_ATTR {
        const auto weight = Widened(hn::LoadU(ByteLanes(), mask + i));
        const auto n = Cut(hn::Div(hn::Mul(weight, Set(alpha)), Set(255)));
        Mix mix(hn::Sub(Set(255), weight), weight);
        mix.sum = hn::Sub(Set(255), Widened(n));
        mix.Of(Pixels(pixels + 3 * i), shown).Store(pixels + 3 * i);
        hn::StoreU(n, ByteLanes(), mask + i);
    });
#endif
    for (; x < size; ++x) PaintInnerPixel(pixels + 3 * x, mask[x], board, alpha);
}

void InvertMaskRow(MaskedRow row, Bgr color, std::int32_t percent) {
    std::uint8_t* const pixels = row.pixels.data();
    std::uint8_t* const mask = row.mask.data();
    const std::size_t size = row.mask.size();
    std::size_t x = 0;
#if HWY_TARGET != HWY_SCALAR
    const Pixels filled(color);
    const auto stays = Set(100 - percent);
    const auto turns = Set(percent);
    std::uint8_t seen[3] = {}, seenMask = 0, bare[3] = {}, bareMask = 255;
    InvertMaskPixel(seen, seenMask, color, percent);
    InvertMaskPixel(bare, bareMask, color, percent);
    const Fill fill({bare[0], bare[1], bare[2]});
    const auto there = [&](std::size_t i, std::size_t count) { std::memset(mask + i, seenMask, count); };
    const auto gone = [&](std::size_t i, std::size_t count) HWY_ATTR {
        if (percent != 0) fill.Store(pixels + 3 * i);  // else they stay
        std::memset(mask + i, bareMask, count);
    };
    x = Runs(row.mask, there, gone, [&](std::size_t i) HWY_ATTR {
        const auto hidden = Widened(hn::LoadU(ByteLanes(), mask + i));
        const auto shown = hn::Sub(Set(255), hidden);
        const Mix mix(hn::Mul(hidden, turns), hn::Mul(shown, stays));
        mix.Of(filled, Pixels(pixels + 3 * i)).Store(pixels + 3 * i);
        const auto turned = hn::Div(hn::Add(hn::Mul(hidden, stays), hn::Mul(shown, turns)), Set(100));
        hn::StoreU(Cut(hn::IfThenElse(mix.nothing, Set(255), turned)), ByteLanes(), mask + i);
    });
#endif
    for (; x < size; ++x) InvertMaskPixel(pixels + 3 * x, mask[x], color, percent);
}

}  // namespace kestrel::kernels::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace kestrel::kernels {

HWY_EXPORT(OverRow);
void OverRow(MaskedRow under, ConstMaskedRow over) { HWY_DYNAMIC_DISPATCH(OverRow)(under, over); }

HWY_EXPORT(LayOnColorRow);
void LayOnColorRow(MaskedRow row, Bgr color, ConstRow colorMask) {
    HWY_DYNAMIC_DISPATCH(LayOnColorRow)(row, color, colorMask);
}

HWY_EXPORT(PaintInnerRow);
void PaintInnerRow(MaskedRow row, Bgr board, std::int64_t alpha) {
    if (alpha > 254) return;
    if (alpha >= 0) return HWY_DYNAMIC_DISPATCH(PaintInnerRow)(row, board, static_cast<std::int32_t>(alpha));
    for (std::size_t x = 0; x < row.mask.size(); ++x)
        PaintInnerPixel(row.pixels.data() + 3 * x, row.mask[x], board, alpha);
}

HWY_EXPORT(InvertMaskRow);
void InvertMaskRow(MaskedRow row, Bgr color, std::int32_t percent) {
    if (percent >= 0 && percent <= 100) return HWY_DYNAMIC_DISPATCH(InvertMaskRow)(row, color, percent);
    for (std::size_t x = 0; x < row.mask.size(); ++x)
        InvertMaskPixel(row.pixels.data() + 3 * x, row.mask[x], color, percent);
}

}  // namespace kestrel::kernels
#endif
