#include "Display.h"

#include <QGuiApplication>
#include <QString>

#include <cstdio>
#include <cstdlib>
#include <string>
#include <string_view>

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

QtMessageHandler before = nullptr; // the handler of messages outside of an opening

void TakeMessage(QtMsgType type, const QMessageLogContext& context, const QString& message) {
    if (type == QtFatalMsg) {
        std::fprintf(stderr,
                     "HoistlineApp: no display answers (DISPLAY=\"%s\", WAYLAND_DISPLAY=\"%s\", "
                     "QT_QPA_PLATFORM=\"%s\").  %s\n",
                     Variable("DISPLAY").c_str(), Variable("WAYLAND_DISPLAY").c_str(), Variable(PLATFORM).c_str(),
                     ADVICE);
        std::_Exit(1);
    }
    // What the window systems say of a display that doesn't answer is said by the line above.
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

DisplayOpening::DisplayOpening() {
    before = qInstallMessageHandler(TakeMessage);
}

DisplayOpening::~DisplayOpening() {
    qInstallMessageHandler(before);
}
