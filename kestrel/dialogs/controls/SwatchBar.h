#pragma once
#include <QWidget>
#include <vector>

class QButtonGroup;
class QLabel;

namespace kestrel {

class SwatchButton;

/// Chooses one of several like groups of values by its color: a row of buttons, of which one is down, and the name of
/// that one beside them. Arrow keys move along the row.
class SwatchBar : public QWidget {
    Q_OBJECT
public:
    /// A color that is not valid stands for all colors.
    SwatchBar(const std::vector<QColor>& colors, QWidget* parent);

    int Chosen() const;
    /// Emits nothing.
    void Choose(int index);
    void SetName(int index, const QString& name);
    /// Marks a group that does something.
    void SetInUse(int index, bool inUse);

Q_SIGNALS:
    void ChosenChanged(int index);

private:
    void ShowName();

    QButtonGroup* group_;
    std::vector<SwatchButton*> buttons_;
    QLabel* name_;
};

}  // namespace kestrel
