// BMP of 24 bits, from the bottom up: the form that every program reads.
#include <algorithm>
#include <memory>
#include <vector>

#include "kestrel/codec/Codecs.h"

namespace kestrel {
namespace {

constexpr std::uint32_t kFileHeader = 14;

void Store32(std::uint8_t* at, std::uint32_t value) {
    for (int i = 0; i < 4; ++i) at[i] = static_cast<std::uint8_t>(value >> 8 * i);
}

/// Bytes of a row.
std::size_t RowBytes(int width) { return (3 * static_cast<std::size_t>(width) + 3) / 4 * 4; }

/// Writes all that stands before the rows.
CodecError WriteHead(ByteWriter& target, const Dib& about, const SaveOptions& options) {
    const std::uint64_t rows = std::uint64_t{RowBytes(about.biWidth)} * static_cast<unsigned>(about.biHeight);
    if (rows > UINT32_MAX - kFileHeader - sizeof(Dib))
        return {CodecFault::CannotHold, "the picture is too large for a BMP file"};
    std::uint8_t file[kFileHeader] = {'B', 'M'};
    Store32(file + 2, static_cast<std::uint32_t>(kFileHeader + sizeof(Dib) + rows));
    Store32(file + 10, kFileHeader + sizeof(Dib));
    Dib header{};
    header.biSize = sizeof header;
    header.biWidth = about.biWidth;
    header.biHeight = about.biHeight;
    header.biPlanes = 1;
    header.biBitCount = 24;
    header.biSizeImage = static_cast<std::uint32_t>(rows);
    header.biXPelsPerMeter = about.biXPelsPerMeter;
    header.biYPelsPerMeter = about.biYPelsPerMeter;
    if (options.metadata && options.metadata->density.unit != Density::Unit::AspectOnly) {
        const auto [x, y] = PerMeter(options.metadata->density);
        if (x > 0) header.biXPelsPerMeter = x, header.biYPelsPerMeter = y;
    }
    target.Write(file, sizeof file);
    target.Write(&header, sizeof header);
    return WriteErrorOf(target);
}

/// From the top, which is the end of the file.
class BmpEncoder final : public LineEncoder {
public:
    BmpEncoder(ByteWriter& to, PictureForm form)
        : target_(to),
          pixels_(3 * static_cast<std::size_t>(form.width)),
          row_(RowBytes(form.width)),
          next_(kFileHeader + sizeof(Dib) + std::uint64_t{row_.size()} * static_cast<unsigned>(form.height)) {
        target_.Reserve(next_ - kFileHeader - sizeof(Dib));  // a failure is that of every row, too
    }

    bool Write(const std::uint8_t* pixels, const std::uint8_t*) override {
        std::copy_n(pixels, pixels_, row_.begin());
        next_ -= row_.size();
        return target_.Replace(next_, row_.data(), row_.size());
    }
    CodecError Finish() override { return WriteErrorOf(target_); }

private:
    ByteWriter& target_;
    const std::size_t pixels_;  ///< bytes of a row without those that fill it up
    std::vector<std::uint8_t> row_;
    std::uint64_t next_;  ///< end of the row's place in the file
};

}  // namespace

CodecError SaveBmp(ByteWriter& target, const Dib* image, const Dib*, const SaveOptions& options) {
    if (auto error = WriteHead(target, *image, options)) return error;
    const std::size_t pixels = 3 * static_cast<std::size_t>(image->biWidth);
    const std::uint8_t padding[3] = {};  // the rows' own may hold anything
    bool written = true;
    for (int row = 0; row < image->biHeight && written; ++row)
        written = target.Write(DibRow(image, row), pixels) && target.Write(padding, RowBytes(image->biWidth) - pixels);
    return WriteErrorOf(target);
}

std::unique_ptr<LineEncoder> CreateBmp(ByteWriter& target, PictureForm form, const SaveOptions& options,
                                       CodecError& error) {
    Dib about{};
    about.biWidth = form.width;
    about.biHeight = form.height;
    if (!target.CanReplace())
        error = {CodecFault::NotSupported, "the rows of a BMP file cannot be written to a pipe from the top"};
    else
        error = WriteHead(target, about, options);
    if (error) return nullptr;
    return std::make_unique<BmpEncoder>(target, form);
}

}  // namespace kestrel
