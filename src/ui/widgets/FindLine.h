// The line in which the user of a window types what to find in it.
#pragma once

#include <QLineEdit>
#include <QTextCursor>
#include <QTextDocument>

#include <functional>

class FindLine : public QLineEdit {
public:
    // Goes to the next place of a text that isn't empty, or to the one before; false when there is none.
    using Find = std::function<bool(const QString& text, bool backward)>;

    // A line beside `view`, whose window is still its outermost one and gets the keys: Ctrl+F puts the cursor
    // into the line, Enter and F3 find, with Shift backward, and Escape goes back to the view. `nowhere` is
    // what a message box says when there is none, with a "%1" for the text.
    FindLine(QWidget* view, const QString& hint, Find find, const QString& nowhere);
    void FindNext(bool backward = false);
    // Makes room for a line that is hidden, before Ctrl+F puts the cursor into it.
    std::function<void()> makeRoom;

    // The height that the line keeps in a window of any size.
    int lineHeight() const { return sizeHint().height(); }

protected:
    void keyPressEvent(QKeyEvent* event) override;

private:
    QWidget* view_;
    Find find_;
    QString nowhere_;
};

// A Find of a text window, around its end.
template <class Edit> bool FindInText(Edit* edit, const QString& text, bool backward) {
    const auto flags = backward ? QTextDocument::FindBackward : QTextDocument::FindFlags();
    if (edit->find(text, flags))
        return true;
    const QTextCursor before = edit->textCursor();
    edit->moveCursor(backward ? QTextCursor::End : QTextCursor::Start);
    if (edit->find(text, flags))
        return true;
    edit->setTextCursor(before);
    return false;
}
