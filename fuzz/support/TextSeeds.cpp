// Prints what a fuzzer of parameter texts cannot guess: a dictionary of all keys and names of the catalogue, and for
// each filter its default text and its telling setting, in the form of inputs of FilterTexts.
//   text_seeds DICTIONARY FOLDER
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <set>
#include <string>

#include "kestrel/host/Catalogue.h"
#include "tools/TellingSettings.h"

using namespace kestrel;

namespace {

bool WriteDictionary(const char* path) {
    std::set<std::string> words;
    for (const ClassRow* row : ListFilters()) {
        words.insert(std::string(row->description->progId) + "\\x09");
        for (const auto& key : row->parameters().keys) words.insert(key.key + "=");
    }
    std::ofstream file(path);
    for (const auto& word : words) file << '"' << word << "\"\n";
    file.close();
    return !file.fail();
}

bool WriteSeeds(const std::filesystem::path& folder) {
    const auto filters = ListFilters();
    bool written = true;
    for (std::size_t i = 0; i < filters.size(); ++i) {
        const Description& filter = *filters[i]->description;
        const TellingSetting* setting = FindTellingSetting(filter.progId);
        const std::string texts[] = {filters[i]->parameters().defaultText, setting ? std::string(setting->text) : ""};
        for (const std::string& text : texts) {
            const bool telling = &text != texts;
            std::ofstream file(folder / (WordOf(filter) + (telling ? "-telling" : "-default")), std::ios::binary);
            const char head[] = {static_cast<char>(i), 19, 14, 16};  // filter, width, height, "the rest is the text"
            file.write(head, sizeof head) << text;
            file.close();
            written = written && !file.fail();
        }
    }
    return written;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 3) return 2;
    if (WriteDictionary(argv[1]) && WriteSeeds(argv[2])) return 0;
    std::fprintf(stderr, "text_seeds: %s or %s cannot be written\n", argv[1], argv[2]);
    return 1;
}
