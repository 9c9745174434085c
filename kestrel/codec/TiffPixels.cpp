#include "kestrel/codec/TiffPixels.h"

#include <tiff.h>

#include <cstring>

#include "kestrel/codec/SampleByte.h"

namespace kestrel {

bool TiffForm::IsConvertedHere() const {
    return photometric == PHOTOMETRIC_MINISWHITE || photometric == PHOTOMETRIC_MINISBLACK ||
           photometric == PHOTOMETRIC_RGB || photometric == PHOTOMETRIC_PALETTE || photometric == PHOTOMETRIC_SEPARATED;
}

int TiffForm::ColorSamples() const {
    return photometric == PHOTOMETRIC_RGB ? 3 : photometric == PHOTOMETRIC_SEPARATED ? 4 : 1;
}

void UnpackSamples(const std::uint8_t* from, std::size_t count, int bits, std::size_t step, std::uint16_t* to) {
    if (bits == 8) {
        for (std::size_t i = 0; i < count; ++i) to[i * step] = from[i];
    } else if (bits == 16) {
        for (std::size_t i = 0; i < count; ++i) std::memcpy(to + i * step, from + 2 * i, 2);
    } else {
        const auto size = static_cast<std::size_t>(bits);
        for (std::size_t i = 0; i < count; ++i)
            to[i * step] =
                static_cast<std::uint16_t>(from[i * size / 8] >> (8 - size - i * size % 8) & ((1 << bits) - 1));
    }
}

TiffLineConverter::TiffLineConverter(const TiffForm& form) : form_(form), largest_((1u << form.bits) - 1) {
    for (std::uint32_t value = 0; value <= largest_; ++value) bytes_.push_back(SampleByte(value, largest_));
    if (form.photometric != PHOTOMETRIC_PALETTE) return;
    for (std::uint32_t index = 0; index <= largest_; ++index)
        for (int c = 2; c >= 0; --c)
            palette_.push_back(SampleByte(form.colors[c][index], form.wideColors ? 65535 : 255));
}

void TiffLineConverter::Convert(const std::uint16_t* samples, std::uint8_t* to, std::uint8_t* hidden) const {
    Colors(samples, to);
    if (!hidden) return;
    const std::uint16_t* alpha = samples + form_.alpha;
    for (std::uint32_t x = 0; x < form_.width; ++x, alpha += form_.samples)
        hidden[x] = static_cast<std::uint8_t>(255 - bytes_[*alpha]);
}

void TiffLineConverter::Colors(const std::uint16_t* samples, std::uint8_t* to) const {
    using Pixel = const std::uint16_t*;
    switch (form_.photometric) {
        case PHOTOMETRIC_PALETTE:
            return LayPalette(samples, to);
        case PHOTOMETRIC_RGB:
            return Lay(samples, to, [](Pixel pixel, int c) -> std::uint32_t { return pixel[c]; });
        case PHOTOMETRIC_SEPARATED:  // what ink and black let through
            return Lay(samples, to, [this](Pixel pixel, int c) {
                const std::uint64_t light = std::uint64_t{largest_ - pixel[c]} * (largest_ - pixel[3]);
                return static_cast<std::uint32_t>((light + largest_ / 2) / largest_);
            });
        case PHOTOMETRIC_MINISWHITE:
            return Lay(samples, to, [this](Pixel pixel, int) { return largest_ - pixel[0]; });
        default:
            return Lay(samples, to, [](Pixel pixel, int) -> std::uint32_t { return pixel[0]; });
    }
}

void TiffLineConverter::LayPalette(const std::uint16_t* samples, std::uint8_t* to) const {
    for (std::uint32_t x = 0; x < form_.width; ++x, samples += form_.samples, to += 3)
        std::memcpy(to, palette_.data() + 3 * std::size_t{samples[0]}, 3);
}

/// `value` is red, green or blue of a pixel, as large as a sample.
template <class Value>
void TiffLineConverter::Lay(const std::uint16_t* samples, std::uint8_t* to, const Value& value) const {
    for (std::uint32_t x = 0; x < form_.width; ++x, samples += form_.samples, to += 3) {
        const std::uint32_t alpha = form_.premultiplied ? samples[form_.alpha] : 0;
        for (int c = 0; c < 3; ++c) {
            const std::uint32_t color = value(samples, c);
            to[2 - c] = alpha > 0 ? SampleByte(color, alpha) : bytes_[color];
        }
    }
}

}  // namespace kestrel
