#pragma once
#include <cstddef>
#include <cstdint>

#include "kestrel/foundation/FontProperty.h"
#include "kestrel/image/Dib.h"

namespace kestrel {

/// The name under which a host draws text, and the codes of its requests.
inline constexpr const char* kTextFilterDispatcher = "TextFilterDispatcher";
inline constexpr std::int32_t kRenderTextCode = 58672;   ///< a `TextRenderRequest`; also the event that asks for anew
inline constexpr std::int32_t kDefaultTextCode = 58676;  ///< a `DefaultTextRequest`

/// Bytes of the Text filter's text, its terminator included; what is longer is cut.
inline constexpr std::size_t kTextFieldSize = 200;

/// A text to be drawn, and the picture of it that the host answers. Lengths are pixels of the picture that is rendered.
/// What the filter filled in belongs to the filter; what the host filled in is freed by `release`.
struct TextRenderRequest {
    std::int32_t pos;     ///< anchor 1..9, see `TextAnchor`
    std::int32_t dir;     ///< 0 normal, 90 upward, 270 downward
    std::int32_t offset;  ///< distance from the border
    const FontProperty* font;
    std::int32_t shd;  ///< density of a shadow, percent
    std::uint8_t shadowRed;
    std::uint8_t shadowGreen;
    std::uint8_t shadowBlue;
    std::uint8_t reserved;
    std::int32_t tr;     ///< transparency, percent
    const char* text;    ///< Windows-1252 unless the font's character set says otherwise; lines end with a line feed
    std::int32_t width;  ///< of the picture that the text goes into
    std::int32_t height;

    Dib* image;             ///< the text in 24 bits; null when there is nothing to show
    Dib* mask;              ///< 8 bits of the same size, 255 where there is no text
    std::int32_t hotSpotX;  ///< point of the text's picture that goes onto the anchor
    std::int32_t hotSpotY;
    void (*release)(TextRenderRequest* request);  ///< frees what was filled in; may be null
};

/// Asks for the text that a new filter starts with, in the escaped form of a parameter text.
struct DefaultTextRequest {
    char* buffer;
    std::int32_t size;  ///< bytes of the buffer with the terminator
};

/// A point of a picture, row 0 at the bottom.
struct TextPoint {
    std::int64_t x;
    std::int64_t y;
};

/// The nine places of a picture `offset` pixels from its border: 1 2 3 along the top, 4 and 5 left and right of the
/// middle, 6 7 8 along the bottom, 9 in the middle. Any other number is the corner at (0, 0).
constexpr TextPoint TextAnchor(std::int32_t pos, std::int32_t offset, std::int32_t width, std::int32_t height) {
    const std::int64_t near = offset;
    const std::int64_t right = std::int64_t{width} - 1 - offset;
    const std::int64_t top = std::int64_t{height} - 1 - offset;
    const std::int64_t middleX = width / 2;
    const std::int64_t middleY = height / 2;
    switch (pos) {
        case 1:
            return {near, top};
        case 2:
            return {middleX, top};
        case 3:
            return {right, top};
        case 4:
            return {near, middleY};
        case 5:
            return {right, middleY};
        case 6:
            return {near, near};
        case 7:
            return {middleX, near};
        case 8:
            return {right, near};
        case 9:
            return {middleX, middleY};
        default:
            return {0, 0};
    }
}

}  // namespace kestrel
