#pragma once
#include <cstdint>
#include <functional>
#include <ostream>
#include <string>
#include <vector>

#include "kestrel/framework/PixelRequest.h"

namespace kestrel::test {

struct Pixel {
    std::uint8_t blue = 0, green = 0, red = 0, mask = 0;
    bool operator==(const Pixel&) const = default;
};
std::ostream& operator<<(std::ostream& out, const Pixel& pixel);

/// A whole picture with its mask, row 0 at the bottom. Behind each row stand guard bytes that nobody may change.
class Picture {
public:
    Picture(int width, int height, Pixel fill = {});
    /// Every pixel from a function of its column and row.
    Picture(int width, int height, const std::function<Pixel(int x, int y)>& make);
    Picture(const Picture& other);
    Picture(Picture&&) = default;
    Picture& operator=(Picture other) noexcept;
    /// Random colours; masks 0, 255 and partial values in about equal shares, or all 0.
    static Picture Random(int width, int height, unsigned seed, bool withMask = true);

    int Width() const { return width_; }
    int Height() const { return height_; }
    Pixel At(int x, int y) const;
    void Set(int x, int y, Pixel pixel);
    /// The part that begins at (x, y).
    Picture Cut(int x, int y, int width, int height) const;

    std::uint8_t* const* Rows() { return rowTable_.data(); }
    std::uint8_t* const* MaskRows() { return maskTable_.data(); }
    const std::uint8_t* Row(int y) const { return rows_[static_cast<std::size_t>(y)].data(); }
    const std::uint8_t* MaskRow(int y) const { return masks_[static_cast<std::size_t>(y)].data(); }
    /// True while the bytes past the rows are unchanged.
    bool GuardsIntact() const;

    /// Compares sizes and pixels; `Difference` names what differs first.
    bool operator==(const Picture& other) const;
    /// Text of the first differing pixel, empty when equal.
    std::string Difference(const Picture& other) const;

private:
    int width_;
    int height_;
    std::vector<std::vector<std::uint8_t>> rows_;
    std::vector<std::vector<std::uint8_t>> masks_;
    std::vector<std::uint8_t*> rowTable_;
    std::vector<std::uint8_t*> maskTable_;
};

struct Bounds {
    int left = 0, bottom = 0, width = 0, height = 0;
    bool operator==(const Bounds&) const = default;
};
/// Bounds of the pixels that differ; empty when none do.
Bounds Changed(const Picture& before, const Picture& after);

}  // namespace kestrel::test
