#include "kestrel/dialogs/panels/TextPanel.h"

#include <QAction>
#include <QClipboard>
#include <QGuiApplication>
#include <QHBoxLayout>
#include <QLabel>
#include <QMenu>
#include <QPlainTextEdit>
#include <QSignalBlocker>
#include <QTextCursor>

#include "kestrel/dialogs/DialogText.h"
#include "kestrel/dialogs/controls/AnchorGrid.h"
#include "kestrel/dialogs/controls/FontChooser.h"
#include "kestrel/dialogs/controls/GlyphButton.h"
#include "kestrel/host/CharSets.h"
#include "kestrel/parameters/TextEscapes.h"

namespace kestrel {
namespace {

constexpr int kLinesShown = 3;
constexpr const char* kDescriptor = "%%COPYRIGHT%%";
constexpr char16_t kCopyrightSign = u'\u00a9';

/// What the entries of the menu insert.
struct SpecialCharacter {
    char16_t character;
    const char* textKey;
};
constexpr SpecialCharacter kSpecialCharacters[] = {{kCopyrightSign, "CTX_SPECIALCHAR_1"},
                                                   {u'\u00ae', "CTX_SPECIALCHAR_2"},
                                                   {u'\u2122', "CTX_SPECIALCHAR_3"},
                                                   {u'\u00b0', "CTX_SPECIALCHAR_4"}};

}  // namespace

TextPanel::TextPanel(const ClassRow& filter, QWidget* parent) : ParameterPanel(filter, parent) {
    AddWords();
    AddFont();
    AddColor("IDS_TEXT_COLOR", {"fcol"});
    AddNumber("shd");
    AddColor("IDS_TEXT_SHADOWCOLOR", {"shr", "shg", "shb"});
    AddNumber("tr");
    AddPlace();
    AddChoice("dir");
    AddNumber("offset");
    Finish();
}

void TextPanel::AddWords() {
    auto* const head = new QWidget(this);
    auto* const row = new QHBoxLayout(head);
    row->setContentsMargins(0, 0, 0, 0);
    auto* const label = new QLabel(head);
    auto* const descriptor = new GlyphButton(Glyph::Add, head);
    descriptor->setObjectName(u"ButtonDescriptor");
    box_ = new QPlainTextEdit(this);
    box_->setObjectName(u"txt");
    box_->setTabChangesFocus(true);
    box_->setFixedHeight(box_->fontMetrics().lineSpacing() * kLinesShown + 12);
    box_->setContextMenuPolicy(Qt::CustomContextMenu);
    label->setBuddy(box_);
    row->addWidget(label, 1);
    row->addWidget(descriptor);
    AddWhole(head);
    AddWhole(box_);
    Translate([this, label, descriptor] {
        label->setText(DialogText("IDS_TEXT_TEXT"));
        box_->setAccessibleName(label->text());
        box_->setToolTip(MeaningOf(Values().Key("txt")));
        descriptor->setText(DialogText("IDS_TEXT_DESCRIPTOR"));
        descriptor->SetMeaning(DialogText("IDS_TEXT_CHOOSEDESCRIPTOR"));
    });
    Follow([this] { ShowBox(); });
    connect(descriptor, &GlyphButton::clicked, this, &TextPanel::InsertDescriptor);
    connect(box_, &QPlainTextEdit::textChanged, this, &TextPanel::TakeBox);
    connect(box_, &QWidget::customContextMenuRequested, this, [this](const QPoint& place) {
        QMenu* const menu = MakeMenu();
        menu->setAttribute(Qt::WA_DeleteOnClose);
        menu->popup(box_->viewport()->mapToGlobal(place));
    });
}

void TextPanel::ShowBox() {
    const auto charSet = static_cast<std::uint8_t>(Values().Integer("fchs"));
    const QString words = QString::fromStdString(Utf8FromCharSet(Values().Words("txt"), charSet));
    if (box_->toPlainText() == words) return;
    const QSignalBlocker quiet(box_);
    const int at = box_->textCursor().position();
    box_->setPlainText(words);
    QTextCursor cursor = box_->textCursor();
    cursor.setPosition(std::min(at, static_cast<int>(words.size())));
    box_->setTextCursor(cursor);
}

void TextPanel::TakeBox() {
    const std::string utf8 = box_->toPlainText().toStdString();
    const auto charSet = static_cast<std::uint8_t>(Values().Integer("fchs"));
    TextValue value = MakeTextValue(utf8, charSet, false);
    if (!value.error.empty()) value = MakeTextValue(utf8, std::nullopt, false);
    if (!value.error.empty()) return ShowBox();
    const bool setChanges = Values().SetNumber("fchs", value.charSet);
    const bool changed = Values().SetWords("txt", UnescapeText(value.value)) || setChanges;
    if (changed) Tell();
}

void TextPanel::InsertDescriptor() {
    const QString descriptor = QLatin1String(kDescriptor);
    box_->insertPlainText(
        box_->toPlainText().isEmpty() ? QString(QChar(kCopyrightSign)) + QLatin1String(" ") + descriptor : descriptor);
    box_->setFocus();
}

/// Of the selected text, or of all of it.
void TextPanel::ToggleCase() {
    QTextCursor cursor = box_->textCursor();
    if (!cursor.hasSelection()) cursor.select(QTextCursor::Document);
    const QString words = cursor.selectedText();
    const QString upper = words.toUpper();
    cursor.insertText(words == upper ? words.toLower() : upper);
}

QMenu* TextPanel::MakeMenu() {
    auto* const menu = new QMenu(this);
    const auto add = [menu](const char* textKey, bool enabled, auto action) {
        QAction* const entry = menu->addAction(LineText(textKey), action);
        entry->setObjectName(QLatin1String(textKey));
        entry->setEnabled(enabled);
    };
    const bool selected = box_->textCursor().hasSelection();
    add("CTX_CUT", selected, [this] { box_->cut(); });
    add("CTX_COPY", selected, [this] { box_->copy(); });
    add("CTX_PASTE", box_->canPaste(), [this] { box_->paste(); });
    menu->addSeparator();
    add("CTX_DESCRIPTOR", true, [this] { InsertDescriptor(); });
    QMenu* const special = menu->addMenu(LineText("CTX_SPECIALCHAR"));
    for (const SpecialCharacter& each : kSpecialCharacters) {
        const QString character = QChar(each.character);
        QAction* const entry = special->addAction(character + LineText(each.textKey),
                                                  [this, character] { box_->insertPlainText(character); });
        entry->setObjectName(QLatin1String(each.textKey));
    }
    add("CTX_TOGGLECASE", !box_->toPlainText().isEmpty(), [this] { ToggleCase(); });
    return menu;
}

void TextPanel::AddFont() {
    font_ = new FontChooser(this);
    AddControl("IDS_TEXT_FONT", font_, {"fname", "fpia", "fsz", "fb", "fi", "fu"});
    Translate([this] { font_->Retranslate(); });
    Follow([this] {
        FontProperty font;
        font.SetFontName(Values().Words("fname").c_str());
        font.SetPitchAndFamily(static_cast<std::uint8_t>(Values().Integer("fpia")));
        font.SetFontSize(Values().Integer("fsz"));
        font.SetBold(Values().Flag("fb"));
        font.SetItalic(Values().Flag("fi"));
        font.SetUnderline(Values().Flag("fu"));
        font_->SetFont(font);
    });
    connect(font_, &FontChooser::FontChanged, this, [this] {
        const FontProperty font = font_->Font();
        bool changed = Values().SetWords("fname", font.GetFontName());
        changed |= Values().SetNumber("fpia", font.GetPitchAndFamily());
        changed |= Values().SetNumber("fsz", font.GetFontSize());
        changed |= Values().SetNumber("fb", font.IsBold());
        changed |= Values().SetNumber("fi", font.IsItalic());
        changed |= Values().SetNumber("fu", font.IsUnderline());
        if (changed) Tell();
    });
}

void TextPanel::AddPlace() {
    auto* const anchors = new AnchorGrid(QStringLiteral("pos"), {1, 2, 3, 4, 9, 5, 6, 7, 8}, this);
    AddControl("IDS_TEXT_POSITION", anchors, {"pos"});
    Translate([this, anchors] {
        for (const Choice& choice : Values().Key("pos").choices)
            anchors->SetName(choice.value, DialogText(choice.label));
    });
    Follow([this, anchors] { anchors->Choose(Values().Integer("pos")); });
    connect(anchors, &AnchorGrid::ChosenChanged, this, [this](int place) { Take("pos", place); });
}

}  // namespace kestrel
