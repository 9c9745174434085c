#pragma once
#include <string>

#include "kestrel/foundation/Export.h"

namespace kestrel {

/// A file and one of the pictures in it.
struct PagePath {
    std::string path;
    int page = 0;
};
/// Splits "in.tif[2]", the third page. A file that exists under the whole name is meant as such.
KESTREL_API PagePath SplitPage(const std::string& name);

}  // namespace kestrel
