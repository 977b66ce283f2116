#include "ShellTerminal.h"

#include "Clock.h"
#include "CodePage.h"

#include <QKeyEvent>
#include <QScrollBar>
#include <QTextBlock>
#include <QTextCursor>

#include <algorithm>
#include <utility>

namespace {

constexpr std::int32_t SHOW_INTERVAL = 80; // ms between two paintings of a flood: fewer, larger ones are cheaper
constexpr std::uint8_t PASTE = 22;         // Control V
constexpr std::uint8_t ESCAPE = 27;

struct Arrow {
    int key;
    char last; // of its sequence ESC [ x (ECMA-48)
};
constexpr Arrow ARROWS[] = {{Qt::Key_Up, 'A'}, {Qt::Key_Down, 'B'}, {Qt::Key_Right, 'C'}, {Qt::Key_Left, 'D'}};

bool IsPaste(const QKeyEvent* event) {
    return (event->key() == Qt::Key_Insert && event->modifiers() == Qt::ShiftModifier) ||
           (event->key() == Qt::Key_V && event->modifiers() == (Qt::ControlModifier | Qt::ShiftModifier));
}

bool IsCopy(const QKeyEvent* event) {
    return (event->key() == Qt::Key_Insert && event->modifiers() == Qt::ControlModifier) ||
           (event->key() == Qt::Key_C && event->modifiers() == (Qt::ControlModifier | Qt::ShiftModifier));
}

// What the key sends as characters; a control letter has no text on every window system.
ByteArray BytesOf(const QKeyEvent* event) {
    if (event->modifiers().testFlag(Qt::AltModifier))
        return {};
    const bool letter = event->key() >= Qt::Key_A && event->key() <= Qt::Key_Z;
    if (letter && event->modifiers() == Qt::ControlModifier)
        return {std::uint8_t(event->key() - Qt::Key_A + 1)};
    return platform::AnsiFromText(event->text().toStdString());
}

} // namespace

ShellTerminal::ShellTerminal(QWidget* parent)
    : QPlainTextEdit(parent), notice_(new QLabel(this)),
      tmrShowText_(new WindowTimer(this, "tmrShowText", SHOW_INTERVAL, [this] { ShowPending(); })) {
    setTextInteractionFlags(Qt::TextSelectableByMouse | Qt::TextSelectableByKeyboard);
    setUndoRedoEnabled(false); // a flood would be remembered twice
    setLineWrapMode(QPlainTextEdit::WidgetWidth);
    setWordWrapMode(QTextOption::WrapAnywhere);
    QFont font("Courier New");
    font.setStyleHint(QFont::Monospace);
    setFont(font);
    notice_->setAutoFillBackground(true);
    notice_->setBackgroundRole(QPalette::ToolTipBase);
    notice_->setForegroundRole(QPalette::ToolTipText);
    notice_->setWordWrap(true);
    notice_->setTextFormat(Qt::PlainText);
    notice_->setMargin(4);
    notice_->hide();
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
    QPlainTextEdit::resizeEvent(event);
    PlaceNotice();
}

void ShellTerminal::ShowEdit(const shellText::Edit& edit) {
    if (edit.back == 0 && edit.text.empty())
        return;
    shellText::Join(pending_, edit);
    if (platform::QueryPerformanceCounter() - lastShown_ >= SHOW_INTERVAL * 1'000'000LL)
        ShowPending();
    else if (!tmrShowText_->isEnabled())
        tmrShowText_->setEnabled(true);
}

void ShellTerminal::ShowPending() {
    tmrShowText_->setEnabled(false);
    lastShown_ = platform::QueryPerformanceCounter();
    const shellText::Edit edit = std::exchange(pending_, {});
    const bool follows = verticalScrollBar()->value() == verticalScrollBar()->maximum();
    QTextCursor end(document()); // not the user's, who may be selecting
    end.movePosition(QTextCursor::End);
    const int back = int(std::min(edit.back, std::size_t(end.position())));
    end.setPosition(end.position() - back, QTextCursor::KeepAnchor);
    end.insertText(QString::fromStdString(platform::TextFromAnsi(edit.text)));
    DropOldLines();
    if (follows)
        verticalScrollBar()->setValue(verticalScrollBar()->maximum());
}

// Many lines at once: one at a time, as the widget's own limit does it, costs ten times as much.
void ShellTerminal::DropOldLines() {
    if (scrollBack_ <= 0 || blockCount() <= scrollBack_ + scrollBack_ / 5)
        return;
    QTextCursor old(document()->findBlockByNumber(blockCount() - scrollBack_));
    old.setPosition(0, QTextCursor::KeepAnchor);
    old.removeSelectedText();
}

void ShellTerminal::Replace(const QString& text) {
    pending_ = {};
    if (text != toPlainText())
        setPlainText(text);
}

std::size_t ShellTerminal::Length() const {
    const auto onScreen = std::size_t(document()->characterCount() - 1);
    return onScreen - std::min(pending_.back, onScreen) + pending_.text.size();
}

bool ShellTerminal::Find(const QString& text) {
    ShowPending();
    if (find(text, QTextDocument::FindBackward))
        return true;
    moveCursor(QTextCursor::End);
    return find(text, QTextDocument::FindBackward);
}

bool ShellTerminal::Scrolls(const QKeyEvent* event) {
    QScrollBar* bar = verticalScrollBar();
    switch (event->key()) {
    case Qt::Key_PageUp:
        bar->triggerAction(QScrollBar::SliderPageStepSub);
        return true;
    case Qt::Key_PageDown:
        bar->triggerAction(QScrollBar::SliderPageStepAdd);
        return true;
    default:
        return false;
    }
}

void ShellTerminal::keyPressEvent(QKeyEvent* event) {
    event->accept();
    if (Scrolls(event) || !keyPress)
        return;
    if (IsCopy(event))
        return copy();
    if (IsPaste(event))
        return keyPress(PASTE);
    for (const Arrow& arrow : ARROWS)
        if (event->key() == arrow.key) {
            for (const char byte : {char(ESCAPE), '[', arrow.last})
                keyPress(std::uint8_t(byte));
            return;
        }
    const ByteArray bytes = BytesOf(event);
    if (bytes.empty())
        return event->ignore();
    for (const std::uint8_t byte : bytes)
        keyPress(byte);
}
