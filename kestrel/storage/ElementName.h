#pragma once
#include <string>
#include <string_view>

namespace kestrel {

/// The name of an element of a compound file, from the 8-bit text of the interface: UTF-8, or Windows-1252 for a text
/// that is not. Half a surrogate pair, which the format allows, may stand in it as three bytes. Not installed.
std::u16string ElementName(std::string_view text);
/// The way back, to UTF-8.
std::string ElementText(std::u16string_view name);

}  // namespace kestrel
