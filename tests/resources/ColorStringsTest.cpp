// The texts that ship: complete, in five languages, and fit for a dialog.
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "kestrel/foundation/CodePage.h"
#include "kestrel/framework/ScriptStrings.h"
#include "kestrel/server/ClassTable.h"
#include "tests/resources/Files.h"

namespace kestrel {
namespace {

/// The pieces of a text between any of some characters.
std::vector<std::string> PiecesBetween(std::string_view text, std::string_view separators) {
    std::vector<std::string> pieces;
    while (!text.empty()) {
        const std::size_t size = std::min(text.find_first_of(separators), text.size());
        if (size > 0) pieces.emplace_back(text.substr(0, size));
        text.remove_prefix(std::min(size + 1, text.size()));
    }
    return pieces;
}

/// A key, and not a prefix of keys that ends in an underscore.
bool IsWholeKey(std::string_view text) {
    const auto begins = [text](std::string_view family) { return text.starts_with(family); };
    return (begins("IDS_") || begins("HLP_") || begins("COMMON_") || begins("CTX_")) && !text.ends_with('_') &&
           text.find_first_not_of("ABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789_") == text.npos;
}

struct ColorStrings : testing::Test {
    const std::string file = test::ReadFile(test::kSources / "resources/Scripts/color.strings");
    const ScriptStrings strings{file};
};

TEST_F(ColorStrings, EveryLineIsReadAndEveryKeyHasFiveLanguages) {
    for (const ScriptFault& fault : strings.Faults()) ADD_FAILURE() << fault.line << ": " << fault.reason;
    EXPECT_GE(strings.Keys().size(), 300u);
    for (const std::string& key : strings.Keys())
        for (std::size_t i = 0; i < kLanguageCount; ++i)
            EXPECT_FALSE(strings.TextIn(key, static_cast<Language>(i)).value_or("").empty())
                << key << " in " << LanguageName(static_cast<Language>(i));
    for (std::size_t at = 0; (at = file.find('\n', at)) != std::string::npos; ++at)
        ASSERT_TRUE(at > 0 && file[at - 1] == '\r') << "a line without carriage return";
}

TEST_F(ColorStrings, EveryKeyInTheSourcesIsThere) {
    std::size_t found = 0;
    for (const char* folder : {"kestrel", "apps"})
        for (const auto& entry : std::filesystem::recursive_directory_iterator(test::kSources / folder)) {
            if (!entry.is_regular_file()) continue;
            const std::string source = test::ReadFile(entry.path());
            for (const std::string& key : PiecesBetween(source, "\"")) {
                if (!IsWholeKey(key)) continue;
                ++found;
                EXPECT_TRUE(strings.Has(key)) << key << " in " << entry.path();
            }
        }
    EXPECT_GE(found, 200u);
}

TEST_F(ColorStrings, EveryFilterHasANameAHeadAndAHelp) {
    for (const ClassRow& row : ClassTable()) {
        const Description& about = *row.description;
        const std::string name = about.nameKey;
        if (!row.IsFilter()) continue;
        SCOPED_TRACE(name);
        EXPECT_TRUE(strings.Has(about.help));
        if (name.rfind("IDS_", 0) != 0) continue;  // the print filters go by a plain name
        std::string english(strings.Text(name, Language::English).value_or(""));
        for (std::size_t at; (at = english.find('\n')) != std::string::npos;) english[at] = ' ';
        std::string title = about.name;
        for (std::size_t at; (at = title.find('\n')) != std::string::npos;) title[at] = ' ';
        EXPECT_EQ(english, title);
        EXPECT_EQ(strings.Text(name.substr(0, name.size() - 4) + "HEADER", Language::English), english);
    }
}

TEST_F(ColorStrings, EveryKeyThatADialogShowsHasALabel) {
    const std::set<std::string> hidden = {
        "TMFilter.Sharpen.1 Version",        "TMFilter.Blur.1 Version",        "TMFilter.FindEdges.1 Version",
        "TMFilter.Emboss.1 Version",         "TMFilter.SoftFrame.1 Ver",       "TMFilter.Scale.1 ScaleThrough",
        "TMFilter.Rotate.1 CenterX",         "TMFilter.Rotate.1 CenterY",      "TMFilter.Rotate.1 AlignLeftBottom",
        "TMFilter.Rauchglas.1 BordersizeOn", "TMFilter.Rauchglas.1 TotalHori", "TMFilter.Rauchglas.1 TotalVerti",
        "TMFilter.GradCurves.1 nL",          "TMFilter.GradCurves.1 nR",       "TMFilter.GradCurves.1 nG",
        "TMFilter.GradCurves.1 nB",          "TMFilter.GradCurves.1 FilterOn", "TMFilter.WhiteBlackGrey.1 FilterOn"};
    const std::set<std::string> ofSeveralKeys = {"IDS_TEXT_FONT", "IDS_ROTCROP_LINE_START", "IDS_ROTCROP_LINE_END"};
    for (const ClassRow& row : ClassTable()) {
        if (!row.IsFilter()) continue;
        std::set<std::string> used;
        const ParameterInfo info = row.parameters();
        for (const KeyInfo& key : info.keys) {
            if (key.role != Role::Setting) continue;
            const std::string name = std::string(row.description->progId) + " " + key.key;
            EXPECT_EQ(strings.Has(key.label), !hidden.count(name)) << name << ": " << key.label;
            const bool curve = std::string_view(row.description->progId) == "TMFilter.GradCurves.1";  // is drawn
            EXPECT_TRUE(key.label.empty() || curve || strings.Has(key.label + "_TIP")) << name;
            EXPECT_TRUE(key.caption.empty() || strings.Has(key.caption)) << name << ": " << key.caption;
            EXPECT_FALSE(key.label.ends_with("_NAME")) << name << " is labeled as the filter is";
            EXPECT_TRUE(key.farLabel.empty() || strings.Has(key.farLabel)) << name << ": " << key.farLabel;
            EXPECT_TRUE(key.otherLabel.empty() || strings.Has(key.otherLabel)) << name << ": " << key.otherLabel;
            EXPECT_EQ(std::count_if(info.keys.begin(), info.keys.end(),
                                    [&](const KeyInfo& flag) { return flag.key == key.otherWhen; }),
                      key.otherLabel.empty() ? 0 : 1)
                << name << ": " << key.otherWhen;
            for (const Choice& choice : key.choices)
                EXPECT_TRUE(strings.Has(choice.label)) << name << ": " << choice.label;
            const bool shares = key.channel != Channel::None || !key.list.empty() || ofSeveralKeys.count(key.label);
            EXPECT_TRUE(key.label.empty() || shares || used.insert(key.caption + key.label).second)
                << name << " is labeled as another key is: " << key.label;
        }
    }
}

// Words that are the same in English and another language; anything else that is equal was not translated.
TEST_F(ColorStrings, NothingIsLeftInEnglish) {
    const std::set<std::string> shared = {
        "OK",       "No",        "File",  "Filter",   "Image", "Error",      "Color",    "Sepia",       "Saturation",
        "Bicolor",  "Gradation", "Cyan",  "Magenta",  "Gamma", "Monochrome", "Angle",    "Orientation", "Horizontal",
        "Vertical", "Copies",    "Pixel", "Distance", "Text",  "Descriptor", "Position", "Direction",   "Normal"};
    const std::set<std::string> common[kLanguageCount] = {
        {"the", "and", "of", "is", "are", "that", "with", "each", "by", "or", "to"},
        {"il", "di", "che", "è", "sono", "gli", "ogni", "nel", "della", "dell’immagine", "i", "e", "con", "più"},
        {"le", "les", "des", "du", "est", "une", "et", "l’image", "dans", "avec", "pour", "chaque", "au"},
        {"el", "los", "las", "y", "es", "una", "del", "imagen", "con", "cada", "se", "más"},
        {"der", "die", "das", "und", "den", "dem", "des", "bei", "oder", "einen", "wird", "mit", "ein", "Bildes",
         "Bild", "sich", "auf"}};
    for (const std::string& key : strings.Keys()) {
        const std::string_view english = *strings.TextIn(key, Language::English);
        for (std::size_t i = 1; i < kLanguageCount; ++i) {
            const std::string text = Utf8From1252(*strings.TextIn(key, static_cast<Language>(i)));
            EXPECT_TRUE(text != english || shared.count(text)) << key << ": " << english;
            if (key.rfind("HLP_", 0) != 0) continue;
            std::size_t found[kLanguageCount] = {};
            for (const std::string& word : PiecesBetween(text, " ,.;:()"))
                for (std::size_t language = 0; language < kLanguageCount; ++language)
                    found[language] += common[language].count(word);
            for (std::size_t other = 0; other < kLanguageCount; ++other)
                EXPECT_TRUE(other == i || found[i] > found[other])
                    << key << " is not " << LanguageName(static_cast<Language>(i)) << ": " << text;
        }
    }
}

TEST_F(ColorStrings, LabelsFitADialogAndPlaceholdersStay) {
    const std::set<std::string> messages = {"IDS_GRADCURVES_PRESET_SAVE_TEXT",
                                            "IDS_GRADCURVES_DELETE_PRESET",
                                            "IDS_GRADCURVES_SET_OVERWRITE_USER",
                                            "IDS_GRADCURVES_SET_OVERWRITE_FACTORY",
                                            "IDS_GRADCURVES_DISALLOWEDCHARS",
                                            "IDS_GRADCURVES_FILEERROR",
                                            "IDS_PREVIEW_HINT",
                                            "IDS_PREVIEW_PICK",
                                            "IDS_PREVIEW_FAILED",
                                            "IDS_PREVIEW_MEMORY"};
    constexpr std::size_t kLongestLabel = 40;
    constexpr std::size_t kLongestTip = 80;
    constexpr std::size_t kLongestText = 1023;  // the buffer that a dialog has for a text
    for (const std::string& key : strings.Keys())
        for (std::size_t i = 0; i < kLanguageCount; ++i) {
            const auto language = static_cast<Language>(i);
            const std::string_view text = *strings.TextIn(key, language);
            const bool help = key.rfind("HLP_", 0) == 0;
            const bool tip = key.ends_with("_TIP");
            const bool label = !help && !tip && !messages.count(key);
            const bool given = key == "IDS_GRADCURVES_VIEW_YIQ" && language == Language::English;
            EXPECT_LE(text.size(), label && !given ? kLongestLabel : kLongestText) << key << ": " << Utf8From1252(text);
            EXPECT_LE(text.size(), tip ? kLongestTip : kLongestText) << key << ": " << Utf8From1252(text);
            EXPECT_TRUE(!help || text.back() == '.') << key;
            EXPECT_EQ(text.find("%s") == std::string_view::npos,
                      strings.TextIn(key, Language::English)->find("%s") == std::string_view::npos)
                << key;
        }
}

}  // namespace
}  // namespace kestrel
