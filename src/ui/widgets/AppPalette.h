// Corrects colours that a desktop's dark theme may have left as for a light background.
#pragma once

class QPalette;

// Whether the background of texts is dark.
bool IsDark(const QPalette& palette);

// The palette with links and hints that can be read on its background.
QPalette ReadablePalette(QPalette palette);
