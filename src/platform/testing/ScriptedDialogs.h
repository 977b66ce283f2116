// Dialogs that a test answers in advance.
#pragma once

#include "Dialogs.h"

#include <deque>
#include <string>
#include <vector>

namespace platform::testing {

class ScriptedDialogs : public Dialogs {
public:
    ScriptedDialogs();
    ~ScriptedDialogs() override;
    void MessageBox(const std::string& text, const std::string& caption) override;
    bool YesNo(const std::string& text, const std::string& caption) override;
    std::string InputBox(const std::string& prompt, const std::string& title, const std::string& first) override;
    std::string SaveFile(const std::string& title, const std::string& first, const std::string& filter) override;

    struct Shown {
        std::string text, caption, first;
    };
    std::vector<Shown> shown;        // every dialog, in order
    std::deque<std::string> answers; // "yes" or "no", or a text; then always no, or empty
};

} // namespace platform::testing
