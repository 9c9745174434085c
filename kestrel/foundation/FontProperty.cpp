#include "kestrel/foundation/FontProperty.h"

#include <cstring>

namespace kestrel {
namespace {

constexpr std::int32_t kRegular = 400;
constexpr std::int32_t kBold = 700;
constexpr std::int32_t kLeastBold = 551;

/// A part agrees when both sides have it unset, or both have it set to the same value.
template <class Value, class Flag>
bool Agree(Value left, Flag leftValid, Value right, Flag rightValid) {
    return (leftValid != 0) == (rightValid != 0) && (leftValid == 0 || left == right);
}

}  // namespace

void FontProperty::SetFontName(const char* text, bool valid) {
    if (!text) return;
    const std::size_t length = strnlen(text, kNameSize);
    if (length == 0 || length == kNameSize) return;
    std::memcpy(name_, text, length + 1);
    nameValid_ = valid;
}

void FontProperty::SetBold(bool value, bool valid) {
    bold_ = value;
    boldValid_ = valid;
    weight_ = value ? kBold : kRegular;
}

void FontProperty::SetWeight(std::int32_t weight) {
    weight_ = weight;
    bold_ = weight >= kLeastBold;
}

bool FontProperty::operator==(const FontProperty& other) const {
    if (pitchValid_ == 0 || pitch_ != other.pitch_) return false;
    if (!Agree(charSet_, charSetValid_, other.charSet_, other.charSetValid_)) return false;
    if (!Agree(size_, sizeValid_, other.size_, other.sizeValid_)) return false;
    if (!Agree(color_, colorValid_, other.color_, other.colorValid_)) return false;
    if (!Agree(bold_, boldValid_, other.bold_, other.boldValid_)) return false;
    if (!Agree(italic_, italicValid_, other.italic_, other.italicValid_)) return false;
    if (!Agree(underline_, underlineValid_, other.underline_, other.underlineValid_)) return false;
    if (IsValidFontName() != other.IsValidFontName()) return false;
    return !IsValidFontName() || std::strcmp(name_, other.name_) == 0;
}

}  // namespace kestrel
