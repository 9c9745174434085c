#include "kestrel/codec/IccProfile.h"

#include <cstring>

namespace kestrel {
namespace {

constexpr std::size_t kHeader = 128;
constexpr std::size_t kColorSpace = 16;
constexpr std::size_t kMark = 36;

}  // namespace

std::string TakeProfile(std::span<const std::uint8_t> bytes, std::vector<std::uint8_t>& profile) {
    const auto is = [&](std::size_t at, const char* four) { return std::memcmp(bytes.data() + at, four, 4) == 0; };
    if (bytes.size() < kHeader || !is(kMark, "acsp")) return "the colour profile is damaged and was left out";
    const std::size_t size =
        std::size_t{bytes[0]} << 24 | std::size_t{bytes[1]} << 16 | std::size_t{bytes[2]} << 8 | std::size_t{bytes[3]};
    if (size < kHeader || size > bytes.size()) return "the colour profile is damaged and was left out";
    if (!is(kColorSpace, "RGB ")) return "the colour profile is not one for RGB pixels and was left out";
    profile.assign(bytes.begin(), bytes.begin() + static_cast<std::ptrdiff_t>(size));
    return {};
}

void TakeProfile(std::span<const std::uint8_t> bytes, LoadResult& result) {
    if (bytes.empty()) return;
    std::string why = TakeProfile(bytes, result.metadata.profile);
    if (!why.empty()) result.warnings.push_back(std::move(why));
}

}  // namespace kestrel
