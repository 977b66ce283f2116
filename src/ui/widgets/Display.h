// Which window system the program runs on, and what happens if no display answers.
#pragma once

#include <QtGlobal>

// Without a display only an unattended run makes sense: it runs offscreen. False, with a message on standard error, if
// windows are wanted and there is no display for them.
[[nodiscard]] bool ChooseDisplay(bool unattended);

// Held while the QApplication is created, which ends the process if no display answers: that prints one line on
// standard error and exits with code 1 instead of aborting. An unattended run falls back to offscreen. A display server
// that accepts the connection and then stays silent counts as one that doesn't answer; in that case the unattended
// program is started again with `arguments`.
class DisplayOpening {
public:
    DisplayOpening(bool unattended, char** arguments);
    ~DisplayOpening();
    DisplayOpening(const DisplayOpening&) = delete;
    DisplayOpening& operator=(const DisplayOpening&) = delete;
};
