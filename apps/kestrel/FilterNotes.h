#pragma once
#include <string_view>

/// What a person has to know of a filter beyond its keys and ranges, in lines of at most 80 characters; empty for most.
/// `filter` is its word, such as "Text".
std::string_view NotesOf(std::string_view filter);
