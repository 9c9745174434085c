#include "kestrel/dialogs/PictureView.h"

#include <QKeyEvent>
#include <QPainter>
#include <QPainterPath>
#include <QWheelEvent>
#include <algorithm>
#include <cmath>
#include <utility>

#include "kestrel/dialogs/DialogText.h"
#include "kestrel/editing/PictureHistogram.h"

namespace kestrel {
namespace {

constexpr int kHandleSize = 8;      // logical pixels, as all sizes here
constexpr int kHandleReach = 10;    // from the pointer
constexpr int kHandleMargin = 15;   // around the picture, so that the handles at its edge can be seen
constexpr int kTurningMargin = 40;  // the same with the handle that turns
constexpr int kCheckSize = 8;       // of a field under transparent parts
constexpr int kLongStep = 10;       // pixels of the picture that Shift and an arrow key move
constexpr double kWheelStep = 0.5;  // logical pixels for one eighth of a degree

constexpr std::array<Handle, 8> kSizeHandles = {{{-1, -1}, {0, -1}, {1, -1}, {-1, 0}, {1, 0}, {-1, 1}, {0, 1}, {1, 1}}};

/// The squares that show through where a picture is transparent.
QBrush CheckBrush() {
    QImage check(2 * kCheckSize, 2 * kCheckSize, QImage::Format_RGB32);
    for (int y = 0; y < check.height(); ++y)
        for (int x = 0; x < check.width(); ++x)
            check.setPixel(x, y, (x < kCheckSize) == (y < kCheckSize) ? qRgb(204, 204, 204) : qRgb(255, 255, 255));
    return QBrush(check);
}

QPoint StepOf(const QKeyEvent& event) {
    const int length = event.modifiers() & Qt::ShiftModifier ? kLongStep : 1;
    switch (event.key()) {
        case Qt::Key_Left:
            return {-length, 0};
        case Qt::Key_Right:
            return {length, 0};
        case Qt::Key_Up:
            return {0, length};
        case Qt::Key_Down:
            return {0, -length};
        default:
            return {};
    }
}

}  // namespace

PictureView::PictureView(QWidget* parent) : QWidget(parent) {
    setFocusPolicy(Qt::StrongFocus);
    setMouseTracking(true);
    setMinimumSize(160, 120);
    Retranslate();
}

PictureView::~PictureView() = default;

void PictureView::SetPicture(Picture picture) {
    StopPicking();
    before_ = after_ = {};
    histogram_.clear();
    inputSize_ = {picture.Width(), picture.Height()};
    middle_ = QPointF(inputSize_.width(), inputSize_.height()) / 2;
    worker_ = std::make_unique<PreviewWorker>(std::move(picture));
    connect(worker_.get(), &PreviewWorker::Ready, this, &PictureView::TakePreview);
    Refresh();
}

void PictureView::SetChainText(const std::string& text) {
    chainText_ = text;
    Refresh();
}

void PictureView::SetZoom(Zoom zoom) {
    zoom_ = zoom;
    Refresh();
}

PreviewRequest PictureView::Wanted() const {
    PreviewRequest request;
    if (!ShowsBefore()) request.chainText = chainText_;
    if (zoom_ == Zoom::Fit) request.box = (QSizeF(size()) * devicePixelRatioF()).toSize();
    return request;
}

bool PictureView::IsCurrent() const { return !worker_ || Shown().request == Wanted(); }

void PictureView::Refresh() {
    if (worker_ && !IsCurrent()) worker_->Ask(Wanted());
    update();
}

void PictureView::TakePreview(const Preview& preview) {
    const bool isBefore = preview.request.chainText.empty();
    Preview& place = isBefore ? before_ : after_;
    place = preview;
    if (isBefore && chainText_.empty()) after_ = preview;
    update();
    if (IsCurrent()) Q_EMIT Current();
}

// ---- where things are ----------------------------------------------------------------------------------------------

double PictureView::Scale() const {
    const double full = 1 / devicePixelRatioF();
    const QSize size = Shown().full.isEmpty() ? inputSize_ : Shown().full;
    if (zoom_ == Zoom::FullScale || size.isEmpty()) return full;
    const int margin = !moved_ ? 0 : frame_.rotates ? kTurningMargin : kHandleMargin;
    return std::min({full, 1.0 * std::max(width() - 2 * margin, 1) / size.width(),
                     1.0 * std::max(height() - 2 * margin, 1) / size.height()});
}

QPointF PictureView::TopLeft() const {
    const QSizeF size = QSizeF(Shown().full.isEmpty() ? inputSize_ : Shown().full) * Scale();
    const auto start = [ratio = devicePixelRatioF()](double picture, double view, double middle) {
        const double at = picture <= view ? (view - picture) / 2 : std::clamp(view / 2 - middle, view - picture, 0.0);
        return std::round(at * ratio) / ratio;  // between two pixels of the screen a picture would be blurred
    };
    const QPointF middle = middle_ * Scale();
    return {start(size.width(), width(), middle.x()), start(size.height(), height(), middle.y())};
}

QPointF PictureView::ToView(QPointF point) const {
    const int rows = (Shown().full.isEmpty() ? inputSize_ : Shown().full).height();
    return TopLeft() + QPointF(point.x(), rows - point.y()) * Scale();
}

QPointF PictureView::ToPicture(QPointF point) const {
    const int rows = (Shown().full.isEmpty() ? inputSize_ : Shown().full).height();
    const QPointF own = (point - TopLeft()) / Scale();
    return {own.x(), rows - own.y()};
}

void PictureView::MoveTo(QPointF middle) {
    middle_ = middle;
    // What lies beyond the edge would have to be moved back first.
    const QPointF shown = (rect().toRectF().center() - TopLeft()) / Scale();
    middle_ = shown;
    update();
}

double PictureView::Reach() const { return kHandleReach / Scale(); }

// ---- what panels ask -----------------------------------------------------------------------------------------------

std::vector<std::array<std::uint32_t, 256>> PictureView::InputHistogram() {
    if (histogram_.empty() && worker_) histogram_ = PictureHistogram(worker_->Image());
    return histogram_;
}

QSize PictureView::InputSize() { return inputSize_; }

void PictureView::PickPoint(QWidget* asker, std::function<void(QPoint, QRgb)> picked) {
    if (!worker_ || !worker_->Image()) return;
    asker_ = asker;
    hasAsker_ = asker != nullptr;
    picked_ = std::move(picked);
    cross_ = QPointF(inputSize_.width(), inputSize_.height()) / 2;
    setFocus();
    UpdateCursor(mapFromGlobal(QCursor::pos()));
    Refresh();
}

void PictureView::StopPicking() {
    asker_ = nullptr;
    picked_ = nullptr;
    UpdateCursor(mapFromGlobal(QCursor::pos()));
    Refresh();
}

void PictureView::Pick(QPointF point) {
    // A pointer's place is the upper left corner of a pixel of the screen, and rows count upwards.
    const int x = static_cast<int>(std::floor(point.x())), y = static_cast<int>(std::ceil(point.y())) - 1;
    if (!QRect(QPoint(0, 0), inputSize_).contains(x, y)) return;
    const std::uint8_t* const pixel = DibRow(worker_->Image(), y) + 3 * static_cast<std::size_t>(x);
    const auto picked = std::exchange(picked_, nullptr);
    const bool wanted = !hasAsker_ || asker_;
    StopPicking();
    if (wanted && picked) picked(QPoint(x, y), qRgb(pixel[2], pixel[1], pixel[0]));
}

void PictureView::ShowHandles(const HandleFrame& frame, std::function<void(const HandleFrame&)> moved) {
    frame_ = frame;
    moved_ = std::move(moved);
    if (!moved_) held_.reset();
    UpdateCursor(mapFromGlobal(QCursor::pos()));
    Refresh();
}

void PictureView::ChangeFrame(const HandleFrame& frame) {
    frame_ = frame;
    update();
    const auto moved = moved_;  // the call may end the handles
    if (moved) moved(frame);
}

// ---- mouse and keyboard --------------------------------------------------------------------------------------------

void PictureView::mousePressEvent(QMouseEvent* event) {
    if (event->button() != Qt::LeftButton) return;
    const QPointF at = ToPicture(event->position());
    if (picked_) {
        Pick(at);
    } else if (moved_ && (held_ = FindHandle(frame_, at, Reach()))) {
        heldFrame_ = frame_;
        heldAt_ = at;
    } else {
        dragging_ = true;
        heldAt_ = event->position();
        draggedFrom_ = (rect().toRectF().center() - TopLeft()) / Scale();
    }
    UpdateCursor(event->position());
}

void PictureView::mouseMoveEvent(QMouseEvent* event) {
    if (held_) {
        const QRectF bounds(QPointF(0, 0), QSizeF(inputSize_));
        ChangeFrame(DragHandle(heldFrame_, *held_, heldAt_, ToPicture(event->position()), bounds));
    } else if (dragging_) {
        MoveTo(draggedFrom_ - (event->position() - heldAt_) / Scale());
    } else {
        if (picked_) cross_ = ToPicture(event->position()) - QPointF(0, 1);
        UpdateCursor(event->position());
    }
}

void PictureView::mouseReleaseEvent(QMouseEvent* event) {
    held_.reset();
    dragging_ = false;
    UpdateCursor(event->position());
}

void PictureView::mouseDoubleClickEvent(QMouseEvent* event) {
    if (picked_ || moved_) return mousePressEvent(event);
    const QPointF at = (event->position() - TopLeft()) / Scale();
    SetZoom(zoom_ == Zoom::Fit ? Zoom::FullScale : Zoom::Fit);
    MoveTo(at);
}

void PictureView::wheelEvent(QWheelEvent* event) {
    const QPointF by =
        event->pixelDelta().isNull() ? QPointF(event->angleDelta()) * kWheelStep : QPointF(event->pixelDelta());
    MoveTo((rect().toRectF().center() - TopLeft() - by) / Scale());
}

void PictureView::keyPressEvent(QKeyEvent* event) {
    const QPoint step = StepOf(*event);
    if (!step.isNull())
        MoveByKey(step);
    else if (event->key() == Qt::Key_Space)
        beforeKey_ = true;
    else if (event->key() == Qt::Key_0)
        SetZoom(Zoom::Fit);
    else if (event->key() == Qt::Key_1)
        SetZoom(Zoom::FullScale);
    else if (picked_ && event->key() == Qt::Key_Escape)
        StopPicking();
    else if (picked_ && (event->key() == Qt::Key_Return || event->key() == Qt::Key_Enter))
        Pick(cross_ + QPointF(0.5, 0.5));
    else
        return QWidget::keyPressEvent(event);
    Refresh();
}

void PictureView::MoveByKey(QPoint step) {
    if (picked_) {
        cross_ = {std::clamp(cross_.x() + step.x(), 0.0, inputSize_.width() - 1.0),
                  std::clamp(cross_.y() + step.y(), 0.0, inputSize_.height() - 1.0)};
    } else if (moved_) {
        const QRectF bounds(QPointF(0, 0), QSizeF(inputSize_));
        ChangeFrame(DragHandle(frame_, Handle{}, QPointF(0, 0), step, bounds));
    } else {
        MoveTo((rect().toRectF().center() - TopLeft()) / Scale() + QPointF(step.x(), -step.y()));
    }
}

void PictureView::keyReleaseEvent(QKeyEvent* event) {
    if (event->key() != Qt::Key_Space) return QWidget::keyReleaseEvent(event);
    if (event->isAutoRepeat()) return;
    beforeKey_ = false;
    Refresh();
}

void PictureView::focusOutEvent(QFocusEvent* event) {
    beforeKey_ = false;  // its release goes to another window
    Refresh();
    QWidget::focusOutEvent(event);
}

void PictureView::resizeEvent(QResizeEvent*) { Refresh(); }

void PictureView::changeEvent(QEvent* event) {
    if (event->type() == QEvent::LanguageChange) Retranslate();
    QWidget::changeEvent(event);
}

void PictureView::Retranslate() {
    setAccessibleName(DialogText("IDS_PREVIEW_NAME"));
    setToolTip(DialogText("IDS_PREVIEW_HINT"));
    update();
}

void PictureView::UpdateCursor(QPointF at) {
    const auto handle = held_ ? held_ : moved_ ? FindHandle(frame_, ToPicture(at), Reach()) : std::nullopt;
    if (picked_)
        setCursor(Qt::CrossCursor);
    else if (handle)
        setCursor(*handle == Handle{} ? Qt::SizeAllCursor : Qt::PointingHandCursor);
    else if (dragging_)
        setCursor(Qt::ClosedHandCursor);
    else
        unsetCursor();
    if (picked_) update();
}

// ---- painting ------------------------------------------------------------------------------------------------------

void PictureView::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    painter.fillRect(rect(), palette().color(QPalette::Mid));
    PaintPicture(painter);
    if (moved_) PaintHandles(painter);
    if (picked_) {
        const QPointF at = ToView(cross_ + QPointF(0.5, 0.5));
        painter.setCompositionMode(QPainter::RasterOp_SourceXorDestination);
        painter.setPen(Qt::white);
        painter.drawLine(QPointF(at.x(), 0), QPointF(at.x(), height()));
        painter.drawLine(QPointF(0, at.y()), QPointF(width(), at.y()));
        painter.setCompositionMode(QPainter::CompositionMode_SourceOver);
        PaintWords(painter, DialogText("IDS_PREVIEW_PICK"));
    } else if (Shown().problem) {
        PaintWords(painter, DialogText(Shown().problem));
    } else if (beforeKey_) {
        PaintWords(painter, DialogText("IDS_PREVIEW_BEFORE"));
    }
}

