// The mouse in the terminal: it selects, and pastes with its middle button. It never moves the cursor, where the
// device's echo appears.
#include "ShellTerminal.h"

#include <QApplication>
#include <QClipboard>
#include <QMouseEvent>
#include <QScrollBar>

#include <algorithm>
#include <cmath>
#include <utility>

ShellScreen::Place ShellTerminal::PlaceAt(const QPoint& point) const {
    const auto below = std::int64_t(std::floor(double(point.y()) / lineHeight_));
    const std::int64_t row = verticalScrollBar()->value() + below;
    if (row < 0)
        return {screen_.FirstLine(), 0};
    RowPlace at = Locate(row);
    at.line = std::max(at.line, screen_.FirstLine());
    if (row >= rows_ || at.line >= screen_.EndLine())
        return {screen_.EndLine() - 1, screen_.LineAt(screen_.EndLine() - 1).text.size()};
    const std::vector<shellRows::Row> rows = RowsOf(at.line);
    const shellRows::Row& there = rows[std::min(at.row, rows.size() - 1)];
    const double cell = std::max(0.0, (point.x() - MARGIN) / cellWidth_ + 0.5); // the nearer side of a character
    return {at.line, shellRows::CharacterAt(screen_.LineAt(at.line).text, there, std::size_t(cell))};
}

void ShellTerminal::mousePressEvent(QMouseEvent* event) {
    if (event->button() != Qt::LeftButton)
        return;
    ShowNow();
    const Place place = PlaceAt(event->pos());
    const quint64 doubled = std::exchange(doubleClickAt_, 0);
    const bool third = doubled != 0 && event->timestamp() - doubled < quint64(QApplication::doubleClickInterval());
    if (third)
        Select({place.line, 0}, {place.line, screen_.LineAt(place.line).text.size()});
    else
        Select(event->modifiers().testFlag(Qt::ShiftModifier) ? anchor_ : place, place);
}

void ShellTerminal::mouseDoubleClickEvent(QMouseEvent* event) {
    if (event->button() != Qt::LeftButton)
        return;
    const Place place = PlaceAt(event->pos());
    const std::string& text = screen_.LineAt(place.line).text;
    std::size_t begin = std::min(place.column, text.size()), end = begin;
    const auto inWord = [&](std::size_t i) { return static_cast<unsigned char>(text[i]) > ' '; };
    while (begin > 0 && inWord(begin - 1))
        --begin;
    while (end < text.size() && inWord(end))
        ++end;
    Select({place.line, begin}, {place.line, end});
    doubleClickAt_ = event->timestamp();
}

void ShellTerminal::mouseMoveEvent(QMouseEvent* event) {
    if (!event->buttons().testFlag(Qt::LeftButton) || doubleClickAt_ != 0)
        return;
    ExtendTo(event->pos());
    if (viewport()->rect().contains(event->pos()))
        tmrDrag_->setEnabled(false);
    else if (!tmrDrag_->isEnabled())
        tmrDrag_->setEnabled(true);
}

void ShellTerminal::ExtendTo(const QPoint& point) {
    dragged_ = point;
    Select(anchor_, PlaceAt(point));
}

void ShellTerminal::ScrollToMouse() {
    if (dragged_.y() < 0)
        verticalScrollBar()->triggerAction(QAbstractSlider::SliderSingleStepSub);
    else if (dragged_.y() >= viewport()->height())
        verticalScrollBar()->triggerAction(QAbstractSlider::SliderSingleStepAdd);
    ExtendTo(dragged_);
}

// A middle click pastes the window system's selection, where there is one.
void ShellTerminal::mouseReleaseEvent(QMouseEvent* event) {
    QClipboard* clipboard = QApplication::clipboard();
    if (event->button() == Qt::LeftButton) {
        tmrDrag_->setEnabled(false);
        if (HasSelection() && clipboard->supportsSelection())
            clipboard->setText(selectedText(), QClipboard::Selection);
    } else if (event->button() == Qt::MiddleButton && sendText) {
        ToEnd();
        sendText(clipboard->text(clipboard->supportsSelection() ? QClipboard::Selection : QClipboard::Clipboard));
    }
}
