#pragma once
#include <string>
#include <vector>

#include "kestrel/host/Catalogue.h"

/// What a filter did not take up of a parameter text, one line for each piece: keys that it does not have, and values
/// that it could not read or took for others. No reader of a filter reports these; they show in what the filter writes.
std::vector<std::string> UnreadValues(const kestrel::ClassRow& filter, const std::string& text);
