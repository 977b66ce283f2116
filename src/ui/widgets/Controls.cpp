#include "Controls.h"

#include <QBackingStore>
#include <QWidget>

void PaintNow(QWidget* window) {
    window->repaint();
    if (QBackingStore* painted = window->backingStore())
        painted->flush(window->rect());
}
