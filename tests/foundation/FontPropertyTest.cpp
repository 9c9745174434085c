#include "kestrel/foundation/FontProperty.h"

#include <gtest/gtest.h>

#include <functional>
#include <string>

namespace kestrel {
namespace {

FontProperty WithPitch() {
    FontProperty font;
    font.SetPitchAndFamily(34);
    return font;
}

TEST(FontPropertyTest, StartsWithNothingSet) {
    const FontProperty font;
    EXPECT_FALSE(font.IsValidFontName() || font.IsValidPitchAndFamily() || font.IsValidCharSet() ||
                 font.IsValidFontSize() || font.IsValidFontColor() || font.IsValidBold() || font.IsValidItalic() ||
                 font.IsValidUnderline());
    EXPECT_STREQ(font.GetFontName(), "");
}

TEST(FontPropertyTest, NameIsTakenBelow64Bytes) {
    FontProperty font;
    font.SetFontName(std::string(63, 'n').c_str());
    EXPECT_EQ(font.GetFontName(), std::string(63, 'n'));
    EXPECT_TRUE(font.IsValidFontName());
    for (const char* ignored : {static_cast<const char*>(nullptr), "",
                                "0123456789012345678901234567890123456789"
                                "012345678901234567890123"}) {
        font.SetFontName(ignored, false);
        EXPECT_EQ(font.GetFontName(), std::string(63, 'n'));
        EXPECT_TRUE(font.IsValidFontName()) << "the flag stays with the name";
    }
    font.SetFontName("Arial", false);
    EXPECT_STREQ(font.GetFontName(), "Arial");
    EXPECT_FALSE(font.IsValidFontName());
}

TEST(FontPropertyTest, BoldAndWeightFollowEachOther) {
    FontProperty font;
    font.SetWeight(551);
    EXPECT_TRUE(font.IsBold());
    EXPECT_FALSE(font.IsValidBold());
    font.SetBold(false, true);
    EXPECT_EQ(font.GetWeight(), 400);
    EXPECT_TRUE(font.IsValidBold());
    font.SetBold(true);
    EXPECT_EQ(font.GetWeight(), 700);
    font.SetWeight(550);
    EXPECT_FALSE(font.IsBold());
    EXPECT_TRUE(font.IsValidBold());
    EXPECT_EQ(font.GetWeight(), 550);
}

TEST(FontPropertyTest, WithoutAPitchNothingIsEqual) {
    const FontProperty unset;
    EXPECT_FALSE(unset == unset);
    EXPECT_TRUE(unset != unset);
    const FontProperty set = WithPitch();
    EXPECT_TRUE(set == set);
    FontProperty flagless;
    flagless.SetPitchAndFamily(34, false);
    EXPECT_TRUE(set == flagless) << "only the left side's flag counts";
    EXPECT_FALSE(flagless == set);
}

TEST(FontPropertyTest, PartsCountOnceTheyAreSet) {
    struct Part {
        const char* name;
        std::function<void(FontProperty&, bool other, bool valid)> set;
    };
    const Part parts[] = {
        {"name", [](auto& f, bool other, bool valid) { f.SetFontName(other ? "Arial" : "Times", valid); }},
        {"character set", [](auto& f, bool other, bool valid) { f.SetCharSet(other ? 1 : 2, valid); }},
        {"size", [](auto& f, bool other, bool valid) { f.SetFontSize(other ? -12 : 300, valid); }},
        {"colour", [](auto& f, bool other, bool valid) { f.SetFontColor(other ? 0xFFFFFF : -1, valid); }},
        {"bold", [](auto& f, bool other, bool valid) { f.SetBold(other, valid); }},
        {"italic", [](auto& f, bool other, bool valid) { f.SetItalic(other, valid); }},
        {"underline", [](auto& f, bool other, bool valid) { f.SetUnderline(other, valid); }},
    };
    for (const auto& part : parts) {
        FontProperty left = WithPitch();
        FontProperty right = WithPitch();
        part.set(left, true, false);
        part.set(right, false, false);
        EXPECT_TRUE(left == right) << part.name << " is unset on both sides";
        part.set(left, true, true);
        EXPECT_FALSE(left == right) << part.name << " is set on one side";
        part.set(right, false, true);
        EXPECT_FALSE(left == right) << part.name << " differs";
        part.set(right, true, true);
        EXPECT_TRUE(left == right) << part.name << " agrees";
    }
    FontProperty other = WithPitch();
    other.SetPitchAndFamily(35);
    EXPECT_FALSE(WithPitch() == other);
}

TEST(FontPropertyTest, WeightIsNotCompared) {
    FontProperty light = WithPitch();
    FontProperty heavy = WithPitch();
    light.SetWeight(100);
    heavy.SetWeight(900);
    EXPECT_TRUE(light == heavy);
}

TEST(FontPropertyTest, GettersGiveWhatWasSet) {
    FontProperty font;
    font.SetPitchAndFamily(255);
    font.SetCharSet(238);
    font.SetFontSize(-2000000000);
    font.SetFontColor(0x00FF8040);
    font.SetItalic(true);
    font.SetUnderline(true, false);
    EXPECT_EQ(font.GetPitchAndFamily(), 255);
    EXPECT_EQ(font.GetCharSet(), 238);
    EXPECT_EQ(font.GetFontSize(), -2000000000);
    EXPECT_EQ(font.GetFontColor(), 0x00FF8040);
    EXPECT_TRUE(font.IsItalic() && font.IsValidItalic());
    EXPECT_TRUE(font.IsUnderline());
    EXPECT_FALSE(font.IsValidUnderline());
}

}  // namespace
}  // namespace kestrel
