#pragma once
#include <memory>

#include "kestrel/foundation/Export.h"
#include "kestrel/image/WorkImage.h"
#include "kestrel/storage/QvStream.h"

namespace kestrel {

/// Writes a work image in its stream form: 32-bit 0, 32-bit size of the block, and, compressed, the block without these
/// two. Throws `QvStreamException`, and what the stream throws; false when the stream took less.
[[nodiscard]] KESTREL_API bool WriteWorkImage(QvOutputStream& stream, const CWorkImage& picture);

/// Reads that form. Null when it does not begin with 0, breaks off, or holds sizes that contradict each other. The
/// stream may have been read further than the picture.
[[nodiscard]] KESTREL_API std::unique_ptr<CWorkImage> ReadWorkImage(QvInputStream& stream);

}  // namespace kestrel
