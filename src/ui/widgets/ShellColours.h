// The colours of a terminal's characters in the window's palette.
#pragma once

#include "ShellScreen.h"

#include <QColor>
#include <QPalette>

struct ShellColours {
    QColor text;
    QColor background; // if not valid, the window's own
};

// A text colour with too little contrast to the window's background is made lighter or darker. On a background that
// the device has set, colours stay as they are.
ShellColours ColoursOf(const ShellScreen::Style& style, const QPalette& palette);
