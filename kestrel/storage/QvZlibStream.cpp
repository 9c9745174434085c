#include "kestrel/storage/QvZlibStream.h"

#include <zlib.h>

#include <algorithm>
#include <limits>
#include <new>

#include "kestrel/storage/QvError.h"

namespace kestrel {

QvZlibStream::QvZlibStream(std::size_t bufferSize) {
    try {
        zlib_ = std::make_unique<z_stream_s>();
        buffer_.resize(std::min<std::size_t>(std::max<std::size_t>(bufferSize, 1), std::numeric_limits<uInt>::max()));
    } catch (const std::bad_alloc&) {
        Fail(kZlibNoBuffer);
    }
}

QvZlibStream::~QvZlibStream() = default;

void QvZlibStream::Fail(ZlibError code) { throw QvStreamException("Zlib-Fehler", code); }

}  // namespace kestrel
