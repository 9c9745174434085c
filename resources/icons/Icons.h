#pragma once
#include <cstdint>
#include <span>
#include <vector>

#include "resources/icons/Pen.h"

namespace kestrel::icons {

struct Icon {
    const char* name;  ///< the icon base, such as "icons_sepia"
    void (*draw)(Pen& pen);
};

std::span<const Icon> ToneIcons();
std::span<const Icon> NeighbourhoodIcons();
std::span<const Icon> GeometryIcons();
std::span<const Icon> CompositionIcons();
/// What the title bar of a dialog needs.
std::span<const Icon> SystemIcons();
/// All of them, in the order above.
std::vector<Icon> AllIcons();

/// How the entry of a list or a button is shown.
struct State {
    const char* ending;  ///< of the picture's name, behind the icon base
    Color plate;         ///< lies below the icon
    double alpha;        ///< of the plate; 0 is no plate
    double shift;        ///< the icon moves down so many units, as if pressed
};
inline constexpr State kStates[] = {
    {"", 0, 0, 0}, {"_clk", kLine, 0.26, 0.5}, {"_foc", kBlue, 0.22, 0}, {"_prs_foc", kBlue, 0.36, 0.5}};

/// Side lengths in pixels with the ending of the picture's name, behind the state's.
struct Size {
    const char* ending;
    int side;
};
inline constexpr Size kSizes[] = {{"", 22}, {"@2x", 44}};

/// `side` rows of `side` pixels from the top, 0xAARRGGBB with the colors multiplied by alpha.
std::vector<std::uint32_t> Draw(const Icon& icon, const State& state, int side);

}  // namespace kestrel::icons
