#include "tests/support/Picture.h"

#include <algorithm>
#include <random>
#include <sstream>

namespace kestrel::test {
namespace {
constexpr std::uint8_t kGuard = 0xA5;
constexpr std::size_t kGuardBytes = 16;
}  // namespace

std::ostream& operator<<(std::ostream& out, const Pixel& p) {
    return out << "B" << int{p.blue} << " G" << int{p.green} << " R" << int{p.red} << " M" << int{p.mask};
}

Picture::Picture(int width, int height, Pixel fill) : width_(width), height_(height) {
    const auto columns = static_cast<std::size_t>(width);
    for (int y = 0; y < height; ++y) {
        rows_.emplace_back(columns * 3 + kGuardBytes, kGuard);
        masks_.emplace_back(columns + kGuardBytes, kGuard);
    }
    for (auto& row : rows_) rowTable_.push_back(row.data());
    for (auto& row : masks_) maskTable_.push_back(row.data());
    for (int y = 0; y < height; ++y)
        for (int x = 0; x < width; ++x) Set(x, y, fill);
}

Picture::Picture(int width, int height, const std::function<Pixel(int, int)>& make) : Picture(width, height) {
    for (int y = 0; y < height; ++y)
        for (int x = 0; x < width; ++x) Set(x, y, make(x, y));
}

// The row tables of a copy list its own rows.
Picture::Picture(const Picture& other)
    : Picture(other.width_, other.height_, [&](int x, int y) { return other.At(x, y); }) {}

Picture& Picture::operator=(Picture other) noexcept {
    std::swap(width_, other.width_);
    std::swap(height_, other.height_);
    rows_.swap(other.rows_);
    masks_.swap(other.masks_);
    rowTable_.swap(other.rowTable_);
    maskTable_.swap(other.maskTable_);
    return *this;
}

Picture Picture::Random(int width, int height, unsigned seed, bool withMask) {
    std::mt19937 random(seed);
    return Picture(width, height, [&](int, int) {
        const auto bits = static_cast<std::uint32_t>(random());
        const auto kind = random() % 3;
        const auto partial = static_cast<std::uint8_t>(random());
        Pixel p{static_cast<std::uint8_t>(bits), static_cast<std::uint8_t>(bits >> 8),
                static_cast<std::uint8_t>(bits >> 16), 0};
        if (withMask) p.mask = kind == 0 ? std::uint8_t{0} : kind == 1 ? std::uint8_t{255} : partial;
        return p;
    });
}

Pixel Picture::At(int x, int y) const {
    const std::uint8_t* p = Row(y) + x * 3;
    return {p[0], p[1], p[2], MaskRow(y)[x]};
}

void Picture::Set(int x, int y, Pixel pixel) {
    std::uint8_t* p = rowTable_[static_cast<std::size_t>(y)] + x * 3;
    p[0] = pixel.blue;
    p[1] = pixel.green;
    p[2] = pixel.red;
    maskTable_[static_cast<std::size_t>(y)][x] = pixel.mask;
}

Picture Picture::Cut(int x, int y, int width, int height) const {
    return Picture(width, height, [&](int i, int j) { return At(x + i, y + j); });
}

bool Picture::GuardsIntact() const {
    const auto intact = [](const std::vector<std::uint8_t>& row) {
        return std::all_of(row.end() - kGuardBytes, row.end(), [](std::uint8_t byte) { return byte == kGuard; });
    };
    return std::all_of(rows_.begin(), rows_.end(), intact) && std::all_of(masks_.begin(), masks_.end(), intact);
}

bool Picture::operator==(const Picture& other) const { return Difference(other).empty(); }

std::string Picture::Difference(const Picture& other) const {
    std::ostringstream text;
    if (width_ != other.width_ || height_ != other.height_) {
        text << width_ << " x " << height_ << " against " << other.width_ << " x " << other.height_;
        return text.str();
    }
    for (int y = 0; y < height_; ++y)
        for (int x = 0; x < width_; ++x)
            if (!(At(x, y) == other.At(x, y))) {
                text << "at column " << x << ", row " << y << ": " << At(x, y) << " against " << other.At(x, y);
                return text.str();
            }
    return "";
}

Bounds Changed(const Picture& before, const Picture& after) {
    int left = before.Width(), bottom = before.Height(), right = -1, top = -1;
    for (int y = 0; y < before.Height(); ++y)
        for (int x = 0; x < before.Width(); ++x)
            if (!(before.At(x, y) == after.At(x, y))) {
                left = std::min(left, x);
                right = std::max(right, x);
                bottom = std::min(bottom, y);
                top = std::max(top, y);
            }
    return right < 0 ? Bounds{} : Bounds{left, bottom, right - left + 1, top - bottom + 1};
}

}  // namespace kestrel::test
