#include "HexDumpView.h"

#include "Menus.h"
#include "basUtils.h"

#include <QApplication>
#include <QClipboard>
#include <QKeyEvent>
#include <QPainter>
#include <QScrollBar>

#include <algorithm>

namespace {

constexpr int MARGIN = 4; // pixels left of the text

// A line as it is painted: characters that would break it or take no room show as dots.
QString Visible(const std::string& line) {
    constexpr char16_t SOFT_HYPHEN = 0xAD, DOT = 0xB7;
    QString text = QString::fromStdString(line);
    text.chop(2); // CR LF
    for (QChar& character : text)
        if (character.category() == QChar::Other_Control || character.unicode() == SOFT_HYPHEN)
            character = QChar(DOT);
    return text;
}

} // namespace

HexDumpView::HexDumpView(QWidget* parent) : QAbstractScrollArea(parent) {
    QFont font("Courier New", 8);
    font.setStyleHint(QFont::Monospace);
    setFont(font);
    setFocusPolicy(Qt::StrongFocus);
    viewport()->setBackgroundRole(QPalette::Base);
    viewport()->setAutoFillBackground(true);
    AddContextItem(this, "Copy", QKeySequence::Copy, [this] { copy(); });
    AddContextItem(this, "Select All", QKeySequence::SelectAll, [this] { selectAll(); });
    setContextMenuPolicy(Qt::ActionsContextMenu);
}

void HexDumpView::setBytes(ByteArray bytes, std::uint32_t startAddress) {
    bytes_ = std::move(bytes);
    startAddress_ = startAddress;
    anchor_ = current_ = -1;
    found_.reset();
    verticalScrollBar()->setValue(0);
    SetScrollRanges();
}

void HexDumpView::setColumns(std::int32_t columns) {
    const auto byteAt = [this](int line) { return std::size_t(std::max(line, 0)) * columns_; };
    const std::size_t top = byteAt(verticalScrollBar()->value()), anchor = byteAt(anchor_), current = byteAt(current_);
    columns_ = std::size_t(std::max(columns, 1));
    if (current_ >= 0)
        anchor_ = int(anchor / columns_), current_ = int(current / columns_);
    SetScrollRanges();
    verticalScrollBar()->setValue(int(top / columns_));
}

int HexDumpView::lineCount() const {
    return int((bytes_.size() + columns_ - 1) / columns_);
}

std::string HexDumpView::LinesText(int first, int count) const {
    return basUtils::HexDumpLines(startAddress_, bytes_, columns_, std::size_t(first), std::size_t(count));
}

std::string HexDumpView::selectedText() const {
    if (current_ < 0)
        return {};
    const auto [first, last] = std::minmax(anchor_, current_);
    return LinesText(first, last - first + 1);
}

void HexDumpView::selectLines(int first, int last) {
    anchor_ = std::clamp(first, -1, lineCount() - 1);
    current_ = std::clamp(last, -1, lineCount() - 1);
    viewport()->update();
}

void HexDumpView::selectAll() {
    selectLines(0, lineCount() - 1);
}

void HexDumpView::copy() {
    if (current_ < 0)
        return;
    QApplication::setOverrideCursor(Qt::WaitCursor); // all of 16 MB are up to 120 MB of text
    QApplication::clipboard()->setText(QString::fromStdString(selectedText()));
    QApplication::restoreOverrideCursor();
}

bool HexDumpView::find(const std::vector<ByteArray>& sought, bool backward) {
    const int line = current_ >= 0 ? current_ : verticalScrollBar()->value();
    const std::size_t start = found_ ? found_->begin + (backward ? 0 : 1) : std::size_t(line) * columns_;
    found_ = hexDump::Find(bytes_, sought, start, backward);
    if (found_) {
        selectLines(int(found_->begin / columns_), int((found_->end - 1) / columns_));
        BringIntoView(current_);
        BringIntoView(anchor_);
    }
    viewport()->update();
    return found_.has_value();
}

void HexDumpView::SetScrollRanges() {
    verticalScrollBar()->setRange(0, std::max(0, lineCount() - LinesInView()));
    verticalScrollBar()->setPageStep(LinesInView());
    // Addresses may get longer further down, so the first line need not be the widest.
    const int widest = bytes_.empty() ? 0 : int(14 + 4 * columns_);
    const int width = MARGIN + widest * fontMetrics().averageCharWidth();
    horizontalScrollBar()->setRange(0, std::max(0, width - viewport()->width()));
    horizontalScrollBar()->setPageStep(viewport()->width());
    horizontalScrollBar()->setSingleStep(fontMetrics().averageCharWidth());
    viewport()->update();
}

