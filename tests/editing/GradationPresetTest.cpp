// Presets of the gradation editor: both versions of the file, what is no preset, and the list with its questions.
#include "kestrel/editing/GradationPreset.h"

#include <gtest/gtest.h>

#include <fstream>
#include <functional>

#include "kestrel/diagnostics/LogSink.h"
#include "kestrel/editing/GradationPresetList.h"
#include "tests/support/PrivateFolders.h"

namespace kestrel {
namespace {

namespace fs = std::filesystem;
using test::ReadBytes;
using test::WriteBytes;

std::string logged;

std::string Replaced(std::string text, const std::string& what, const std::string& by) {
    return text.replace(text.find(what), what.size(), by);
}

CGradCurve Curve(std::initializer_list<CGradCurve::Node> nodes, int selected, bool linear) {
    CGradCurve curve;
    curve.SetCount(static_cast<int>(nodes.size()));
    for (int i = 0; const auto& node : nodes) curve.SetNode(i++, node.x, node.y);
    curve.Select(selected);
    curve.SetLinear(linear);
    return curve;
}

const std::string kFile =
    "Gradation, Version 2\n\n[General]\nCurve=1\nYIQ=1\nChannel=2\nPercent=1\nGrid=0\nOnlyActive=1\n"
    "\n[Nodes Gray]\nCount=  2\nSelected=  2\n#  1 (x, y)=  0,   0\n#  2 (x, y)=255, 255\n"
    "\n[Nodes Red]\nCount=  3\nSelected=  1\n#  1 (x, y)=  0,  10\n#  2 (x, y)= 90, 120\n#  3 (x, y)=250, 255\n"
    "\n[Nodes Green]\nCount=  2\nSelected=  0\n#  1 (x, y)=  0, 255\n#  2 (x, y)=255,   0\n"
    "\n[Nodes Blue]\nCount=  2\nSelected=  1\n#  1 (x, y)=  5,   6\n#  2 (x, y)=  7,   8\n";

Gradation OfFile() {
    Gradation gradation{.yiq = true, .channel = 2, .percent = true, .grid = false, .onlyActive = true};
    gradation.curves = {Curve({{0, 0}, {255, 255}}, 1, true), Curve({{0, 10}, {90, 120}, {250, 255}}, 0, true),
                        Curve({{0, 255}, {255, 0}}, -1, true), Curve({{5, 6}, {7, 8}}, 0, true)};
    return gradation;
}

std::string Version1(const std::string& header) {
    std::string text = kFile;
    for (const char* curve : {"Gray", "Red", "Green", "Blue"}) {
        text = Replaced(text, std::string("[Nodes ") + curve + "]\nCount", "Anzahl");
        text = Replaced(text, "Selected", "Selektierter");
    }
    return header + text.substr(text.find("\nAnzahl"));
}

TEST(GradationPreset, WritesAndReadsTheSameLines) {
    EXPECT_EQ(FormatPreset(OfFile()), kFile);
    Gradation read;
    int version = 0;
    ASSERT_TRUE(ParsePreset(kFile, read, version));
    EXPECT_EQ(read, OfFile());
    EXPECT_EQ(version, 2);
    // Titles and what else stands between the keys do not count.
    EXPECT_TRUE(
        ParsePreset("junk" + Replaced(Replaced(kFile, "[Nodes Red]", "[?]"), "Grid=0", "x\r\nGrid=0"), read, version));
    EXPECT_EQ(read, OfFile());
}

TEST(GradationPreset, WhatIsNoPresetChangesNothing) {
    const Gradation before = [] {
        Gradation gradation;
        gradation.curves[0].InsertAuto();
        return gradation;
    }();
    const auto refused = [&before](const std::string& bytes) {
        Gradation gradation = before;
        int version = 0;
        return !ParsePreset(bytes, gradation, version) && gradation == before;
    };
    for (std::size_t length = 0; length + 1 < kFile.size(); ++length)  // without its last line end it is whole
        EXPECT_TRUE(refused(kFile.substr(0, length))) << length;
    const std::string first = Version1("Gradation, Version 1\n");
    for (std::size_t length = 0; length + 1 < first.size(); ++length) EXPECT_TRUE(refused(first.substr(0, length)));
    for (const char* version : {"Version 3", "Version 0", "Version x", "Version  1", "Version 22", "version 2"})
        EXPECT_TRUE(refused(Replaced(kFile, "Version 2", version))) << version;
    for (const char* count :
         {"Count=  3", "Count=  1", "Count=  0", "Count= -1", "Count=999", "Count= 17", "Count=abc"})
        EXPECT_TRUE(refused(kFile.substr(0, kFile.rfind("Count")) + count +
                            kFile.substr(kFile.rfind("Count") + std::string("Count=  2").size())))
            << count;
    EXPECT_TRUE(refused(Replaced(kFile, "Percent", "Prozent")));
    EXPECT_TRUE(refused(Replaced(kFile, "YIQ=1\nChannel=2", "Channel=2\nYIQ=1")));
}

TEST(GradationPreset, OddValuesAreBroughtIntoRange) {
    Gradation read;
    int version = 0;
    ASSERT_TRUE(ParsePreset(Replaced(Replaced(Replaced(kFile, "Channel=2", "Channel=9"), "250, 255", "999, -99"),
                                     "Selected=  1", "Selected=777"),
                            read, version));
    EXPECT_EQ(read.channel, 0);
    EXPECT_EQ(read.curves[1], Curve({{0, 10}, {90, 120}, {255, 0}}, 2, true));

    // Sixteen nodes, as older programs had them, x = 0, 2, 4, 6, 68, 85, ...: 2, 6, 4 and 85 lie closest to the node
    // before them, in this order.
    std::string nodes = "Count= 16\nSelected= 16\n";
    for (int i = 0; i < 16; ++i) {
        char line[40];
        std::snprintf(line, sizeof line, "# %2d (x, y)=%3d,   0\n", i + 1, i < 4 ? i * 2 : i * 17);
        nodes += line;
    }
    const std::size_t blue = kFile.rfind("Count");
    ASSERT_TRUE(ParsePreset(kFile.substr(0, blue) + nodes, read, version));
    EXPECT_EQ(read.curves[3].GetCount(), 12);
    EXPECT_EQ(read.curves[3].Nodes()[1].x, 68);
    EXPECT_EQ(read.curves[3].Nodes()[2].x, 102);
    EXPECT_EQ(read.curves[3].Nodes()[11].x, 255);
    EXPECT_EQ(read.curves[3].GetSelected(), 11);
}

TEST(GradationPreset, Version1BecomesVersion2OnTheDisk) {
    const test::PrivateFolders folders;
    const fs::path file = folders / "old.fp2";
    WriteBytes(file, Version1("Gradation, Version 1 of long ago\n"));
    Gradation read{.yiq = true, .channel = 2, .percent = true, .grid = false, .onlyActive = true};
    read.SetLinear(true);
    ASSERT_TRUE(ReadPreset(file, read));
    EXPECT_EQ(read, OfFile());
    EXPECT_EQ(ReadBytes(file), kFile);

    EXPECT_FALSE(ReadPreset(folders / "missing.fp2", read));
    EXPECT_FALSE(ReadPreset(folders / "program", read));
    WriteBytes(file, kFile + std::string(kPresetMaximumSize, '\n'));
    EXPECT_FALSE(ReadPreset(file, read));
    EXPECT_FALSE(WritePreset(folders / "no" / "such.fp2", read));
}

TEST(Gradation, TextsOfTheFilterGoThroughTheEditor) {
    EXPECT_EQ(Gradation().ParameterText(),
              "nL=2, nR=2, nG=2, nB=2, xL1=0, xL2=255, xR1=0, xR2=255, xG1=0, xG2=255, xB1=0, xB2=255, "
              "yL1=0, yL2=255, yR1=0, yR2=255, yG1=0, yG2=255, yB1=0, yB2=255, Linear=0,YIQOn=0,FilterOn=1,");
    Gradation full = OfFile();
    for (CGradCurve& curve : full.curves)
        for (int i = 0; i < 12; ++i) curve.InsertAuto();
    EXPECT_LE(full.ParameterText().size(), 1023u);  // what a frame keeps
    for (Gradation gradation : {OfFile(), full}) {
        Gradation read = gradation;
        for (CGradCurve& curve : read.curves) curve.SetCount(2), curve.Repair();
        read.Read(gradation.ParameterText());
        for (CGradCurve& curve : gradation.curves) curve.Select(0);
        for (CGradCurve& curve : read.curves) curve.Select(0);
        EXPECT_EQ(read, gradation);
    }
    Gradation odd;
    odd.curves[0].InsertAuto();
    odd.Read("nL=99, nR=-4, nG=3, xG1=9, xG2=9, xG3=-1, yG1=300");
    EXPECT_EQ(odd.curves[0].GetCount(), 12);
    EXPECT_EQ(odd.curves[1].Nodes(), CGradCurve().Nodes());
    EXPECT_EQ(odd.curves[2].Nodes(), (std::vector<CGradCurve::Node>{{0, 255}, {9, 255}, {10, 255}}));
    odd.Read("");
    EXPECT_EQ(odd.ParameterText(), Gradation().ParameterText());
}

/// Answers from a list and writes down what was asked.
struct Answers final : IPresetQuestions {
    std::optional<std::string> AskName(const std::string& initial) override {
        asked += "name(" + initial + ") ";
        if (names.empty()) return std::nullopt;
        const std::string name = names.front();
        names.erase(names.begin());
        return name;
    }
    bool Show(const PresetBox& box) override {
        asked += std::string(box.textKey).substr(15) + "(" + box.name + ")" + (box.asks ? "?" : ".") +
                 (box.warning ? "! " : " ");
        EXPECT_EQ(std::string(box.titleKey).substr(0, 15), "IDS_GRADCURVES_");
        const bool yes = !box.asks || answers.front();
        if (box.asks) answers.erase(answers.begin());
        return yes;
    }
    std::string Asked() { return std::exchange(asked, {}); }

