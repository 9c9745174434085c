#pragma once
#include <QToolButton>

namespace kestrel {

/// What a small button shows. Drawn, so that it is sharp at every scale and follows the palette.
enum class Glyph { Reset, Pipette, TurnLeft, TurnRight, HalfTurn, Add, Remove };

/// A small flat button with a drawing and, where there is room, a short text after it.
class GlyphButton : public QToolButton {
    Q_OBJECT
public:
    GlyphButton(Glyph glyph, QWidget* parent);

    /// What it does, as tooltip and for screen readers.
    void SetMeaning(const QString& words);
    QSize sizeHint() const override;

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    Glyph glyph_;
};

}  // namespace kestrel
