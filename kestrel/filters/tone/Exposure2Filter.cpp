#include "kestrel/filters/tone/Exposure2Filter.h"

#include "kestrel/filters/tone/ToneTables.h"
#include "kestrel/foundation/Truncate.h"

namespace kestrel {
namespace {

void FillCast(std::array<std::int32_t, 256>& table, std::int32_t slider) {
    const auto curve = PowerCurve(ToneExponent(slider));
    for (std::size_t i = 0; i < 256; ++i) table[i] = TruncateToInt(static_cast<double>(i) - curve[i]);
}

}  // namespace

void CExposure2Filter::RebuildTables() {
    FillCast(CastRed, Active().red);
    FillCast(CastGreen, Active().green);
    FillCast(CastBlue, Active().blue);
    balance_ = kernels::MakeBalance(CastBlue, CastGreen, CastRed);
}

FilterResult CExposure2Filter::MakePixels(const PixelRequest& request) {
    return InPlace(request, [this](std::span<std::uint8_t> pixels) { kernels::BalanceRow(pixels, balance_); });
}

}  // namespace kestrel
