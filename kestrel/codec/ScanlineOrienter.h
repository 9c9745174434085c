#pragma once
#include <cstdint>
#include <vector>

#include "kestrel/image/Dib.h"

namespace kestrel {

/// Whether the orientation lays the lines of the file upright as columns.
constexpr bool SwapsSides(int orientation) { return orientation >= 5; }

/// Turns a line of pixels of so many bytes each around, in place.
void MirrorLine(std::uint8_t* line, int width, std::size_t pixel);

/// Takes the lines of a file as they are decoded, from the top, and lays them into a block as its EXIF orientation
/// says. Lines that stay lines are decoded right into their row; those that become columns are collected in a small
/// band.
class ScanlineOrienter {
public:
    /// `target` has the size of the picture as it is seen: the sides are swapped from orientation 5 on.
    ScanlineOrienter(Dib* target, int orientation);

    /// Where line `y` of the file is to be decoded to.
    std::uint8_t* Line(int y);
    /// Line `y` is there; each line once, from 0 on.
    void Done(int y);
    /// No lines come from `end` on: lays down those that still wait.
    void Finish(int end);

private:
    Dib* target_;
    int orientation_;
    int width_;  // of the file's picture
    int height_;
    std::size_t pixel_;  // bytes
    int bandStart_ = 0;
    std::vector<std::uint8_t> band_;
};

/// The picture laid as an orientation says, in a new block; the same block for orientation 1. Null without memory.
DibPtr Oriented(DibPtr dib, int orientation);

}  // namespace kestrel
