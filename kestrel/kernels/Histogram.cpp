#include "kestrel/kernels/Histogram.h"  // plain headers first: nothing shared may be compiled for one target

#include <algorithm>
#include <cstring>

#include "kestrel/kernels/ColourRows.h"

// Of the longer AVX-512 that has permutes of bytes.
#define HWY_WANT_AVX3_DL
#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "kestrel/kernels/Histogram.cpp"
#include <hwy/foreach_target.h>  // compiles this file once for each instruction set

#include "kestrel/kernels/PixelSums-inl.h"
#include "kestrel/kernels/Rows-inl.h"

HWY_BEFORE_NAMESPACE();
namespace kestrel::kernels::HWY_NAMESPACE {

void MeasureLuminance(ConstRow row, Row luminance) {
    std::uint8_t* const out = luminance.data();
    std::size_t i = 0;
#if HWY_TARGET == HWY_AVX3_DL
    for (; i + kBytes64 <= row.size(); i += kBytes64) {
        Sums16 sums[4];
        Pixels64(row.data() + i).Sum(kLuminanceWeights, sums);
        for (auto& sum : sums) sum = hn::ShiftRight<8>(sum);
        const auto bytes = NarrowWords(Pack(sums[0], sums[1]), Pack(sums[2], sums[3]));
        hn::StoreU(Signed(bytes), hn::ScalableTag<std::uint8_t>(), out + i / 3);
    }
#elif HWY_TARGET != HWY_SCALAR
    const hn::ScalableTag<std::uint8_t> d8;
    const hn::RepartitionToWide<decltype(d8)> d;
    for (; i + 3 * hn::Lanes(d8) <= row.size(); i += 3 * hn::Lanes(d8)) {
        hn::Vec<decltype(d8)> blue, green, red;
        hn::LoadInterleaved3(d8, row.data() + i, blue, green, red);
        const auto even = LuminanceLanes(d, ByteOfLanes<0>(d, blue), ByteOfLanes<0>(d, green), ByteOfLanes<0>(d, red));
        const auto odd = LuminanceLanes(d, ByteOfLanes<1>(d, blue), ByteOfLanes<1>(d, green), ByteOfLanes<1>(d, red));
        hn::StoreU(hn::Or(LanesToByte<0>(d, even), LanesToByte<1>(d, odd)), d8, out + i / 3);
    }
#endif
    for (; i + 2 < row.size(); i += 3) out[i / 3] = Luminance(Load(&row[i]));
}

}  // namespace kestrel::kernels::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace kestrel::kernels {
namespace {

/// Counts of bytes in four tables, so that the same tone many times in a row does not wait for its own counts.
class SplitCount {
public:
    void Add(std::size_t table, std::uint64_t byte) { ++tables_[table % kTables][byte & 255]; }
    void AddTo(Histogram& histogram) const {
        for (const Histogram& table : tables_) AddCounts(table, histogram);
    }

private:
    static constexpr std::size_t kTables = 4;
    std::array<Histogram, kTables> tables_{};
};

/// Rows of fewer pixels are not worth the tables.
constexpr std::size_t kShortRow = 512;

void CountBytes(ConstRow bytes, SplitCount& count) {
    std::size_t i = 0;
    for (; i + 8 <= bytes.size(); i += 8) {
        std::uint64_t eight;
        std::memcpy(&eight, bytes.data() + i, 8);
        for (std::size_t k = 0; k < 8; ++k) count.Add(k, eight >> (8 * k));
    }
    for (; i < bytes.size(); ++i) count.Add(0, bytes[i]);
}

}  // namespace

HWY_EXPORT(MeasureLuminance);
void MeasureLuminance(ConstRow row, Row luminance) { HWY_DYNAMIC_DISPATCH(MeasureLuminance)(row, luminance); }

void CountLuminance(ConstRow row, Histogram& luminance) {
    if (row.size() < 3 * kShortRow) {
        for (std::size_t i = 0; i + 2 < row.size(); i += 3) ++luminance[Luminance(Load(&row[i]))];
        return;
    }
    constexpr std::size_t kPart = 1024;  // pixels; their luminance stays in the nearest cache
    std::array<std::uint8_t, kPart> bytes;
    SplitCount count;
    for (std::size_t i = 0; i < row.size(); i += 3 * kPart) {
        const ConstRow part = row.subspan(i, std::min(3 * kPart, row.size() - i));
        MeasureLuminance(part, bytes);
        CountBytes(ConstRow(bytes).first(part.size() / 3), count);
    }
    count.AddTo(luminance);
}

void CountChannels(ConstRow row, ChannelHistograms& channels) {
    std::size_t i = 0;
    if (row.size() >= 3 * kShortRow) {
        SplitCount blue, green, red;
        for (; i + 12 <= row.size(); i += 12)
            for (std::size_t k = 0; k < 4; ++k) {
                blue.Add(k, row[i + 3 * k]);
                green.Add(k, row[i + 3 * k + 1]);
                red.Add(k, row[i + 3 * k + 2]);
            }
        blue.AddTo(channels.blue);
        green.AddTo(channels.green);
        red.AddTo(channels.red);
    }
    for (; i + 2 < row.size(); i += 3) {
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
#endif
