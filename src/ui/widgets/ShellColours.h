// The colours of a terminal's characters in the window's palette.
#pragma once

#include "ShellScreen.h"

#include <QColor>
#include <QPalette>

struct ShellColours {
    QColor text;
    QColor background; // not valid: the window's own
};

// A text colour that the window's background would swallow is made lighter or darker, so that light and dark
// palettes show all of them. A background of the device's own keeps the colours as they are.
ShellColours ColoursOf(const ShellScreen::Style& style, const QPalette& palette);
