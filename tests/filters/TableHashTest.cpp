// Tables of doubles come from the C library, whose pow and exp have a form of their own for CPUs with fused
// multiply-add. What is cut from them to bytes has to be the same; CTest runs this a second time with that form hidden.
#include <gtest/gtest.h>

#include <string>

#include "tests/support/Line.h"

namespace kestrel {
namespace {
using test::Apply;
using test::Picture;
using test::Pixel;

/// FNV-1a of the rows and masks.
std::uint64_t Hash(const Picture& picture, std::uint64_t hash) {
    const auto add = [&hash](const std::uint8_t* bytes, int count) {
        for (int i = 0; i < count; ++i) hash = (hash ^ bytes[i]) * 0x100000001B3u;
    };
    for (int y = 0; y < picture.Height(); ++y) {
        add(picture.Row(y), picture.Width() * 3);
        add(picture.MaskRow(y), picture.Width());
    }
    return hash;
}

TEST(TableHash, IsTheSameOnEveryCpu) {
    // Every tone in each channel beside every grey.
    const Picture tones(256, 4, [](int x, int y) {
        const auto tone = static_cast<std::uint8_t>(x);
        return Pixel{static_cast<std::uint8_t>(y == 1 ? 90 : tone), static_cast<std::uint8_t>(y == 2 ? 90 : tone),
                     static_cast<std::uint8_t>(y == 3 ? 90 : tone), 0};
    });
    const Picture noise = Picture::Random(64, 48, 5);
    const struct {
        const char* progId;
        const char* text;  ///< '#' stands for the slider
        int from, to;
        const Picture& picture;
        std::uint64_t want;
    } cases[] = {
        {"TMFilter.Exposure.1", "Red=#,Green=#,Blue=#", -100, 100, tones, 0xC58C7E8AD6BDAB5C},
        {"TMFilter.Gamma.1", "S10=#,S21=#,S32=#,S43=#,S54=#,S15=#,S26=#", -100, 100, tones, 0x14AAAE2446D1550C},
        {"TMFilter.BrightnessContrast.1", "Brightness=000,Contrast=#,Saturation=010", -100, 100, tones,
         0xB046C0613A5A0557},
        {"TMFilter.WhiteBlackGrey.1", "RedG=#,GreenG=100,BlueG=200,Mode=2,Opacity=090,FilterOn=1", 1, 254, tones,
         0x7876FE8A246CA268},
        {"TMFilter.Histo.1", "Intensity=#", 0, 100, noise, 0x46AD08F102F6B577},
        {"TMFilter.Tonwert.1", "AutoTone=1,AutoContrast=0,Hi=010,Med=030,Lo=020,Addhi=#,Addmed=#,Addlo=#", -100, 100,
         noise, 0x87FA4D627E1C57E7},
        {"TMFilter.Scale.1", "MaximumHorizontalSize=#,MaximumVerticalSize=#", 3, 47, noise, 0xD23F8DC1F8CD05C9},
    };
    for (const auto& c : cases) {
        std::uint64_t hash = 0xCBF29CE484222325u;
        for (int slider = c.from; slider <= c.to; ++slider) {
            std::string text = c.text;
            for (std::size_t at; (at = text.find('#')) != std::string::npos;)
                text.replace(at, 1, std::to_string(slider));
            hash = Hash(Apply(c.progId, text.c_str(), c.picture), hash);
        }
        EXPECT_EQ(hash, c.want) << c.progId << std::hex << " 0x" << hash;
    }
}

}  // namespace
}  // namespace kestrel
