// PNG files written line by line.
#include <libdeflate.h>

#include <algorithm>
#include <cstdlib>
#include <memory>
#include <span>
#include <vector>

#include "kestrel/codec/Codecs.h"
#include "kestrel/codec/DeflateStream.h"
#include "kestrel/codec/PngChunks.h"

namespace kestrel {
namespace {

constexpr std::uint8_t kSignature[] = {0x89, 'P', 'N', 'G', '\r', '\n', 0x1A, '\n'};
constexpr std::uint8_t kColors = 2, kColorsAndAlpha = 6;

void Put(std::uint8_t* to, std::uint32_t value) {
    for (int i = 0; i < 4; ++i) to[i] = static_cast<std::uint8_t>(value >> (24 - 8 * i));
}

/// The bytes of a line less what `predict(left, above, upper left)` expects, and the sum of what is left, taken as
/// signed numbers: the smaller it is, the better a line compresses as a rule. A sum that overflows chooses badly, and
/// no worse.
template <class Predict>
std::uint32_t Filter(const std::uint8_t* line, const std::uint8_t* above, std::size_t size, std::size_t pixel,
                     std::uint8_t* to, const Predict& predict) {
    std::uint32_t sum = 0;
    const auto put = [&](std::size_t i, int left, int upperLeft) {
        to[i] = static_cast<std::uint8_t>(line[i] - predict(left, int{above[i]}, upperLeft));
        sum += static_cast<std::uint32_t>(std::abs(int{static_cast<std::int8_t>(to[i])}));
    };
    for (std::size_t i = 0; i < pixel; ++i) put(i, 0, 0);
    for (std::size_t i = pixel; i < size; ++i) put(i, line[i - pixel], above[i - pixel]);
    return sum;
}

/// The neighbour that is nearest to left + above - upper left; of equal ones the first in this order.
int NearestNeighbor(int left, int above, int upperLeft) {
    const int fromLeft = std::abs(above - upperLeft), fromAbove = std::abs(left - upperLeft);
    const int fromUpperLeft = std::abs(left + above - 2 * upperLeft);
    const int next = fromAbove <= fromUpperLeft ? above : upperLeft;
    return fromLeft <= fromAbove && fromLeft <= fromUpperLeft ? left : next;
}

/// The filters in the order of their numbers.
constexpr int kFilters = 5;
std::uint32_t Filter(int number, const std::uint8_t* line, const std::uint8_t* above, std::size_t size,
                     std::size_t pixel, std::uint8_t* to) {
    switch (number) {
        case 0:
            return Filter(line, above, size, pixel, to, [](int, int, int) { return 0; });
        case 1:
            return Filter(line, above, size, pixel, to, [](int left, int, int) { return left; });
        case 2:
            return Filter(line, above, size, pixel, to, [](int, int up, int) { return up; });
        case 3:
            return Filter(line, above, size, pixel, to, [](int left, int up, int) { return (left + up) / 2; });
        default:
            return Filter(line, above, size, pixel, to, NearestNeighbor);
    }
}

/// Of the pixels it holds three lines and a piece of the compressed stream, whatever the picture's size.
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

PngEncoder::PngEncoder(ByteWriter& to, PictureForm form, int level, const std::vector<PngChunk>& extras)
    : target_(to),
      alpha_(form.alpha),
      pixels_(static_cast<std::size_t>(form.width)),
      level_(std::clamp(level, 0, 9)),
      stream_(level_) {
    const std::size_t size = pixels_ * (alpha_ ? 4 : 3);
    line_.resize(size);
    above_.resize(size);
    best_.resize(1 + size);
    candidate_.resize(1 + size);
    piece_.reserve(DeflateStream::kPiece);
    written_ = target_.Write(kSignature, sizeof kSignature);
    // Size, bits of a channel, colour type; then the only ways of compression and filtering, and no interlace.
    std::uint8_t header[13] = {0, 0, 0, 0, 0, 0, 0, 0, 8, alpha_ ? kColorsAndAlpha : kColors, 0, 0, 0};
    Put(header, static_cast<std::uint32_t>(form.width));
    Put(header + 4, static_cast<std::uint32_t>(form.height));
    WriteChunk("IHDR", header);
    for (const PngChunk& chunk : extras) WriteChunk(chunk.name, chunk.body);
}

void PngEncoder::WriteChunk(const char* name, std::span<const std::uint8_t> body) {
    std::uint8_t head[8], sum[4];
    Put(head, static_cast<std::uint32_t>(body.size()));
    std::copy_n(name, 4, head + 4);
    std::uint32_t crc = libdeflate_crc32(0, head + 4, 4);
    if (!body.empty()) crc = libdeflate_crc32(crc, body.data(), body.size());  // null would begin anew
    Put(sum, crc);
    written_ = written_ && target_.Write(head, sizeof head) && target_.Write(body.data(), body.size()) &&
               target_.Write(sum, sizeof sum);
}

void PngEncoder::Lay(const std::uint8_t* pixels, const std::uint8_t* mask) {
    std::uint8_t* to = line_.data();
    const std::size_t step = alpha_ ? 4 : 3;
    for (std::size_t x = 0; x < pixels_; ++x, pixels += 3, to += step) {
        to[0] = pixels[2];
        to[1] = pixels[1];
        to[2] = pixels[0];
        if (alpha_) to[3] = static_cast<std::uint8_t>(255 - mask[x]);
    }
}

/// The line after the filter that suits it, whose number stands before it. Where nothing is compressed none does.
const std::vector<std::uint8_t>& PngEncoder::Filtered() {
    std::uint32_t best = 0;
    for (int filter = 0; filter < (level_ == 0 ? 1 : kFilters); ++filter) {
        candidate_[0] = static_cast<std::uint8_t>(filter);
        const std::uint32_t sum =
            Filter(filter, line_.data(), above_.data(), line_.size(), alpha_ ? 4 : 3, candidate_.data() + 1);
        if (filter > 0 && sum >= best) continue;
        best = sum;
        best_.swap(candidate_);
    }
    return best_;
}

bool PngEncoder::Write(const std::uint8_t* pixels, const std::uint8_t* mask) {
    Lay(pixels, mask);
    for (std::span<const std::uint8_t> rest(Filtered()); !rest.empty();) {
        if (piece_.size() == DeflateStream::kPiece) Compress(false);
        const auto part = rest.first(std::min(rest.size(), DeflateStream::kPiece - piece_.size()));
        piece_.insert(piece_.end(), part.begin(), part.end());
        rest = rest.subspan(part.size());
    }
    line_.swap(above_);
    return joined_ && written_;
}

void PngEncoder::Compress(bool last) {
    if (!joined_ || !written_) return;
    const auto bytes = stream_.Compress(piece_, last);
    piece_.clear();
    joined_ = !bytes.empty();
    if (joined_) WriteChunk("IDAT", bytes);
}

CodecError PngEncoder::Finish() {
    Compress(true);
    WriteChunk("IEND", {});
    if (auto error = WriteErrorOf(target_)) return error;
    if (!joined_) return {CodecFault::CannotHold, "the pixels could not be compressed"};
    return {};
}

}  // namespace

std::unique_ptr<LineEncoder> CreatePng(ByteWriter& target, PictureForm form, const SaveOptions& options, CodecError&) {
    std::vector<PngChunk> extras;
    if (options.metadata) extras = MakePngChunks(*options.metadata);
    return std::make_unique<PngEncoder>(target, form, options.pngCompression, extras);
}

}  // namespace kestrel
