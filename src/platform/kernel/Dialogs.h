// Message boxes and other dialogs. The program shows windows, and tests script the answers; without either, a box is a
// line on standard error and every question is declined.
#pragma once

#include <string>

namespace platform {

class Dialogs {
public:
    virtual ~Dialogs() = default;
    virtual void MessageBox(const std::string& text, const std::string& caption) = 0; // an OK button
    // The same for something that isn't a warning.
    virtual void Inform(const std::string& text, const std::string& caption) { MessageBox(text, caption); }
    virtual bool YesNo(const std::string& text, const std::string& caption) = 0; // true for yes
    // Empty when cancelled.
    virtual std::string InputBox(const std::string& prompt, const std::string& title, const std::string& first) = 0;
    // The path chosen for saving, empty when cancelled. `filter` as in "Text (*.txt)".
    virtual std::string SaveFile(const std::string& title, const std::string& first, const std::string& filter) = 0;
};

void UseDialogs(Dialogs* dialogs); // null restores the plain ones
Dialogs& CurrentDialogs();

} // namespace platform
