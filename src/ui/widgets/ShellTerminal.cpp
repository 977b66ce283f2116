#include "ShellTerminal.h"

#include "Clock.h"
#include "CodePage.h"
#include "Controls.h"
#include "Menus.h"
#include "ShellKeys.h"

#include <QApplication>
#include <QClipboard>
#include <QKeyEvent>
#include <QScrollBar>

#include <algorithm>
#include <numeric>
#include <utility>

namespace {

constexpr std::int32_t SHOW_INTERVAL = 80; // ms between two paintings during a flood
constexpr std::int32_t DRAG_INTERVAL = 50; // ms between two steps of scrolling
constexpr std::uint8_t PASTE = 22;         // Control V
constexpr double SMALLEST_TEXT = 4;        // points

bool IsPaste(const QKeyEvent* event) {
    return (event->key() == Qt::Key_Insert && event->modifiers() == Qt::ShiftModifier) ||
           (event->key() == Qt::Key_V && event->modifiers() == (Qt::ControlModifier | Qt::ShiftModifier));
}

bool IsCopy(const QKeyEvent* event) {
    return (event->key() == Qt::Key_Insert && event->modifiers() == Qt::ControlModifier) ||
           (event->key() == Qt::Key_C && event->modifiers() == (Qt::ControlModifier | Qt::ShiftModifier));
}

} // namespace

ShellTerminal::ShellTerminal(QWidget* parent)
    : QAbstractScrollArea(parent), notice_(new QLabel(this)),
      tmrShowText_(new WindowTimer(this, "tmrShowText", SHOW_INTERVAL, [this] { ShowNow(); })),
      tmrDrag_(new WindowTimer(this, "tmrDrag", DRAG_INTERVAL, [this] { ScrollToMouse(); })) {
    QFont font("Courier New");
    font.setStyleHint(QFont::Monospace);
    font.setFixedPitch(true);
    font.setKerning(false);
    setFont(font);
    setFocusPolicy(Qt::StrongFocus);
    setVerticalScrollBarPolicy(Qt::ScrollBarAlwaysOn); // one that comes and goes would rewrap the lines
    setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    viewport()->setBackgroundRole(QPalette::Base);
    viewport()->setAutoFillBackground(true);
    viewport()->setCursor(Qt::IBeamCursor);
    notice_->setAutoFillBackground(true);
    notice_->setBackgroundRole(QPalette::ToolTipBase);
    notice_->setForegroundRole(QPalette::ToolTipText);
    notice_->setWordWrap(true);
    notice_->setTextFormat(Qt::PlainText);
    notice_->setMargin(4);
    notice_->hide();
    BuildActions();
    Measure();
}

void ShellTerminal::BuildActions() {
    mnuCopy = Named(AddContextItem(this, "&Copy", Qt::CTRL | Qt::SHIFT | Qt::Key_C, [this] { copy(); }), "mnuCopy");
    mnuPaste = Named(AddContextItem(this, "&Paste", Qt::CTRL | Qt::SHIFT | Qt::Key_V, [this] { paste(); }), "mnuPaste");
    mnuSelectAll = Named(AddContextItem(this, "Select &All", Qt::CTRL | Qt::SHIFT | Qt::Key_A, [this] { selectAll(); }),
                         "mnuSelectAll");
    mnuCopy->setEnabled(false);
    setContextMenuPolicy(Qt::ActionsContextMenu);
}

void ShellTerminal::setNotice(const QString& text) {
    if (text == notice_->text())
        return;
    notice_->setText(text);
    notice_->setVisible(!text.isEmpty());
    PlaceNotice();
}

void ShellTerminal::PlaceNotice() {
    const QRect inside = rect().adjusted(frameWidth(), frameWidth(), -frameWidth(), -frameWidth());
    const int height = notice_->isHidden() ? 0 : notice_->heightForWidth(inside.width());
    setViewportMargins(0, 0, 0, height); // the device's last line stays in view above it
    notice_->setGeometry(inside.left(), inside.bottom() + 1 - height, inside.width(), height);
}

void ShellTerminal::resizeEvent(QResizeEvent* event) {
    QAbstractScrollArea::resizeEvent(event);
    PlaceNotice();
    Measure();
}

void ShellTerminal::changeEvent(QEvent* event) {
    QAbstractScrollArea::changeEvent(event);
    if (event->type() == QEvent::FontChange)
        Measure();
}

void ShellTerminal::Zoom(int points) {
    QFont font = this->font();
    font.setPointSizeF(std::max(font.pointSizeF() + points, SMALLEST_TEXT));
    setFont(font);
}

int ShellTerminal::RowsInView() const {
    return std::max(1, viewport()->height() / lineHeight_);
}

