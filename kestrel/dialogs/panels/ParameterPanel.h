#pragma once
#include <functional>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "kestrel/dialogs/FilterPanel.h"
#include "kestrel/dialogs/panels/PanelValues.h"

class QCheckBox;
class QColor;
class QGridLayout;

namespace kestrel {

class AngleDial;
class ValueRow;
struct ValueScale;

/// A panel whose rows show the keys of a filter. It owns the values; controls follow them, and hand over what the user
/// changes. Derived panels lay out their rows in their constructors, and call `Finish` last.
class ParameterPanel : public FilterPanel {
    Q_OBJECT
public:
    ParameterPanel(const ClassRow& filter, QWidget* parent);

    void SetParameterText(const std::string& text) override;
    std::string ParameterText() const override { return values_.Write(); }
    void Retranslate() override;
    void Reset() override;
    void SetPicture(PictureContext* context) override;

protected:
    using Keys = std::vector<std::string>;

    void changeEvent(QEvent* event) override;

    /// Shows values and texts for the first time.
    void Finish();
    /// Called after every change of a value or of the picture.
    virtual void ShowValues();

    // Rows, one below the other. Keys are those of the filter; text keys those of the built-in storage.

    void AddCaption(const std::string& textKey);
    ValueRow* AddNumber(const std::string& key);
    ValueRow* AddNumber(const std::string& key, const ValueScale& scale);
    QCheckBox* AddFlag(const std::string& key);
    /// A check box that the panel places itself.
    QCheckBox* MakeFlag(const std::string& key);
    /// A dial for an angle, which the panel places itself. `zeroAt` as the dial has it.
    AngleDial* MakeDial(const std::string& key, double zeroAt);
    /// A drop list of the key's choices.
    void AddChoice(const std::string& key);
    /// A button of its own for one of the key's choices; the rows after it belong to it.
    void AddRadio(const std::string& key, int value);
    /// A color of three keys (red, green, blue), or in one number. `pickTextKey` says what taking it from the picture
    /// is.
    void AddColor(const std::string& textKey, const Keys& keys, const std::string& pickTextKey = "COMMON_PICKCOLOR");
    /// A control of the panel's own, with a label and a button that brings `keys` back to their defaults.
    void AddControl(const std::string& textKey, QWidget* control, const Keys& keys);
    /// A control over the whole width.
    void AddWhole(QWidget* control);

    /// Grays the rows of these keys unless the condition holds; it is asked after every change.
    void EnableWhen(const Keys& keys, const std::function<bool()>& condition);
    /// Called after every change of a value or of the picture, now and later.
    void Follow(std::function<void()> show) { followers_.push_back(std::move(show)); }
    /// Called when texts have to be asked for again.
    void Translate(std::function<void()> texts) { translators_.push_back(std::move(texts)); }
    /// What `EnableWhen` does for a key.
    void OnEnable(const std::string& key, std::function<void(bool)> enable);

    /// What the user has done: takes values, shows them, and tells.
    void Take(const std::string& key, double value) { Take({{key, value}}); }
    void Take(const std::vector<std::pair<std::string, double>>& values);
    void TakeWords(const std::string& key, std::string words);
    void ToDefaults(const Keys& keys);
    void Tell();

    /// The label of a key in the language of the dialogs, on one line.
    QString LabelOf(const KeyInfo& key) const;
    /// What a key does.
    static QString MeaningOf(const KeyInfo& key);
    static ValueScale ScaleOf(const KeyInfo& key);
    QColor ColorOf(const Keys& keys) const;
    void TakeColor(const Keys& keys, const QColor& color);
    /// A button that takes a color from the picture; it is there while there is a picture.
    QWidget* MakePipette(const std::string& textKey, std::function<void(const QColor&)> take);

    const PanelValues& Values() const { return values_; }
    PanelValues& Values() { return values_; }
    PictureContext* Picture() const { return picture_; }
    /// Of the filter's input; empty while no picture is there.
    QSize PictureSize() const;
    QGridLayout* Grid() const { return grid_; }
    int NextRow();

private:
    PanelValues values_;
    PictureContext* picture_ = nullptr;
    QGridLayout* grid_;
    std::vector<std::function<void()>> followers_;
    std::vector<std::function<void()>> translators_;
    std::multimap<std::string, std::function<void(bool)>> enablers_;
    std::multimap<std::string, std::function<bool()>> conditions_;
};

/// A text that ships with the library for one line of a button or a label: without line breaks, and with no shortcut.
QString LineText(const std::string& textKey);

}  // namespace kestrel
