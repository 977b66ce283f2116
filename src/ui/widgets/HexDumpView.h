// A hex dump, of which only the lines in view are ever formatted, so that 16 MB open at once. Lines can be selected
// with mouse and keys, and copied.
#pragma once

#include "Bytes.h"
#include "HexDump.h"

#include <QAbstractScrollArea>

#include <cstdint>
#include <optional>
#include <string>

class HexDumpView : public QAbstractScrollArea {
    Q_OBJECT
public:
    explicit HexDumpView(QWidget* parent);

    void setBytes(ByteArray bytes, std::uint32_t startAddress); // draws it
    const ByteArray& bytes() const { return bytes_; }
    // Bytes per line, at least 1. The top line stays at the top.
    void setColumns(std::int32_t columns);

    int lineCount() const;
    std::string text() const { return LinesText(0, lineCount()); } // all of the dump
    std::string selectedText() const;
    void selectLines(int first, int last); // keys continue from the last
    void selectAll();
    void copy();

    // Selects the next occurrence after the last one found (backward: before it), or else from the selected or top line
    // on, and brings it into view. False if there is none.
    bool find(const std::vector<ByteArray>& sought, bool backward = false);

protected:
    void paintEvent(QPaintEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;
    void changeEvent(QEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;

private:
    std::string LinesText(int first, int count) const;
    void PaintLine(class QPainter& painter, int line, int left, int top) const;
    void PaintFound(class QPainter& painter, int line, const QString& text, int left, int top) const;
    int LineHeight() const { return fontMetrics().height(); }
    int LinesInView() const { return std::max(1, viewport()->height() / LineHeight()); } // whole ones
    int LineAt(int y) const;
    void GoTo(int line, bool extend);
    void BringIntoView(int line);
    void SetScrollRanges();

    ByteArray bytes_ = ByteArray(1);
    std::uint32_t startAddress_ = 0;
    std::size_t columns_ = 4;
    int anchor_ = -1, current_ = -1; // ends of the selection, -1 without one
    std::optional<hexDump::Range> found_;
};
