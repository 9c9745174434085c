#include "kestrel/dialogs/panels/StraightenPanel.h"

#include <QPointer>
#include <QPushButton>
#include <QTransform>
#include <cmath>
#include <numbers>

#include "kestrel/dialogs/DialogText.h"
#include "kestrel/dialogs/controls/AngleDial.h"
#include "kestrel/dialogs/controls/GlyphButton.h"
#include "kestrel/dialogs/controls/ValueRow.h"

namespace kestrel {
namespace {

constexpr double kDegrees = 180 / std::numbers::pi;
constexpr double kHalfTurn = 180;
constexpr double kQuarterTurn = 90;

/// The same direction, above -180 and up to 180 degrees.
double Wrapped(double degrees) {
    const double near = std::remainder(degrees, 2 * kHalfTurn);
    return near == -kHalfTurn ? kHalfTurn : near;
}

/// The box around a picture that was turned, with the room that the filter leaves for its soft edges.
QSizeF TurnedSize(const QSizeF& size, double degrees) {
    if (std::remainder(std::round(degrees * 100), kQuarterTurn * 100) == 0) {
        const bool lies = std::lround(std::abs(degrees) / kQuarterTurn) % 2 == 1;
        return lies ? size.transposed() : size;
    }
    constexpr QSizeF kSoftEdges(2, 6);
    const double c = std::abs(std::cos(degrees / kDegrees)), s = std::abs(std::sin(degrees / kDegrees));
    return QSizeF(std::ceil(c * size.width() + s * size.height()), std::ceil(s * size.width() + c * size.height())) +
           kSoftEdges;
}

/// From a picture to its turned and, before that, mirrored form; middles lie on each other. Rows count upwards.
QTransform TurnOf(const QSizeF& size, double degrees, bool mirrored) {
    const QSizeF turned = TurnedSize(size, degrees);
    QTransform transform;
    transform.translate(turned.width() / 2, turned.height() / 2);
    transform.rotate(degrees);
    transform.scale(mirrored ? -1 : 1, 1);
    transform.translate(-size.width() / 2, -size.height() / 2);
    return transform;
}

QRectF Around(const QPointF& middle, const QSizeF& size) {
    return {middle - QPointF(size.width() / 2, size.height() / 2), size};
}

}  // namespace

StraightenPanel::StraightenPanel(const ClassRow& filter, QWidget* parent)
    : CropPanel(filter, parent, {"LeftMargin", "RightMargin", "BottomMargin", "TopMargin"}) {
    AddAngle();
    AddFlag("Mirrored");
    AddCaption("IDS_ROTCROP_LINE");
    AddLineEnd("Rot1X", "Rot1Y", false);
    AddLineEnd("Rot2X", "Rot2Y", true);
    auto* const align = new QPushButton(this);
    align->setObjectName(u"align");
    align->setAutoDefault(false);
    Translate([align] { align->setText(LineText("IDS_ROTCROP_ALIGN")); });
    connect(align, &QPushButton::clicked, this, &StraightenPanel::Align);
    AddWhole(align);
    AddCaption("IDS_CROP_HEADER");
    AddEdges();
    AddRatio();
    Finish();
}

/// The angle is shown within half a turn to either side, whatever the text holds.
void StraightenPanel::AddAngle() {
    ValueScale scale = ScaleOf(Values().Key("Angle"));
    scale.minimum = -kHalfTurn;
    scale.maximum = kHalfTurn;
    scale.step = scale.sliderStep = 0.1;
    scale.slider = true;
    auto* const dial = new AngleDial(kQuarterTurn, this);
    dial->setObjectName(u"Angle.dial");
    Translate([dial] { dial->setAccessibleName(DialogText("IDS_ROTCROP_ANGLE")); });
    AddWhole(dial);
    connect(dial, &AngleDial::AngleChanged, this,
            [this](double degrees) { Take("Angle", Wrapped(degrees) / kDegrees); });
    ValueRow* const row = AddNumber("Angle", scale);
    Follow([this, dial, row] {
        dial->SetAngle(Degrees());
        row->SetValue(Wrapped(Degrees()) / kDegrees, Values().IsDefault("Angle"));
    });
}

/// Both coordinates of an end share a label.
void StraightenPanel::AddCoordinate(const std::string& key, const char* axis) {
    ValueRow* const row = AddNumber(key);
    Translate([this, row, key, axis] {
        const KeyInfo& info = Values().Key(key);
        row->SetTexts(LabelOf(info) + QLatin1String(", ") + QLatin1String(axis), {}, MeaningOf(info));
    });
}

void StraightenPanel::AddLineEnd(const std::string& x, const std::string& y, bool last) {
    AddCoordinate(x, "X");
    AddCoordinate(y, "Y");
    const char* const textKey = last ? "IDS_ROTCROP_PICK_END" : "IDS_ROTCROP_PICK_START";
    auto* const pick = new GlyphButton(Glyph::Pipette, this);
    pick->setObjectName(QString::fromStdString(x) + QLatin1String(".pick"));
    Translate([pick, textKey] {
        pick->setText(DialogText(textKey));
        pick->setAccessibleName(DialogText(textKey));
    });
    Follow([this, pick] { pick->setEnabled(!PictureSize().isEmpty()); });
    connect(pick, &GlyphButton::clicked, this, [this, x, y, last] {
        if (!Picture()) return;
        Picture()->PickPoint(this, [panel = QPointer(this), x, y, last](QPoint point, QRgb) {
            if (!panel || panel->PictureSize().isEmpty()) return;
            const QSizeF size = panel->PictureSize();
            panel->Take({{x, (point.x() + 0.5) / size.width()}, {y, (point.y() + 0.5) / size.height()}});
            if (last) panel->Align();
        });
    });
    AddWhole(pick);
}

double StraightenPanel::Degrees() const { return Values().Number("Angle") * kDegrees; }

/// Turns the line level or upright, whichever is nearer. In a square where the size of the picture is not known.
void StraightenPanel::Align() {
    const QSizeF size = PictureSize().isEmpty() ? QSizeF(1, 1) : QSizeF(PictureSize());
    const double dx = (Values().Number("Rot2X") - Values().Number("Rot1X")) * size.width();
    const double dy = (Values().Number("Rot2Y") - Values().Number("Rot1Y")) * size.height();
    if (dx == 0 && dy == 0) return;
    Take("Angle", -std::remainder(std::atan2(dy, dx), std::numbers::pi / 2));
}

/// The picture is turned under the cut, so over the picture the cut is turned the other way.
HandleFrame StraightenPanel::FrameOver(const QSize& size) const {
    const bool mirrored = Values().Flag("Mirrored");
    const double turn = mirrored ? -Degrees() : Degrees();
    const QRectF cut = AreaOf(TurnedSize(size, turn));
    HandleFrame frame;
    frame.area = Around(TurnOf(size, turn, mirrored).inverted().map(cut.center()), cut.size());
    frame.angle = Wrapped(mirrored ? turn : -turn);
    frame.aspect = Aspect();
    frame.rotates = true;
    return frame;
}

void StraightenPanel::TakeFrame(const HandleFrame& frame, const QSize& size) {
    const bool mirrored = Values().Flag("Mirrored");
    const double turn = mirrored ? frame.angle : -frame.angle;
    const QRectF cut = Around(TurnOf(size, turn, mirrored).map(frame.area.center()), frame.area.size());
    auto values = EdgesOf(cut, TurnedSize(size, turn));
    // A frame that is only moved keeps the angle to the last digit.
    if (std::abs(Wrapped(frame.angle) - FrameOver(size).angle) > 1e-6)
        values.emplace_back("Angle", Wrapped(-frame.angle) / kDegrees);
    Take(values);
}

}  // namespace kestrel
