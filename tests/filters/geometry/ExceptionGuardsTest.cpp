#include "kestrel/filters/geometry/ExceptionGuards.h"

#include <gtest/gtest.h>

#include <stdexcept>
#include <vector>

namespace kestrel {
namespace {

std::vector<std::string> lines;
int failures = 0;

void Keep(int, const char* source, int, const std::string& text) {
    if (failures-- > 0) throw std::runtime_error("the log is full");
    lines.push_back(std::string(source) + ": " + text);
}

struct Guards : testing::Test {
    Guards() {
        lines.clear();
        failures = 0;
        SetLogSink(&Keep);
    }
    ~Guards() override { SetLogSink(nullptr); }
};

bool Throw() { throw std::runtime_error("broken"); }

TEST_F(Guards, AThrowingScalePassCountsAsEnded) {
    EXPECT_TRUE(GuardCalculate(12, [] { return true; }));
    EXPECT_FALSE(GuardCalculate(12, [] { return false; }));
    EXPECT_TRUE(lines.empty());
    EXPECT_TRUE(GuardCalculate(12, &Throw));
    EXPECT_EQ(lines, (std::vector<std::string>{"ScaleFilter: Exception occoured in ScaleFilter (12)",
                                               "ScaleFilter: CATCHED EXCEPTION IN SCALEFILTER::CALCULATE"}));
}

TEST_F(Guards, ALogThatThrowsIsSurvived) {
    failures = 1;
    EXPECT_TRUE(GuardCalculate(12, &Throw));
    EXPECT_EQ(lines, (std::vector<std::string>{"ScaleFilter: Exception in logging 12,ScaleFilter"}));
    failures = 2;
    EXPECT_TRUE(GuardCalculate(12, &Throw));
}

TEST_F(Guards, AThrowingShearFailsAndTellsItsCorners) {
    const passes::Area area{1, 2, 30, 40};
    EXPECT_TRUE(GuardShear("XShear", area, 1, [] { return true; }));
    EXPECT_FALSE(GuardShear("YShear", area, 1, &Throw));
    EXPECT_EQ(
        lines,
        (std::vector<std::string>{"RotateFilter: Exception in YShear(lu=<1,2> lo=<1,40> ru=<30,2> ro=<30,40>)\n"}));
    failures = 1;
    EXPECT_FALSE(GuardShear("XShear", area, 1, &Throw));
}

}  // namespace
}  // namespace kestrel
