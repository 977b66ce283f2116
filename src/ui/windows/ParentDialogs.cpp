// The parent window's dialogs: message levels and the transaction time-out.

#include "CodePage.h"
#include "Dialogs.h"
#include "Form.h"
#include "LogFailure.h"
#include "MDIForm1.h"
#include "SettingKeys.h"
#include "WindowSettings.h"
#include "Windows.h"
#include "bas1394.h"
#include "basApp.h"
#include "basUtils.h"
#include "frmStatus.h"

#include <QMdiSubWindow>

#include <fmt/format.h>

#include <functional>

namespace {

constexpr const char* MODULE = "MDIForm1";

std::string LevelPrompt(const char* question) {
    std::string prompt = std::string(question) + "A lower number means more messages.";
    for (std::int32_t level = LEVEL_DETAIL; level <= LEVEL_NONE; level += 2)
        prompt += fmt::format("\r\n\tLEVEL_{}={}", basDebug::GetLevelName(level), level);
    return prompt;
}

struct LevelDialog {
    const char* title;
    const char* question;
    const char* key;
    std::int32_t highest;
    const char* unchanged;
};

constexpr LevelDialog LOGGING_LEVEL{"Debug Logging Level",
                                    "Please enter the new level of messages to add to the debug log (1 to 15).  ",
                                    settingKeys::DEBUG_LOGGING_LEVEL, LEVEL_NONE, ".  Debug Logging Level unchanged."};
constexpr LevelDialog MESSAGE_LEVEL{"Message Level",
                                    "Please enter the new level of messages to view on the screen (1 to 15).  ",
                                    settingKeys::DEBUG_MESSAGE_LEVEL, LEVEL_FATAL, ".  Message Level unchanged."};
constexpr LevelDialog DLL_LEVEL{"DLL Message Level",
                                "Please enter the new level of messages from the 1394 DLL (1 to 15).  ",
                                settingKeys::DLL_MESSAGE_LEVEL, LEVEL_FATAL, ".  1394 DLL Debug level unchanged."};

// Asks for a level and passes an accepted one to `accept`. Text that isn't a number raises failure 13.
void AskForLevel(const LevelDialog& dialog, const std::string& first, const std::function<void(std::int32_t)>& accept) {
    const std::string answer = platform::CurrentDialogs().InputBox(LevelPrompt(dialog.question), dialog.title, first);
    if (answer.empty())
        return;
    const std::int32_t number = platform::NumberFromText(answer);
    if (number < LEVEL_DETAIL || number > dialog.highest) {
        platform::CurrentDialogs().MessageBox(fmt::format("Invalid result: {}{}", number, dialog.unchanged),
                                              "Invalid Level");
        return;
    }
    accept(number);
    windowSettings::Save(settingKeys::GLOBAL_SECTION, dialog.key, std::to_string(number));
}

// The status window that the level is for; null, after a message box, if there is none.
frmStatus* WindowForLevel(MDIForm1* parent) {
    const QMdiSubWindow* active = parent->mdiArea->activeSubWindow();
    if (auto* status = active == nullptr ? nullptr : qobject_cast<frmStatus*>(active->widget()))
        return status;
    int count = 0;
    frmStatus* last = nullptr;
    for (frmStatus* status : windows::globals.statusWindows)
        if (status != nullptr && !status->unloaded()) {
            ++count;
            last = status;
        }
    if (count == 0)
        platform::CurrentDialogs().MessageBox("You must have a status window open in order to set the debug message "
                                              "level that's to be displayed within it.",
                                              "No Status Window");
    else if (count > 1)
        platform::CurrentDialogs().MessageBox(
            "Select the specific status form for which you intend to set the message level for.",
            "Status Window not Specified");
    return last;
}

} // namespace

void MDIForm1::mnuDebugLoggingLevel_Click() {
    const auto ask = [] {
        AskForLevel(LOGGING_LEVEL, std::to_string(basApp::globals.DebugLoggingLevel),
                    [](std::int32_t level) { basApp::globals.DebugLoggingLevel = level; });
    };
    platform::Attempt(ask, LogFailure(MODULE, "mnuDebugLoggingLevel_Click"));
}

void MDIForm1::mnuDebugMessageLevel_Click() {
    const auto ask = [this] {
        frmStatus* window = WindowForLevel(this);
        if (window == nullptr)
            return;
        AskForLevel(MESSAGE_LEVEL, std::to_string(window->MessageLevel),
                    [window](std::int32_t level) { window->MessageLevel = basApp::globals.DebugMessageLevel = level; });
    };
    platform::Attempt(ask, LogFailure(MODULE, "mnuDebugMessageLevel_Click"));
}

void MDIForm1::mnuDllMessageLevel_Click() {
    const auto ask = [] {
        AskForLevel(DLL_LEVEL, windowSettings::Get(settingKeys::GLOBAL_SECTION, settingKeys::DLL_MESSAGE_LEVEL, "7"),
                    [](std::int32_t level) {
                        basApp::globals.DllMessageLevel = level;
                        bas1394::SetDllMessageLevel(level);
                    });
    };
    platform::Attempt(ask, LogFailure(MODULE, "mnuDllMessageLevel_Click"));
}

void MDIForm1::mnuDefault1394TransactionTimeout_Click() {
    static constexpr const char* CAPTION = "Invalid Time Setting";
    const auto ask = [] {
        auto& globals = basApp::globals;
        const std::string answer = platform::CurrentDialogs().InputBox(
            "Please enter the new value for the default 1394 transaction timeout (in milliseconds).  Note: a value "
            "of "
            "0 causes the 1394 function calls to be made synchronously.",
            "Transaction Timeout Time",
            windowSettings::Get(settingKeys::GLOBAL_SECTION, settingKeys::DEFAULT_TRANSACTION_TIMEOUT,
                                std::to_string(globals.Default1394TransactionTimeout)));
        if (answer.empty())
            return;
        if (!basUtils::IsNumericText(answer)) {
            platform::CurrentDialogs().MessageBox(
                "Invalid result: 0.  You must enter a number!  Default transaction time unchanged.", CAPTION);
            return;
        }
        const std::int32_t number = platform::NumberFromText(answer);
        if (number < 0 || number > settingKeys::LONGEST_TRANSACTION_TIMEOUT) {
            platform::CurrentDialogs().MessageBox(
                fmt::format("Invalid result: {}.  Default transaction time unchanged.", number), CAPTION);
            return;
        }
        globals.Default1394TransactionTimeout = globals.CurrentTransactionTimeout = number;
        windowSettings::Save(settingKeys::GLOBAL_SECTION, settingKeys::DEFAULT_TRANSACTION_TIMEOUT,
                             std::to_string(number));
    };
    platform::Attempt(ask, LogFailure(MODULE, "mnuDefault1394TransactionTimeout_Click"));
}
