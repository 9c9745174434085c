#pragma once
#include <cstdint>
#include <cstdio>
#include <memory>

#include "kestrel/codec/ImageLoader.h"
#include "kestrel/foundation/ByteWriter.h"
#include "kestrel/foundation/Export.h"

namespace kestrel {

/// A picture file that is encoded from rows, one after the other from the top, so that the picture need not be in
/// memory. The bytes are those of `ImageLoader::Save` for the same picture; with `alpha` those of a picture whose mask
/// hides something. Rows may throw `std::bad_alloc`. One thread at a time.
class KESTREL_API RowEncoder {
public:
    /// Whether files of the format can be written so.
    static bool Writes(ImageFormat format);

    /// Writes the header to the stream, which stays the caller's; the options name the format. What the options point
    /// to may go afterwards.
    RowEncoder(std::FILE* stream, int width, int height, bool alpha, const SaveOptions& options);
    ~RowEncoder();
    RowEncoder(const RowEncoder&) = delete;
    RowEncoder& operator=(const RowEncoder&) = delete;

    /// The next row; the mask counts with alpha only. False: the file cannot be written, as `Finish` will say.
    bool Write(const std::uint8_t* pixels, const std::uint8_t* mask);
    /// Ends the file after its last row and flushes the stream.
    [[nodiscard]] CodecError Finish();

private:
    std::FILE* stream_;
    ByteWriter target_;
    CodecError error_;
    std::unique_ptr<class LineEncoder> encoder_;
};

}  // namespace kestrel
