#pragma once
#include <cstdint>
#include <map>
#include <span>
#include <string>
#include <vector>

namespace kestrel::tests {

/// What a compound file holds, by path ("a/b"); a storage's path ends in '/'.
using CompoundContent = std::map<std::u16string, std::vector<std::uint8_t>>;

/// A reader of the compound file format that shares nothing with the library: it takes the whole file and believes none
/// of it. Besides the content it insists on what a writer owes: each sector used once and marked in the FAT, all else
/// free, names in order, trees red and black by the rules. Otherwise `fault` says what is wrong.
CompoundContent ReadCompound(std::span<const std::uint8_t> file, std::string& fault);

}  // namespace kestrel::tests
