#include "kestrel/parameters/TextEscapes.h"

namespace kestrel {
namespace {

constexpr std::string_view kDigits = "0123456789abcdef";

}  // namespace

std::string EscapeText(std::string_view text) {
    std::string escaped;
    for (const char c : text) {
        const auto byte = static_cast<unsigned char>(c);
        if (byte >= 32 && std::string_view(",&=\\").find(c) == std::string_view::npos) {
            escaped += c;
            continue;
        }
        escaped += '\\';
        escaped += kDigits[byte >> 4];
        escaped += kDigits[byte & 15];
    }
    return escaped;
}

std::string UnescapeText(std::string_view text) {
    std::string plain;
    for (std::size_t i = 0; i < text.size(); ++i) {
        const std::size_t high = text[i] == '\\' && i + 2 < text.size() ? kDigits.find(text[i + 1]) : kDigits.npos;
        const std::size_t low = high != kDigits.npos ? kDigits.find(text[i + 2]) : kDigits.npos;
        if (low == kDigits.npos) {
            plain += text[i];
            continue;
        }
        plain += static_cast<char>(high << 4 | low);
        i += 2;
    }
    return plain;
}

}  // namespace kestrel
