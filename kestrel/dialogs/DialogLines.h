#pragma once
#include <QPoint>
#include <QPointer>
#include <QWidget>
#include <vector>

class QFrame;

namespace kestrel {

/// The lines that a dialog draws between its controls, as the style draws such lines. Places count from the leading
/// edge of the content, so that they are mirrored with it. Not installed.
class DialogLines final : public QObject {
    Q_OBJECT
public:
    explicit DialogLines(QWidget* content);

    /// Returns the line's number.
    int Add(Qt::Orientation orientation, QPoint start, int length);
    /// `count` more lines, each `distance` below the one before (beside it for a vertical line); they move with it.
    void AddSubLines(int line, int count, int distance);
    void Move(int line, QPoint start);

    bool eventFilter(QObject* object, QEvent* event) override;

private:
    struct Line {
        Qt::Orientation orientation;
        QPoint start;
        int length;
        std::vector<QFrame*> frames;  ///< the line and its sub-lines
        int distance = 0;
    };
    bool Has(int line) const { return line >= 0 && static_cast<std::size_t>(line) < lines_.size(); }
    void AddFrame(Line& line);
    void Place(const Line& line) const;

    QWidget* content_;
    std::vector<Line> lines_;
};

}  // namespace kestrel
