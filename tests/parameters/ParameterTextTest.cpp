#include "kestrel/parameters/ParameterText.h"

#include <gtest/gtest.h>

#include <climits>
#include <cmath>

namespace kestrel {
namespace {

TEST(ParameterText, IntegersAreFoundBehindTheirKey) {
    const struct {
        const char* text;
        int value;  // what the field holds after; it begins with 77
        bool read;
    } cases[] = {
        {"Key=50", 50, true},
        {"Key=050", 50, true},
        {"Key=-005", -5, true},
        {"Key=+5", 5, true},
        {"Key= \t\r\n\v\f6", 6, true},
        {"Key:7", 7, true},
        {"Key7", 77, false},
        {"KeyX7Key=8", 7, true},  // the first place of the key wins, whatever stands there
        {"XKey=7", 7, true},
        {"Other=1,Key=2,Key=3", 2, true},
        {"Key", 77, false},
        {"Key=", 77, false},
        {"Key=x", 77, false},
        {"Key=-", 77, false},
        {"Key=- 5", 77, false},
        {"", 77, false},
        {"key=5", 77, false},
        {"Key=5.9", 5, true},
        {"Key=0x10", 0, true},
        {"Key=77", 77, true},
        {"Key=2147483647", INT_MAX, true},
        {"Key=-2147483648", INT_MIN, true},
        {"Key=4294967297", 1, true},  // digits beyond 32 bits wrap
        {"KeyG=5", 77, false},        // the letter counts as the equals sign, the rest is no number
        {"Key=\x80\xFF", 77, false},
    };
    for (const auto& row : cases) {
        std::int32_t field = 77;
        bool changed = false;
        EXPECT_EQ(ReadIntParameter(row.text, "Key", &field, &changed), row.read) << row.text;
        EXPECT_EQ(field, row.value) << row.text;
        EXPECT_EQ(changed, row.value != 77) << row.text;
        std::uint32_t unsignedField = 77;
        EXPECT_EQ(ReadUIntParameter(row.text, "Key", &unsignedField, &changed), row.read);
        EXPECT_EQ(unsignedField, static_cast<std::uint32_t>(row.value));
    }
}

TEST(ParameterText, TheChangedFlagIsNeverCleared) {
    std::int32_t field = 5;
    bool changed = true;
    ReadIntParameter("Key=5", "Key", &field, &changed);
    EXPECT_TRUE(changed);
}

TEST(ParameterText, BytesKeepTheLowEightBits) {
    for (const auto& [text, value] : {std::pair{"B=255", 255}, {"B=256", 0}, {"B=-1", 255}, {"B=1000", 232}}) {
        std::uint8_t field = 7;
        bool changed = false;
        EXPECT_TRUE(ReadByteParameter(text, "B", &field, &changed));
        EXPECT_EQ(field, value) << text;
        EXPECT_TRUE(changed);
    }
    std::uint8_t field = 7;
    bool changed = false;
    EXPECT_TRUE(ReadByteParameter("B=263", "B", &field, &changed));  // the same byte
    EXPECT_FALSE(changed);
}

TEST(ParameterText, FlagsCompareTheNumberAsItStands) {
    const struct {
        const char* text;
        bool before, after, changed, read;
    } cases[] = {
        {"F=1", false, true, true, true},   {"F=1", true, true, false, true}, {"F=0", true, false, true, true},
        {"F=0", false, false, false, true}, {"F=2", true, true, true, true},  {"F=2", false, true, true, true},
        {"F=-1", true, true, true, true},   {"F=", true, true, false, false},
    };
    for (const auto& row : cases) {
        bool field = row.before;
        bool changed = false;
        EXPECT_EQ(ReadBoolParameter(row.text, "F", &field, &changed), row.read) << row.text;
        EXPECT_EQ(field, row.after) << row.text;
        EXPECT_EQ(changed, row.changed) << row.text;
    }
}

TEST(ParameterText, KeysWithTheirEqualsSign) {
    EXPECT_EQ(ReadIntAfterEquals("Sharpness=12", "Sharpness"), 12);
    EXPECT_EQ(ReadIntAfterEquals("Sharpness:12", "Sharpness"), std::nullopt);
    EXPECT_EQ(ReadIntAfterEquals("Sharpness 1,Sharpness=2", "Sharpness"), 2);
    EXPECT_EQ(ReadDoubleAfterEquals("M=0.25,N=3", "M"), 0.25);
    EXPECT_EQ(ReadDoubleAfterEquals("M=-1e3", "M"), -1000.0);
    EXPECT_EQ(ReadDoubleAfterEquals("M=+2.5", "M"), 2.5);
    EXPECT_EQ(ReadDoubleAfterEquals("M=-1e999", "M"), -HUGE_VAL);
    EXPECT_EQ(ReadDoubleAfterEquals("M=1e-999", "M"), 0.0);
    EXPECT_EQ(ReadDoubleAfterEquals("M=+-5", "M"), std::nullopt);
    EXPECT_EQ(ReadDoubleAfterEquals("M=,5", "M"), std::nullopt);
}

TEST(ParameterText, WritesAtLeastTheDigitsAsked) {
    for (const auto& [value, digits, text] :
         {std::tuple{5, 3, "005"}, {-5, 3, "-005"}, {1234, 3, "1234"}, {0, 1, "0"}, {INT_MIN, 3, "-2147483648"}}) {
        std::string written = "x=";
        AppendDecimal(written, value, digits);
        EXPECT_EQ(written, std::string("x=") + text);
    }
}

TEST(ParameterText, WritersKeepInsideTheirBuffer) {
    const struct {
        int size;
        HRESULT result;
        const char* after;
    } cases[] = {
        {-1, S_OK, "######"},  {0, S_OK, "######"},   {3, S_OK, "######"},  // below the least size: nothing, a success
        {4, E_FAIL, "######"}, {5, E_FAIL, "######"}, {6, S_OK, "12345"},
    };
    for (const auto& row : cases) {
        char buffer[] = "######";
        EXPECT_EQ(WriteText("12345", buffer, row.size, 4), row.result) << row.size;
        EXPECT_STREQ(buffer, row.after) << row.size;
    }
}

}  // namespace
}  // namespace kestrel
