#pragma once
#include <cstdint>
#include <vector>

namespace kestrel {

/// How the samples of a page of a TIFF file make pixels. Not installed.
struct TiffForm {
    std::uint32_t width = 0, height = 0;
    int bits = 1, samples = 1, photometric = -1, orientation = 1;
    bool separate = false;  ///< each sample has a plane of its own
    int alpha = -1;         ///< sample, or -1
    bool premultiplied = false;
    const std::uint16_t* colors[3] = {};  ///< of a palette: red, green, blue
    bool wideColors = false;              ///< the palette uses all 16 bits

    /// Otherwise the library makes pixels of them, for rare color models.
    bool IsConvertedHere() const;
    int ColorSamples() const;
};

/// Samples of `bits` bits, highest first or of the machine's order, into every `step`-th number of `to`.
void UnpackSamples(const std::uint8_t* from, std::size_t count, int bits, std::size_t step, std::uint16_t* to);

/// Samples of a line to blue, green, red and the mask, rounded.
class TiffLineConverter {
public:
    explicit TiffLineConverter(const TiffForm& form);

    /// `samples` are those of all pixels, one pixel after the other; `hidden` may be null.
    void Convert(const std::uint16_t* samples, std::uint8_t* to, std::uint8_t* hidden) const;

private:
    void Colors(const std::uint16_t* samples, std::uint8_t* to) const;
    void LayPalette(const std::uint16_t* samples, std::uint8_t* to) const;
    template <class Value>
    void Lay(const std::uint16_t* samples, std::uint8_t* to, const Value& value) const;

    const TiffForm form_;
    const std::uint32_t largest_;        ///< value of a sample
    std::vector<std::uint8_t> bytes_;    ///< for each value of a sample
    std::vector<std::uint8_t> palette_;  ///< blue, green, red of each index
};

}  // namespace kestrel
