// Any bytes as a strings file: every text that is read can be asked for, and none holds what no text may hold.
#include "kestrel/framework/ScriptStrings.h"

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string_view>

using namespace kestrel;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view file(reinterpret_cast<const char*>(data), size);
    const ScriptStrings strings(file);
    int lines = 1;
    for (const char c : file) lines += c == '\n';
    for (const ScriptFault& fault : strings.Faults())
        if (fault.line < 1 || fault.line > lines) std::abort();
    for (const auto& key : strings.Keys())
        for (std::size_t i = 0; i < kLanguageCount; ++i) {
            const auto language = static_cast<Language>(i);
            const auto text = strings.TextIn(key, language);
            if (text && text != strings.Text(key, language)) std::abort();
            for (const char c : text.value_or(""))
                if ((c >= 0 && c < 0x20 && c != '\n') || c == 0x7F) std::abort();
        }
    return 0;
}
