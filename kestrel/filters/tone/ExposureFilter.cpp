#include "kestrel/filters/tone/ExposureFilter.h"

#include "kestrel/filters/tone/ToneTables.h"
#include "kestrel/kernels/HslRows.h"

namespace kestrel {
void CExposureFilter::RebuildTables() {
    GammaFirst = PowerTable(ToneExponent(Pending().red));  // at a commit the pending record is the active one
    GammaSecond = PowerTable(ToneExponent(Pending().blue));
}

FilterResult CExposureFilter::MakePixels(const PixelRequest& request) {
    const auto saturation = static_cast<std::int32_t>(std::int64_t{Active().green} * 80 / 100);
    if (saturation == 0) {
        std::array<std::uint8_t, 256> both;
        for (std::size_t i = 0; i < 256; ++i) both[i] = GammaSecond[GammaFirst[i]];
        return InPlace(request, [&both](const kernels::RowPair& row) { kernels::TableRow(row, both); });
    }
    const double factor = kernels::SatFactor(saturation);
    return InPlace(request, [this, factor](std::span<std::uint8_t> pixels) {
        kernels::TableRow(pixels, GammaFirst);
        kernels::SaturateRow(pixels, factor);
        kernels::TableRow(pixels, GammaSecond);
    });
}

}  // namespace kestrel
