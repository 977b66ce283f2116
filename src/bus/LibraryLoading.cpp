// Loads and unloads the library, and receives the notices that it posts.

#include "CodePage.h"
#include "Failure.h"
#include "Files.h"
#include "LibraryCalls.h"
#include "Modules.h"
#include "Paths.h"
#include "RecordVariables.h"
#include "WindowSystem.h"
#include "bas1394.h"

#include <cstdlib>
#include <filesystem>

namespace bas1394 {

namespace {

constexpr const char* LIBRARY_NAME = "Twl1394api.dll";
constexpr const char* KERNEL_LIBRARY = "Twl1394kernel.so"; // the one for the kernel's FireWire devices
constexpr const char* REPLAY_LIBRARY = "Twl1394replay.so"; // answers from a record
constexpr const char* RECORD_LIBRARY = "Twl1394record.so"; // stands before any of them
constexpr std::int32_t DRIVER_ERRORS_ENDURED = 19;

// The library's callbacks, on any thread. What they deliver is handled at the window system's next
// turn, and dropped once notices are no longer taken.
void PostNotice(void*, std::uint32_t number) {
    platform::Post([number] {
        if (globals.CallbackWindowHooked)
            CallbackWindowProc(number);
    });
}

void AppendDebugText(void*, const char* text) {
    if (text == nullptr)
        return;
    platform::Post([spew = platform::TextFromAnsi(reinterpret_cast<const std::uint8_t*>(text),
                                                  std::char_traits<char>::length(text))] {
        if (globals.CallbackWindowHooked)
            basApp::CurrentFrontEnd().AppendDebugSpew(spew);
    });
}

void NoteBusReset() {
    globals.BusResetPending = true;
    globals.BusEnumerated = false;
}

void NoteDriverError() {
    StatusDisplay(LEVEL_ERROR, "Error Message received from 1394 Virtual Device driver!");
    StatusDisplay(LEVEL_ERROR, "  this error sometimes occurs in bus reset processing - treat it as a bus reset!");
    if (++globals.DriverErrors <= DRIVER_ERRORS_ENDURED) {
        NoteBusReset();
        return;
    }
    StatusDisplay(LEVEL_FATAL, "We continue to receive errors from the 1394 driver.  Cannot continue!");
    StatusDisplay(LEVEL_FATAL, "  Possible corrective actions: restart the application, reboot the PC, and/or send an "
                               "error report to the software provider.");
}

void LogWhereTheLibraryIs() {
    const auto found = platform::FindFirstFileA(platform::ModuleFileName(LIBRARY_NAME));
    StatusDisplay(LEVEL_TRACE, "About to load 'Twl1394api.dll'...");
    StatusDisplay(LEVEL_TRACE, "App path = '{}'", platform::ProgramDirectory());
    StatusDisplay(LEVEL_TRACE, "CurDir = '{}'", platform::CurrentDirectory());
    StatusDisplay(LEVEL_TRACE, "Dir(Twl1394api.dll) = '{}'", found ? found->FileName : std::string());
}

// One that comes with the program: beside the executable, where an update puts it.
std::string OwnLibrary(const char* name) {
    std::error_code error;
    const std::string own = platform::JoinPath(platform::ExecutableDirectory(), name);
    return std::filesystem::exists(own, error) ? own : platform::JoinPath(platform::ProgramDirectory(), name);
}

// The library that records, before the one in this file, which has been loaded and stays so.
void* LoadRecorder(const std::string& file) {
    setenv(TWL1394_RECORD_VARIABLE, globals.Record.File.c_str(), 1);
    setenv(TWL1394_RECORDED_VARIABLE, platform::ModulePath(file).c_str(), 1);
    setenv(TWL1394_REDACT_VARIABLE, globals.Record.Redacts ? "1" : "", 1);
    setenv(TWL1394_ABOUT_VARIABLE,
           fmt::format("program={} {}\nbus={}\nlibrary={}\n", basApp::TITLE, basApp::VersionText(), TextOf(globals.Bus),
                       std::filesystem::path(platform::ModulePath(file)).filename().string())
               .c_str(),
           1);
    return platform::LoadLibraryA(OwnLibrary(RECORD_LIBRARY));
}

void* LoadAndBind() {
    const std::string file = globals.LibraryFile.empty()
                                 ? platform::JoinPath(platform::ProgramDirectory(), LIBRARY_NAME)
                                 : globals.LibraryFile;
    void* module = platform::LoadLibraryA(file);
    if (module != nullptr && !globals.Record.File.empty())
        module = LoadRecorder(file);
    std::string reason = module == nullptr ? platform::LastModuleError() : std::string();
    if (module != nullptr && !library::Bind(module, reason)) {
        platform::FreeLibrary(module);
        module = nullptr;
    }
    if (module == nullptr) {
        StatusDisplay(LEVEL_ERROR,
                      "ERROR loading Twl1394api.dll!  Call to LoadLibrary returned 0.  The app will generate numerous "
                      "errors and the 1394 interface will not be enabled.");
        const std::string remedy = globals.LibraryFile.empty() ? fmt::format("  Put the access library into '{}'.",
                                                                             platform::ProgramDirectory())
                                                               : std::string();
        StatusDisplay(LEVEL_ERROR, "Twl1394api.dll could not be loaded: {}.{}", reason, remedy);
    }
    return module;
}

} // namespace

void ChooseBus(const BusChoice& choice) {
    const bool described = choice.Kind != BusKind::Library && !choice.Description.empty();
    globals.LibraryFile = choice.Kind == BusKind::Kernel    ? OwnLibrary(KERNEL_LIBRARY)
                          : choice.Kind == BusKind::Replay  ? OwnLibrary(REPLAY_LIBRARY)
                          : choice.Kind == BusKind::Library ? choice.Description
                                                            : "";
    globals.Bus = choice;
    if (described)
        setenv(TWL1394_BUS_VARIABLE, choice.Description.c_str(), 1);
    else
        unsetenv(TWL1394_BUS_VARIABLE);
}

void ChooseRecord(const RecordChoice& choice) {
    globals.Record = choice;
}

void* LoadTwl1394Dll(bool withCallbacks) {
    void* module = nullptr;
    const auto load = [&] {
        globals.NullDevice.NodeNum = NO_NODE;
        globals.Client = {nullptr, PostNotice, AppendDebugText};
        LogWhereTheLibraryIs();
        module = LoadAndBind();
        globals.LibraryModule = module;
        if (module == nullptr)
            return;
        StatusDisplay(LEVEL_TRACE, "LoadLibrary call returned, module handle = 0x{:X}",
                      reinterpret_cast<std::uintptr_t>(module));
        if (!withCallbacks) {
            StatusDisplay(LEVEL_WARNING,
                          "No window passed to bas1394.LoadTwl1394Dll.  Receiving callbacks will not be possible (Bus "
                          "Reset and Incoming Transaction notices)");
            return;
        }
        const std::int32_t code = library::RegisterClient();
        if (code != RESULT_SUCCESS)
            StatusDisplay(LEVEL_WARNING, "RegisterClient failed in bas1394.LoadTwl1394Dll, code {}", code);
    };
    const bool done = platform::Attempt(load, LogFailure("LoadTwl1394Dll"));
    return done ? module : nullptr;
}

void UnloadTwl1394Dll() {
    FreeAllRanges();
    platform::Attempt(library::DeRegisterClient, platform::IgnoreFailure);
    library::Unbind();
    if (globals.LibraryModule != nullptr)
        platform::FreeLibrary(globals.LibraryModule);
    globals.LibraryModule = nullptr;
}

void HookCallbackWindow(bool enable) {
    globals.CallbackWindowHooked = enable;
}

void CallbackWindowProc(std::uint32_t message) {
    switch (message) {
    case TWL1394_NOTICE_DEVICE_CHANGE:
        StatusDisplay(LEVEL_WATCH, "Device Change message from Windows.");
        break;
    case TWL1394_NOTICE_BUS_RESET:
        StatusDisplay(LEVEL_USER, "Bus Reset Message received from 1394 Virtual Device driver");
        NoteBusReset();
        break;
    case TWL1394_NOTICE_BUS_RESET_VHPD:
        StatusDisplay(LEVEL_USER, "Bus Reset Message received from VHPD driver");
        NoteBusReset();
        break;
    case TWL1394_NOTICE_INCOMING_DATA:
        StatusDisplay(LEVEL_WATCH, "Incoming Data Message received (likely from a Tarnwell bootloader target).  "
                                   "Broadcasting a halt command...");
        globals.IncomingDataPending = true;
        break;
    case TWL1394_NOTICE_DRIVER_ERROR:
        NoteDriverError();
        break;
    default:
        break;
    }
}

std::vector<std::string> TakeDebugLines(const std::string& boxText) {
    static constexpr std::string_view LINE_END = "\r\n";
    std::vector<std::string> lines;
    std::size_t position = 0;
    for (std::size_t end = boxText.find(LINE_END); end != std::string::npos; end = boxText.find(LINE_END, position)) {
        lines.push_back(boxText.substr(position, end - position));
        position = end + LINE_END.size();
    }
    return lines;
}

} // namespace bas1394
