// Paints the terminal: the visible rows, marks among them, and the cursor.
#include "CodePage.h"
#include "Controls.h"
#include "ShellColours.h"
#include "ShellTerminal.h"

#include <QPaintEvent>
#include <QPainter>
#include <QScrollBar>

#include <algorithm>

namespace {

bool IsPlain(char character) {
    return character >= ' ' && character < 127;
}

QString Shown(const std::string& text, std::size_t begin, std::size_t end) {
    return Q(platform::TextFromAnsi(reinterpret_cast<const std::uint8_t*>(text.data()) + begin, end - begin));
}

} // namespace

void ShellTerminal::paintEvent(QPaintEvent*) {
    QPainter painter(viewport());
    RowPlace at = Locate(verticalScrollBar()->value());
    const std::int64_t end = std::min(screen_.EndLine(), countedFrom_ + std::int64_t(rowCounts_.size()));
    for (int top = 0; at.line < end && top < viewport()->height(); ++at.line, at.row = 0) {
        if (at.line < screen_.FirstLine()) // dropped since the rows were counted
            continue;
        const std::vector<shellRows::Row> rows = RowsOf(at.line);
        const int first = top - int(at.row) * lineHeight_;
        for (std::size_t row = at.row; row < rows.size() && top < viewport()->height(); ++row, top += lineHeight_)
            if (rows[row].mark != nullptr)
                PaintMark(painter, *rows[row].mark, top);
            else
                PaintRow(painter, at.line, rows[row], top);
        if (at.line == screen_.Cursor().line)
            PaintCursor(painter, rows, first);
    }
}

// Runs of one style at once; characters that a font may lack in its fixed width are placed one by one.
void ShellTerminal::PaintRow(QPainter& painter, std::int64_t line, const shellRows::Row& row, int top) const {
    const ShellScreen::Line& shown = screen_.LineAt(line);
    const auto [from, to] = std::minmax(anchor_, head_);
    const auto selected = [&, from = from, to = to](std::size_t i) {
        return Place{line, i} >= from && Place{line, i} < to;
    };
    std::size_t cell = 0;
    for (std::size_t begin = row.begin, end = begin; begin < row.end; begin = end) {
        const ShellScreen::Style style = shown.StyleAt(begin);
        const bool marked = selected(begin);
        const std::size_t startCell = cell;
        do
            cell += shellRows::CellsOf(shown.text[end++], cell);
        while (end < row.end && IsPlain(shown.text[begin]) && IsPlain(shown.text[end]) && shown.StyleAt(end) == style &&
               selected(end) == marked);
        ShellColours colours = ColoursOf(style, palette());
        if (marked)
            colours = {palette().color(QPalette::HighlightedText), palette().color(QPalette::Highlight)};
        const double left = MARGIN + double(startCell) * cellWidth_;
        if (colours.background.isValid())
            painter.fillRect(QRectF(left, top, double(cell - startCell) * cellWidth_, lineHeight_), colours.background);
        if (cell == startCell || shown.text[begin] == '\t')
            continue;
        QFont look = font();
        look.setBold(style.bold);
        look.setUnderline(style.underline);
        painter.setFont(look);
        painter.setPen(colours.text);
        painter.drawText(QPointF(left, top + fontMetrics().ascent()), Shown(shown.text, begin, end));
    }
}

void ShellTerminal::PaintMark(QPainter& painter, const ShellScreen::Mark& mark, int top) const {
    const QColor colour = palette().color(QPalette::Link);
    const QString text = fontMetrics().elidedText(Q(mark.text), Qt::ElideRight, viewport()->width() - 6 * MARGIN);
    const int width = fontMetrics().horizontalAdvance(text), middle = top + lineHeight_ / 2;
    const int textLeft = (viewport()->width() - width) / 2;
    painter.setFont(font());
    painter.setPen(colour);
    painter.drawText(textLeft, top + fontMetrics().ascent(), text);
    painter.drawLine(MARGIN, middle, textLeft - 2 * MARGIN, middle);
    painter.drawLine(textLeft + width + 2 * MARGIN, middle, viewport()->width() - MARGIN, middle);
}

// Where the device's next character appears; filled while the terminal has the focus.
void ShellTerminal::PaintCursor(QPainter& painter, const std::vector<shellRows::Row>& rows, int top) const {
    const ShellScreen::Place cursor = screen_.Cursor();
    std::size_t at = rows.size() - 1;
    while (at > 0 && (rows[at].mark != nullptr || rows[at].begin > cursor.column))
        --at;
    const std::size_t cell = shellRows::CellOf(screen_.LineAt(cursor.line).text, rows[at].begin, cursor.column);
    const QRectF place(MARGIN + double(std::min(cell, cells_ - 1)) * cellWidth_, top + int(at) * lineHeight_,
                       cellWidth_, lineHeight_);
    QColor colour = palette().color(QPalette::Text);
    if (hasFocus()) {
        colour.setAlpha(128);
        painter.fillRect(place, colour);
    } else {
        painter.setPen(colour);
        painter.drawRect(place.adjusted(0.5, 0.5, -0.5, -0.5));
    }
}
