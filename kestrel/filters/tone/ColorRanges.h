#pragma once
#include <array>

namespace kestrel {

/// A range of colours that keys are numbered or lettered for, in the order of the hue sectors.
struct ColorRange {
    const char* letter;  ///< in keys
    const char* name;
};
inline constexpr std::array<ColorRange, 6> kColorRanges = {
    {{"R", "reds"}, {"Y", "yellows"}, {"G", "greens"}, {"C", "cyans"}, {"B", "blues"}, {"M", "magentas"}}};
inline constexpr const char* kAllColors = "all colours";

}  // namespace kestrel
