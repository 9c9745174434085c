#include "kestrel/storage/QvDeflatingWriter.h"

#include <zlib.h>

#include <algorithm>
#include <limits>

#include "kestrel/storage/QvError.h"

namespace kestrel {

QvDeflatingWriter::QvDeflatingWriter(QvOutputStream& inner, std::size_t bufferSize)
    : QvZlibStream(bufferSize), inner_(inner) {
    if (deflateInit(zlib_.get(), Z_DEFAULT_COMPRESSION) != Z_OK) Fail(kZlibDeflateBegin);
    state_ = State::Deflating;
}

QvDeflatingWriter::~QvDeflatingWriter() {
    if (state_ != State::Deflating) return;
    try {
        if (!failed_) End();
    } catch (const CQvError&) {
        // The inner stream knows.
    }
    if (state_ == State::Deflating) deflateEnd(zlib_.get());
}

void QvDeflatingWriter::Break(ZlibError code) {
    failed_ = true;
    Fail(code);
}

/// One call of zlib, and its output onward.
int QvDeflatingWriter::Run(int flush) {
    zlib_->next_out = buffer_.data();
    zlib_->avail_out = static_cast<uInt>(buffer_.size());
    const int result = deflate(zlib_.get(), flush);
    const std::size_t made = buffer_.size() - zlib_->avail_out;
    bool written = false;
    try {
        written = made == 0 || inner_.Write(buffer_.data(), made) == made;
    } catch (...) {
        failed_ = true;
        throw;
    }
    if (!written) Break(kZlibDeflate);
    return result;
}

std::size_t QvDeflatingWriter::Write(const void* buffer, std::size_t count) {
    if (failed_ || state_ != State::Deflating) Fail(failed_ ? kZlibDeflate : kZlibState);
    zlib_->next_in = static_cast<Bytef*>(const_cast<void*>(buffer));
    for (std::size_t left = count; left > 0;) {
        const auto piece = static_cast<uInt>(std::min<std::size_t>(left, std::numeric_limits<uInt>::max()));
        zlib_->avail_in = piece;
        while (zlib_->avail_in > 0)
            if (Run(Z_NO_FLUSH) != Z_OK) Break(kZlibDeflate);
        left -= piece;
    }
    taken_ += static_cast<std::int64_t>(count);
    return count;
}

void QvDeflatingWriter::End() {
    if (failed_) Fail(kZlibDeflate);
    Expect(state_ == State::Deflating);
    zlib_->avail_in = 0;
    for (int result = Z_OK; result != Z_STREAM_END;) {
        result = Run(Z_FINISH);
        if (result != Z_OK && result != Z_STREAM_END) Break(kZlibDeflate);
    }
    state_ = State::Idle;
    if (deflateEnd(zlib_.get()) != Z_OK) Break(kZlibDeflateEnd);
}

}  // namespace kestrel
