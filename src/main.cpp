// The program: the window system, the windows wired to the layers below, and the message loop.

#include "AppIcon.h"
#include "AppPalette.h"
#include "CodePage.h"
#include "Mail.h"
#include "QtDialogs.h"
#include "QtWindowSystem.h"
#include "WindowWiring.h"
#include "Windows.h"
#include "basApp.h"
#include "basAutomation.h"

#include <QApplication>
#include <QPalette>

#include <cstdio>
#include <cstdlib>
#include <optional>
#include <string>
#include <vector>

namespace {

bool HasDisplay() {
    return std::getenv("DISPLAY") != nullptr || std::getenv("WAYLAND_DISPLAY") != nullptr ||
           std::getenv("QT_QPA_PLATFORM") != nullptr;
}

bool HasOperations(const std::string& commandLine) {
    std::string text = platform::UpperCase(commandLine);
    basAutomation::InitializeCommandLineOptions();
    basAutomation::ParseCommandLine(text, commandLine);
    const bool operations = basAutomation::CommandLineHasOperations(basApp::globals.CommandLineOptions);
    basApp::globals = {};
    basAutomation::globals = {};
    return operations;
}

// Without a display only a run that nobody has to watch makes sense.
bool ChoosePlatform(const std::string& commandLine) {
    if (HasDisplay())
        return true;
    if (!HasOperations(commandLine)) {
        std::fputs("HoistlineApp: there is no display to open the windows on (DISPLAY and WAYLAND_DISPLAY are not "
                   "set).\nStart it in a desktop session, or give it an operation such as /D <package>.\n",
                   stderr);
        return false;
    }
    setenv("QT_QPA_PLATFORM", "offscreen", 1);
    setenv("QT_LOGGING_RULES", "default.warning=false", 0); // about the window system that isn't there
    return true;
}

} // namespace

int main(int argc, char** argv) {
    const std::string commandLine = basApp::JoinArguments(std::vector<std::string>(argv + 1, argv + argc));
    if (!ChoosePlatform(commandLine))
        return 1;
    int qtArguments = 1; // the command line is the program's own
    QApplication application(qtArguments, argv);
    application.setApplicationName(basApp::TITLE);
    QApplication::setWindowIcon(AppIcon());
    QApplication::setPalette(ReadablePalette(QApplication::palette()));
    QApplication::setQuitOnLastWindowClosed(false);
    const QtWindowSystem windowSystem;
    // A run without a user must not wait for one: its boxes are lines on standard error.
    std::optional<QtDialogs> dialogs;
    std::optional<platform::ComposerMail> mail;
    if (!HasOperations(commandLine)) {
        dialogs.emplace();
        mail.emplace();
    }
    WireWindows([] { QCoreApplication::exit(0); });
    // No result reaches the operating system. A start that failed before there was a window ends here.
    if (basApp::Main(commandLine) && windows::globals.parent != nullptr)
        return QApplication::exec();
    basApp::ShutdownApplication(); // what the start had opened, while all that it stands on is there
    return 0;
}