// Wraps the lines again; the top line stays at the top, or the last one in view.
void ShellTerminal::Measure() {
    const bool follow = Follows();
    const std::int64_t top = rowCounts_.empty() ? 0 : Locate(verticalScrollBar()->value()).line;
    const QFontMetricsF metrics(font());
    cellWidth_ = std::max(metrics.horizontalAdvance('0'), 1.0);
    lineHeight_ = std::max(fontMetrics().height(), 1);
    cells_ = std::size_t(std::max(1.0, (viewport()->width() - 2 * MARGIN) / cellWidth_));
    screen_.SetSize(cells_, std::size_t(RowsInView()));
    rowCounts_.clear();
    rows_ = 0;
    CountRows();
    SetScrollRange(follow, RowsBefore(std::max(top, screen_.FirstLine())));
}

void ShellTerminal::ShowOutput(const ByteArray& block) {
    screen_.Write(block);
    Refresh();
}

void ShellTerminal::ShowMark(const std::string& text, bool startsOver) {
    screen_.AddMark(text, startsOver);
    Refresh();
}

void ShellTerminal::SetScrollBack(int lines) {
    scrollBack_ = lines;
    screen_.SetScrollBack(std::size_t(std::max(lines, 0)));
    Refresh();
}

void ShellTerminal::Refresh() {
    if (platform::QueryPerformanceCounter() - lastShown_ >= SHOW_INTERVAL * 1'000'000LL)
        ShowNow();
    else if (!tmrShowText_->isEnabled())
        tmrShowText_->setEnabled(true);
}

void ShellTerminal::ShowNow() {
    tmrShowText_->setEnabled(false);
    lastShown_ = platform::QueryPerformanceCounter();
    const bool follow = Follows();
    const std::int64_t before = RowsBefore(screen_.FirstLine()); // rows dropped at the top, by the old counts
    CountRows();
    SetScrollRange(follow, verticalScrollBar()->value() - before);
}

bool ShellTerminal::Follows() const {
    return verticalScrollBar()->value() == verticalScrollBar()->maximum();
}

void ShellTerminal::CountRows() {
    const auto forget = [this](std::uint32_t count) { rows_ -= count; };
    for (; !rowCounts_.empty() && countedFrom_ < screen_.FirstLine(); ++countedFrom_) {
        forget(rowCounts_.front());
        rowCounts_.pop_front();
    }
    countedFrom_ = screen_.FirstLine();
    const auto kept = std::size_t(screen_.TakeChanged() - countedFrom_);
    for (; rowCounts_.size() > kept; rowCounts_.pop_back())
        forget(rowCounts_.back());
    for (std::int64_t line = countedFrom_ + std::int64_t(rowCounts_.size()); line < screen_.EndLine(); ++line) {
        const auto count = shellRows::RowCount(screen_.LineAt(line).text, screen_.MarksOf(line), cells_);
        rowCounts_.push_back(std::uint32_t(count));
        rows_ += std::int64_t(count);
    }
}

void ShellTerminal::SetScrollRange(bool follow, std::int64_t top) {
    const std::int64_t last = std::max(rows_ - RowsInView(), RowsBefore(screen_.ClearedTo()));
    verticalScrollBar()->setRange(0, int(std::max<std::int64_t>(last, 0)));
    verticalScrollBar()->setPageStep(RowsInView());
    verticalScrollBar()->setValue(follow ? verticalScrollBar()->maximum() : int(std::max<std::int64_t>(top, 0)));
    viewport()->update();
}

// By the last row counts.
std::int64_t ShellTerminal::RowsBefore(std::int64_t line) const {
    const std::int64_t end = std::clamp<std::int64_t>(line - countedFrom_, 0, std::int64_t(rowCounts_.size()));
    return std::accumulate(rowCounts_.begin(), rowCounts_.begin() + end, std::int64_t(0));
}

// Searches from the end, where the view is most of the time.
ShellTerminal::RowPlace ShellTerminal::Locate(std::int64_t row) const {
    std::int64_t line = std::int64_t(rowCounts_.size()), start = rows_;
    while (line > 0 && start > std::max<std::int64_t>(row, 0))
        start -= rowCounts_[std::size_t(--line)];
    return {countedFrom_ + line, std::size_t(std::max<std::int64_t>(row - start, 0))};
}

std::vector<shellRows::Row> ShellTerminal::RowsOf(std::int64_t line) const {
    return shellRows::RowsOf(screen_.LineAt(line).text, screen_.MarksOf(line), cells_);
}

