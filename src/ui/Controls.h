// Two small things that every window needs: our text as Qt's, and a control with its given name.
#pragma once

#include <QString>

#include <string_view>

inline QString Q(std::string_view text) {
    return QString::fromUtf8(text.data(), qsizetype(text.size()));
}

template <class Widget> Widget* Named(Widget* widget, const char* name) {
    widget->setObjectName(name);
    return widget;
}
