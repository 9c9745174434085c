// What holds for the panel of every filter.
#include "kestrel/dialogs/FilterPanels.h"

#include <fmt/format.h>
#include <gtest/gtest.h>

#include <QAbstractSpinBox>
#include <QCheckBox>
#include <QComboBox>
#include <QRadioButton>
#include <QRegularExpression>
#include <QSignalSpy>
#include <QSlider>
#include <QTest>
#include <algorithm>
#include <map>
#include <random>
#include <set>

#include "kestrel/dialogs/DialogText.h"
#include "kestrel/dialogs/controls/ColorEditor.h"
#include "kestrel/dialogs/controls/ColorWell.h"
#include "kestrel/dialogs/controls/SwatchButton.h"
#include "kestrel/framework/IFilterParameters.h"
#include "kestrel/host/Catalogue.h"
#include "tests/dialogs/FakePicture.h"

namespace kestrel {
namespace {

const std::string kCurves = "TMFilter.GradCurves.1";  // drawn, with tests of their own

/// What a filter stores after it was given texts, one after the other.
std::string Stored(const ClassRow& row, std::initializer_list<std::string> texts) {
    Ref<IFilterParameters> filter;
    EXPECT_EQ(row.create(IFilterParameters::kIid, filter.Out()), S_OK);
    for (const std::string& text : texts) EXPECT_EQ(filter->SetParameterText(text.c_str(), 1), S_OK);
    std::string stored(1 << 16, '\0');
    EXPECT_EQ(filter->GetParameterTextForSave(stored.data(), static_cast<int>(stored.size())), S_OK);
    return stored.substr(0, stored.find('\0'));
}

std::map<std::string, std::string> PiecesOf(std::string_view text) {
    std::map<std::string, std::string> pieces;
    while (!text.empty()) {
        std::string_view piece = text.substr(0, text.find(','));
        text.remove_prefix(std::min(piece.size() + 1, text.size()));
        piece.remove_prefix(std::min(piece.find_first_not_of(' '), piece.size()));
        const std::size_t equals = piece.find('=');
        if (equals != piece.npos) pieces[std::string(piece.substr(0, equals))] = piece.substr(equals + 1);
    }
    return pieces;
}

/// The keys whose values differ. A key that only one of the texts holds counts when it is `own`: stored forms leave out
/// what another key makes idle.
std::set<std::string> Changed(const std::string& before, const std::string& after, const std::string& own) {
    std::set<std::string> changed;
    const auto old = PiecesOf(before), now = PiecesOf(after);
    for (const auto& [key, value] : now) {
        const auto was = old.find(key);
        if (was == old.end() ? key == own : was->second != value) changed.insert(key);
    }
    if (old.count(own) && !now.count(own)) changed.insert(own);
    return changed;
}

/// A text with any values that a dialog offers.
class RandomText {
public:
    std::string Of(const ParameterInfo& info) {
        std::string text;
        for (const KeyInfo& key : info.keys)
            if (key.role == Role::Setting && (Roll(0, 4) != 0 || IsVersion(key)))
                text += key.key + '=' + ValueOf(key) + ',';
        return text;
    }

private:
    int Roll(int low, int high) { return std::uniform_int_distribution(low, high)(random_); }
    /// A dialog writes the newest.
    static bool IsVersion(const KeyInfo& key) { return key.key == "Version" || key.key == "Ver"; }
    std::string ValueOf(const KeyInfo& key) {
        if (IsVersion(key)) return "2";
        if (key.active && key.label.empty()) return std::to_string(*key.active);
        if (key.kind == Kind::Text) return Roll(0, 1) ? "Serif" : "A\\2c B";
        if (!key.choices.empty()) {
            const int last = static_cast<int>(key.choices.size()) - 1;
            return std::to_string(key.choices[static_cast<std::size_t>(Roll(0, last))].value);
        }
        constexpr double kFar = 1000;
        const double low = std::max(key.minimum, -kFar), high = std::min(key.maximum, kFar);
        const double share = Roll(0, 5) == 0 ? Roll(0, 1) : Roll(0, 10000) / 10000.0;  // often an end of the range
        const double value = low + share * (high - low);
        if (key.hexadecimal) return fmt::format("{:06x}", Roll(0, 0xffffff));
        return key.kind == Kind::Number ? fmt::format("{:.4f}", value) : std::to_string(static_cast<int>(value));
    }

