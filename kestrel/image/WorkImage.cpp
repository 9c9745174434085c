#include "kestrel/image/WorkImage.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <new>

#include "kestrel/image/DibRecord.h"
#include "kestrel/image/PixelMemory.h"

namespace kestrel {
namespace {

constexpr std::size_t kTotalAt = 4;
constexpr std::size_t kPlaceAt = 12;  // x, y, width, width
constexpr std::size_t kImageSizeAt = 28;
constexpr std::size_t kImageAt = 32;
constexpr int kImageDepth = 24;
constexpr int kMaskDepth = -8;

std::uint32_t Load32(const std::uint8_t* at) {
    std::uint32_t value;
    std::memcpy(&value, at, sizeof value);
    return value;
}

void Store32(std::uint8_t* at, std::uint32_t value) { std::memcpy(at, &value, sizeof value); }

std::uint64_t RowsSize(int depth, int width, int height) {
    return static_cast<std::uint64_t>(CreatedRowBytes(BitsOfDepth(depth), std::max(width, 0))) *
           static_cast<unsigned>(std::max(height, 0));
}

/// Size of a record inside the block: header, table of the depth, rows. Where this count is too small, for rows whose
/// bits do not fill a byte and for the two colours of depth 1, the size is what walking the record takes.
std::uint64_t RecordSize(int depth, int width, int height) {
    const std::uint64_t counted =
        sizeof(Dib) + 4 * std::uint64_t{CreatedColors(depth)} + RowsSize(depth, width, height);
    const std::uint64_t colors = depth == 1 ? 2 : CreatedColors(depth);
    const std::uint64_t walked =
        sizeof(Dib) + 4 * colors + WalkedImageBytes(BitsOfDepth(depth), std::max(width, 0), height);
    return std::max(counted, walked);
}

void BuildRecord(Dib* dib, int depth, int width, int height) {
    FillRecord(dib, depth, width, height, static_cast<std::uint32_t>(RowsSize(depth, width, height)));
}

/// Copies a record into its place in the block, in the shape that the block's records have.
void CopyRecord(Dib* to, const Dib* from) {
    BuildRecord(to, from->biBitCount, from->biWidth, from->biHeight);
    const Dib* const made = to;  // asked as it stands: the count of depth 1 is not written down
    const std::size_t entries = std::min(DibColorCount(from), DibColorCount(made));
    std::memcpy(DibColorTable(to), DibColorTable(from), entries * 4);
    const std::size_t rowSize = DibRowSize(to);
    for (int row = 0; row < WalkedRows(to); ++row) std::memcpy(DibRow(to, row), DibRow(from, row), rowSize);
}

bool CanHold(const Dib* dib) {
    const int bits = DibBitsPerPixel(dib);
    return bits == 1 || bits == 4 || (bits > 0 && bits <= 32 && bits % 8 == 0);
}

bool SameSize(const Dib* a, const Dib* b) { return a->biWidth == b->biWidth && a->biHeight == b->biHeight; }

/// Checks a record inside a block of foreign origin and lists its rows.
bool ListRows(Dib* dib, std::uint64_t recordSize, std::vector<std::uint8_t*>& rows) {
    if (recordSize < sizeof(Dib) || dib->biSize < sizeof(Dib) || !CanHold(dib)) return false;
    if (dib->biWidth < 0 || dib->biHeight < 0 || dib->biCompression != kDibPlain) return false;
    const std::uint64_t start = TableEnd(dib);
    const std::uint64_t bytes = WalkedImageBytes(dib);
    if (start > recordSize || bytes > recordSize - start || (bytes == 0 && dib->biHeight > 0)) return false;
    rows.resize(static_cast<std::size_t>(dib->biHeight));
    for (int row = 0; row < dib->biHeight; ++row) rows[static_cast<std::size_t>(row)] = DibRow(dib, row);
    return true;
}

CWorkImage::BlockPtr OnTheHeap(std::size_t size) {
    return {static_cast<std::uint8_t*>(AllocatePixels(size)), [](std::uint8_t* block) { std::free(block); }};
}

}  // namespace

CWorkImage::CWorkImage(int width, int height, bool withImage, bool withMask)
    : CWorkImage(width, height, withImage, withMask, OnTheHeap) {}

CWorkImage::CWorkImage(int width, int height, bool withImage, bool withMask, const Allocator& allocate) {
    width_ = std::max(width, 1);
    height_ = std::max(height, 1);
    Allocate(withImage ? RecordSize(kImageDepth, width_, height_) : 0,
             withMask ? RecordSize(kMaskDepth, width_, height_) : 0, {0, 0, width_, width_}, allocate);
    if (image_) BuildRecord(image_, kImageDepth, width_, height_);
    if (mask_) BuildRecord(mask_, kMaskDepth, width_, height_);
    Attach();
}

CWorkImage::CWorkImage(const Dib* image, const Dib* mask, int x, int y, int width, int secondWidth) {
    if (image && !CanHold(image)) image = nullptr;
    if (mask && (!CanHold(mask) || DibBitsPerPixel(mask) < 8 || (image && !SameSize(image, mask)))) mask = nullptr;
    width_ = width;
    height_ = secondWidth;
    Allocate(image ? RecordSize(image->biBitCount, image->biWidth, image->biHeight) : 0,
             mask ? RecordSize(mask->biBitCount, mask->biWidth, mask->biHeight) : 0, {x, y, width, secondWidth},
             OnTheHeap);
    if (image_) CopyRecord(image_, image);
    if (mask_) CopyRecord(mask_, mask);
    Attach();
}

std::unique_ptr<CWorkImage> CWorkImage::FromBlock(BlockPtr block, std::size_t size) {
    if (!block || size < kSmallestBlock) return nullptr;
    std::unique_ptr<CWorkImage> picture(new CWorkImage);
    picture->block_ = std::move(block);
    picture->size_ = size;
    const std::uint8_t* bytes = picture->block_.get();
    const std::uint64_t image = Load32(bytes + kImageSizeAt);
    if (Load32(bytes + kTotalAt) != size || image > size - kSmallestBlock || image % 4) return nullptr;
    const std::uint64_t mask = Load32(bytes + kImageAt + image);
    if (mask > size - kSmallestBlock - image) return nullptr;
    picture->width_ = static_cast<std::int32_t>(Load32(bytes + kPlaceAt + 8));
    picture->height_ = static_cast<std::int32_t>(Load32(bytes + kPlaceAt + 12));
    if (!picture->Attach()) return nullptr;
    return picture;
}

void CWorkImage::Allocate(std::uint64_t imageRecord, std::uint64_t maskRecord, const std::int32_t (&place)[4],
                          const Allocator& allocate) {
    const std::uint64_t total = kSmallestBlock + imageRecord + maskRecord;
    if (total <= UINT32_MAX) block_ = allocate(total);
    if (!block_) throw std::bad_alloc();
    std::uint8_t* bytes = block_.get();
    size_ = total;
    std::memset(bytes, 0, kImageAt);
    Store32(bytes + kTotalAt, static_cast<std::uint32_t>(total));
    for (std::size_t i = 0; i < 4; ++i) Store32(bytes + kPlaceAt + 4 * i, static_cast<std::uint32_t>(place[i]));
    Store32(bytes + kImageSizeAt, static_cast<std::uint32_t>(imageRecord));
    Store32(bytes + kImageAt + imageRecord, static_cast<std::uint32_t>(maskRecord));
    if (imageRecord) image_ = reinterpret_cast<Dib*>(bytes + kImageAt);
    if (maskRecord) mask_ = reinterpret_cast<Dib*>(bytes + kImageAt + imageRecord + 4);
}

bool CWorkImage::Attach() {
    std::uint8_t* bytes = block_.get();
    const std::uint32_t imageRecord = Load32(bytes + kImageSizeAt);
    const std::uint32_t maskRecord = Load32(bytes + kImageAt + imageRecord);
    image_ = imageRecord ? reinterpret_cast<Dib*>(bytes + kImageAt) : nullptr;
    mask_ = maskRecord ? reinterpret_cast<Dib*>(bytes + kImageAt + imageRecord + 4) : nullptr;
    if (image_ && !ListRows(image_, imageRecord, rows_)) return false;
    if (mask_ && !ListRows(mask_, maskRecord, maskRows_)) return false;
    if (image_ && mask_ && !SameSize(image_, mask_)) return false;
    if (const Dib* record = image_ ? image_ : mask_) {
        width_ = record->biWidth;
        height_ = record->biHeight;
    }
    return true;
}

int CWorkImage::X() const { return static_cast<std::int32_t>(Load32(block_.get() + kPlaceAt)); }
int CWorkImage::Y() const { return static_cast<std::int32_t>(Load32(block_.get() + kPlaceAt + 4)); }
int CWorkImage::Depth() const { return image_ ? DibBitsPerPixel(image_) : 0; }

void CWorkImage::Clear() { ClearRows(0, height_); }

void CWorkImage::ClearRows(int first, int count) {
    if (count <= 0) return;
    const auto from = static_cast<std::size_t>(first);
    const auto rows = static_cast<std::size_t>(count);
    if (!rows_.empty()) std::memset(rows_[from], 0, DibRowSize(image_) * rows);
    if (!maskRows_.empty()) std::memset(maskRows_[from], 0xFF, DibRowSize(mask_) * rows);
}

}  // namespace kestrel
