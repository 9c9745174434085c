#include "kestrel/kernels/Histogram.h"

#include "kestrel/kernels/ColourRows.h"

namespace kestrel::kernels {

void CountLuminance(ConstRow row, Histogram& luminance) {
    for (std::size_t i = 0; i + 2 < row.size(); i += 3) ++luminance[Luminance(Load(&row[i]))];
}

void CountChannels(ConstRow row, ChannelHistograms& channels) {
    for (std::size_t i = 0; i + 2 < row.size(); i += 3) {
        ++channels.blue[row[i]];
        ++channels.green[row[i + 1]];
        ++channels.red[row[i + 2]];
    }
}

ToneLimits Clip(const Histogram& histogram, std::uint64_t clipLow, std::uint64_t clipHigh) {
    ToneLimits limits;
    for (std::uint64_t sum = 0; sum < clipLow && limits.low < 256; ++limits.low)
        sum += histogram[static_cast<std::size_t>(limits.low)];
    for (std::uint64_t sum = 0; sum < clipHigh && limits.high >= 0; --limits.high)
        sum += histogram[static_cast<std::size_t>(limits.high)];
    return limits;
}

ByteTable LevelsTable(std::int64_t low, std::int64_t high) {
    // The product of a single-precision step and a distance below 2^33 is rounded once, to double, if at all.
    const double step = high == low ? 0.0 : static_cast<float>(255.0 / static_cast<double>(high - low));
    ByteTable table{};
    for (std::int64_t i = 0; i < 256; ++i)
        table[static_cast<std::size_t>(i)] = i >= high ? std::uint8_t{255}
                                             : i <= low
                                                 ? std::uint8_t{0}
                                                 : static_cast<std::uint8_t>(static_cast<double>(i - low) * step);
    return table;
}

}  // namespace kestrel::kernels
