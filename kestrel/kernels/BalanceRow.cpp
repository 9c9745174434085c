#include "kestrel/kernels/BalanceRow.h"  // plain headers first: nothing shared may be compiled for one target

#include <algorithm>

#include "kestrel/kernels/Divides.h"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "kestrel/kernels/BalanceRow.cpp"
#include <hwy/foreach_target.h>  // compiles this file once for each instruction set

#include "kestrel/kernels/Rows-inl.h"

HWY_BEFORE_NAMESPACE();
namespace kestrel::kernels::HWY_NAMESPACE {

/// Balances a row whose casts, without their signs, are the bytes of `amounts`.
void BalanceRow(Row row, [[maybe_unused]] ConstRow amounts, const Balance& balance) {
    std::size_t i = 0;
#if HWY_TARGET != HWY_SCALAR
    const hn::ScalableTag<std::uint16_t> d;
    const hn::RebindToSigned<decltype(d)> di;
    const hn::Rebind<std::uint8_t, decltype(d)> d8;
    using V = hn::Vec<decltype(d)>;
    const auto move = [=](V byte, V amount, V grey, bool gains) HWY_ATTR {
        const auto distance = hn::Sub(hn::Max(byte, grey), hn::Min(byte, grey));
        // amount x distance / 85, and the third above: proved below
        const auto step = hn::ShiftRight<6>(hn::MulHigh(hn::Mul(amount, distance), hn::Set(d, std::uint16_t{49345})));
        const auto moved = gains ? hn::Add(byte, step) : hn::Sub(byte, step);
        return hn::DemoteTo(d8, hn::BitCast(di, hn::And(moved, hn::Set(d, std::uint16_t{255}))));
    };
    for (; i + 3 * hn::Lanes(d) <= row.size(); i += 3 * hn::Lanes(d)) {
        hn::Vec<decltype(d8)> blue8, green8, red8, blueAmount, greenAmount, redAmount;
        hn::LoadInterleaved3(d8, row.data() + i, blue8, green8, red8);
        hn::LoadInterleaved3(d8, amounts.data() + i, blueAmount, greenAmount, redAmount);
        const V blue = hn::PromoteTo(d, blue8);
        const V green = hn::PromoteTo(d, green8);
        const V red = hn::PromoteTo(d, red8);
        const V grey = hn::MulHigh(hn::Add(hn::Add(blue, green), red), hn::Set(d, std::uint16_t{21846}));
        hn::StoreInterleaved3(move(blue, hn::PromoteTo(d, blueAmount), grey, balance.gains[0]),
                              move(green, hn::PromoteTo(d, greenAmount), grey, balance.gains[1]),
                              move(red, hn::PromoteTo(d, redAmount), grey, balance.gains[2]), d8, row.data() + i);
    }
#endif
    MapPixels(row.subspan(i), [&balance](Bgr p) { return BalancePixel(p, balance); });
}

}  // namespace kestrel::kernels::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace kestrel::kernels {
namespace {

static_assert(Divides(21846, 16, 3, 3 * 255));
static_assert(Divides(49345, 22, 85, 255 * 255));

/// Takes the signs of a channel off; false when they differ or a cast does not fit a byte.
bool TakeSigns(const Cast& cast, ByteTable& amounts, bool& gains) {
    const auto [minimum, maximum] = std::minmax_element(cast.begin(), cast.end());
    if (*minimum < -255 || *maximum > 255 || (*minimum < 0 && *maximum > 0)) return false;
    gains = *minimum < 0;
    for (std::size_t i = 0; i < cast.size(); ++i) amounts[i] = static_cast<std::uint8_t>(gains ? -cast[i] : cast[i]);
    return true;
}

}  // namespace

Balance MakeBalance(const Cast& blue, const Cast& green, const Cast& red) {
    Balance balance;
    balance.blue = blue;
    balance.green = green;
    balance.red = red;
    balance.fits = TakeSigns(blue, balance.amounts.blue, balance.gains[0]) &&
                   TakeSigns(green, balance.amounts.green, balance.gains[1]) &&
                   TakeSigns(red, balance.amounts.red, balance.gains[2]);
    return balance;
}

HWY_EXPORT(BalanceRow);
void BalanceRow(Row row, const Balance& balance) {
    if (!balance.fits) return MapPixels(row, [&balance](Bgr p) { return BalancePixel(p, balance); });
    std::array<std::uint8_t, 3 * 512> amounts;
    for (std::size_t i = 0; i < row.size(); i += amounts.size()) {
        const Row part = row.subspan(i, std::min(amounts.size(), row.size() - i));
        std::ranges::copy(part, amounts.begin());
        ChannelTablesRow(Row(amounts).first(part.size()), balance.amounts);
        HWY_DYNAMIC_DISPATCH(BalanceRow)(part, amounts, balance);
    }
}

}  // namespace kestrel::kernels
#endif
