#include "kestrel/diagnostics/MessageBoxLog.h"

#include "kestrel/diagnostics/TraceLog.h"

namespace kestrel {
namespace {

constexpr int kLogLevel = 5;
constexpr int kButtons = 3;

struct ButtonNames {
    int bits;  ///< any of them
    const char* names[kButtons];
};

/// Tried in this order. Styles are numbers and not flags, so that 4 (Yes and No) meets the third row; the names in the
/// log have always been these.
constexpr ButtonNames kButtonNames[] = {
    {2, {"Abort", "Retry", "Ignore"}}, {1, {"OK", "Cancel", nullptr}}, {5, {"Retry", "Cancel", nullptr}},
    {4, {"Yes", "No", nullptr}},       {3, {"Yes", "No", "Cancel"}},
};

}  // namespace

const char* MessageBoxButtonName(int style, int button) {
    if (button < 1 || button > kButtons) return nullptr;
    for (const auto& row : kButtonNames)
        if ((style & row.bits) != 0) return row.names[button - 1];
    return nullptr;
}

int RunLoggedMessageBox(MessageBoxView& view, const char* text, const char* title, int style) {
    TraceLog log(kLogLevel);
    view.HideSplashScreen();
    log.Format(kLogLevel, "MessageBox: Title: %s %s %d", text ? text : "", title ? title : "", style);
    while (view.IsEnterHeld()) view.PassKeyMessages();
    const int result = view.Run();
    std::string name;
    if (result >= 1 && result <= kButtons) name = view.Caption(result);
    if (const char* stored = MessageBoxButtonName(style, result); name.empty() && stored) name = stored;
    log.Format(kLogLevel, "MessageBox: <%s> selected (%d)", name.empty() ? "unknown" : name.c_str(), result);
    return result;
}

}  // namespace kestrel
