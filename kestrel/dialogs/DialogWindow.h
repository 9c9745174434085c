#pragma once
#include <QWidget>
#include <memory>
#include <string>

#include "kestrel/dialogs/FilterDialog.h"
#include "kestrel/dialogs/PictureView.h"
#include "kestrel/editing/LocalHost.h"
#include "kestrel/foundation/Export.h"

class QDialogButtonBox;

namespace kestrel {

/// A filter's dialog beside a live view of the picture that it works on. The dialog may be undocked; the window ends
/// with it, and closing the window cancels it.
class KESTREL_API DialogWindow : public QWidget {
    Q_OBJECT
public:
    /// Takes a picture over; without an image there is no view. An empty text leaves the filter's defaults. Null for a
    /// ProgID without a dialog.
    static std::unique_ptr<DialogWindow> Make(const std::string& progId, Picture picture, const std::string& text);
    ~DialogWindow() override;

    CFilterDialog& Dialog() const { return *dialog_; }
    /// Null without a picture.
    PictureView* View() const { return view_; }
    /// What the dialog shows, as the filter's text.
    std::string ParameterText() const { return dialog_->ParameterText(); }

Q_SIGNALS:
    /// The dialog has ended, by OK or otherwise.
    void Finished(bool accepted);

protected:
    void closeEvent(QCloseEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;
    void changeEvent(QEvent* event) override;

private:
    explicit DialogWindow(std::string progId);
    bool Fill(Picture picture, const std::string& text);
    void Show(const std::string& text);
    void Retranslate();

    const std::string progId_;
    LocalHost host_;
    CFilterDialog* dialog_ = nullptr;  ///< ends before host and view
    PictureView* view_ = nullptr;
    QDialogButtonBox* buttons_ = nullptr;  ///< a docked dialog has none of its own
};

}  // namespace kestrel
