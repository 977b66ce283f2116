// The line in which the user types what to find in a window.
#pragma once

#include <QLineEdit>
#include <QTextCursor>
#include <QTextDocument>

#include <functional>

class FindLine : public QLineEdit {
public:
    // Goes to the next (or previous) occurrence of a text that isn't empty; false if there is none.
    using Find = std::function<bool(const QString& text, bool backward)>;

    // A line beside `view`, whose current top-level window gets the keys: Ctrl+F puts the cursor into the line, Enter
    // and F3 find, with Shift backward, and Escape returns to the view. `nowhere` is the text of the message box if
    // nothing is found, with "%1" for what was sought.
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

// Finds in a text widget, wrapping around at its end.
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
