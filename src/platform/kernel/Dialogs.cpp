#include "Dialogs.h"

#include <cstdio>

namespace platform {

namespace {

class PlainDialogs : public Dialogs {
public:
    void MessageBox(const std::string& text, const std::string& caption) override { Tell(text, caption); }
    bool YesNo(const std::string& text, const std::string& caption) override {
        Tell(text, caption);
        return false;
    }
    std::string InputBox(const std::string& prompt, const std::string& title, const std::string&) override {
        Tell(prompt, title);
        return {};
    }
    std::string SaveFile(const std::string&, const std::string&, const std::string&) override { return {}; }

private:
    static void Tell(const std::string& text, const std::string& caption) {
        std::fprintf(stderr, "%s: %s\n", caption.c_str(), text.c_str());
    }
};

struct Globals {
    PlainDialogs plain;
    Dialogs* current = nullptr; // null: the plain ones
} globals;

} // namespace

void UseDialogs(Dialogs* dialogs) {
    globals.current = dialogs;
}
Dialogs& CurrentDialogs() {
    return globals.current != nullptr ? *globals.current : globals.plain;
}

} // namespace platform
