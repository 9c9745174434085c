#pragma once
#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "kestrel/kernels/Dust.h"
#include "kestrel/passes/Planes.h"

namespace kestrel::passes {

/// Replaces each speck of dust in a picture, in place, by the mean of the nine pixels that were there and around it.
/// The outermost pixels stay, and so does the mask. The rows may still be coming, from the lowest on.
class DustRepair {
public:
    /// Throws `std::bad_alloc`.
    DustRepair(const Planes& picture, kernels::DustRule rule);

    /// Repairs what can be, now that the rows below `end` are there. False when aborted, which is looked for before
    /// each row.
    [[nodiscard]] bool Continue(int end, const AbortFlag& abort);
    /// The rows below this one are repaired.
    int Done() const { return done_; }

private:
    void Repair(int y);
    kernels::DustRow& BrightnessOf(int y);
    kernels::Row OldRow(int y);

    const Planes picture_;
    const kernels::DustRule rule_;
    /// Brightness of the rows of one window, each at its number modulo the window's size, and of what is outside.
    std::vector<kernels::DustRow> brightness_;
    /// Two rows as they were, each at its number modulo 2.
    std::vector<std::uint8_t> old_;
    std::vector<std::uint8_t> specks_;
    int measured_ = 0;
    int done_ = 0;
};

}  // namespace kestrel::passes
