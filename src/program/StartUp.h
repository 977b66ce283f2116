// The start of the program in fixed order, and its end.
#pragma once

#include "Bytes.h"
#include "Clock.h"

#include <cstdint>
#include <string>
#include <vector>

namespace basApp {

// The program's entry; the front end is in place before it (program::UseFrontEnd). False when the program is to
// end at once (a second instance, a failed unattended set-up); otherwise it lives on the window system's message
// loop from here.
bool Main(const std::string& rawCommandLine);
// The same for a program that may run beside others, without the options of the command line.
bool StartBesideOthers();
// In fixed order: event, mutexes, library, store, front end. Continues after failures without a message.
void ShutdownApplication();
// The same for a process that is already exiting: calls neither the library nor the front end.
void ShutdownWithoutLibrary();

// Joins argv into the raw command line: a value that names a path ("/" inside) or holds a blank is
// put in double quotes, also one that is joined to its option ("/Dfw/app.twd"); one that
// names an existing file relative to the current directory is made absolute. An argument that
// holds several options with their values is taken word by word.
std::string JoinArguments(const std::vector<std::string>& arguments);

// One row of the supporting-files check.
struct Dependency {
    std::string FileName;
    platform::SystemTime ExpectedDate; // a field of 0 isn't tested
    bool InWindowsDirectory = false;
    bool InApplicationDirectory = false;
    bool NewerIsAcceptable = false;
};
void VerifySupportingFiles();
// 0, or -1 when the file doesn't exist. A wrong date is only logged.
std::int32_t VerifySupportingFile(const Dependency& dependency);

// `name` in 8-bit characters, a terminating 0 is added when missing. The result of HookSystemModule.
std::int32_t InitializeModule(ByteArray name);
void InitializeBootloaderModule();
void InitializeDebuggerModule();

} // namespace basApp
