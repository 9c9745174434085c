#pragma once
#include <cstdint>

#include "kestrel/foundation/Export.h"

namespace kestrel {

/// Describes a font part by part. Each part carries a flag that tells whether it has been set, so that a dialog can
/// hand over only what the user changed. A plain value; its layout crosses module boundaries.
class KESTREL_API FontProperty {
public:
    /// Bytes of a font name with its terminator.
    static constexpr int kNameSize = 64;

    /// Takes a name of 1 to 63 bytes; any other text, or null, changes nothing, the flag neither.
    void SetFontName(const char* text, bool valid = true);
    const char* GetFontName() const { return name_; }
    bool IsValidFontName() const { return nameValid_ != 0; }

    void SetPitchAndFamily(std::uint8_t value, bool valid = true) { pitch_ = value, pitchValid_ = valid; }
    std::uint8_t GetPitchAndFamily() const { return pitch_; }
    bool IsValidPitchAndFamily() const { return pitchValid_ != 0; }

    void SetCharSet(std::uint8_t value, bool valid = true) { charSet_ = value, charSetValid_ = valid; }
    std::uint8_t GetCharSet() const { return charSet_; }
    bool IsValidCharSet() const { return charSetValid_ != 0; }

    void SetFontSize(std::int32_t value, bool valid = true) { size_ = value, sizeValid_ = valid; }
    std::int32_t GetFontSize() const { return size_; }
    bool IsValidFontSize() const { return sizeValid_ != 0; }

    void SetFontColor(std::int32_t value, bool valid = true) { color_ = value, colorValid_ = valid; }
    std::int32_t GetFontColor() const { return color_; }
    bool IsValidFontColor() const { return colorValid_ != 0; }

    /// Also sets the weight: 700 when bold, otherwise 400.
    void SetBold(bool value, bool valid = true);
    bool IsBold() const { return bold_ != 0; }
    bool IsValidBold() const { return boldValid_ != 0; }

    void SetItalic(bool value, bool valid = true) { italic_ = value, italicValid_ = valid; }
    bool IsItalic() const { return italic_ != 0; }
    bool IsValidItalic() const { return italicValid_ != 0; }

    void SetUnderline(bool value, bool valid = true) { underline_ = value, underlineValid_ = valid; }
    bool IsUnderline() const { return underline_ != 0; }
    bool IsValidUnderline() const { return underlineValid_ != 0; }

    /// Also turns bold on, at 551 and above, or off; bold's flag stays as it is.
    void SetWeight(std::int32_t weight);
    std::int32_t GetWeight() const { return weight_; }

    /// Compares the parts that are set; the weight does not count. A left side whose pitch is not set equals nothing,
    /// not even itself: callers rely on it to tell "nothing chosen yet" from any choice.
    bool operator==(const FontProperty& other) const;
    bool operator!=(const FontProperty& other) const { return !(*this == other); }

private:
    char name_[kNameSize] = {};
    std::uint8_t nameValid_ = 0;
    std::uint8_t pitch_ = 0;
    std::uint8_t pitchValid_ = 0;
    std::uint8_t charSet_ = 0;
    std::uint8_t charSetValid_ = 0;
    std::int32_t size_ = 0;
    std::int32_t sizeValid_ = 0;
    std::int32_t color_ = 0;  ///< 0x00BBGGRR
    std::uint8_t colorValid_ = 0;
    std::uint8_t bold_ = 0;
    std::uint8_t boldValid_ = 0;
    std::uint8_t italic_ = 0;
    std::uint8_t italicValid_ = 0;
    std::uint8_t underline_ = 0;
    std::uint8_t underlineValid_ = 0;
    std::int32_t weight_ = 400;  ///< 100 to 900; 400 is regular
};

}  // namespace kestrel
