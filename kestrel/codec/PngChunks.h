#pragma once
#include <cstdint>
#include <string>
#include <vector>

#include "kestrel/codec/ImageMetadata.h"
#include "kestrel/foundation/ByteReader.h"

namespace kestrel {

/// A PNG file with only the chunks that its pixels need, so that no other chunk can spoil them or cost memory. Reads
/// from the source's position on.
class PngChunks {
public:
    explicit PngChunks(ByteReader& source) : source_(source) {}

    /// The next bytes of such a file; fewer than asked when the source ends.
    std::size_t Read(std::uint8_t* to, std::size_t count);
    /// Whether the source ended before what was asked for.
    bool Ended() const { return ended_; }

private:
    bool NextChunk();

    ByteReader& source_;
    std::uint8_t head_[8] = {};   // the file's signature, then length and name of each chunk
    std::size_t headLeft_ = 0;    // bytes of `head_` that were not handed out
    std::uint64_t bodyLeft_ = 0;  // bytes of the chunk and its checksum
    bool started_ = false;
    bool ended_ = false;
};

/// What a PNG file says beside its pixels. Chunks that are damaged or make no sense count as absent.
struct PngExtras {
    ImageMetadata metadata;
    int orientation = 1;
    std::vector<std::string> notes;  ///< what was left out although it was there
};
/// The source stays where it is.
PngExtras ReadPngExtras(ByteReader& source);

/// Chunks that hold the metadata, to be written between the header and the pixels.
struct PngChunk {
    char name[5];
    std::vector<std::uint8_t> body;
};
std::vector<PngChunk> MakePngChunks(const ImageMetadata& metadata);

}  // namespace kestrel
