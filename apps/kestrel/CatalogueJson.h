#pragma once
#include <string>
#include <vector>

#include "kestrel/host/Catalogue.h"

// The catalogue as JSON, for programs; indented, with a line feed at the end.

/// The answer of `kestrel filters --json`.
std::string FiltersAsJson(const std::vector<const kestrel::ClassRow*>& filters);
/// The answer of `kestrel describe NAME --json`.
std::string FilterAsJson(const kestrel::ClassRow& filter);
