#pragma once
#include <algorithm>
#include <string>
#include <vector>

#include "kestrel/diagnostics/DebugOutput.h"
#include "kestrel/diagnostics/TMDebugMonitor.h"
#include "tests/support/PrivateFolders.h"

namespace kestrel::test {

/// The tags of the storages, switched on before the process asks for them, which it does once.
struct MonitorTags {
    MonitorTags() {
        WriteBytes(folders / "program/TMDebug.txt", "QvStorage QvStorage_Zephon QVExeption");
        TMDebugMonitor("read them now", " ");
    }
    PrivateFolders folders;
};
inline const MonitorTags monitorTags;

/// What the debug monitor is told while the object lives.
class Monitored {
public:
    Monitored() {
        pieces_.clear();
        SetDebugOutput([](const char* text) { pieces_.emplace_back(text); });
    }
    ~Monitored() { SetDebugOutput(nullptr); }

    /// The texts, each after its tag and a colon. A text is the last piece before the next tag; between them stands
    /// what the log shows.
    static std::string Told() {
        std::string told;
        for (std::size_t i = 1; i < pieces_.size(); ++i) {
            if (pieces_[i] != " [TMDeMon]: ") continue;
            const auto next =
                std::find(pieces_.begin() + static_cast<std::ptrdiff_t>(i) + 1, pieces_.end(), pieces_[i]);
            told += pieces_[i - 1] + ":" + *(next - (next == pieces_.end() ? 1 : 2));
        }
        return told;
    }

private:
    static inline std::vector<std::string> pieces_;
};

}  // namespace kestrel::test
