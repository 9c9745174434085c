#include "kestrel/storage/QvInflatingReader.h"

#include <zlib.h>

#include <algorithm>
#include <limits>

namespace kestrel {

QvInflatingReader::QvInflatingReader(QvInputStream& inner, std::size_t bufferSize)
    : QvZlibStream(bufferSize), inner_(inner) {
    zlib_->avail_in = 0;
    if (inflateInit(zlib_.get()) != Z_OK) Fail(kZlibInflateBegin);
    state_ = State::Inflating;
}

QvInflatingReader::~QvInflatingReader() {
    if (state_ != State::Idle) inflateEnd(zlib_.get());
}

bool QvInflatingReader::Close() {
    delete this;
    return true;
}

std::size_t QvInflatingReader::Read(void* buffer, std::size_t count) {
    std::size_t made = 0;
    while (state_ == State::Inflating && made < count) {
        if (zlib_->avail_in == 0) {
            zlib_->avail_in = static_cast<uInt>(inner_.Read(buffer_.data(), buffer_.size()));
            zlib_->next_in = buffer_.data();
        }
        const auto room = static_cast<uInt>(std::min<std::size_t>(count - made, std::numeric_limits<uInt>::max()));
        zlib_->next_out = static_cast<Bytef*>(buffer) + made;
        zlib_->avail_out = room;
        const int result = inflate(zlib_.get(), Z_NO_FLUSH);
        made += room - zlib_->avail_out;
        if (result != Z_OK) {
            state_ = State::InflatedAll;
            failed_ = result != Z_STREAM_END;
        }
    }
    made_ += static_cast<std::int64_t>(made);
    return made;
}

void QvInflatingReader::End() {
    Expect(state_ == State::Inflating || state_ == State::InflatedAll);
    state_ = State::Idle;
    if (inflateEnd(zlib_.get()) != Z_OK) Fail(kZlibInflateEnd);
}

std::int64_t CopyBytes(QvInputStream& from, QvOutputStream& to, std::int64_t count) {
    unsigned char chunk[QvZlibStream::kBuffer];
    std::int64_t done = 0;
    while (done < count) {
        const auto want = static_cast<std::size_t>(std::min<std::int64_t>(count - done, sizeof chunk));
        const std::size_t got = from.Read(chunk, want);
        if (got == 0) break;
        const std::size_t put = to.Write(chunk, got);
        done += static_cast<std::int64_t>(put);
        if (put < got) break;
    }
    return done;
}

}  // namespace kestrel
