#include "ShellColours.h"

#include <cmath>
#include <utility>

namespace {

constexpr double LEAST_CONTRAST = 4.5; // WCAG 2, level AA
constexpr QRgb FIRST_SIXTEEN[] = {0x000000, 0xcd0000, 0x00cd00, 0xcdcd00, 0x1e50ee, 0xcd00cd, 0x00cdcd, 0xe5e5e5,
                                  0x7f7f7f, 0xff0000, 0x00ff00, 0xffff00, 0x5c8cff, 0xff00ff, 0x00ffff, 0xffffff};

// xterm's table: sixteen colours, a cube of 6 x 6 x 6, a ramp of 24 greys.
QColor FromTable(int number) {
    if (number < 16)
        return QColor(FIRST_SIXTEEN[number]);
    if (number >= 232) {
        const int grey = 8 + 10 * (number - 232);
        return QColor(grey, grey, grey);
    }
    const auto part = [](int step) { return step == 0 ? 0 : 55 + 40 * step; };
    const int place = number - 16;
    return QColor(part(place / 36), part(place / 6 % 6), part(place % 6));
}

double Luminance(const QColor& colour) {
    const auto linear = [](double part) {
        return part <= 0.04045 ? part / 12.92 : std::pow((part + 0.055) / 1.055, 2.4);
    };
    return 0.2126 * linear(colour.redF()) + 0.7152 * linear(colour.greenF()) + 0.0722 * linear(colour.blueF());
}

double Contrast(const QColor& one, const QColor& other) {
    const double a = Luminance(one) + 0.05, b = Luminance(other) + 0.05;
    return a > b ? a / b : b / a;
}

QColor Readable(QColor text, const QColor& background) {
    const bool dark = Contrast(background, Qt::white) > Contrast(background, Qt::black);
    const int end = dark ? 255 : 0;
    const auto nearer = [end](int part) { return part + (end - part) / 8 + (end > part ? 1 : 0); };
    for (int step = 0; step < 30 && Contrast(text, background) < LEAST_CONTRAST; ++step)
        text = QColor(std::min(nearer(text.red()), 255), std::min(nearer(text.green()), 255),
                      std::min(nearer(text.blue()), 255));
    return text;
}

} // namespace

ShellColours ColoursOf(const ShellScreen::Style& style, const QPalette& palette) {
    const QColor base = palette.color(QPalette::Base), own = palette.color(QPalette::Text);
    ShellColours colours{own, {}};
    if (style.background >= 0)
        colours.background = FromTable(style.background);
    if (style.foreground >= 0)
        colours.text =
            style.background >= 0 ? FromTable(style.foreground) : Readable(FromTable(style.foreground), base);
    else if (style.background >= 0)
        colours.text = Readable(own, colours.background);
    if (style.inverse)
        colours = {colours.background.isValid() ? colours.background : base, colours.text};
    return colours;
}