void ShellTerminal::Replace(const QString& text) {
    if (!text.isEmpty() && text == toPlainText())
        return;
    screen_ = {};
    screen_.SetSize(cells_, std::size_t(RowsInView()));
    screen_.SetScrollBack(std::size_t(std::max(scrollBack_, 0)));
    screen_.Write(platform::AnsiFromText(text.toStdString()));
    Select({}, {});
    countedFrom_ = 0;
    rowCounts_.clear();
    rows_ = 0;
    CountRows();
    SetScrollRange(true, 0);
}

QString ShellTerminal::toPlainText() const {
    const std::string text = screen_.Text();
    return Q(platform::TextFromAnsi(ByteArray(text.begin(), text.end())));
}

bool ShellTerminal::Find(const QString& text) {
    const std::string wanted = platform::LowerCase(text.toStdString());
    const ByteArray bytes = platform::AnsiFromText(wanted);
    const std::string sought(bytes.begin(), bytes.end());
    if (sought.empty())
        return false;
    const auto findFrom = [&](const Place& end) {
        for (std::int64_t line = std::min(end.line, screen_.EndLine() - 1); line >= screen_.FirstLine(); --line) {
            const std::string& whole = screen_.LineAt(line).text;
            const std::string inLine = platform::LowerCase(line == end.line ? whole.substr(0, end.column) : whole);
            const std::size_t at = inLine.rfind(sought);
            if (at == std::string::npos)
                continue;
            Select({line, at}, {line, at + sought.size()});
            BringIntoView(line);
            return true;
        }
        return false;
    };
    return (HasSelection() && findFrom(std::min(anchor_, head_))) || findFrom({screen_.EndLine(), 0});
}

void ShellTerminal::BringIntoView(std::int64_t line) {
    ShowNow();
    const std::int64_t row = RowsBefore(line), top = verticalScrollBar()->value();
    const bool inView = row >= top && row < top + RowsInView();
    SetScrollRange(false, inView ? top : row - RowsInView() / 2);
}

bool ShellTerminal::Scrolls(const QKeyEvent* event) {
    if ((event->modifiers() & ~Qt::KeypadModifier) != Qt::ShiftModifier)
        return false;
    static constexpr std::pair<int, QAbstractSlider::SliderAction> KEYS[] = {
        {Qt::Key_PageUp, QAbstractSlider::SliderPageStepSub},
        {Qt::Key_PageDown, QAbstractSlider::SliderPageStepAdd},
        {Qt::Key_Home, QAbstractSlider::SliderToMinimum},
        {Qt::Key_End, QAbstractSlider::SliderToMaximum},
    };
    for (const auto& [key, action] : KEYS)
        if (event->key() == key) {
            verticalScrollBar()->triggerAction(action);
            return true;
        }
    return false;
}

void ShellTerminal::ToEnd() {
    verticalScrollBar()->setValue(verticalScrollBar()->maximum());
}

void ShellTerminal::keyPressEvent(QKeyEvent* event) {
    event->accept();
    if (Scrolls(event) || !keyPress)
        return;
    if (IsCopy(event))
        return copy();
    if (IsPaste(event))
        return paste();
    const ByteArray named = shellKeys::NamedKey(*event), bytes = named.empty() ? shellKeys::Characters(*event) : named;
    if (bytes.empty())
        return event->ignore();
    ToEnd();
    const bool single = shellKeys::IsArrow(*event) || (named.empty() && !event->modifiers().testFlag(Qt::AltModifier));
    if (!single)
        return sendSequence(bytes);
    for (const std::uint8_t byte : bytes)
        keyPress(byte);
}

void ShellTerminal::paste() {
    ToEnd();
    if (keyPress)
        keyPress(PASTE);
}

void ShellTerminal::copy() {
    if (HasSelection())
        QApplication::clipboard()->setText(selectedText());
}

void ShellTerminal::selectAll() {
    Select({screen_.FirstLine(), 0}, {screen_.EndLine() - 1, screen_.LineAt(screen_.EndLine() - 1).text.size()});
}

void ShellTerminal::Select(const Place& anchor, const Place& head) {
    anchor_ = anchor;
    head_ = head;
    mnuCopy->setEnabled(HasSelection());
    viewport()->update();
}

QString ShellTerminal::selectedText() const {
    const auto [from, to] = std::minmax(anchor_, head_);
    std::string text;
    for (std::int64_t line = std::max(from.line, screen_.FirstLine()); line <= std::min(to.line, screen_.EndLine() - 1);
         ++line) {
        const std::string& whole = screen_.LineAt(line).text;
        const std::size_t begin = line == from.line ? std::min(from.column, whole.size()) : 0;
        const std::size_t end = line == to.line ? std::min(to.column, whole.size()) : whole.size();
        text.append(whole, begin, end - std::min(begin, end)).append(line < to.line ? "\n" : "");
    }
    return Q(platform::TextFromAnsi(ByteArray(text.begin(), text.end())));
}
