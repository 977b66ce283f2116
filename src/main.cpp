// The program with windows: the window system, the front end, and the message loop.

#include "AppIcon.h"
#include "AppPalette.h"
#include "CodePage.h"
#include "Display.h"
#include "EndRequest.h"
#include "Mail.h"
#include "Processes.h"
#include "Program.h"
#include "QtDialogs.h"
#include "QtWindowSystem.h"
#include "WindowFrontEnd.h"
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

bool HasOperations(const std::string& commandLine) {
    return basAutomation::CommandLineHasOperations(
        basAutomation::SplitCommandLine(platform::UpperCase(commandLine), commandLine).Options);
}

bool programRuns = false; // from Main until the message loop has ended

// When its display server goes away, the window system calls exit() in the middle of a turn, while everything still
// exists. The C library would destroy it in an order that crashes.
void EndWithDisplay() {
    if (!programRuns)
        return;
    programRuns = false;
    program::EndWithoutWindows("The display server has gone away, and the program ends with it.");
    std::fflush(nullptr);
    std::_Exit(1);
}

// From the start until the program has ended.
void Run(const std::string& commandLine) {
    programRuns = true;
    // No result reaches the operating system. A start that failed before there was a window ends here.
    if (basApp::Main(commandLine) && windows::globals.parent != nullptr) {
        platform::CatchEndSignals();
        const program::EndWatch watch;
        QApplication::exec();
    } else {
        basApp::ShutdownApplication(); // what the start has opened, while the platform it needs still exists
    }
    programRuns = false;
}

// The whole life of the program with this display.
void RunOnDisplay(const std::string& commandLine, bool unattended, char** argv) {
    int qtArguments = 1; // the command line is the program's own
    std::optional<DisplayOpening> opening(std::in_place, unattended, argv);
    QApplication application(qtArguments, argv);
    opening.reset();
    application.setApplicationName(basApp::TITLE);
    QApplication::setWindowIcon(AppIcon());
    QApplication::setPalette(ReadablePalette(QApplication::palette()));
    QApplication::setQuitOnLastWindowClosed(false);
    const QtWindowSystem windowSystem;
    // A run without a user must not wait for one: its boxes are lines on standard error.
    std::optional<QtDialogs> dialogs;
    std::optional<platform::ComposerMail> mail;
    if (unattended) {
        platform::CatchEndSignals(); // its status file begins with the start
    } else {
        dialogs.emplace();
        mail.emplace();
    }
    WindowFrontEnd frontEnd([] { QCoreApplication::exit(0); });
    program::UseFrontEnd(frontEnd);
    std::atexit(EndWithDisplay);
    Run(commandLine);
}

} // namespace

int main(int argc, char** argv) {
    const std::vector<std::string> arguments(argv + 1, argv + argc);
    const std::string commandLine = basApp::JoinArguments(arguments);
    const bool unattended = HasOperations(commandLine);
    if (!ChooseDisplay(unattended))
        return 1;
    RunOnDisplay(commandLine, unattended, argv);
    if (windows::globals.startAgain)
        platform::RunAgain(arguments);
    return 0;
}
