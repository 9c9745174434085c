#include "kestrel/dialogs/panels/LevelsPanel.h"

#include <QPainter>

#include "kestrel/dialogs/Histogram.h"

namespace kestrel {
namespace {

constexpr int kWhite = 255;

/// The histogram, with lines at the points that are set by hand.
class LevelsHistogram : public Histogram {
public:
    LevelsHistogram(const PanelValues& values, QWidget* parent) : Histogram(parent), values_(values) {}

protected:
    void paintEvent(QPaintEvent* event) override {
        Histogram::paintEvent(event);
        if (values_.Flag("AutoContrast")) return;
        QPainter painter(this);
        painter.setPen(QPen(palette().color(QPalette::Highlight), 2));
        for (const int tone : {values_.Integer("Lo"), kWhite - values_.Integer("Hi")}) {
            const double x = (tone + 0.5) * width() / (kWhite + 1);
            painter.drawLine(QPointF(x, 0), QPointF(x, height()));
        }
    }

private:
    const PanelValues& values_;
};

}  // namespace

LevelsPanel::LevelsPanel(const ClassRow& filter, QWidget* parent)
    : GenericPanel(filter, parent, Bare{}), histogram_(new LevelsHistogram(Values(), this)) {
    AddWhole(histogram_);
    AddRows({"AutoContrast", "AutoContrastRGB", "Addlo", "Addhi", "Lo", "Hi", "AutoTone", "Addmed", "Med"});
    Follow([this] { histogram_->update(); });
    Finish();
}

void LevelsPanel::SetPicture(PictureContext* context) {
    histogram_->SetCounts(context ? context->InputHistogram() : std::vector<ToneCounts>());
    GenericPanel::SetPicture(context);
}

}  // namespace kestrel