    std::mt19937 random_{20};
};

TEST(FilterPanels, EveryFilterHasOneAndNothingElseHas) {
    for (const ClassRow* const filter : ListFilters())
        EXPECT_TRUE(MakeFilterPanel(filter->description->progId, nullptr)) << filter->description->progId;
    for (const char* const other : {"", "Sepia", "TMFilter.Sepia", "TMFilter.PdibFilterChain.1", "TMFilter.Sepia.12"})
        EXPECT_FALSE(MakeFilterPanel(other, nullptr)) << other;
}

TEST(FilterPanels, WhatTheControlsShowMakesTheRecordOfTheText) {
    RandomText random;
    for (const ClassRow* const filter : ListFilters()) {
        const std::string progId = filter->description->progId;
        if (progId == kCurves) continue;
        const auto panel = MakeFilterPanel(progId, nullptr);
        const auto second = MakeFilterPanel(progId, nullptr);
        QSignalSpy edited(panel.get(), &FilterPanel::Edited);
        for (int round = 0; round < 40; ++round) {
            const std::string text = random.Of(filter->parameters());
            SCOPED_TRACE(progId + ": " + text);
            panel->SetParameterText(text);
            const std::string shown = panel->ParameterText();
            ASSERT_EQ(Stored(*filter, {text, shown}), Stored(*filter, {text}));
            ASSERT_EQ(Stored(*filter, {shown}), Stored(*filter, {text}));
            second->SetParameterText(shown);
            ASSERT_EQ(second->ParameterText(), shown);
        }
        EXPECT_EQ(edited.count(), 0) << progId;
    }
}

TEST(FilterPanels, BadTextsLeaveEveryValueInItsRange) {
    std::mt19937 random(5);
    const std::string values[] = {"-99999999999", "4294967296", "-1", "1e999", "nan", "-inf", "", "x", "0x7f", "\xff"};
    for (const ClassRow* const filter : ListFilters()) {
        const std::string progId = filter->description->progId;
        SCOPED_TRACE(progId);
        const ParameterInfo info = filter->parameters();
        const auto panel = MakeFilterPanel(progId, nullptr);
        for (int round = 0; round < 30; ++round) {
            std::string text;
            for (const KeyInfo& key : info.keys)
                if (random() % 2) text += key.key + '=' + values[random() % std::size(values)] + ',';
            if (round % 3 == 1) text.insert(random() % (text.size() + 1), 1, static_cast<char>(random()));
            if (round % 10 == 9) text = std::string(100000, static_cast<char>(random()));
            panel->SetParameterText(text);
            if (progId == kCurves) continue;
            const auto pieces = PiecesOf(panel->ParameterText());
            for (const KeyInfo& key : info.keys) {
                const auto piece = pieces.find(key.key);
                if (piece == pieces.end() || !key.ranged || key.label.empty() || key.kind == Kind::Text) continue;
                const double value = std::stod(key.hexadecimal ? "0x" + piece->second : piece->second);
                if (value == key.special) continue;
                EXPECT_GE(value, key.minimum) << key.key << " of " << text;
                EXPECT_LE(value, key.maximum) << key.key << " of " << text;
            }
        }
    }
}

TEST(FilterPanels, ResetShowsTheDefaultText) {
    RandomText random;
    for (const ClassRow* const filter : ListFilters()) {
        const std::string progId = filter->description->progId;
        SCOPED_TRACE(progId);
        const auto panel = MakeFilterPanel(progId, nullptr);
        const ParameterInfo info = filter->parameters();
        if (progId != kCurves) panel->SetParameterText(random.Of(info));
        QSignalSpy edited(panel.get(), &FilterPanel::Edited);
        panel->Reset();
        EXPECT_EQ(edited.count(), 1);
        const std::string versions = ",Ver=2,Version=2";  // a dialog's text has the newest
        if (progId != kCurves) {
            EXPECT_EQ(Stored(*filter, {info.defaultText + versions, panel->ParameterText()}),
                      Stored(*filter, {info.defaultText + versions}));
        }
    }
}

/// Drives every control that can be reached, and collects the keys that it changed. Each may change its own key only.
class Driver {
public:
    explicit Driver(FilterPanel& panel) : panel_(panel) {}

