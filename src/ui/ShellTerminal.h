// The terminal's text: shows console output in batches, and turns keys into the bytes that a
// console expects. It shows no typed character by itself; the device echoes them.
#pragma once

#include "ShellText.h"
#include "WindowTimer.h"

#include <QLabel>
#include <QPlainTextEdit>

#include <cstdint>
#include <functional>

class ShellTerminal : public QPlainTextEdit {
    Q_OBJECT
public:
    explicit ShellTerminal(QWidget* parent);

    // What a key sends: one byte, 22 for a paste. Arrows come as their escape sequences.
    std::function<void(std::uint8_t keyAscii)> keyPress;

    void ShowEdit(const shellText::Edit& edit);
    // Puts a text in place of all there is.
    void Replace(const QString& text);
    std::size_t Length() const;     // characters, with those that wait to be painted
    bool Find(const QString& text); // from the selection upwards, then from the end again
    // Lines kept, and up to a fifth more; 0 keeps every line.
    void SetScrollBack(int lines) { scrollBack_ = lines; }
    int ScrollBack() const { return scrollBack_; }

    // A line below the text, which isn't the device's; an empty one goes.
    void setNotice(const QString& text);
    QString Notice() const { return notice_->text(); }

    void keyPressEvent(QKeyEvent* event) override;

protected:
    void resizeEvent(QResizeEvent* event) override;
    bool focusNextPrevChild(bool) override { return false; } // Tab goes to the device

private:
    void ShowPending();
    bool Scrolls(const QKeyEvent* event);

    void DropOldLines();
    void PlaceNotice();

    QLabel* notice_;
    shellText::Edit pending_;
    int scrollBack_ = 0;
    std::int64_t lastShown_ = 0; // performance counter
    WindowTimer* tmrShowText_;
};
