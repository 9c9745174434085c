#include "kestrel/kernels/ByteTable.h"  // plain headers first: nothing shared may be compiled for one target

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "kestrel/kernels/ByteTable.cpp"
#include <hwy/foreach_target.h>  // compiles this file once for each instruction set
#include <hwy/highway.h>

// A shuffle looks bytes up in a table of 16, so that 16 shuffles and choices between their answers make a table of 256.
// For 16 bytes at once that is no faster than one byte after the other: 19 ms either way for 72 MB. For 32 it takes
// 10 ms, for 64 it takes 6.
#undef KESTREL_SHUFFLED_TABLES
#define KESTREL_SHUFFLED_TABLES (HWY_TARGET <= HWY_AVX2)

HWY_BEFORE_NAMESPACE();
namespace kestrel::kernels::HWY_NAMESPACE {

#if KESTREL_SHUFFLED_TABLES
namespace hn = hwy::HWY_NAMESPACE;

/// Each byte through a table: all 16 answers to its low half, of which the bits of its high half choose one.
template <class D, class V = hn::Vec<D>>
HWY_INLINE V LookUp(D d, const ByteTable& table, V bytes) {
    const hn::RebindToSigned<D> di;
    const V low = hn::And(bytes, hn::Set(d, std::uint8_t{15}));
    const auto bit7 = hn::BitCast(di, bytes);
    const auto bit6 = hn::Add(bit7, bit7);
    const auto bit5 = hn::Add(bit6, bit6);
    const auto bit4 = hn::Add(bit5, bit5);
    const auto choose = [](auto bit, auto set, auto clear) HWY_ATTR { return hn::IfNegativeThenElse(bit, set, clear); };
    const auto of16 = [&](std::size_t part) HWY_ATTR {
        return hn::BitCast(di, hn::TableLookupBytes(hn::LoadDup128(d, table.data() + 16 * part), low));
    };
    const auto of64 = [&](std::size_t part) HWY_ATTR {
        return choose(bit5, choose(bit4, of16(part + 3), of16(part + 2)), choose(bit4, of16(part + 1), of16(part)));
    };
    return hn::BitCast(d, choose(bit7, choose(bit6, of64(12), of64(8)), choose(bit6, of64(4), of64(0))));
}
#endif

void TableRow(Row row, const ByteTable& table) {
    std::size_t i = 0;
#if KESTREL_SHUFFLED_TABLES
    const hn::ScalableTag<std::uint8_t> d;
    for (; i + hn::Lanes(d) <= row.size(); i += hn::Lanes(d))
        hn::StoreU(LookUp(d, table, hn::LoadU(d, row.data() + i)), d, row.data() + i);
#endif
    for (; i < row.size(); ++i) row[i] = table[row[i]];
}

void ChannelTablesRow(Row row, const ChannelTables& tables) {
    std::size_t i = 0;
#if KESTREL_SHUFFLED_TABLES
    const hn::ScalableTag<std::uint8_t> d;
    for (; i + 3 * hn::Lanes(d) <= row.size(); i += 3 * hn::Lanes(d)) {
        hn::Vec<decltype(d)> blue, green, red;
        hn::LoadInterleaved3(d, row.data() + i, blue, green, red);
        hn::StoreInterleaved3(LookUp(d, tables.blue, blue), LookUp(d, tables.green, green), LookUp(d, tables.red, red),
                              d, row.data() + i);
    }
#endif
    for (; i + 2 < row.size(); i += 3) {
        row[i] = tables.blue[row[i]];
        row[i + 1] = tables.green[row[i + 1]];
        row[i + 2] = tables.red[row[i + 2]];
    }
}

}  // namespace kestrel::kernels::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace kestrel::kernels {

HWY_EXPORT(TableRow);
void TableRow(Row row, const ByteTable& table) {
    if (table != kIdentityTable) HWY_DYNAMIC_DISPATCH(TableRow)(row, table);
}

HWY_EXPORT(ChannelTablesRow);
void ChannelTablesRow(Row row, const ChannelTables& tables) {
    if (tables.blue == tables.green && tables.green == tables.red)
        return TableRow(row.first(row.size() / 3 * 3), tables.blue);
    HWY_DYNAMIC_DISPATCH(ChannelTablesRow)(row, tables);
}

}  // namespace kestrel::kernels
#endif
