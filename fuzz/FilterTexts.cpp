// Any filter of the catalogue with any parameter text over a small picture. The first bytes choose the filter, the size
// and whether the rest is a text itself or a list of changes to the filter's telling setting.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>

#include "fuzz/support/SmallPicture.h"
#include "kestrel/host/Catalogue.h"
#include "tools/TellingSettings.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace kestrel;
    if (size < 4) return 0;
    static const auto filters = ListFilters();
    const Description& filter = *filters[data[0] % filters.size()]->description;
    const TellingSetting* setting = FindTellingSetting(filter.progId);
    std::string text;
    if (data[3] % 4 == 0 || !setting) {
        text.assign(data + 4, data + size);
    } else {
        text = setting->text;
        for (std::size_t i = 4; i + 2 < size && i < 4 + 3 * 16; i += 3) {
            const std::size_t at = text.empty() ? 0 : data[i] % text.size();
            switch (data[i + 1] % 4) {
                case 0:
                    text.insert(at, 1, static_cast<char>(data[i + 2]));
                    break;
                case 1:
                    text.insert(at, std::to_string(data[i + 2] * 16843009LL - 2147483648LL));
                    break;
                case 2:
                    text.erase(at, data[i + 2] % 8);
                    break;
                default:
                    if (!text.empty()) text[at] = static_cast<char>('0' + data[i + 2] % 10);
            }
        }
    }
    // Small pictures reach all code of a filter but its largest neighborhoods; one input in 16 is larger.
    const bool large = data[3] / 16 == 0;
    const int width = 1 + data[1] % (large ? 100 : 20);
    const int height = 1 + data[2] % (large ? 100 : 20);
    Rendering rendering;
    if (rendering.AddFilter(filter.progId, text.c_str()) != S_OK) std::abort();
    fuzz::RenderSmall(rendering, width, height);

    // What the filter writes, it reads: the same text again.
    const std::string written = rendering.ChainText(false);
    Rendering again;
    if (again.SetChainText(written)) return 0;
    fuzz::RenderSmall(again, width, height);
    return 0;
}
