// Small helpers that every window needs.
#pragma once

#include <QItemSelectionModel>
#include <QString>

#include <string_view>

class QWidget;

inline QString Q(std::string_view text) {
    return QString::fromUtf8(text.data(), qsizetype(text.size()));
}

// A tool tip that wraps and takes its text literally; none for an empty text.
inline QString WrappedTip(std::string_view text) {
    return text.empty() ? QString() : "<qt>" + Q(text).toHtmlEscaped() + "</qt>";
}

// Paints what has changed without a turn, and puts all of a top-level window on the screen again: a repaint leaves out
// opaque children, so what another window covered, or a display forgot, would stay as it is.
void PaintNow(QWidget* window);

template <class Widget> Widget* Named(Widget* widget, const char* name) {
    widget->setObjectName(name);
    return widget;
}

// An item view in which a click outside the rows keeps the selection, since commands still work on it.
template <class View> class KeepsItsRow : public View {
public:
    using View::View;

protected:
    QItemSelectionModel::SelectionFlags selectionCommand(const QModelIndex& index, const QEvent* event) const override {
        return index.isValid() ? View::selectionCommand(index, event) : QItemSelectionModel::NoUpdate;
    }
};
