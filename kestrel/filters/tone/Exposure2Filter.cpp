#include "kestrel/filters/tone/Exposure2Filter.h"

#include <cstdlib>

#include "kestrel/filters/tone/ToneTables.h"
#include "kestrel/foundation/Truncate.h"
#include "kestrel/kernels/ColourRows.h"

namespace kestrel {
namespace {

void FillCast(std::array<std::int32_t, 256>& table, std::int32_t slider) {
    const auto curve = PowerCurve(ToneExponent(slider));
    for (std::size_t i = 0; i < 256; ++i) table[i] = TruncateToInt(static_cast<double>(i) - curve[i]);
}

/// The cast of a channel falls to nothing where the channel equals the grey; a strong one wraps in the byte.
std::uint8_t Balance(std::uint8_t byte, int grey, const std::array<std::int32_t, 256>& cast) {
    return static_cast<std::uint8_t>(byte - std::int64_t{cast[byte]} * std::abs(grey - byte) / 85);
}

}  // namespace

void CExposure2Filter::RebuildTables() {
    FillCast(CastRed, Active().red);
    FillCast(CastGreen, Active().green);
    FillCast(CastBlue, Active().blue);
}

FilterResult CExposure2Filter::MakePixels(const PixelRequest& request) {
    return InPlace(request, [this](std::span<std::uint8_t> pixels) {
        kernels::MapPixels(pixels, [this](kernels::Bgr p) {
            const int grey = (p.blue + p.green + p.red) / 3;
            return kernels::Bgr{Balance(p.blue, grey, CastBlue), Balance(p.green, grey, CastGreen),
                                Balance(p.red, grey, CastRed)};
        });
    });
}

}  // namespace kestrel
