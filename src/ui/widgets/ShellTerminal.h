// The terminal's text: shows a console's output as its screen has it, painting the lines in view only, and
// turns keys into the bytes that a console expects. It shows no typed character by itself; the device echoes
// them, where the screen's cursor is.
#pragma once

#include "Bytes.h"
#include "ShellRows.h"
#include "ShellScreen.h"
#include "WindowTimer.h"

#include <QAbstractScrollArea>
#include <QAction>
#include <QLabel>

#include <cstdint>
#include <deque>
#include <functional>
#include <string>

class ShellTerminal : public QAbstractScrollArea {
    Q_OBJECT
public:
    explicit ShellTerminal(QWidget* parent);

    // What a key sends: one byte, 22 for a paste of the clipboard. Arrows come as their escape sequences.
    std::function<void(std::uint8_t keyAscii)> keyPress;
    // What goes out in one piece: another key's sequence, a text that was pasted with the mouse.
    std::function<void(const ByteArray& sequence)> sendSequence;
    std::function<void(const QString& text)> sendText;

    void ShowOutput(const ByteArray& block);
    // A line of its own where the text has come so far, which isn't text.
    void ShowMark(const std::string& text, bool startsOver);
    // Puts a text in place of all there is.
    void Replace(const QString& text);
    QString toPlainText() const;
    int blockCount() const { return int(screen_.EndLine() - screen_.FirstLine()); }
    const ShellScreen& Screen() const { return screen_; }
    bool Find(const QString& text); // from the selection upwards, then from the end again
    // Lines kept; 0 keeps every line.
    void SetScrollBack(int lines);
    int ScrollBack() const { return scrollBack_; }
    void zoomIn() { Zoom(1); }
    void zoomOut() { Zoom(-1); }

    QString selectedText() const;
    void copy();
    void paste();
    void selectAll();
    QAction *mnuCopy, *mnuPaste, *mnuSelectAll;

    // A line below the text, which isn't the device's; an empty one goes.
    void setNotice(const QString& text);
    QString Notice() const { return notice_->text(); }

    void keyPressEvent(QKeyEvent* event) override;

protected:
    void resizeEvent(QResizeEvent* event) override;
    void changeEvent(QEvent* event) override;
    void paintEvent(QPaintEvent* event) override; // ShellTerminalPaint.cpp
    void focusInEvent(QFocusEvent*) override { viewport()->update(); }
    void focusOutEvent(QFocusEvent*) override { viewport()->update(); }
    void mousePressEvent(QMouseEvent* event) override; // the mouse: ShellTerminalMouse.cpp
    void mouseDoubleClickEvent(QMouseEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;
    bool focusNextPrevChild(bool) override { return false; } // Tab goes to the device

private:
    using Place = ShellScreen::Place;
    static constexpr int MARGIN = 4; // pixels beside the text
    struct RowPlace {
        std::int64_t line;
        std::size_t row; // of that line
    };

    void BuildActions();
    void Refresh(); // after a change, soon
    void ShowNow();
    void CountRows();
    void SetScrollRange(bool follow, std::int64_t top);
    void Measure();
    void PlaceNotice();
    void Zoom(int points);
    bool Follows() const;
    void ToEnd();
    bool Scrolls(const QKeyEvent* event);
    std::vector<shellRows::Row> RowsOf(std::int64_t line) const;
    RowPlace Locate(std::int64_t row) const;
    std::int64_t RowsBefore(std::int64_t line) const;
    int RowsInView() const;

    void Select(const Place& anchor, const Place& head);
    void BringIntoView(std::int64_t line);
    Place PlaceAt(const QPoint& point) const;
    void ExtendTo(const QPoint& point);
    void ScrollToMouse(); // a step towards a mouse that is held outside
    bool HasSelection() const { return anchor_ != head_; }

    void PaintRow(class QPainter& painter, std::int64_t line, const shellRows::Row& row, int top) const;
    void PaintMark(QPainter& painter, const ShellScreen::Mark& mark, int top) const;
    void PaintCursor(QPainter& painter, const std::vector<shellRows::Row>& rows, int top) const;

    ShellScreen screen_;
    std::deque<std::uint32_t> rowCounts_; // of each line from countedFrom_ on
    std::int64_t countedFrom_ = 0, rows_ = 0;
    std::size_t cells_ = 80; // in a row
    double cellWidth_ = 8;
    int lineHeight_ = 16;
    Place anchor_, head_; // of the selection
    QPoint dragged_;
    quint64 doubleClickAt_ = 0; // its event's time in ms, until the next click: a third one takes the line
    QLabel* notice_;
    int scrollBack_ = 0;
    std::int64_t lastShown_ = 0; // performance counter
    WindowTimer* tmrShowText_;
    WindowTimer* tmrDrag_; // scrolls while the mouse is held outside
};
