#pragma once
#include "kestrel/foundation/ByteReader.h"
#include "kestrel/image/Dib.h"

// Reading records from any source of bytes. Not installed.
namespace kestrel {

/// Reads a `.bmp` file or a bare record from the source's position on and brings it to plain form. Null when the bytes
/// are not all there, or when they do not make a record.
Dib* ReadDibRecord(ByteReader& source);

/// Expands a run-length image and calls it plain, in place. Its size on record is that of the compressed bytes, and no
/// more than that is kept of the expanded ones. A block with another compression keeps its bytes, which
/// are plain from then on. False without memory; the block is then as it was.
bool MakePlain(Dib* dib);

}  // namespace kestrel
