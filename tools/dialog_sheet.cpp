// Draws the dialog of every filter into one picture, to be looked at.
#include <QApplication>
#include <QCommandLineParser>
#include <QPainter>
#include <QStyleFactory>
#include <algorithm>
#include <array>
#include <cstdio>
#include <vector>

#include "kestrel/dialogs/DialogText.h"
#include "kestrel/dialogs/FilterDialog.h"
#include "kestrel/dialogs/FilterPanels.h"
#include "kestrel/host/Catalogue.h"
#include "tools/TellingSettings.h"

namespace kestrel {
namespace {

constexpr int kGap = 16;  // pixels, between panels

/// A picture with a hill of tones in each channel.
struct SheetPicture : PictureContext {
    std::vector<std::array<std::uint32_t, 256>> InputHistogram() override {
        std::vector<std::array<std::uint32_t, 256>> channels(4);
        for (std::size_t channel = 0; channel < channels.size(); ++channel)
            for (std::size_t tone = 0; tone < 256; ++tone) {
                const double x = (static_cast<double>(tone) - 90 - 25 * static_cast<double>(channel)) / 45;
                channels[channel][tone] = static_cast<std::uint32_t>(20000 / (1 + x * x * x * x));
            }
        return channels;
    }
    QSize InputSize() override { return {1920, 1280}; }
    void PickPoint(QWidget*, std::function<void(QPoint, QRgb)>) override {}
    void ShowHandles(const HandleFrame&, std::function<void(const HandleFrame&)>) override {}
};

QPalette DarkPalette() {
    const QColor window(45, 45, 48), base(30, 30, 32), text(225, 225, 225), faint(120, 120, 120);
    QPalette palette(window, window);
    for (const auto role : {QPalette::WindowText, QPalette::Text, QPalette::ButtonText, QPalette::ToolTipText})
        palette.setColor(role, text);
    for (const auto role : {QPalette::WindowText, QPalette::Text, QPalette::ButtonText})
        palette.setColor(QPalette::Disabled, role, faint);
    palette.setColor(QPalette::Base, base);
    palette.setColor(QPalette::AlternateBase, window);
    palette.setColor(QPalette::Highlight, QColor(70, 120, 190));
    palette.setColor(QPalette::HighlightedText, Qt::white);
    return palette;
}

/// The dialog of a filter at a telling setting.
QPixmap Drawn(const ClassRow& filter, SheetPicture& picture) {
    CFilterDialog dialog(*filter.description, MakeFilterPanel(filter.description->progId, nullptr));
    FilterPanel* const panel = dialog.Panel();
    panel->SetPicture(&picture);
    const auto telling =
        std::find_if(std::begin(kTellingSettings), std::end(kTellingSettings),
                     [word = WordOf(*filter.description)](const TellingSetting& each) { return each.filter == word; });
    if (telling != std::end(kTellingSettings)) panel->SetParameterText(std::string(telling->text));
    dialog.resize(dialog.sizeHint());  // `adjustSize` stops at two thirds of the screen
    QPixmap drawn = dialog.grab();
    panel->SetPicture(nullptr);
    return drawn;
}

/// Panels in columns of about one height, the tallest first.
QPixmap Sheet(std::vector<QPixmap> panels, int columns) {
    std::stable_sort(panels.begin(), panels.end(),
                     [](const QPixmap& a, const QPixmap& b) { return a.height() > b.height(); });
    const double scale = panels.front().devicePixelRatio();
    int width = 0;
    for (const QPixmap& panel : panels) width = std::max(width, qRound(panel.width() / scale));
    std::vector<int> ends(static_cast<std::size_t>(columns), kGap);
    std::vector<QPoint> places;
    for (const QPixmap& panel : panels) {
        const auto end = std::min_element(ends.begin(), ends.end());
        places.emplace_back(kGap + static_cast<int>(end - ends.begin()) * (width + kGap), *end);
        *end += qRound(panel.height() / scale) + kGap;
    }
    const QSize size(kGap + columns * (width + kGap), *std::max_element(ends.begin(), ends.end()));
    QPixmap sheet(size * scale);
    sheet.setDevicePixelRatio(scale);
    sheet.fill(QApplication::palette().color(QPalette::Mid));
    QPainter painter(&sheet);
    for (std::size_t i = 0; i < panels.size(); ++i) painter.drawPixmap(places[i], panels[i]);
    return sheet;
}

int Run(const QStringList& arguments) {
    QCommandLineParser parser;
    parser.addPositionalArgument(QStringLiteral("OUTPUT"), QStringLiteral("picture to write"));
    const QCommandLineOption language(QStringLiteral("lang"), {}, QStringLiteral("LANGUAGE"), QStringLiteral("en"));
    const QCommandLineOption dark(QStringLiteral("dark"));
    const QCommandLineOption columns(QStringLiteral("columns"), {}, QStringLiteral("NUMBER"), QStringLiteral("6"));
    const QCommandLineOption only(QStringLiteral("only"), {}, QStringLiteral("FILTER"));
    parser.addOptions({language, dark, columns, only});
    parser.process(arguments);
    if (parser.positionalArguments().size() != 1) parser.showHelp(2);
    const auto chosen = ParseLanguage(parser.value(language).toStdString());
    if (!chosen) {
        std::fprintf(stderr, "dialog_sheet: there are no texts in \"%s\"\n", qPrintable(parser.value(language)));
        return 2;
    }
    SetDialogLanguage(*chosen);
    QApplication::setStyle(QStyleFactory::create(QStringLiteral("Fusion")));
    if (parser.isSet(dark)) QApplication::setPalette(DarkPalette());
    SheetPicture picture;
    std::vector<QPixmap> panels;
    const ClassRow* const one = FindFilter(parser.value(only).toStdString());
    for (const ClassRow* const filter : ListFilters())
        if (!one || filter == one) panels.push_back(Drawn(*filter, picture));
    const QString output = parser.positionalArguments().front();
    if (!Sheet(std::move(panels), std::max(parser.value(columns).toInt(), 1)).save(output)) {
        std::fprintf(stderr, "dialog_sheet: %s cannot be written\n", qPrintable(output));
        return 1;
    }
    return 0;
}

}  // namespace
}  // namespace kestrel

int main(int argc, char** argv) {
    if (!qEnvironmentVariableIsSet("QT_QPA_PLATFORM")) qputenv("QT_QPA_PLATFORM", "offscreen");
    const QApplication application(argc, argv);
    return kestrel::Run(QApplication::arguments());
}
