#pragma once
#include <cstdint>
#include <string>

#include "kestrel/foundation/Truncate.h"
#include "kestrel/kernels/Hsl.h"

namespace kestrel {

/// A coloured board: under the picture, beyond its edges, or as a pane over it.
struct BoardParameters {
    bool bordersizeOn = true;      ///< the borders set the size of the board; otherwise its total size does
    std::int32_t borderHori = 1;   ///< left and right border, pixels; below 0 the board covers the picture's edge
    std::int32_t borderVerti = 1;  ///< the same at the bottom and the top
    std::int32_t totalHori = 150;  ///< size of the whole board, pixels
    std::int32_t totalVerti = 150;
    std::int32_t radius = 5;  ///< of the board's corners, pixels
    std::uint8_t red = 0;
    std::uint8_t green = 0;
    std::uint8_t blue = 105;
    std::int32_t poscorhori = 0;  ///< shifts the picture on the board, pixels
    std::int32_t poscorverti = 0;
    std::int32_t transparency = 0;  ///< of the board, percent

    kernels::Bgr Color() const { return {blue, green, red}; }
};

inline constexpr int kBoardMinimumBuffer = 221;

/// `value` rounded to the nearest integer, halves away from 0.
constexpr std::int32_t RoundBySign(double value) { return TruncateToInt(value < 0 ? value - 0.5 : value + 0.5); }

/// Holds the lengths that are in use to what a board may have at this scale, and calls `report` with the log line
/// of each length that it changes.
template <class Report>
void ClipParameters(BoardParameters& board, double renderScale, const Report& report) {
    const auto hold = [&](std::int32_t& length, const char* name, int minimum, int maximum) {
        const std::int32_t low = RoundBySign(minimum * renderScale);
        const std::int32_t high = RoundBySign(maximum * renderScale);
        if (length > high) {
            length = high;
            report(std::string(name) + " clipped to max\n");
        }
        if (length < low) {
            length = low;
            report(std::string(name) + " clipped to min\n");
        }
    };
    if (board.bordersizeOn) {
        hold(board.borderHori, "m_nBorderHori", -50, 1000);
        hold(board.borderVerti, "m_nBorderVerti", -50, 1000);
    } else {
        hold(board.totalHori, "m_nTotalHori", 1, 10000);
        hold(board.totalVerti, "m_nTotalVerti", 1, 10000);
    }
}

}  // namespace kestrel
