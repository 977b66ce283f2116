// Colours that a desktop's dark theme may have left as they are on paper.
#pragma once

class QPalette;

// Whether what is written on lies dark under it.
bool IsDark(const QPalette& palette);

// Links and hints of a palette that can be read on its background.
QPalette ReadablePalette(QPalette palette);
