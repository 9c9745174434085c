#pragma once
#include <cstdint>
#include <span>
#include <string>
#include <vector>

namespace kestrel {

/// Takes on the profile of a file when it is one for RGB pixels. Otherwise returns why it was left out, for a person.
std::string TakeProfile(std::span<const std::uint8_t> bytes, std::vector<std::uint8_t>& profile);

}  // namespace kestrel
