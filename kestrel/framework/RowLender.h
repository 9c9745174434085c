#pragma once
#include <cstdint>

#include "kestrel/foundation/Export.h"

namespace kestrel {

/// Pixels of a row and their mask bytes; a null mask hides nothing.
struct LentRow {
    const std::uint8_t* pixels = nullptr;
    const std::uint8_t* mask = nullptr;
};

/// A link whose output lies in memory lends its rows, so that a filter reads them where they are instead of having them
/// copied first.
class KESTREL_API RowLender {
public:
    /// `width` pixels of row `y` from column `x` on, which stay until the line is updated. Null pixels when not all of
    /// them are in the picture, or after an abort: then the link is asked for pixels, and tells more.
    virtual LentRow Lend(int x, int y, int width) const = 0;

protected:
    ~RowLender() = default;
};

}  // namespace kestrel
