#pragma once
#include <cstdint>
#include <functional>
#include <vector>

#include "kestrel/kernels/MaskRows.h"
#include "kestrel/passes/Planes.h"

namespace kestrel::passes {

/// Columns left to right − 1 and rows bottom to top − 1 of a mask.
struct MaskArea {
    std::int64_t left, bottom, right, top;
};

/// Applies one 3 × 3 rule to a mask many times. From the second round on it skips what cannot change: a piece of a row
/// whose surroundings were the same before the last round and after it would come out as it is.
class MaskIteration {
public:
    using RowRule = std::function<void(const kernels::MaskNeighbours&, kernels::Row)>;

    /// Takes the mask of a picture, whose outermost bytes are read and never written.
    MaskIteration(const Planes& picture, RowRule rule);

    /// Runs one round, shared with helper threads where there are any, over an area that contains that of the round
    /// before. False when aborted, which is looked for before each row.
    [[nodiscard]] bool Step(MaskArea area, const AbortFlag& abort);
    /// Did the last round change a byte?
    bool Changed() const { return changedAny_; }

private:
    static constexpr std::int64_t kPiece = 128;  ///< columns that are skipped or made together

    /// Neighbouring rows that one thread makes, with the rows around them as they were before the round.
    struct Strip {
        std::vector<std::uint8_t> below, above;  ///< rows of the neighbouring strips
        std::vector<std::uint8_t> lines[2];      ///< the row at work and the one before it, of this strip
        bool changed = false;
    };

    bool MayChange(std::int64_t piece, std::int64_t y) const;
    bool MakeStrip(Strip& strip, const MaskArea& area, const AbortFlag& abort);
    bool MakeRow(Strip& strip, const MaskArea& area, std::int64_t y, const std::uint8_t* below,
                 const std::uint8_t* above);

    std::uint8_t* const* rows_;
    std::int64_t width_;
    std::int64_t height_;
    RowRule rule_;
    std::int64_t pieces_;                   ///< of one row
    std::vector<std::uint8_t> changed_;     ///< pieces that the last round changed, by rows
    std::vector<std::uint8_t> nowChanged_;  ///< the same of the round that is running
    std::vector<Strip> strips_;
    MaskArea last_{};
    bool changedAny_ = true;
};

}  // namespace kestrel::passes