    std::vector<std::string> names;
    std::vector<bool> answers;
    std::string asked;
};

struct PresetList : testing::Test {
    PresetList() {
        logged.clear();
        SetLogSink([](int, const char*, int, const std::string& text) { logged += text; });
        fs::create_directories(folders / "share" / "Filter" / "Gradation_Factory");
        WriteBytes(folders / "share" / "Filter" / "Gradation_Factory" / "Warm.fp2", FormatPreset({}));
    }
    ~PresetList() override { SetLogSink(nullptr); }

    std::string Names() const {
        std::string names;
        for (const PresetEntry& entry : list.Entries()) names += entry.name + (entry.user ? "* " : " ");
        return names;
    }
    void Select(std::string_view name) {
        for (std::size_t i = 0; i < list.Entries().size(); ++i)
            if (list.Entries()[i].name == name) return list.Select(i);
        FAIL() << name;
    }

    test::PrivateFolders folders;
    fs::path user = folders / "data" / "Filter" / "Gradation_User";
    Answers answers;
    GradationPresetList list{answers};
};

TEST_F(PresetList, OpensTheFoldersAndListsFactoryPresetsFirst) {
    list.Open();
    EXPECT_EQ(logged, "CDlgGradation: Directory for User Presets created\n");
    EXPECT_EQ(Names(), "Warm ");
    WriteBytes(user / "Beta.FP2", "?");
    WriteBytes(user / "Alpha.fp2", "?");
    WriteBytes(user / "notes.txt", "?");
    fs::create_directory(user / "Folder.fp2");
    list.Open();
    EXPECT_EQ(Names(), "Warm Alpha* Beta* ");
    EXPECT_EQ(logged, "CDlgGradation: Directory for User Presets created\n");

    // Without an installation both lie with the user.
    fs::remove_all(folders / "share");
    list.Open();
    EXPECT_EQ(Names(), "Alpha* Beta* ");
    EXPECT_TRUE(fs::is_directory(folders / "data" / "Filter" / "Gradation_Factory"));
    EXPECT_EQ(logged.substr(50), "CDlgGradation: Directory for Factory Presets created\n");
}

TEST_F(PresetList, LoadsAndComplains) {
    list.Open();
    Gradation gradation = OfFile();
    EXPECT_FALSE(list.LoadSelectedPreset(gradation));  // nothing selected
    EXPECT_EQ(answers.Asked(), "");
    Select("Warm");
    EXPECT_TRUE(list.LoadSelectedPreset(gradation));
    EXPECT_EQ(gradation, Gradation());
    WriteBytes(user / "Bad.fp2", kFile.substr(0, 300));
    WriteBytes(user / "** KEINE Vorgabe.fp2", kFile);
    list.FillPresetList();
    Select("Bad");
    EXPECT_FALSE(list.LoadSelectedPreset(gradation));
    EXPECT_EQ(answers.Asked(), "FILEERROR().! ");
    EXPECT_EQ(gradation, Gradation());
    EXPECT_NE(list.Selected(), GradationPresetList::kNone);
    Select("** KEINE Vorgabe");
    EXPECT_TRUE(list.LoadSelectedPreset(gradation));
    EXPECT_EQ(list.Selected(), GradationPresetList::kNone);
}

TEST_F(PresetList, SavesUnderANameThatCanBeUsed) {
    list.Open();
    struct Case {
        std::vector<std::string> names;
        std::vector<bool> answers;
        const char* asked;
        const char* entries;
    };
    const std::string umlaut = "Gr\xC3\xBCn";
    const Case cases[] = {
        {{}, {}, "name() ", "Warm "},
        {{"My 1", umlaut, "", "warm", "Mine"},
         {},
         "name() DISALLOWEDCHARS().! name() DISALLOWEDCHARS().! name() name() SET_OVERWRITE_FACTORY(warm). name() ",
         "Warm Mine* "},
        // Selected since it was saved: the question begins with it.
        {{"Mine"}, {false}, "name(Mine) SET_OVERWRITE_USER(Mine)?! name(Mine) ", "Warm Mine* "},
        {{"mINE"}, {true}, "name(Mine) SET_OVERWRITE_USER(mINE)?! ", "Warm mINE* "},
    };
    Gradation gradation = OfFile();
    for (const Case& c : cases) {
        answers.names = c.names;
        answers.answers = c.answers;
        gradation.percent = !gradation.percent;
        list.SaveCurrentPreset(gradation);
        EXPECT_EQ(answers.Asked(), c.asked);
        EXPECT_EQ(Names(), c.entries);
    }
    EXPECT_TRUE(list.CanDelete());
    EXPECT_EQ(ReadBytes(user / "mINE.fp2"), FormatPreset(gradation));

    fs::remove_all(folders / "data");
    WriteBytes(folders / "data", "in the way");  // nothing can be written: the list goes on
    answers.names = {"Lost"};
    list.SaveCurrentPreset(gradation);
    EXPECT_EQ(Names(), "Warm ");
    EXPECT_EQ(list.Selected(), GradationPresetList::kNone);
    EXPECT_NE(logged.find("Lost.fp2 was not written"), std::string::npos);
}

TEST_F(PresetList, DeletesTheUsersOwnWhenAgreed) {
    list.Open();
    WriteBytes(user / "Mine.fp2", kFile);
    list.FillPresetList();
    Select("Warm");
    EXPECT_FALSE(list.CanDelete());
    list.DeleteSelectedPreset();
    EXPECT_EQ(answers.Asked(), "");
    Select("Mine");
    answers.answers = {false, true};
    list.DeleteSelectedPreset();
    EXPECT_EQ(Names(), "Warm Mine* ");
    EXPECT_TRUE(list.CanDelete());
    list.DeleteSelectedPreset();
    EXPECT_EQ(answers.Asked(), "DELETE_PRESET(Mine)? DELETE_PRESET(Mine)? ");
    EXPECT_EQ(Names(), "Warm ");
    EXPECT_EQ(list.Selected(), GradationPresetList::kNone);
    EXPECT_FALSE(fs::exists(user / "Mine.fp2"));
}

TEST(FactoryPresets, ComeWithTheLibraryAndAreWrittenAsTheEditorWouldWriteThem) {
    const auto folder = GradationPresetList::FactoryFolder();
    std::size_t count = 0;
    for (const auto& file : fs::directory_iterator(folder)) {
        Gradation gradation;
        int version = 0;
        ASSERT_TRUE(ParsePreset(ReadBytes(file.path()), gradation, version)) << file.path();
        EXPECT_EQ(FormatPreset(gradation), ReadBytes(file.path())) << file.path();
        EXPECT_NE(gradation.ParameterText(), Gradation().ParameterText()) << file.path();
        ++count;
    }
    EXPECT_GE(count, 12u) << folder;
}

}  // namespace
}  // namespace kestrel
