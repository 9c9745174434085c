#pragma once
#include <array>

#include "kestrel/dialogs/panels/ParameterPanel.h"

namespace kestrel {

class SwatchBar;

/// The channels of the mixer: color or monochrome, a bar that chooses the channel and tells its state, and the shares
/// of that channel.
class MixerPanel : public ParameterPanel {
    Q_OBJECT
public:
    MixerPanel(const ClassRow& filter, QWidget* parent);

private:
    static constexpr int kRows = 4;  ///< gray, red, green, blue

    void AddTarget();
    void AddChannel(int row);
    void ShowChannel(int chosen);
    bool IsMonochrome() const;
    /// Does a color channel come out as it went in?
    bool IsUnchanged(int row) const;
    const char* StateOf(int row) const;

    SwatchBar* bar_;
    std::array<std::vector<std::function<void(bool)>>, kRows> showers_;
};

}  // namespace kestrel
