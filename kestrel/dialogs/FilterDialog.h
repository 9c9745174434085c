#pragma once
#include <QTimer>
#include <memory>
#include <string>
#include <vector>

#include "kestrel/dialogs/FilterPanel.h"
#include "kestrel/dialogs/TMDialog.h"
#include "kestrel/editing/FilterDialogFrame.h"
#include "kestrel/framework/Description.h"

class QDrag;

namespace kestrel {

/// The dialog of a filter: its panel between the head and the buttons of the lower edge, tied to one filter or several
/// and to a host. What the user changes reaches the filters when the event loop is idle, so that a slider that is
/// dragged writes its newest value only.
///
/// OK, or closing a docked dialog, keeps what the user has changed; Cancel, Escape and the window's own close button
/// bring back the texts that the filters had when the dialog was opened. On a page of the host it has no buttons.
class KESTREL_API CFilterDialog : public CTMDialog, public FilterDialogFrame {
    Q_OBJECT
public:
    /// Works on a filter of its own until `Connect`. `filter` is static data, as in the class table; host and page may
    /// be null and outlive the dialog.
    CFilterDialog(const Description& filter, std::unique_ptr<FilterPanel> panel, IDialogHost* host = nullptr,
                  IHostPage* page = nullptr, QWidget* parent = nullptr);
    ~CFilterDialog() override;

    /// As `FilterDialogFrame`; the texts that Cancel brings back are those of now.
    int Connect(IUnknown* filter);
    int AddFilter(IUnknown* filter);

    FilterPanel* Panel() const { return panel_; }
    /// What the controls show.
    std::string ParameterText() const { return panel_->ParameterText(); }

    int DoModal() override;
    bool CreateModeless(bool show = true, bool activate = true, const char* title = nullptr) override;
    void CloseDialog() override;
    void CancelDialog() override;
    void DockView(QWidget* window, DokkerControl* dokker, bool show) override;

    void OnDockClicked() override;
    void OnCopyClicked() override;
    void OnCopyReset() override;
    void OnLockClicked() override;
    void OnBeginDragCopy() override;
    QString GetLocalized(const char* key) const override;

    // Hooks of the frame
    void SetFilterID(const char* id) override;
    void SetHelp(const char* key) override;
    void OnEvent(const char* name) override;
    void Reset() override;
    void WriteText(char* buffer, int size) override;
    void Close() override { CloseDialog(); }
    void RefreshButtons() override;
    void ShowText(const char* text) override;
    bool IsDataLocked() const override { return CTMDialog::IsDataLocked(); }
    void SetDataLocked(bool locked) override { CTMDialog::SetDataLocked(locked); }
    void SetCopyButtonPressed(bool pressed) override { CTMDialog::SetCopyButtonPressed(pressed); }
    void AddSystemButtons(const char* dockKey) override;
    Place TopLeft() const override { return {pos().x(), pos().y()}; }
    /// Stays where it is when no screen shows that place.
    void MoveTo(Place place) override;
    void ReleaseMouse() override;
    void ShowWindow() override { show(); }
    bool IsOpen() const override { return IsDialogOpen(this); }
    void DestroyAndDelete() override;
    HRESULT DoDragDrop(IDataObject* object, std::uint32_t effects, std::uint32_t* effect) override;

Q_SIGNALS:
    /// The filters have got this text from the user; Cancel counts.
    void TextChanged(const QByteArray& text);

protected:
    /// Runs a drag until the user ends it, wherever that is.
    virtual Qt::DropAction RunDrag(QDrag& drag, Qt::DropActions offered);
    /// The host's help when it has a page for that.
    void WinHelp(const char* key) override;
    void Retranslate() override;
    void dragEnterEvent(QDragEnterEvent* event) override;
    void dropEvent(QDropEvent* event) override;

private:
    /// A filter and the text that it had when the dialog was opened.
    struct Original {
        Ref<IFilterParameters> filter;
        std::string text;
    };

    void Begin();
    void RememberTexts();
    void Apply();
    void Flush();
    void RestoreTexts();
    void FitScreen();
    bool Takes(const QDropEvent& event) const;

    const Description& about_;
    FilterPanel* panel_;
    QTimer edits_;  ///< runs while an edit has not reached the filters
    std::vector<Original> originals_;
    bool applying_ = false;  ///< what the host shows meanwhile is the dialog's own text
    bool changed_ = false;   ///< the filters have got a text from the user
};

}  // namespace kestrel
