#pragma once
#include <QPointer>
#include <QString>
#include <QWidget>

#include "kestrel/editing/GradationPresetList.h"

namespace kestrel {

/// Asks in boxes over a widget. Once that widget is gone every question counts as given up.
class PresetQuestions final : public IPresetQuestions {
public:
    explicit PresetQuestions(QWidget& over) : over_(&over) {}

    std::optional<std::string> AskName(const std::string& initial) override;
    bool Show(const PresetBox& box) override;

private:
    QPointer<QWidget> over_;
};

}  // namespace kestrel
