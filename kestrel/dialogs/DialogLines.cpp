#include "kestrel/dialogs/DialogLines.h"

#include <QEvent>
#include <QFrame>
#include <QStyle>

namespace kestrel {

DialogLines::DialogLines(QWidget* content) : QObject(content), content_(content) { content->installEventFilter(this); }

int DialogLines::Add(Qt::Orientation orientation, QPoint start, int length) {
    lines_.push_back({orientation, start, length, {}});
    AddFrame(lines_.back());
    Place(lines_.back());
    return static_cast<int>(lines_.size()) - 1;
}

void DialogLines::AddFrame(Line& line) {
    auto* const frame = new QFrame(content_);
    frame->setFrameStyle(QFrame::Sunken | (line.orientation == Qt::Horizontal ? QFrame::HLine : QFrame::VLine));
    frame->lower();
    frame->show();
    line.frames.push_back(frame);
}

void DialogLines::AddSubLines(int line, int count, int distance) {
    if (!Has(line)) return;
    Line& main = lines_[static_cast<std::size_t>(line)];
    main.distance = distance;
    for (int i = 0; i < count; ++i) AddFrame(main);
    Place(main);
}

void DialogLines::Move(int line, QPoint start) {
    if (!Has(line)) return;
    lines_[static_cast<std::size_t>(line)].start = start;
    Place(lines_[static_cast<std::size_t>(line)]);
}

void DialogLines::Place(const Line& line) const {
    const bool horizontal = line.orientation == Qt::Horizontal;
    QRect area(line.start, QSize(horizontal ? line.length : 0, horizontal ? 0 : line.length));
    for (QFrame* const frame : line.frames) {
        const QSize hint = frame->sizeHint();
        if (horizontal) area.setHeight(hint.height());
        if (!horizontal) area.setWidth(hint.width());
        frame->setGeometry(QStyle::visualRect(content_->layoutDirection(), content_->rect(), area));
        area.translate(horizontal ? QPoint(0, line.distance) : QPoint(line.distance, 0));
    }
}

bool DialogLines::eventFilter(QObject*, QEvent* event) {
    const bool moves = event->type() == QEvent::Resize || event->type() == QEvent::LayoutDirectionChange ||
                       event->type() == QEvent::StyleChange;
    if (moves)
        for (const Line& line : lines_) Place(line);
    return false;
}

}  // namespace kestrel
