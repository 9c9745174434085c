#pragma once
#include <array>
#include <filesystem>
#include <initializer_list>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "kestrel/dialogs/FilterPanel.h"
#include "kestrel/editing/Gradation.h"
#include "kestrel/editing/GradationPresetList.h"

class QComboBox;
class QGroupBox;
class QLabel;
class QLayout;
class QSpinBox;
class QTimer;
class QToolButton;

namespace kestrel {

class CurvePlot;
enum class CurveCommand;

/// The editor of the gradation filter: four curves, edited with mouse, keyboard, commands and number fields, and saved
/// settings. Each button's object name is the key of its label.
class KESTREL_API CDlgGradation final : public FilterPanel {
    Q_OBJECT
public:
    explicit CDlgGradation(QWidget* parent = nullptr);
    ~CDlgGradation() override;

    void SetParameterText(const std::string& text) override;
    std::string ParameterText() const override;
    void Retranslate() override;
    void Reset() override;
    void SetPicture(PictureContext* context) override;

    /// Takes a preset of either version; false, and all stays, when it is none.
    bool ReadPreset(const std::filesystem::path& path);
    bool WritePreset(const std::filesystem::path& path) const;
    void FillPresetList();
    void LoadSelectedPreset();
    void DeleteSelectedPreset();
    void SaveCurrentPreset();

    const Gradation& State() const { return gradation_; }

protected:
    void showEvent(QShowEvent* event) override;
    void changeEvent(QEvent* event) override;

private:
    struct Presets;

    void Build();
    QLayout* BuildViewRow();
    QLayout* BuildNumbers();
    QGroupBox* BuildSaved();
    QGroupBox* MakeGroup(const char* captionKey);
    void AddButtons(QLayout& layout, std::initializer_list<CurveCommand> commands);
    void SizeIcons();

    /// Runs a command, as its button does.
    void Run(CurveCommand command);
    /// True when the filter should follow.
    bool Apply(CurveCommand command);
    bool Toggle(CurveCommand command);
    bool EditCurve(CurveCommand command);
    bool MoveBy(int dx, int dy);
    bool IsOn(CurveCommand command) const;
    bool IsAble(CurveCommand command) const;
    bool HasSelected() const { return gradation_.Active().GetSelected() != CGradCurve::kNone; }

    /// Takes the typed values, if some are waiting.
    void TakeTyped();
    void ShowState();
    void ShowNumbers();
    void ShowPresets();
    void CountPicture();

    Gradation gradation_;
    std::shared_ptr<Presets> presets_;  ///< lives on while a question is open
    PictureContext* picture_ = nullptr;
    CurvePlot* plot_ = nullptr;
    std::map<CurveCommand, QToolButton*> buttons_;
    std::vector<QGroupBox*> groups_;  ///< object name: key of the caption
    std::array<QLabel*, 2> numberLabels_{};
    std::array<QSpinBox*, 2> numbers_{};  ///< x and y of the selected node
    QTimer* typed_ = nullptr;             ///< runs from the last change of a typed value on
    bool waiting_ = false;                ///< typed values were not taken yet
    QComboBox* list_ = nullptr;
};

}  // namespace kestrel
