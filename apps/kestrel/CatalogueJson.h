#pragma once
#include <optional>
#include <string>
#include <vector>

#include "kestrel/host/Catalogue.h"
#include "kestrel/host/Strings.h"

// The catalogue as JSON, for programs; indented, with a line feed at the end. With a language, titles and summaries are
// in it.

/// The answer of `kestrel filters --json`.
std::string FiltersAsJson(const std::vector<const kestrel::ClassRow*>& filters,
                          std::optional<kestrel::Language> language);
/// The answer of `kestrel formats --json`.
std::string FormatsAsJson();
/// The answer of `kestrel describe NAME --json`; with a language, the text of each label stands beside its key.
std::string FilterAsJson(const kestrel::ClassRow& filter, std::optional<kestrel::Language> language);
