#pragma once
#include "kestrel/foundation/Export.h"
#include "kestrel/image/Dib.h"

namespace kestrel {

/// Anything that pictures are drawn on: a screen, a page, a block of memory. Points count from the upper left corner,
/// y downward. Blocks that travel are 24-bit; parts beyond the edges are left out.
class KESTREL_API Surface {
public:
    virtual ~Surface() = default;
    /// Copies the rectangle of the block's size at (x, y) into the block; what lies beyond the surface stays as it was.
    virtual void Read(int x, int y, Dib* into) const = 0;
    /// Copies the block to the rectangle of its size at (x, y).
    virtual void Write(int x, int y, const Dib* from) = 0;
};

/// A surface of 24-bit rows in memory, at first black.
class KESTREL_API MemorySurface final : public Surface {
public:
    /// Throws `std::bad_alloc` when memory does not suffice.
    MemorySurface(int width, int height);
    /// Draws on a 24-bit block, which it owns from now on; throws `std::invalid_argument` for any other.
    explicit MemorySurface(DibPtr picture);

    void Read(int x, int y, Dib* into) const override;
    void Write(int x, int y, const Dib* from) override;

    Dib* Picture() { return picture_.get(); }
    const Dib* Picture() const { return picture_.get(); }

private:
    DibPtr picture_;
};

}  // namespace kestrel
