#include "Display.h"

#include <QGuiApplication>
#include <QString>

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <string_view>
#include <tuple>
#include <unistd.h>
#include <vector>

namespace {

constexpr const char* PLATFORM = "QT_QPA_PLATFORM";
constexpr const char* ADVICE = "Start it in a desktop session, or give it an operation such as /D <package>.";

std::string Variable(const char* name) {
    const char* value = std::getenv(name);
    return value == nullptr ? std::string() : value;
}

// The window systems to try, in this order; the names are Qt's, and it takes the first one that answers.
std::string CandidatesOfRun() {
    std::string candidates = Variable(PLATFORM);
    if (candidates.empty() && !Variable("WAYLAND_DISPLAY").empty())
        candidates = "wayland;";
    if (candidates.empty() || candidates == "wayland;")
        candidates += "xcb";
    return candidates + ";offscreen";
}

QtMessageHandler before = nullptr; // the handler of other messages

// What a signal handler may use, all of it prepared before the opening.
struct Silence {
    std::string line;           // for standard error
    char** arguments = nullptr; // to start again with; null not to
    std::vector<char*> environment;
} silence;

void EndOpening(int) {
    if (silence.arguments != nullptr)
        execve("/proc/self/exe", silence.arguments, silence.environment.data());
    std::ignore = write(STDERR_FILENO, silence.line.data(), silence.line.size());
    std::_Exit(1);
}

void TakeMessage(QtMsgType type, const QMessageLogContext& context, const QString& message) {
    if (type == QtFatalMsg) {
        silence.arguments = nullptr; // there was an answer
        EndOpening(SIGALRM);
    }
    // The line above replaces what the window systems say about a display that doesn't answer.
    if (!std::string_view(context.category == nullptr ? "" : context.category).starts_with("qt.qpa") && before)
        before(type, context, message);
}

} // namespace

bool ChooseDisplay(bool unattended) {
    const bool display = std::getenv("DISPLAY") != nullptr || std::getenv("WAYLAND_DISPLAY") != nullptr ||
                         std::getenv(PLATFORM) != nullptr;
    if (!display && !unattended) {
        std::fprintf(stderr,
                     "HoistlineApp: there is no display to open the windows on (DISPLAY and WAYLAND_DISPLAY are not "
                     "set).\n%s\n",
                     ADVICE);
        return false;
    }
    if (unattended) {
        setenv(PLATFORM, display ? CandidatesOfRun().c_str() : "offscreen", 1);
        setenv("QT_LOGGING_RULES", "default.warning=false", 0); // about the window system that isn't there
    }
    return true;
}

DisplayOpening::DisplayOpening(bool unattended, char** arguments) {
    constexpr unsigned PATIENCE = 20; // s
    silence.line = "HoistlineApp: no display answers (DISPLAY=\"" + Variable("DISPLAY") + "\", WAYLAND_DISPLAY=\"" +
                   Variable("WAYLAND_DISPLAY") + "\", QT_QPA_PLATFORM=\"" + Variable(PLATFORM) + "\").  " + ADVICE +
                   "\n";
    static char offscreen[] = "QT_QPA_PLATFORM=offscreen";
    silence.arguments = unattended ? arguments : nullptr;
    for (char** variable = environ; *variable != nullptr; ++variable)
        if (!std::string_view(*variable).starts_with(std::string(PLATFORM) + '='))
            silence.environment.push_back(*variable);
    silence.environment.insert(silence.environment.end(), {offscreen, nullptr});
    before = qInstallMessageHandler(TakeMessage);
    struct sigaction action {};
    action.sa_handler = EndOpening;
    action.sa_flags = SA_NODEFER; // the restarted program inherits the mask
    sigaction(SIGALRM, &action, nullptr);
    alarm(PATIENCE);
}

DisplayOpening::~DisplayOpening() {
    alarm(0);
    std::signal(SIGALRM, SIG_DFL);
    qInstallMessageHandler(before);
}
