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

/// Applies one 3 × 3 rule to a mask many times. It skips what cannot change: a piece of a row whose surroundings are of
/// one value, or were the same before the last round and after it, would come out as it is.
class MaskIteration {
public:
    /// Leaves a byte as it is whose neighbours all equal it.
    using RowRule = std::function<void(const kernels::MaskNeighbours&, kernels::Row)>;

    /// Takes the mask of a picture, whose outermost bytes are read and never written.
    MaskIteration(const Planes& picture, RowRule rule);

    /// Runs one round over an area, shared with helper threads where there are any. False when aborted, which is looked
    /// for before each row.
    [[nodiscard]] bool Step(MaskArea area, const AbortFlag& abort);
    /// Did the last round change a byte?
    bool Changed() const { return changedAny_; }

private:
    static constexpr std::int64_t kPiece = 128;  ///< columns that are skipped or made together

    /// A bit for each piece of a row.
    using Bits = std::vector<std::uint64_t>;
    static bool IsSet(const std::uint64_t* bits, std::int64_t piece) { return bits[piece / 64] >> piece % 64 & 1; }
    static void Set(std::uint64_t* bits, std::int64_t piece) { bits[piece / 64] |= std::uint64_t{1} << piece % 64; }
    const std::uint64_t* Row(const Bits& bits, std::int64_t y) const {
        return &bits[static_cast<std::size_t>(y * words_)];
    }
    std::uint64_t* Row(Bits& bits, std::int64_t y) const { return &bits[static_cast<std::size_t>(y * words_)]; }

    /// The pieces of a row that were made, as they were before.
    struct OldRow {
        std::vector<std::uint8_t> bytes;
        Bits pieces;
    };
    /// Neighbouring rows that one thread makes, with the rows around them as they were before the round.
    struct Strip {
        std::vector<std::uint8_t> below, above;  ///< rows of the neighbouring strips
        OldRow row, rowBelow;                    ///< the row at work and the one before it, of this strip
        bool changed = false;
    };

    std::int64_t Left(std::int64_t piece) const { return piece * kPiece; }
    std::int64_t Right(std::int64_t piece) const;
    void FindOpen();
    void Spread(std::int64_t y, std::uint64_t* pieces) const;
    const std::uint8_t* Below(Strip& strip, std::int64_t y, std::int64_t from, std::int64_t to) const;
    void MakePiece(Strip& strip, const MaskArea& area, std::int64_t y, std::int64_t piece);
    bool MakeStrip(Strip& strip, const MaskArea& area, const AbortFlag& abort);

    std::uint8_t* const* rows_;
    std::int64_t width_;
    std::int64_t height_;
    RowRule rule_;
    std::int64_t pieces_;  ///< of one row
    std::int64_t words_;   ///< of the bits of one row
    Bits open_;            ///< by rows; a piece cannot change when neither it nor one of those around it is open
    Bits nextOpen_;        ///< the same after the round that is running
    std::vector<Strip> strips_;
    bool changedAny_ = true;
};

}  // namespace kestrel::passes
