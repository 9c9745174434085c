#include "kestrel/codec/IptcRecords.h"

#include <cstddef>

namespace kestrel {
namespace {

constexpr std::uint8_t kMark = 0x1C, kApplication = 2;

/// Content location code and name; city, part of it, state, country code and name.
constexpr bool IsPlace(std::uint8_t record, std::uint8_t set) {
    return record == kApplication &&
           (set == 26 || set == 27 || set == 90 || set == 92 || set == 95 || set == 100 || set == 101);
}

}  // namespace

void StripIptcPlace(std::vector<std::uint8_t>& iptc) {
    // Mark, record, data set, length of the data. A length with the highest bit tells how many bytes of a longer length
    // follow.
    std::vector<std::uint8_t> kept;
    std::size_t at = 0;
    while (at + 5 <= iptc.size() && iptc[at] == kMark) {
        std::size_t data = at + 5;
        std::size_t length = static_cast<std::size_t>(iptc[at + 3] << 8 | iptc[at + 4]);
        if (length & 0x8000) {
            const std::size_t bytes = length & 0x7FFF;
            if (bytes > 4 || bytes > iptc.size() - data) break;
            length = 0;
            for (std::size_t i = 0; i < bytes; ++i) length = length << 8 | iptc[data++];
        }
        if (length > iptc.size() - data) break;
        const std::size_t end = data + length;
        if (!IsPlace(iptc[at + 1], iptc[at + 2]))
            kept.insert(kept.end(), iptc.begin() + static_cast<std::ptrdiff_t>(at),
                        iptc.begin() + static_cast<std::ptrdiff_t>(end));
        at = end;
    }
    iptc = std::move(kept);
}

}  // namespace kestrel
