#pragma once
#include "kestrel/foundation/ByteReader.h"
#include "kestrel/image/Dib.h"

// Reading records from any source of bytes. Not installed.
namespace kestrel {

/// How much of a run-length image is kept. Its size on record is that of the compressed bytes.
enum class RunLength {
    RecordedSize,  ///< expanded bytes up to the size on record
    WholeRows,     ///< expanded bytes up to the last row
};

/// Reads a `.bmp` file or a bare record from the source's position on and brings it to plain form. Null when the bytes
/// are not all there, or when they do not make a record.
Dib* ReadDibRecord(ByteReader& source, RunLength extent);

/// The header that `ReadDibRecord` would work with; the source stays where it is. False where that returns null.
bool PeekDibRecord(ByteReader& source, Dib& header);

/// Expands a run-length image and calls it plain, in place. A block with another compression keeps its bytes, which
/// are plain from then on. False without memory; the block is then as it was.
bool MakePlain(Dib* dib, RunLength extent);

}  // namespace kestrel