void PictureView::PaintPicture(QPainter& painter) const {
    const Preview& shown = Shown();
    if (shown.image.isNull()) return;
    const QRectF place(TopLeft(), QSizeF(shown.full) * Scale());
    if (shown.image.hasAlphaChannel()) painter.fillRect(place, CheckBrush());
    painter.setRenderHint(QPainter::SmoothPixmapTransform, zoom_ == Zoom::Fit);
    painter.drawImage(place, shown.image);
}

void PictureView::PaintHandles(QPainter& painter) const {
    painter.setRenderHint(QPainter::Antialiasing);
    QPolygonF outline;
    for (const QPointF& corner : FrameCorners(frame_)) outline << ToView(corner);
    QPainterPath outside, inside;
    outside.addRect(QRectF(TopLeft(), QSizeF(inputSize_) * Scale()));
    inside.addPolygon(outline);
    inside.closeSubpath();
    painter.fillPath(outside.subtracted(inside), QColor(0, 0, 0, 128));

    const auto line = [&](const QColor& color, double thickness) {
        painter.setPen(QPen(color, thickness));
        painter.setBrush(Qt::NoBrush);
        painter.drawPolygon(outline);
        if (frame_.rotates)
            painter.drawLine(ToView(HandlePlace(frame_, {0, 1}, 0)),
                             ToView(HandlePlace(frame_, {0, 0, true}, Reach())));
    };
    line(Qt::black, 3);  // seen on any picture
    line(Qt::white, 1);

    painter.setPen(Qt::black);
    painter.setBrush(Qt::white);
    const QPointF half(kHandleSize / 2.0, kHandleSize / 2.0);
    if (frame_.resizes)
        for (const Handle& handle : kSizeHandles)
            painter.drawRect(QRectF(ToView(HandlePlace(frame_, handle, 0)) - half, QSizeF(kHandleSize, kHandleSize)));
    if (frame_.rotates) painter.drawEllipse(ToView(HandlePlace(frame_, {0, 0, true}, Reach())), half.x(), half.y());
}

void PictureView::PaintWords(QPainter& painter, const QString& words) const {
    const int margin = fontMetrics().height() / 2;
    QRect box = fontMetrics().boundingRect(rect().adjusted(margin, margin, -margin, -margin),
                                           Qt::AlignHCenter | Qt::AlignTop | Qt::TextWordWrap, words);
    painter.fillRect(box.adjusted(-margin, -margin / 2, margin, margin / 2), palette().color(QPalette::ToolTipBase));
    painter.setPen(palette().color(QPalette::ToolTipText));
    painter.drawText(box, Qt::AlignHCenter | Qt::AlignTop | Qt::TextWordWrap, words);
}

}  // namespace kestrel