    void DriveAll() {
        const auto swatches = panel_.findChildren<SwatchButton*>();
        if (swatches.empty()) return DriveShown();
        for (SwatchButton* const swatch : swatches) {
            QTest::mouseClick(swatch, Qt::LeftButton);
            DriveShown();
        }
    }
    const std::set<std::string>& Reached() const { return reached_; }

private:
    void DriveShown() {
        for (QSlider* const slider : Shown<QSlider>()) Move(slider, slider->value() < slider->maximum());
        for (QAbstractSpinBox* const field : Shown<QAbstractSpinBox>()) DriveField(field);
        for (QComboBox* const list : Shown<QComboBox>())
            if (!list->isEditable()) Key(list, list->currentIndex() + 1 < list->count() ? Qt::Key_Down : Qt::Key_Up);
        for (QCheckBox* const box : Shown<QCheckBox>()) {
            Expect(box, [box] { QTest::keyClick(box, Qt::Key_Space); });
            Expect(box, [box] { QTest::mouseClick(box, Qt::LeftButton, {}, QPoint(6, box->height() / 2)); });
        }
        for (QRadioButton* const button : Shown<QRadioButton>())
            if (!button->isChecked()) Expect(button, [button] { QTest::keyClick(button, Qt::Key_Space); });
        for (ColorWell* const well : Shown<ColorWell>()) DriveColor(well);
    }

    template <class Widget>
    std::vector<Widget*> Shown() {
        std::vector<Widget*> shown;
        for (Widget* const widget : panel_.findChildren<Widget*>())
            if (widget->isVisible() && widget->isEnabled() && !widget->objectName().isEmpty()) shown.push_back(widget);
        return shown;
    }

    void Move(QSlider* slider, bool up) { Key(slider, up ? Qt::Key_Right : Qt::Key_Left); }
    void Key(QWidget* widget, Qt::Key key) {
        Expect(widget, [&] { QTest::keyClick(widget, key); });
    }

    /// With the arrows, and back with the button.
    void DriveField(QAbstractSpinBox* field) {
        const QString name = field->objectName();
        if (name.startsWith(QLatin1String("qt_"))) return;
        const bool up = field->property("value").toDouble() < field->property("maximum").toDouble();
        Key(field, up ? Qt::Key_Up : Qt::Key_Down);
        auto* const reset = panel_.findChild<QAbstractButton*>(name + QLatin1String(".reset"));
        if (reset && reset->isEnabled() && !name.startsWith(QLatin1String("DlgSize")))
            Expect(reset, [&] { QTest::mouseClick(reset, Qt::LeftButton); });
    }

    /// One channel of the color.
    void DriveColor(ColorWell* well) {
        QTest::keyClick(well, Qt::Key_Space);
        ASSERT_TRUE(well->Editor());
        auto* const red = well->Editor()->findChild<QAbstractSpinBox*>(QStringLiteral("COMMON_RED"));
        const bool up = red->property("value").toInt() < 255;
        Expect(well, [&] { QTest::keyClick(red, up ? Qt::Key_Up : Qt::Key_Down); });
        delete well->Editor();
    }

    template <class Action>
    void Expect(QWidget* widget, const Action& action) {
        const QString name = widget->objectName();
        const std::string key = name.left(name.indexOf(QRegularExpression(QStringLiteral("[.=]")))).toStdString();
        const std::string before = panel_.ParameterText();
        QSignalSpy edited(&panel_, &FilterPanel::Edited);
        action();
        EXPECT_GE(edited.count(), 1) << name.toStdString();
        EXPECT_EQ(Changed(before, panel_.ParameterText(), key), std::set<std::string>{key}) << name.toStdString();
        reached_.insert(key);
    }

