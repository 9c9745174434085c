#pragma once
#include <cstdint>
#include <vector>

#include "kestrel/codec/Codecs.h"
#include "kestrel/codec/DeflateStream.h"
#include "kestrel/codec/PngChunks.h"
#include "kestrel/foundation/ByteWriter.h"

namespace kestrel {

/// A PNG file that is written line by line, from the top. Not installed. Of the pixels it holds three lines and a piece
/// of the compressed stream, whatever the picture's size.
class PngEncoder final : public LineEncoder {
public:
    /// Writes all that stands before the pixels. `level` is 0 (nothing is compressed) to 9. Throws `std::bad_alloc`.
    PngEncoder(ByteWriter& to, PictureForm form, int level, const std::vector<PngChunk>& extras);

    bool Write(const std::uint8_t* pixels, const std::uint8_t* mask) override;
    CodecError Finish() override;

private:
    void WriteChunk(const char* name, std::span<const std::uint8_t> body);
    void Lay(const std::uint8_t* pixels, const std::uint8_t* mask);
    const std::vector<std::uint8_t>& Filtered();
    void Compress(bool last);

    ByteWriter& target_;
    const bool alpha_;
    const std::size_t pixels_;  // of a line
    const int level_;
    DeflateStream stream_;
    std::vector<std::uint8_t> line_, above_;      // red, green, blue and, in a file with alpha, alpha
    std::vector<std::uint8_t> best_, candidate_;  // the line after a filter, which stands before it
    std::vector<std::uint8_t> piece_;
    bool joined_ = true;
    bool written_ = true;
};

}  // namespace kestrel
