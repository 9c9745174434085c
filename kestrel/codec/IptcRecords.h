#pragma once
#include <cstdint>
#include <vector>

namespace kestrel {

/// Drops the places that the records name. Records behind the first one that is damaged go as well.
void StripIptcPlace(std::vector<std::uint8_t>& iptc);

}  // namespace kestrel
