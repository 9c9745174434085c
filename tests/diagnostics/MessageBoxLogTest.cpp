#include "kestrel/diagnostics/MessageBoxLog.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <cstring>

#include "kestrel/diagnostics/OldLogs.h"
#include "kestrel/diagnostics/TraceLog.h"
#include "tests/support/InChild.h"
#include "tests/support/PrivateFolders.h"

namespace kestrel {
namespace {

TEST(MessageBoxLogTest, NamesOfTheButtonsByStyle) {
    struct Row {
        int style;
        const char* names[3];
    };
    const Row rows[] = {
        {0, {nullptr, nullptr, nullptr}},   {1, {"OK", "Cancel", nullptr}},      {2, {"Abort", "Retry", "Ignore"}},
        {3, {"Abort", "Retry", "Ignore"}},  {4, {"Retry", "Cancel", nullptr}},   {5, {"OK", "Cancel", nullptr}},
        {6, {"Abort", "Retry", "Ignore"}},  {0x10, {nullptr, nullptr, nullptr}}, {0x34, {"Retry", "Cancel", nullptr}},
        {-1, {"Abort", "Retry", "Ignore"}},
    };
    for (const auto& row : rows) {
        for (int button = 1; button <= 3; ++button)
            EXPECT_STREQ(MessageBoxButtonName(row.style, button), row.names[button - 1]) << row.style << " " << button;
        EXPECT_EQ(MessageBoxButtonName(row.style, 0), nullptr);
        EXPECT_EQ(MessageBoxButtonName(row.style, 4), nullptr);
    }
}

/// Writes down what is asked of it.
struct Face final : MessageBoxView {
    std::string steps;
    int held = 2;
    int result = 1;
    std::string caption;

    void HideSplashScreen() override { steps += "splash "; }
    bool IsEnterHeld() override { return held-- > 0; }
    void PassKeyMessages() override { steps += "keys "; }
    int Run() override {
        steps += std::string("log:") + (std::strchr(TraceLog::GetLastLogEntry(), '\t') + 1) + " run";
        return result;
    }
    std::string Caption(int button) override { return caption.empty() ? "" : caption + std::to_string(button); }
};

TEST(MessageBoxLogTest, StepsAndLines) {
    const test::PrivateFolders folders;
    const auto box = [&](int result, const char* caption, int style) {
        return test::InChild([&] {
            TraceLogStart start;
            start.folder = getenv("KESTREL_STATE_DIR");
            TraceLog::Start(start);
            TraceLog::SetLogLevel(6);
            errno = 0;
            Face face;
            face.result = result;
            face.caption = caption;
            const int given = RunLoggedMessageBox(face, "Delete 100%?", "Gallery", style);
            return face.steps + "|" + std::to_string(given) + "|" +
                   (std::strchr(TraceLog::GetLastLogEntry(), '\t') + 1);
        });
    };
    const std::string asked = "splash keys keys log:MessageBox: Title: Delete 100%? Gallery 1 run|";
    EXPECT_EQ(box(1, "", 1), asked + "1|MessageBox: <OK> selected (1)");
    EXPECT_EQ(box(2, "", 1), asked + "2|MessageBox: <Cancel> selected (2)");
    EXPECT_EQ(box(2, "Own", 1), asked + "2|MessageBox: <Own2> selected (2)");
    EXPECT_EQ(box(3, "", 1), asked + "3|MessageBox: <unknown> selected (3)");
    EXPECT_EQ(box(7, "Own", 1), asked + "7|MessageBox: <unknown> selected (7)");
}

TEST(MessageBoxLogTest, IsSilentAtTheUsualThreshold) {
    const test::PrivateFolders folders;
    test::InChild([&] {
        TraceLogStart start;
        start.folder = getenv("KESTREL_STATE_DIR");
        start.program = "boxes";
        TraceLog::Start(start);
        TraceLog(4).Write("before\t", false);
        errno = 0;
        Face face;
        RunLoggedMessageBox(face, nullptr, nullptr, 0);
        return std::string();
    });
    EXPECT_EQ(test::ReadBytes(folders / "state" / LogFileName("boxe", Today())), "before\t\r\n");
}

}  // namespace
}  // namespace kestrel
