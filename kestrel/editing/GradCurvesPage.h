#pragma once
#include <string>

#include "kestrel/foundation/Export.h"

namespace kestrel {

/// The page of the gradation editor as a host's script engine takes it: the page itself and the order of its objects.
struct PageTexts {
    std::string page;
    std::string sequence;
};

/// Read from the built-in storage at the first call; empty in a program without one. Any thread may ask.
KESTREL_API const PageTexts& GradCurvesPage();

}  // namespace kestrel