void HexDumpView::BringIntoView(int line) {
    const int top = verticalScrollBar()->value();
    if (line < top)
        verticalScrollBar()->setValue(line);
    else if (line >= top + LinesInView())
        verticalScrollBar()->setValue(line - LinesInView() + 1);
}

void HexDumpView::GoTo(int line, bool extend) {
    if (lineCount() == 0)
        return;
    found_.reset();
    const int to = std::clamp(line, 0, lineCount() - 1);
    selectLines(extend && anchor_ >= 0 ? anchor_ : to, to);
    BringIntoView(to);
}

int HexDumpView::LineAt(int y) const {
    return verticalScrollBar()->value() + (y < 0 ? -1 : y / LineHeight());
}

void HexDumpView::paintEvent(QPaintEvent* event) {
    QPainter painter(viewport());
    const int left = MARGIN - horizontalScrollBar()->value();
    const int end = std::min(LineAt(event->rect().bottom()) + 1, lineCount());
    for (int line = LineAt(event->rect().top()); line < end; ++line)
        PaintLine(painter, line, left, (line - verticalScrollBar()->value()) * LineHeight());
}

void HexDumpView::PaintLine(QPainter& painter, int line, int left, int top) const {
    const QString text = Visible(LinesText(line, 1));
    const bool selected = current_ >= 0 && line >= std::min(anchor_, current_) && line <= std::max(anchor_, current_);
    if (selected)
        painter.fillRect(0, top, viewport()->width(), LineHeight(), palette().brush(QPalette::Highlight));
    painter.setPen(palette().color(selected ? QPalette::HighlightedText : QPalette::Text));
    painter.drawText(left, top + fontMetrics().ascent(), text);
    if (found_)
        PaintFound(painter, line, text, left, top);
}

// The digits of the bytes found, in inverse colours, so that they stand out in their line.
void HexDumpView::PaintFound(QPainter& painter, int line, const QString& text, int left, int top) const {
    const std::size_t lineStart = std::size_t(line) * columns_;
    const std::size_t from = std::max(found_->begin, lineStart), to = std::min(found_->end, lineStart + columns_);
    if (from >= to)
        return;
    const auto digits = text.indexOf(' ') + 1;
    const auto first = digits + 3 * qsizetype(from - lineStart), count = 3 * qsizetype(to - from) - 1;
    const int x = left + fontMetrics().horizontalAdvance(text.left(first));
    const QString shown = text.mid(first, count);
    painter.fillRect(x - 1, top, fontMetrics().horizontalAdvance(shown) + 2, LineHeight(),
                     palette().brush(QPalette::Base));
    painter.setPen(palette().color(QPalette::Text));
    painter.drawText(x, top + fontMetrics().ascent(), shown);
}

void HexDumpView::resizeEvent(QResizeEvent*) {
    SetScrollRanges();
}

void HexDumpView::changeEvent(QEvent* event) {
    QAbstractScrollArea::changeEvent(event);
    if (event->type() == QEvent::FontChange)
        SetScrollRanges();
}

void HexDumpView::keyPressEvent(QKeyEvent* event) {
    const bool extend = event->modifiers().testFlag(Qt::ShiftModifier);
    const int from = current_ >= 0 ? current_ : verticalScrollBar()->value();
    switch (event->key()) {
    case Qt::Key_Up:
        return GoTo(from - 1, extend);
    case Qt::Key_Down:
        return GoTo(from + 1, extend);
    case Qt::Key_PageUp:
        return GoTo(from - LinesInView(), extend);
    case Qt::Key_PageDown:
        return GoTo(from + LinesInView(), extend);
    case Qt::Key_Home:
        return GoTo(0, extend);
    case Qt::Key_End:
        return GoTo(lineCount() - 1, extend);
    default:
        QAbstractScrollArea::keyPressEvent(event);
    }
}

void HexDumpView::mousePressEvent(QMouseEvent* event) {
    if (event->button() == Qt::LeftButton)
        GoTo(LineAt(event->pos().y()), event->modifiers().testFlag(Qt::ShiftModifier));
}

void HexDumpView::mouseMoveEvent(QMouseEvent* event) {
    if (event->buttons().testFlag(Qt::LeftButton))
        GoTo(LineAt(event->pos().y()), true);
}