    FilterPanel& panel_;
    std::set<std::string> reached_;
};

/// The same text with every flag the other way round.
std::string WithOtherFlags(const ParameterInfo& info) {
    std::string text;
    for (const KeyInfo& key : info.keys)
        if (key.kind == Kind::Flag && !key.label.empty()) text += key.key + (key.value == "1" ? "=0," : "=1,");
    return text;
}

TEST(FilterPanels, EachControlChangesItsOwnKey) {
    // Of several keys at once, or with a test of their own.
    const std::set<std::string> together = {"TMFilter.PrintCrop.1", "TMFilter.RedEye.1", "TMFilter.RgbMixer.1"};
    for (const ClassRow* const filter : ListFilters()) {
        const std::string progId = filter->description->progId;
        if (progId == kCurves || together.count(progId)) continue;
        SCOPED_TRACE(progId);
        const ParameterInfo info = filter->parameters();
        const auto panel = MakeFilterPanel(progId, nullptr);
        panel->show();
        std::set<std::string> reached;
        std::string texts[] = {info.defaultText + ",DlgSizeX=3,DlgSizeY=2",
                               WithOtherFlags(info) + "DlgSizeX=3,DlgSizeY=2", "BordersizeOn=0,DlgSizeX=3,DlgSizeY=2"};
        for (const std::string& text : texts) {
            panel->SetParameterText(text);
            Driver driver(*panel);
            driver.DriveAll();
            reached.insert(driver.Reached().begin(), driver.Reached().end());
        }
        for (const KeyInfo& key : info.keys) {
            const bool ofColor = key.channel == Channel::Green || key.channel == Channel::Blue;  // as red is
            const bool ofFont = key.key == "fname" || key.key == "fpia" || key.key == "fchs" || key.key == "txt";
            const bool offered = key.role == Role::Setting && !key.label.empty() && !ofColor && !ofFont;
            EXPECT_TRUE(!offered || reached.count(key.key)) << key.key << " has no control";
        }
    }
}

TEST(FilterPanels, TextsFollowTheLanguageAndEveryControlHasAName) {
    for (const ClassRow* const filter : ListFilters()) {
        const std::string progId = filter->description->progId;
        if (progId == kCurves) continue;
        SCOPED_TRACE(progId);
        const auto panel = MakeFilterPanel(progId, nullptr);
        const auto texts = [&] {
            QStringList all;
            for (QWidget* const widget : panel->findChildren<QWidget*>()) {
                const bool control = widget->focusPolicy() != Qt::NoFocus && !widget->objectName().isEmpty() &&
                                     !widget->objectName().startsWith(QLatin1String("qt_")) && !widget->focusProxy() &&
                                     widget->objectName() != QLatin1String("fname");
                const auto* const button = qobject_cast<QAbstractButton*>(widget);
                if (control) {
                    EXPECT_FALSE(widget->accessibleName().isEmpty() && (!button || button->text().isEmpty()))
                        << widget->objectName().toStdString();
                }
                all << widget->accessibleName() << widget->toolTip() << (button ? button->text() : QString());
            }
            return all;
        };
        const QStringList english = texts();
        SetDialogLanguage(Language::German);
        panel->Retranslate();
        const QStringList german = texts();
        EXPECT_NE(german, english);
        for (const QString& text : english + german)
            EXPECT_FALSE(text.contains(QLatin1String("IDS_"))) << text.toStdString();
        SetDialogLanguage(Language::English);
        panel->Retranslate();
        EXPECT_EQ(texts(), english);
    }
}

/// The form that each filter's dialog writes.
TEST(FilterPanels, TextsHaveTheFormOfTheDialog) {
    const std::pair<const char*, const char*> forms[] = {
        {"Invert", "Inversity=007"},
        {"Sepia", "Sepia=007"},
        {"BlackWhiteness", "BlackWhiteNess=007"},
        {"Transparency", "Transparency=007"},
        {"Histo", "Intensity=007"},
        {"FindEdges", "EdgeEnhance=007"},
        {"Emboss", "EmbossStrength=007"},
        {"Sharpen", "Sharpness=007,ExtraParam=|SHARP|,Version=2"},
        {"Blur", "Blurness=007,Version=2"},
        {"RGBColor", "Red=007,Green=-007,Blue=100,"},
        {"Exposure", "Red=007,Green=-007,Blue=100,"},
        {"Exposure2", "Red=007,Green=-007,Blue=100,"},
        {"BrightnessContrast", "Brightness=007,Contrast=-007,Saturation=100,"},
        {"AdoptColor", "ColorRed=007,ColorGreen=008,ColorBlue=009,Intensity=010,"},
        {"DuoColor", "ColorRed=001,ColorGreen=002,ColorBlue=003,Red2=004,Green2=005,Blue2=006,Intensity=007,"},
        {"InvertMask", "Red=001,Green=002,Blue=003,Transparency=004,"},
        {"ImgBg", "Red=001,Green=002,Blue=003,Transparency=004,"},
        {"WhiteBlackGrey", "RedG=001, GreenG=002, BlueG=003, Mode=2, Opacity=004, FilterOn=1"},
        {"Tonwert", "AutoTone=1,AutoContrast=0,AutoContrastRGB=1,Hi=1,Med=-2,Lo=3,Addhi=4,Addmed=5,Addlo=-6,"},
        {"Optimize", "Slider1=001,Slider2=-002,Slider3=003,Slider4=100,"},
        {"ColorTuning", "SatR=001,SatY=-002,SatG=003,SatC=004,SatB=005,SatM=006,"},
        {"HSB",
         "Hue=1,Sat=-2,Bright=3,HueR=4,SatR=5,BrightR=6,HueY=7,SatY=8,BrightY=9,HueG=10,SatG=11,BrightG=12,HueC=13,"
         "SatC=14,BrightC=15,HueB=16,SatB=17,BrightB=18,HueM=19,SatM=20,BrightM=21,"},
        {"Gamma",
         "S10=1,S20=-2,S30=3,S40=4,S50=5,S11=6,S21=7,S31=8,S41=9,S51=10,S12=11,S22=12,S32=13,S42=14,S52=15,S13=16,"
         "S23=17,S33=18,S43=19,S53=20,S14=21,S24=22,S34=23,S44=24,S54=25,S15=26,S25=27,S35=28,S45=29,S55=30,S16=31,"
         "S26=32,S36=33,S46=34,S56=35,"},
        {"RgbMixer",
         "BOnK=1, BOnR=0, BOnG=0, BOnB=0, BBypass=0,BRgb0=1,BCon0=0,BRgb1=0,BCon1=1,BRgb2=0,BCon2=0,BRgb3=1,BCon3=0,"
         "kR=001,kG=-002,kB=003,rR=004,rG=005,rB=006,gR=007,gG=008,gB=009,bR=010,bG=011,bB=012,kC=013,rC=014,gC=015,"
         "bC=016,"},
        {"Staub", "MaxRgnSize=007,GrayTolerance=033,"},
        {"RedEye", "N=2, X1=0.2500, Y1=0.5000, E1=-3, F1=4, X2=1.0000, Y2=0.0000, E2=0, F2=0"},
        {"Scale", "MaximumHorizontalSize=50,MaximumVerticalSize=1234,KeepProportions=2,AllowEnlarge=1,"},
        {"Scale100", "HorizontalProz=50,VerticalProz=7,KeepProportions=0,AllowEnlarge=0,"},
        {"Rotate", "Angle=12.500,MirrorOn=1,"},
        {"Offset", "OffsetX=007,OffsetY=-1234,"},
        {"Crop",
         "LeftMargin=0.1000, RightMargin=0.9000, BottomMargin=0.2000, TopMargin=0.8000, ShrinkAlpha=0, FixRatioOn=1, "
         "FixRatio=1.5000, Landscape=1, DlgSizeX=3, DlgSizeY=2"},
        {"RotCrop",
         "LeftMargin=0.1000, RightMargin=0.9000, BottomMargin=0.2000, TopMargin=0.8000, ShrinkAlpha=1, FixRatioOn=0, "
         "Mirrored=1, Angle=0.1250,Rot1X=0.10000,Rot1Y=0.20000, Rot2X=0.30000, Rot2Y=0.40000"},
        {"PrintCrop",
         "MarginL=0.1000, MarginR=0.9000, MarginB=0.0000, MarginT=1.0000, Width=9.0000, Height=13.0000, Measur=0, "
         "PPI=300.0000, FixedPPI=1"},
        {"PrintPad", "AspectRatioX=4, AspectRatioY=3, ForceRatio=1, Toggle=0, Landscape=1, PadColor=0102ff, Copy=2"},
        {"PrintScale", "PrintWidth=640, PrintHeight=480, PrintTurn=3"},
        {"SoftFrame", "SoftCorner=0,FrameWidth=7,Links=1,Oben=0,Rechts=1,Unten=0,CalcPix=0,Ver=2,"},
        {"Passpartout",
         "BordersizeOn=0,Borderhori=007,Borderverti=-008,TotalHori=1234,TotalVerti=050,Radius=006,Red=001,Green=002,"
         "Blue=003,Transparency=004,Poscorhori=-005,Poscorverti=006,"},
        {"Rauchglas",
         "BordersizeOn=1,Borderhori=7,Borderverti=8,TotalHori=1234,TotalVerti=50,Radius=6,Red=1,Green=2,Blue=3,"
         "Transparency=004,Poscorhori=-005,Poscorverti=006,"},
        {"Shadow",
         "LightDirection=90,LightIntensity=1,InnerOn=1,ShadowDensity=2,ShadowBlur=3,Size=4,ShadowDistance=5,"
         "ShadowRed=6,ShadowGreen=7,ShadowBlue=8,"},
        {"Text",
         "pos=1,offset=5,dir=270,fname=Serif,fpia=16,fchs=0,fsz=40,fcol=255,fb=0,fi=1,fu=1,shr=1,shg=2,shb=3,shd=4,"
         "tr=5,txt=a\\2cb"},
    };
    EXPECT_EQ(std::size(forms) + 1, ListFilters().size()) << "all but the curves, which are drawn";
    for (const auto& [word, form] : forms) {
        const ClassRow* const filter = FindFilter(word);
        ASSERT_TRUE(filter) << word;
        const auto panel = MakeFilterPanel(filter->description->progId, nullptr);
        panel->SetParameterText(form);
        EXPECT_EQ(panel->ParameterText(), form);
    }
}

}  // namespace
}  // namespace kestrel
