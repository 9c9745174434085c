#include "kestrel/kernels/ByteTable.h"  // plain headers first: nothing shared may be compiled for one target

// Of the longer AVX-512 that has permutes of bytes.
#define HWY_WANT_AVX3_DL
#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "kestrel/kernels/ByteTable.cpp"
#include <hwy/foreach_target.h>  // compiles this file once for each instruction set

#include "kestrel/kernels/Rows-inl.h"

// A shuffle looks bytes up in a table of 16, so that 16 shuffles and choices between their answers make a table of 256.
// For 16 bytes at once that is no faster than one byte after the other: 19 ms either way for 72 MB. For 32 it takes
// 10 ms, for 64 it takes 6. A permute of bytes looks up 128 at once: 3 ms.
#undef KESTREL_SHUFFLED_TABLES
#define KESTREL_SHUFFLED_TABLES (HWY_TARGET <= HWY_AVX2)

HWY_BEFORE_NAMESPACE();
namespace kestrel::kernels::HWY_NAMESPACE {

#if KESTREL_SHUFFLED_TABLES
namespace hn = hwy::HWY_NAMESPACE;

/// A table on its way through a row.
template <class D>
class Lookup {
public:
    using V = hn::Vec<D>;
#if HWY_TARGET == HWY_AVX3_DL
    Lookup(D d, const ByteTable& table) {
        for (std::size_t part = 0; part < 4; ++part) quarters_[part] = hn::LoadU(d, table.data() + 64 * part);
    }
    /// The answers for both halves of the table, of which the upper bit chooses one.
    HWY_INLINE V operator()(V bytes) const {
        const V lower{_mm512_permutex2var_epi8(quarters_[0].raw, bytes.raw, quarters_[1].raw)};
        const V upper{_mm512_permutex2var_epi8(quarters_[2].raw, bytes.raw, quarters_[3].raw)};
        return V{_mm512_mask_mov_epi8(lower.raw, _mm512_movepi8_mask(bytes.raw), upper.raw)};
    }

private:
    V quarters_[4];
#else
    Lookup(D d, const ByteTable& table) : d_(d), table_(table.data()) {}
    /// All 16 answers to the low half of each byte, of which the bits of its high half choose one.
    HWY_INLINE V operator()(V bytes) const {
        const hn::RebindToSigned<D> di;
        const V low = hn::And(bytes, hn::Set(d_, std::uint8_t{15}));
        const auto bit7 = hn::BitCast(di, bytes);
        const auto bit6 = hn::Add(bit7, bit7);
        const auto bit5 = hn::Add(bit6, bit6);
        const auto bit4 = hn::Add(bit5, bit5);
        const auto choose = [](auto bit, auto set, auto clear)
                                HWY_ATTR { return hn::IfNegativeThenElse(bit, set, clear); };
        const auto of16 = [&](std::size_t part) HWY_ATTR {
            return hn::BitCast(di, hn::TableLookupBytes(hn::LoadDup128(d_, table_ + 16 * part), low));
        };
        const auto of64 = [&](std::size_t part) HWY_ATTR {
            return choose(bit5, choose(bit4, of16(part + 3), of16(part + 2)), choose(bit4, of16(part + 1), of16(part)));
        };
        return hn::BitCast(d_, choose(bit7, choose(bit6, of64(12), of64(8)), choose(bit6, of64(4), of64(0))));
    }

private:
    D d_;
    const std::uint8_t* table_;
#endif
};
#endif

void TableRow(const RowPair& row, const ByteTable& table) {
#if KESTREL_SHUFFLED_TABLES
    const hn::ScalableTag<std::uint8_t> d;
    const Lookup look(d, table);
    EachGroup(row, [&](const std::uint8_t* from, std::uint8_t* to, auto put) HWY_ATTR {
        for (std::size_t i = 0; i < GroupSize(); i += hn::Lanes(d)) put(look(hn::LoadU(d, from + i)), d, to + i);
    });
#else
    for (std::size_t i = 0; i < row.size(); ++i) row.to[i] = table[row.from[i]];
#endif
}

void ChannelTablesRow(const RowPair& row, const ChannelTables& tables) {
#if KESTREL_SHUFFLED_TABLES
    const hn::ScalableTag<std::uint8_t> d;
    const Lookup lookBlue(d, tables.blue);
    const Lookup lookGreen(d, tables.green);
    const Lookup lookRed(d, tables.red);
    EachGroup(row, [&](const std::uint8_t* from, std::uint8_t* to, auto put) HWY_ATTR {
        hn::Vec<decltype(d)> blue, green, red;
        hn::LoadInterleaved3(d, from, blue, green, red);
        put.Planes(lookBlue(blue), lookGreen(green), lookRed(red), d, to);
    });
#else
    for (std::size_t i = 0; i + 2 < row.size(); i += 3) {
        row.to[i] = tables.blue[row.from[i]];
        row.to[i + 1] = tables.green[row.from[i + 1]];
        row.to[i + 2] = tables.red[row.from[i + 2]];
    }
#endif
}

}  // namespace kestrel::kernels::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace kestrel::kernels {

HWY_EXPORT(TableRow);
void TableRow(const RowPair& row, const ByteTable& table) {
    if (table == kIdentityTable) return CopyRow(row);
    HWY_DYNAMIC_DISPATCH(TableRow)(row, table);
}

HWY_EXPORT(ChannelTablesRow);
void ChannelTablesRow(const RowPair& row, const ChannelTables& tables) {
    if (tables.blue == tables.green && tables.green == tables.red) return TableRow(row, tables.blue);
    HWY_DYNAMIC_DISPATCH(ChannelTablesRow)(row, tables);
}

}  // namespace kestrel::kernels
#endif
