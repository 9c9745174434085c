#pragma once
#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <vector>

struct libdeflate_compressor;
struct z_stream_s;

namespace kestrel {

/// Compresses a zlib stream piece by piece with a library that takes whole blocks only, so that memory does not grow
/// with the stream. Each piece becomes a deflate stream of its own; its last block is found by decoding it and loses
/// the mark that ends a stream. In pieces of `kPiece` a photograph takes less than a thousandth more than in one, and
/// no more time: the pieces stay in the cache, which makes up for decoding them. Not installed.
class DeflateStream {
public:
    static constexpr std::size_t kPiece = std::size_t{1} << 20;

    /// `level` is 0 (nothing is compressed) to 9. Throws `std::bad_alloc`.
    explicit DeflateStream(int level);
    ~DeflateStream();
    DeflateStream(const DeflateStream&) = delete;
    DeflateStream& operator=(const DeflateStream&) = delete;

    /// The next bytes of the stream for at most `kPiece` bytes of data; valid until the next call. With `last` they end
    /// the stream. Empty when they could not be joined.
    std::span<const std::uint8_t> Compress(std::span<const std::uint8_t> piece, bool last);

private:
    bool Open(std::size_t head);

    struct Free {
        void operator()(libdeflate_compressor* compressor) const;
        void operator()(z_stream_s* stream) const;
    };
    const int level_;
    std::unique_ptr<libdeflate_compressor, Free> compressor_;
    std::unique_ptr<z_stream_s, Free> decoder_;
    std::vector<std::uint8_t> out_;
    std::vector<std::uint8_t> decoded_;  // what the decoder makes of a piece, which nobody looks at
    std::uint32_t checksum_ = 1;
    bool started_ = false;
};

}  // namespace kestrel
