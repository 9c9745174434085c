// What a click hit, and the threshold that follows from it.
#include "kestrel/passes/RedEyeRepair.h"

#include <gtest/gtest.h>

namespace kestrel::passes {
namespace {

TEST(RedEyeRepair, KindsOfReflections) {
    const struct {
        int red, green, blue;
        ClickClass kind;
    } cases[] = {
        {200, 10, 10, kClickRed},     {5, 5, 5, kClickRed},         {100, 100, 99, kClickRed},
        {99, 100, 100, kClickGreen},  {10, 204, 204, kClickGreen},  {10, 203, 204, kClickBlue},
        {10, 205, 0, kClickCat},      {10, 0, 205, kClickCat},      {255, 205, 205, kClickRed},
        {255, 255, 255, kClickWhite}, {231, 230, 230, kClickWhite}, {230, 230, 230, kClickRed},
        {231, 255, 255, kClickWhite}, {230, 255, 255, kClickCat},   {255, 255, 230, kClickRed},
    };
    for (const auto& c : cases)
        EXPECT_EQ(RedEyeRepair::Classify(c.red, c.green, c.blue), c.kind) << c.red << " " << c.green << " " << c.blue;
}

TEST(RedEyeRepair, ThresholdsAreAdjusted) {
    const struct {
        int threshold, clickRed, F, kind, redMin;
        bool notRedEnough;
    } cases[] = {
        {10, 110, 0, 0, 30, false},    // a fifth of the way to the click
        {10, 110, 50, 0, 110, false},  // the whole way
        {10, 110, 25, 0, 70, false},  {10, 110, -50, 0, 10, false}, {10, 110, -25, 0, 20, false},
        {10, 10, 50, 0, 10, false},   {10, 9, 0, 0, 50, true},      {10, 9, 50, 0, 100, true},
        {10, 9, -50, 0, 0, true},     {255, -128, 1, 0, 51, true},  {10, 9, 0, 1, 60, true},
        {10, 9, 0, 2, 50, true},      {3, 200, 0, 0, 42, false},    {10, 9, -50, 3, -40, true},
    };
    for (const auto& c : cases) {
        const auto adjusted = RedEyeRepair::AdjustRedMin(c.threshold, c.clickRed, c.F, c.kind);
        EXPECT_EQ(adjusted.redMin, c.redMin) << c.threshold << " " << c.clickRed << " " << c.F << " " << c.kind;
        EXPECT_EQ(adjusted.notRedEnough, c.notRedEnough);
    }
}

}  // namespace
}  // namespace kestrel::passes
