#include "kestrel/kernels/ColourRows.h"  // plain headers first: nothing shared may be compiled for one target

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "kestrel/kernels/ColourRows.cpp"
#include <hwy/foreach_target.h>  // compiles this file once for each instruction set

#include "kestrel/kernels/Rows-inl.h"

HWY_BEFORE_NAMESPACE();
namespace kestrel::kernels::HWY_NAMESPACE {

/// `opacity` percent of `over` on `under` for 0..100 percent of bytes, in 16-bit lanes.
template <class D, class V>
HWY_INLINE V MixPercent16(D d, V over, V under, std::uint16_t opacity) {
    const auto o = hn::Set(d, opacity);
    const auto mix = hn::Add(hn::Mul(o, over), hn::Mul(hn::Sub(hn::Set(d, std::uint16_t{100}), o), under));
    return hn::ShiftRight<3>(hn::MulHigh(mix, hn::Set(d, std::uint16_t{5243})));  // mix / 100, proved below
}

void InvertRow(Row row, std::int32_t inversity) {
    const auto opacity = static_cast<std::uint16_t>(inversity);
    const auto wide = [opacity](auto d, auto p)
                          HWY_ATTR { return MixPercent16(d, hn::Sub(hn::Set(d, std::uint16_t{255}), p), p, opacity); };
    MapBytes(row, wide, [inversity](std::uint8_t p) { return InvertByte(p, inversity); });
}

void TransparencyRow(Row mask, std::uint8_t keep) {
    const auto wide = [keep](auto d, auto m) HWY_ATTR {
        const auto full = hn::Set(d, std::uint16_t{255});
        const auto opacity = hn::Mul(hn::Set(d, std::uint16_t{keep}), hn::Sub(full, m));
        // opacity / 255, proved below
        return hn::Sub(full, hn::ShiftRight<7>(hn::MulHigh(opacity, hn::Set(d, std::uint16_t{0x8081}))));
    };
    MapBytes(mask, wide, [keep](std::uint8_t m) { return TransparencyByte(m, keep); });
}

void BlackWhiteRow(Row row, std::int32_t percent) {
    const auto wide = [percent](auto d, auto& blue, auto& green, auto& red) HWY_ATTR {
        const hn::RebindToUnsigned<decltype(d)> du;
        const auto sum = hn::Add(hn::Add(hn::Mul(blue, hn::Set(d, 71)), hn::Mul(green, hn::Set(d, 707))),
                                 hn::Mul(red, hn::Set(d, 222)));
        // sum / 1000 as sum / 8 / 125, and mix / 100: proved below
        const auto eighth = hn::BitCast(du, hn::ShiftRight<3>(sum));
        const auto grey = hn::BitCast(d, hn::ShiftRight<22>(hn::Mul(eighth, hn::Set(du, std::uint32_t{33555}))));
        const auto over = hn::Mul(grey, hn::Set(d, percent));
        const auto under = hn::Set(d, 100 - percent);
        const auto mix = [&](auto byte) HWY_ATTR {
            return hn::ShiftRight<19>(hn::Mul(hn::Add(over, hn::Mul(byte, under)), hn::Set(d, 5243)));
        };
        blue = mix(blue);
        green = mix(green);
        red = mix(red);
    };
    MapPlanes(row, wide, [percent](Bgr p) { return BlackWhitePixel(p, percent); });
}

void SepiaRow(Row row, std::uint8_t keep) {
    const auto wide = [keep](auto d, auto& blue, auto& green, auto& red) HWY_ATTR {
        const hn::RebindToUnsigned<decltype(d)> du;
        const auto grey = LuminanceLanes(d, blue, green, red);
        const auto stays = hn::Set(d, std::int32_t{keep});
        const auto tone = hn::Set(d, 255 - keep);
        const auto mix = [&](auto byte, int tint) HWY_ATTR {
            const auto sum = hn::Add(hn::Mul(byte, stays), hn::Mul(hn::Add(grey, hn::Set(d, tint)), tone));
            // Below 0 is 0; from 65280 on the quotient is above 255. Between, sum / 255 is proved below.
            const auto held = hn::Min(hn::Max(sum, hn::Zero(d)), hn::Set(d, 65535));
            const auto quotient =
                hn::ShiftRight<23>(hn::Mul(hn::BitCast(du, held), hn::Set(du, std::uint32_t{0x8081})));
            return hn::Min(hn::BitCast(d, quotient), hn::Set(d, 255));
        };
        blue = mix(blue, kSepiaBlueTint);
        green = mix(green, kSepiaGreenTint);
        red = mix(red, kSepiaRedTint);
    };
    MapPlanes(row, wide, [keep](Bgr p) { return SepiaPixel(p, keep); });
}

void ShiftRow(Row row, ColourShift shift) {
    std::size_t i = 0;
#if HWY_TARGET != HWY_SCALAR
    // What is added and what is taken, three vectors of the repeating pattern blue, green, red.
    const hn::ScalableTag<std::uint8_t> d;
    const std::size_t lanes = hn::Lanes(d);
    HWY_ALIGN std::uint8_t more[3 * HWY_MAX_BYTES];
    HWY_ALIGN std::uint8_t less[3 * HWY_MAX_BYTES];
    for (std::size_t k = 0; k < 3 * lanes; ++k) {
        const std::int64_t amount = k % 3 == 0 ? shift.blue : k % 3 == 1 ? shift.green : shift.red;
        more[k] = ClampToByte(amount);
        less[k] = ClampToByte(-amount);
    }
    for (; i + 3 * lanes <= row.size(); i += 3 * lanes)
        for (std::size_t k = 0; k < 3 * lanes; k += lanes) {
            std::uint8_t* const at = row.data() + i + k;
            const auto raised = hn::SaturatedAdd(hn::LoadU(d, at), hn::Load(d, more + k));
            hn::StoreU(hn::SaturatedSub(raised, hn::Load(d, less + k)), d, at);
        }
#endif
    MapPixels(row.subspan(i), [shift](Bgr p) { return ShiftPixel(p, shift); });
}

}  // namespace kestrel::kernels::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace kestrel::kernels {
namespace {

/// floor(x * factor / 2^shift) == x / divisor for all x up to `greatest`. Both sides only grow, so that the two values
/// beside each multiple of the divisor decide.
consteval bool Divides(std::uint64_t factor, int shift, std::uint64_t divisor, std::uint64_t greatest) {
    for (std::uint64_t x = 0; x <= greatest; x += divisor) {
        if ((x * factor) >> shift != x / divisor) return false;
        const std::uint64_t last = x + divisor - 1 < greatest ? x + divisor - 1 : greatest;
        if ((last * factor) >> shift != x / divisor) return false;
    }
    return greatest * factor < std::uint64_t{1} << 32;
}
static_assert(Divides(5243, 19, 100, 25500));
static_assert(Divides(0x8081, 23, 255, 65535));
static_assert(Divides(33555, 22, 125, 255000 / 8));

constexpr bool IsPercent(std::int32_t value) { return value >= 0 && value <= 100; }

}  // namespace

