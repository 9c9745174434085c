#pragma once
#include <QWidget>
#include <vector>

class QButtonGroup;

namespace kestrel {

/// Nine places of a picture, of which one is chosen, laid out as they lie. Arrow keys move between them.
class AnchorGrid : public QWidget {
    Q_OBJECT
public:
    /// `places` numbers what the nine cells stand for, row by row from the top left. A button's name is `name`, "=" and
    /// the number of its place.
    AnchorGrid(const QString& name, const std::vector<int>& places, QWidget* parent);

    /// Emits nothing.
    void Choose(int place);
    void SetName(int place, const QString& name);

Q_SIGNALS:
    /// The user has chosen another place.
    void ChosenChanged(int place);

private:
    QButtonGroup* group_;
};

}  // namespace kestrel
