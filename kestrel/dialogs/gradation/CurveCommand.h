#pragma once
#include <QIcon>

namespace kestrel {

/// What the buttons of the gradation editor do.
enum class CurveCommand {
    TogglePercent,
    ToggleSpline,
    ToggleGrid,
    ToggleAllChannels,
    ToggleLuminance,
    ShowGray,
    ShowRed,
    ShowGreen,
    ShowBlue,
    Insert,
    RemoveAuto,
    RemoveSelected,
    FlipY,
    FlipX,
    MoveLeft,
    MoveRight,
    MoveUp,
    MoveDown,
    Save,
    Delete,
};

/// The sign of a command, drawn anew for each size and theme, in the color of a button's text. Not mirrored in any
/// language, as the axes are not.
QIcon CurveIcon(CurveCommand command);

}  // namespace kestrel
