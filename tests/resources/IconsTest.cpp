#include "resources/icons/Icons.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <set>
#include <string>

#include "kestrel/server/ClassTable.h"

namespace kestrel::icons {
namespace {

/// The largest difference of a channel, 0..255, between two pixels over a ground of one gray.
int Contrast(std::uint32_t a, std::uint32_t b, int ground) {
    int largest = 0;
    for (const int shift : {0, 8, 16}) {
        const auto over = [&](std::uint32_t pixel) {
            return static_cast<int>(pixel >> shift & 0xFF) + ground * (255 - static_cast<int>(pixel >> 24)) / 255;
        };
        largest = std::max(largest, std::abs(over(a) - over(b)));
    }
    return largest;
}

TEST(Icons, EveryFilterHasOneUnderANameThatAStorageTakes) {
    constexpr std::size_t kLongestName = 31;
    std::set<std::string> names;
    for (const Icon& icon : AllIcons()) {
        EXPECT_TRUE(names.insert(icon.name).second) << icon.name << " is there twice";
        for (const State& state : kStates)
            for (const Size& size : kSizes)
                EXPECT_LE(std::strlen(icon.name) + std::strlen(state.ending) + std::strlen(size.ending), kLongestName);
    }
    for (const ClassRow& row : ClassTable())
        EXPECT_TRUE(!row.IsFilter() || names.count(row.description->icon)) << row.description->progId;
    for (const char* button : {"copy", "lock", "dock", "close"})
        EXPECT_TRUE(names.count(std::string("icons_sys_") + button)) << button;
}

TEST(Icons, EachStandsOutFromBothGroundsAndFromAllOthers) {
    constexpr int kVisible = 55;       // of 255
    constexpr int kFewestPixels = 20;  // the bar of the minimize button
    std::set<std::vector<std::uint32_t>> seen;
    for (const Icon& icon : AllIcons())
        for (const State& state : kStates)
            for (const Size& size : kSizes) {
                const auto pixels = Draw(icon, state, size.side);
                ASSERT_EQ(pixels.size(), static_cast<std::size_t>(size.side * size.side));
                EXPECT_TRUE(seen.insert(pixels).second) << icon.name << state.ending << size.ending;
                for (const int ground : {255, 33}) {
                    const std::uint32_t plate = pixels[static_cast<std::size_t>(size.side) * 2 + 4];
                    const auto visible = std::count_if(pixels.begin(), pixels.end(), [&](std::uint32_t pixel) {
                        return Contrast(pixel, plate, ground) >= kVisible;
                    });
                    EXPECT_GE(visible, kFewestPixels) << icon.name << state.ending << " on " << ground;
                }
            }
}

}  // namespace
}  // namespace kestrel::icons
