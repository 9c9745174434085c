#pragma once
#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "kestrel/codec/ImageLoader.h"

namespace kestrel {

/// Takes on the profile of a file when it is one for RGB pixels. Otherwise returns why it was left out, for a person.
std::string TakeProfile(std::span<const std::uint8_t> bytes, std::vector<std::uint8_t>& profile);
/// The same for the profile, if any, of a picture that is loaded: the reason becomes one of its warnings.
void TakeProfile(std::span<const std::uint8_t> bytes, LoadResult& result);

}  // namespace kestrel
