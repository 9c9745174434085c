#pragma once
#include <QObject>
#include <QString>
#include <vector>

class QDoubleSpinBox;
class QGridLayout;
class QLabel;
class QSlider;
class QWidget;

namespace kestrel {

class GlyphButton;
class ResetLabel;

/// How a row shows a number.
struct ValueScale {
    double minimum = 0;  ///< of what is shown
    double maximum = 100;
    double factor = 1;  ///< what is shown is so many times the value
    int decimals = 0;
    double step = 1;        ///< of the field's arrows
    double sliderStep = 1;  ///< of what is shown
    bool slider = true;     ///< without one there is only the field
    QString suffix = {};    ///< after the number: " %"
};

/// A row of a panel: label, slider, label of the upper end, field with the unit, button back to the default. The
/// widgets stand in five columns of a grid; they belong to `parent`, and so does this object.
class ValueRow : public QObject {
    Q_OBJECT
public:
    /// `name` becomes the name of the field, and with an ending that of the slider and the button.
    ValueRow(const QString& name, const ValueScale& scale, QGridLayout* grid, int row, QWidget* parent);

    void SetTexts(const QString& label, const QString& farLabel, const QString& meaning);
    /// Shows another value; emits nothing.
    void SetValue(double value, bool isDefault);
    void SetEnabled(bool enabled);
    void SetVisible(bool visible);
    void SetSuffix(const QString& suffix);
    /// What the field shows at its minimum in place of the number.
    void SetMinimumText(const QString& words);

Q_SIGNALS:
    /// The user has changed the value.
    void ValueChanged(double value);
    /// The user wants the default.
    void ResetWanted();

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    void ShowOnSlider(double shown);
    /// Label, slider if there is one, field, and label of the upper end.
    std::vector<QWidget*> Parts() const;

    ValueScale scale_;
    bool isDefault_ = true;
    ResetLabel* label_;
    QSlider* slider_ = nullptr;
    QLabel* farLabel_;
    QDoubleSpinBox* field_;
    GlyphButton* reset_;
};

}  // namespace kestrel
