#pragma once
#include <QSlider>
#include <QVBoxLayout>

#include "kestrel/dialogs/FilterPanel.h"

namespace kestrel::test {

/// A panel of one slider for "Sepia=080".
class SepiaPanel : public FilterPanel {
    Q_OBJECT
public:
    SepiaPanel() : slider(new QSlider(Qt::Horizontal, this)) {
        (new QVBoxLayout(this))->addWidget(slider);
        slider->setRange(0, 100);
        connect(slider, &QSlider::valueChanged, this, &FilterPanel::Edited);
    }
    void SetParameterText(const std::string& text) override {
        ++shown;
        const QSignalBlocker quiet(slider);
        const QString value = QString::fromLatin1(text.c_str()).section(QLatin1Char('='), 1, 1);
        slider->setValue(value.toInt());
    }
    std::string ParameterText() const override {
        return QStringLiteral("Sepia=%1").arg(slider->value(), 3, 10, QLatin1Char('0')).toStdString() + tail;
    }
    void Retranslate() override { ++retranslated; }
    void Reset() override { slider->setValue(0); }

    QSlider* const slider;
    std::string tail;
    int shown = 0, retranslated = 0;
};

}  // namespace kestrel::test
