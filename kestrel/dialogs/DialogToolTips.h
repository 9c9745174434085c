#pragma once
#include <QObject>
#include <QPointer>
#include <QRect>
#include <QString>
#include <QWidget>
#include <functional>
#include <utility>
#include <vector>

namespace kestrel {

/// Tooltips for parts of controls. A control may have several, each with a number and a rectangle. Not installed.
class DialogToolTips final : public QObject {
    Q_OBJECT
public:
    using Localize = std::function<QString(const QString& text)>;
    /// `localize` is asked for each text when it is shown.
    DialogToolTips(QObject* parent, Localize localize) : QObject(parent), localize_(std::move(localize)) {}

    /// `area` in the control's own coordinates, an empty one for the whole control; `milliseconds` below 0 leaves the
    /// time on the screen to the style. One of that number that is there is replaced.
    void Add(QWidget* control, const QString& text, const QRect& area, int number, int milliseconds);
    void SetText(QWidget* control, const QString& text, int number);
    void SetArea(QWidget* control, const QRect& area, int number);
    void Remove(QWidget* control, int number);
    void RemoveAll(QWidget* control);
    /// Shows the text that now belongs to the place where a tooltip is shown.
    void Update();

    bool eventFilter(QObject* object, QEvent* event) override;

private:
    struct Tip {
        QPointer<QWidget> control;
        QString text;
        QRect area;
        int number;
        int milliseconds;
    };
    Tip* Find(const QWidget* control, int number);
    const Tip* At(const QWidget* control, QPoint place) const;
    void Show(QWidget* control, QPoint place) const;

    Localize localize_;
    std::vector<Tip> tips_;
    QPointer<QWidget> shownFor_;
    QPoint shownAt_;
};

}  // namespace kestrel
