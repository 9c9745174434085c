#pragma once
#include <fmt/format.h>

#include <string>

#include "kestrel/diagnostics/LogSink.h"
#include "kestrel/passes/Shear.h"

namespace kestrel {

/// Runs a pass of the scale filter. An exception is logged with the source's name and a line, and the pass counts as
/// ended. Never throws, also when the log does.
template <class Pass>
bool GuardCalculate(int line, const Pass& pass) noexcept {
    constexpr const char* kSource = "ScaleFilter";
    constexpr int kDefaultLevel = -1;
    try {
        return pass();
    } catch (...) {
        try {
            LogLine(kDefaultLevel, kSource, line, fmt::format("Exception occoured in {} ({})", kSource, line));
            LogLine(kDefaultLevel, kSource, line, "CATCHED EXCEPTION IN SCALEFILTER::CALCULATE");
        } catch (...) {
            try {
                LogLine(kDefaultLevel, kSource, line, fmt::format("Exception in logging {},{}", line, kSource));
            } catch (...) {  // a log that cannot even say so is given up
            }
        }
    }
    return true;
}

/// Runs one shear of a rotation, "XShear" or "YShear". An exception is logged with the corners of the area, left and
/// right, below and above, and the shear counts as failed. Never throws, also when the log does.
template <class Pass>
bool GuardShear(const char* name, const passes::Area& area, int line, const Pass& pass) noexcept {
    try {
        return pass();
    } catch (...) {
        try {
            LogLine(-1, "RotateFilter", line,
                    fmt::format("Exception in {}(lu=<{},{}> lo=<{},{}> ru=<{},{}> ro=<{},{}>)\n", name, area.left,
                                area.bottom, area.left, area.top, area.right, area.bottom, area.right, area.top));
        } catch (...) {  // a log that cannot say so is given up
        }
    }
    return false;
}

}  // namespace kestrel
