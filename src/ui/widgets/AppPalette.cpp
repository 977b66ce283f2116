#include "AppPalette.h"

#include <QPalette>

namespace {

constexpr int MIDDLE = 128; // of the 256 steps from black to white
const QColor LINK_ON_DARK(0x6C, 0xB4, 0xFF), VISITED_ON_DARK(0xC5, 0x9B, 0xFF);

bool IsDark(const QColor& colour) {
    return qGray(colour.rgb()) < MIDDLE; // as the eye sees it: pure blue is dark
}

} // namespace

bool IsDark(const QPalette& palette) {
    return IsDark(palette.color(QPalette::Base));
}

QPalette ReadablePalette(QPalette palette) {
    if (!IsDark(palette))
        return palette;
    if (IsDark(palette.color(QPalette::Link))) {
        palette.setColor(QPalette::Link, LINK_ON_DARK);
        palette.setColor(QPalette::LinkVisited, VISITED_ON_DARK);
    }
    QColor hint = palette.color(QPalette::Text);
    hint.setAlpha(MIDDLE);
    palette.setColor(QPalette::PlaceholderText, hint);
    return palette;
}
