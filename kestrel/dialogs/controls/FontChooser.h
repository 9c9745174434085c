#pragma once
#include <QWidget>

#include "kestrel/foundation/FontProperty.h"

class QCheckBox;
class QFontComboBox;
class QSpinBox;

namespace kestrel {

/// Chooses a font by family, size in pixels, and three styles. Parts that it does not show stay as they were set.
class FontChooser : public QWidget {
    Q_OBJECT
public:
    explicit FontChooser(QWidget* parent);

    const FontProperty& Font() const { return font_; }
    /// Emits nothing.
    void SetFont(const FontProperty& font);
    /// Texts in the language now chosen.
    void Retranslate();

Q_SIGNALS:
    /// The user has changed the font.
    void FontChanged();

private:
    void TakeFamily(const QString& family);

    FontProperty font_;
    QFontComboBox* family_;
    QSpinBox* size_;
    QCheckBox* bold_;
    QCheckBox* italic_;
    QCheckBox* underline_;
};

}  // namespace kestrel
