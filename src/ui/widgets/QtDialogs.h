#pragma once

#include "Dialogs.h"

class QWidget;

// Message boxes and other dialogs over the active window.
class QtDialogs : public platform::Dialogs {
public:
    QtDialogs();           // becomes the current service
    ~QtDialogs() override; // restores the plain one
    void MessageBox(const std::string& text, const std::string& caption) override;
    void Inform(const std::string& text, const std::string& caption) override;
    bool YesNo(const std::string& text, const std::string& caption) override;
    std::string InputBox(const std::string& prompt, const std::string& title, const std::string& first) override;
    std::string SaveFile(const std::string& title, const std::string& first, const std::string& filter) override;
};
