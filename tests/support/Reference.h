#pragma once
#include <optional>
#include <string>
#include <vector>

#include "tests/support/Picture.h"

namespace kestrel::test {

/// One filter of a chain by ProgID and parameter text.
struct Step {
    std::string progId;
    std::string text;
};

/// The slow engine: a chain as whole pictures one after the other. Every filter is made anew, stands alone between a
/// source and a sink, and is asked for its whole output once. No cache, request or neighbour can have any influence.
/// No value when a filter refuses (margins that cross each other) or leaves no pixel.
std::optional<Picture> Evaluate(const std::vector<Step>& chain, Picture picture);

/// Filters whose bytes depend on the part that is asked for, by their rule, so that a part need not be the cut of
/// the whole picture.
bool DependsOnRequest(const Step& step);

}  // namespace kestrel::test
