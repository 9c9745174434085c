#pragma once
#include <cstddef>
#include <cstdint>
#include <span>

#include "kestrel/foundation/Export.h"

namespace kestrel::kernels {

/// Bytes of a row that stay the caller's: blue, green, red of each pixel, or one byte of the mask for each.
using Row = std::span<std::uint8_t>;
using ConstRow = std::span<const std::uint8_t>;

/// A row of pixels and its mask, which counts as many.
struct ConstMaskedRow {
    ConstRow pixels;
    ConstRow mask;
};
struct MaskedRow {
    Row pixels;
    Row mask;
    operator ConstMaskedRow() const { return {pixels, mask}; }
};

/// A row that is made of another one, byte by byte. The result is the source itself or overlaps nothing of it.
struct RowPair {
    ConstRow from;
    Row to;  ///< as long
    /// The result is so large that nobody reads the row before it has left the caches: it is written past them, and its
    /// memory is not read first. Whoever asks for that calls `FinishStream` before another thread reads the row.
    bool streams = false;

    RowPair(Row both) : from(both), to(both) {}
    RowPair(std::uint8_t* both, std::size_t size) : RowPair(Row(both, size)) {}
    RowPair(ConstRow source, Row result, bool pastCaches) : from(source), to(result), streams(pastCaches) {}
    std::size_t size() const { return to.size(); }
};

/// Copies the row.
KESTREL_API void CopyRow(const RowPair& row);
/// Makes all bytes of `row` 0.
KESTREL_API void ClearRow(Row row, bool streams);
/// Makes rows that were written past the caches visible to other threads, in the order of the program.
KESTREL_API void FinishStream();

}  // namespace kestrel::kernels
