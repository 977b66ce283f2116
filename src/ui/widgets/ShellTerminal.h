// The terminal's view: paints the visible lines of a console's screen and turns keys into the bytes that a console
// expects. It doesn't show typed characters; the device echoes them at the screen's cursor.
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

    // A byte that a key sends, 22 for a paste of the clipboard. Arrows send their escape sequences byte by byte.
    std::function<void(std::uint8_t keyAscii)> keyPress;
    // Sent in one piece: the sequence of any other key, text that was pasted with the mouse.
    std::function<void(const ByteArray& sequence)> sendSequence;
    std::function<void(const QString& text)> sendText;

    void ShowOutput(const ByteArray& block);
    // A remark on a line of its own after the output so far; it isn't part of the text.
    void ShowMark(const std::string& text, bool startsOver);
    // Replaces all of the text.
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

    // A line below the text that isn't the device's; an empty one is hidden.
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
    void Refresh(); // soon after a change
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
    quint64 doubleClickAt_ = 0; // time of the event in ms, 0 after the next click; a third click selects the line
    QLabel* notice_;
    int scrollBack_ = 0;
    std::int64_t lastShown_ = 0; // performance counter
    WindowTimer* tmrShowText_;
    WindowTimer* tmrDrag_; // scrolls while the mouse is held outside
};
