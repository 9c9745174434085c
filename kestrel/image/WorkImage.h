#pragma once
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <span>
#include <vector>

#include "kestrel/foundation/Export.h"
#include "kestrel/image/Dib.h"

namespace kestrel {

/// A picture of 24-bit rows and its mask in one heap block. Pixels are blue, green, red; a mask byte of 0 is visible
/// and of 255 is nothing at all. Rows are padded to four bytes and listed in stored order, the bottom row first.
///
/// The block travels as it is, through streams and shared memory. Its bytes, all numbers 32-bit little-endian:
///
///     0  mark, 0              16  y                        32  image record, a packed DIB
///     4  size of the block    20  width                    ..  size of the mask record, or 0
///     8  reserved             24  the width once more      ..  mask record, depth `kDibPlaneDepth`
///    12  x                    28  size of the image record, or 0
class KESTREL_API CWorkImage {
public:
    /// Owns the bytes of a block, however they were got.
    using BlockPtr = std::unique_ptr<std::uint8_t[], std::function<void(std::uint8_t*)>>;

    /// Makes a block of so many bytes; null when memory does not suffice.
    using Allocator = std::function<BlockPtr(std::size_t size)>;
    /// Bytes of a block without records.
    static constexpr std::size_t kSmallestBlock = 36;

    /// A picture of at least 1 × 1 with undefined bytes; throws `std::bad_alloc` when memory does not suffice.
    CWorkImage(int width, int height, bool withImage = true, bool withMask = true);
    /// The same in a block from elsewhere.
    CWorkImage(int width, int height, bool withImage, bool withMask, const Allocator& allocate);
    /// Copies of two records, either of which may be null; the four numbers go into the block as they are. An image of
    /// another depth than 1, 4, 8, 16, 24 or 32 is left out, and a mask of less than 8 bits or of another size than the
    /// image.
    CWorkImage(const Dib* image, const Dib* mask, int x, int y, int width, int secondWidth);
    /// Takes over a block that came from elsewhere. Null when its sizes do not agree with each other or with `size`.
    static std::unique_ptr<CWorkImage> FromBlock(BlockPtr block, std::size_t size);

    CWorkImage(CWorkImage&&) noexcept = default;
    CWorkImage& operator=(CWorkImage&&) noexcept = default;

    /// Size of the picture: that of the image record, of the mask record when there is no image, and otherwise the
    /// size that was asked for.
    int Width() const { return width_; }
    int Height() const { return height_; }
    /// The position that travels with the picture.
    int X() const;
    int Y() const;
    /// Bits of an image pixel; 0 without an image.
    int Depth() const;

    /// Row tables, one pointer for each row; null when the picture has no such plane.
    std::uint8_t* const* Rows() const { return rows_.empty() ? nullptr : rows_.data(); }
    std::uint8_t* const* MaskRows() const { return maskRows_.empty() ? nullptr : maskRows_.data(); }
    /// The records inside the block, or null.
    Dib* Image() const { return image_; }
    Dib* Mask() const { return mask_; }

    /// Colour 0 and mask 255 everywhere: nothing there.
    void Clear();
    /// The same for rows `first` to `first` + `count` - 1, which lie inside the picture.
    void ClearRows(int first, int count);

    /// The whole block as it travels.
    std::span<std::uint8_t> Block() { return {block_.get(), size_}; }
    std::span<const std::uint8_t> Block() const { return {block_.get(), size_}; }

private:
    CWorkImage() = default;
    void Allocate(std::uint64_t imageRecord, std::uint64_t maskRecord, const std::int32_t (&place)[4],
                  const Allocator& allocate);
    bool Attach();

    BlockPtr block_;
    std::size_t size_ = 0;
    int width_ = 0;
    int height_ = 0;
    Dib* image_ = nullptr;
    Dib* mask_ = nullptr;
    std::vector<std::uint8_t*> rows_;
    std::vector<std::uint8_t*> maskRows_;
};

}  // namespace kestrel
