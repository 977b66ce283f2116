// Which window system the program runs on, and what becomes of it when no display answers.
#pragma once

#include <QtGlobal>

// Without a display only a run that nobody has to watch makes sense: it goes offscreen. False, with a message on
// standard error, when windows are wanted and there is no display for them.
[[nodiscard]] bool ChooseDisplay(bool unattended);

// Around the making of the QApplication, which ends the process when no display answers: one line on standard
// error and exit code 1 in place of an abort. An unattended run falls back on offscreen by itself. A display server
// that takes the connection and then stays silent counts as one that doesn't answer; for that, the unattended program
// begins anew with `arguments`.
class DisplayOpening {
public:
    DisplayOpening(bool unattended, char** arguments);
    ~DisplayOpening();
    DisplayOpening(const DisplayOpening&) = delete;
    DisplayOpening& operator=(const DisplayOpening&) = delete;
};
