#pragma once
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "kestrel/image/RowSpan.h"
#include "kestrel/kernels/Dust.h"
#include "kestrel/passes/Planes.h"

namespace kestrel::passes {

/// Replaces each speck of dust in a picture, in place, by the mean of the nine pixels that were there and around it.
/// The outermost pixels stay, and so does the mask. The rows may still be coming, from the lowest on.
class DustRepair {
public:
    /// Only the specks of the wanted rows are looked for. Throws `std::bad_alloc`.
    DustRepair(const Planes& picture, kernels::DustRule rule, RowSpan wanted);

    /// Repairs what can be, now that the rows below `end` are there. False when aborted, which is looked for before
    /// each row.
    [[nodiscard]] bool Continue(int end, const AbortFlag& abort);
    /// The rows below this one are repaired.
    int Done() const { return found_ < picture_.height ? std::max(found_ - 1, 0) : found_; }

private:
    /// The specks of a row and what takes their place once the row above has been looked at, too.
    struct Specks {
        std::vector<std::int32_t> room;
        std::vector<std::uint8_t> means;
        kernels::SpeckPlaces places;
    };

    void Find(int y);
    void Replace(int y);
    kernels::DustRow& BrightnessOf(int y);

    const Planes picture_;
    const kernels::DustRule rule_;
    const RowSpan wanted_;
    /// Brightness of the rows of one window, each at its number modulo the window's size, and of what is outside.
    std::vector<kernels::DustRow> brightness_;
    Specks specks_[2];  ///< of two rows, each at its number modulo 2
    int measured_ = 0;
    int found_ = 0;  ///< rows whose specks are known
};

}  // namespace kestrel::passes
