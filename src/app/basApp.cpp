// The program's globals, its own messages, the system modules of the library, and the shutdown.
#include "basApp.h"

#include "Dialogs.h"

namespace basApp {

Globals globals;
Hooks hooks;

namespace {

bool MainWindowExists() {
    return hooks.mainWindowExists && hooks.mainWindowExists();
}

ByteArray ModuleName(std::string_view name) {
    return ByteArray(name.begin(), name.end());
}

std::int32_t HookModule(ByteArray& name) {
    if (name.empty() || name.back() != 0)
        name.push_back(0);
    StatusDisplay(LEVEL_WATCH, "Calling HookSystemModule...");
    if (!hooks.hookSystemModule)
        return 0;
    const std::int32_t result = hooks.hookSystemModule(name);
    if (result != 1) {
        StatusDisplay(LEVEL_ERROR, "HookSystemModule failed, code {}(0x{:X} in InitializeModule", result,
                      static_cast<std::uint32_t>(result));
    }
    return result;
}

} // namespace

bool StatusDisplayWanted(std::int32_t level) {
    return MainWindowExists() ? basDebug::Wanted(level) : level >= LEVEL_ERROR;
}

void StatusDisplayText(std::string_view message, std::int32_t level) {
    if (MainWindowExists()) {
        basDebug::StatusDisplay(message, level, "basApp");
        return;
    }
    if (level < LEVEL_ERROR)
        return;
    const std::string caption = fmt::format("basApp Message: {} level", basDebug::GetLevelName(level));
    if (!globals.PerformUnattendedOperations)
        platform::CurrentDialogs().MessageBox(std::string(message), caption);
    else if (hooks.writeStatusFileLine)
        hooks.writeStatusFileLine(caption); // the caption alone
}

void TellStoreNotice(const std::string& text) {
    if (globals.StoreNotice.empty() == text.empty())
        return;
    globals.StoreNotice = text;
    if (hooks.storeNotice)
        hooks.storeNotice(text);
}

void MessageBoxOrStatusFile(const std::string& text, const std::string& caption) {
    if (!globals.PerformUnattendedOperations)
        platform::CurrentDialogs().MessageBox(text, caption);
    else if (hooks.writeStatusFileLine)
        hooks.writeStatusFileLine(text);
}

std::int32_t InitializeModule(ByteArray name) {
    std::int32_t result = 0;
    platform::Attempt([&] { result = HookModule(name); },
                      [](const platform::Failure& failure) {
                          StatusDisplay(LEVEL_ERROR, "ERROR #{}: {} in InitializeModule", failure.Number,
                                        failure.Description);
                      });
    return result;
}

void InitializeBootloaderModule() {
    StatusDisplay(LEVEL_WATCH, "Initializing the bootloader module...");
    InitializeModule(ModuleName("Bootloader"));
    StatusDisplay(LEVEL_WATCH, "The bootloader module has been initialized.");
}

void InitializeDebuggerModule() {
    StatusDisplay(LEVEL_WATCH, "Initializing the debugger module...");
    InitializeModule(ModuleName("1394debugger"));
    StatusDisplay(LEVEL_WATCH, "The debugger module has been initialized.");
}

void ShutdownApplication() {
    platform::ResumeNext next{platform::IgnoreFailure};
    const auto call = [&next](const std::function<void()>& hook) {
        if (hook)
            next(hook);
    };
    if (globals.ApplicationShutdownEvent != 0) {
        next([] { platform::SetEvent(globals.ApplicationShutdownEvent); });
        next([] { platform::CloseHandle(globals.ApplicationShutdownEvent); });
        globals.ApplicationShutdownEvent = 0;
    }
    call(hooks.terminateTargetList);
    call(hooks.unloadLibrary);
    call(hooks.releaseStore);
    call(hooks.endProgram);
}

} // namespace basApp
