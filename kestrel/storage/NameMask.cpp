#include "kestrel/storage/NameMask.h"

#include <string>

namespace kestrel {
namespace {

constexpr char Folded(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; }

/// The start of the next character; a name is UTF-8.
std::size_t Next(std::string_view text, std::size_t at) {
    do ++at;
    while (at < text.size() && (static_cast<unsigned char>(text[at]) & 0xC0) == 0x80);
    return at;
}

/// Goes back to the last star only: its time is at most the product of the lengths.
bool Fits(std::string_view mask, std::string_view name) {
    std::size_t m = 0, n = 0;
    std::size_t star = std::string_view::npos, resume = 0;
    while (n < name.size()) {
        if (m < mask.size() && mask[m] == '*') {
            star = m++;
            resume = n;
        } else if (m < mask.size() && mask[m] == '?') {
            ++m;
            n = Next(name, n);
        } else if (m < mask.size() && Folded(mask[m]) == Folded(name[n])) {
            ++m;
            ++n;
        } else if (star != std::string_view::npos) {
            m = star + 1;
            n = ++resume;
        } else {
            return false;
        }
    }
    return mask.find_first_not_of('*', m) == std::string_view::npos;
}

}  // namespace

bool MaskFits(std::string_view mask, std::string_view name) {
    if (mask.empty() || Fits(mask, name)) return true;
    return name.find('.') == std::string_view::npos && mask.find('.') != std::string_view::npos &&
           Fits(mask, std::string(name) + '.');
}

}  // namespace kestrel
