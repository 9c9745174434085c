#include "kestrel/codec/DeflateStream.h"

#include <libdeflate.h>
#include <zlib.h>

#include <new>

namespace kestrel {
namespace {

constexpr int kRaw = -15;  // a window of 32 KB, and nothing around the blocks

/// The two bytes that a zlib stream begins with, for this window and by how thoroughly it was compressed.
constexpr std::uint8_t kMethod = 0x78;
constexpr std::uint8_t Effort(int level) { return level < 2 ? 0x01 : level < 6 ? 0x5E : level == 6 ? 0x9C : 0xDA; }

}  // namespace

void DeflateStream::Free::operator()(libdeflate_compressor* compressor) const {
    libdeflate_free_compressor(compressor);
}
void DeflateStream::Free::operator()(z_stream_s* stream) const {
    inflateEnd(stream);
    delete stream;
}

DeflateStream::DeflateStream(int level)
    : level_(level), compressor_(libdeflate_alloc_compressor(level)), decoder_(new z_stream{}) {
    if (!compressor_ || inflateInit2(decoder_.get(), kRaw) != Z_OK) throw std::bad_alloc();
}

DeflateStream::~DeflateStream() = default;

std::span<const std::uint8_t> DeflateStream::Compress(std::span<const std::uint8_t> piece, bool last) {
    out_.clear();
    if (!started_) out_ = {kMethod, Effort(level_)};
    started_ = true;
    const std::size_t head = out_.size();
    out_.resize(head + libdeflate_deflate_compress_bound(compressor_.get(), piece.size()));
    out_.resize(head + libdeflate_deflate_compress(compressor_.get(), piece.data(), piece.size(), out_.data() + head,
                                                   out_.size() - head));
    checksum_ = libdeflate_adler32(checksum_, piece.data(), piece.size());
    if (last) {
        for (int shift = 24; shift >= 0; shift -= 8) out_.push_back(static_cast<std::uint8_t>(checksum_ >> shift));
        return out_;
    }
    decoded_.resize(piece.size() + 1);  // room left over, so that the decoder never stops for want of it
    return Open(head) ? std::span<const std::uint8_t>(out_) : std::span<const std::uint8_t>();
}

/// Lets another piece follow the one that begins at `head` and has just been compressed.
bool DeflateStream::Open(std::size_t head) {
    z_stream& decoder = *decoder_;
    if (inflateReset(&decoder) != Z_OK) return false;
    decoder.next_in = out_.data() + head;
    decoder.avail_in = static_cast<uInt>(out_.size() - head);
    decoder.next_out = decoded_.data();
    decoder.avail_out = static_cast<uInt>(decoded_.size());
    std::size_t block = 0;  // where the block that is decoded next begins, in bits
    for (;;) {
        constexpr int kUnusedBits = 7, kLastBlock = 64;
        if (inflate(&decoder, Z_BLOCK) != Z_OK) return false;
        const std::size_t end = 8 * decoder.total_in - static_cast<unsigned>(decoder.data_type & kUnusedBits);
        if (decoder.data_type & kLastBlock) {
            out_[head + block / 8] &= static_cast<std::uint8_t>(~(1U << block % 8));
            // An empty block of stored bytes, whose three bits of 0 may need a byte more, ends at a whole byte.
            if (8 * (out_.size() - head) - end < 3) out_.push_back(0);
            out_.insert(out_.end(), {0x00, 0x00, 0xFF, 0xFF});
            return true;
        }
        block = end;
    }
}

}  // namespace kestrel