HWY_EXPORT(InvertRow);
void InvertRow(Row row, std::int32_t inversity) {
    if (IsPercent(inversity)) return HWY_DYNAMIC_DISPATCH(InvertRow)(row, inversity);
    for (std::uint8_t& byte : row) byte = InvertByte(byte, inversity);
}

HWY_EXPORT(BlackWhiteRow);
void BlackWhiteRow(Row row, std::int32_t percent) {
    if (IsPercent(percent)) return HWY_DYNAMIC_DISPATCH(BlackWhiteRow)(row, percent);
    MapPixels(row, [percent](Bgr p) { return BlackWhitePixel(p, percent); });
}

HWY_EXPORT(SepiaRow);
void SepiaRow(Row row, std::uint8_t keep) { HWY_DYNAMIC_DISPATCH(SepiaRow)(row, keep); }

HWY_EXPORT(TransparencyRow);
void TransparencyRow(Row mask, std::uint8_t keep) { HWY_DYNAMIC_DISPATCH(TransparencyRow)(mask, keep); }

HWY_EXPORT(ShiftRow);
void ShiftRow(Row row, ColourShift shift) { HWY_DYNAMIC_DISPATCH(ShiftRow)(row, shift); }

void TableRow(Row row, const ByteTable& table) {
    for (std::uint8_t& byte : row) byte = table[byte];
}

}  // namespace kestrel::kernels
#endif
