#pragma once
#include <cstddef>
#include <memory>
#include <vector>

#include "kestrel/foundation/Export.h"

struct z_stream_s;

namespace kestrel {

/// The codes of a `QvStreamException`.
enum ZlibError : int {
    kZlibDeflateBegin = -4,
    kZlibInflateBegin = -5,
    kZlibDeflate = -6,  ///< compression, or writing what it made
    kZlibDeflateEnd = -8,
    kZlibInflateEnd = -9,
    kZlibNoBuffer = -10,
    kZlibState = -11,  ///< begun or ended twice
};

/// What the two compressing layers share: zlib's state and the bytes between it and the inner stream. The data is one
/// plain zlib stream of the default level, whatever the size of the buffer.
class KESTREL_API QvZlibStream {
public:
    static constexpr std::size_t kBuffer = 100;

    QvZlibStream(const QvZlibStream&) = delete;
    QvZlibStream& operator=(const QvZlibStream&) = delete;

protected:
    enum class State { Idle = 0, Deflating = 1, Inflating = 2, InflatedAll = 3 };

    explicit QvZlibStream(std::size_t bufferSize);
    ~QvZlibStream();
    [[noreturn]] static void Fail(ZlibError code);
    /// Begins or ends from one of these states; another one is a failure.
    void Expect(bool state) const {
        if (!state) Fail(kZlibState);
    }

    std::unique_ptr<z_stream_s> zlib_;
    std::vector<unsigned char> buffer_;
    State state_ = State::Idle;
};

}  // namespace kestrel
