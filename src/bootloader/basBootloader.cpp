#include "basBootloader.h"

#include "Handles.h"

namespace basBootloader {

Globals globals;

namespace {

platform::Handle OpenTransactionMutex() {
    constexpr const char* NAME = "ShellTransactionMutex";
    platform::Handle mutex = platform::OpenMutexA(platform::MUTEX_ALL_ACCESS, true, NAME);
    if (mutex != 0) {
        StatusDisplay(LEVEL_TRACE, "Opened Shell Transaction Mutex (handle={}).", mutex);
        return mutex;
    }
    StatusDisplay(LEVEL_TRACE, "Creating Shell Transaction Mutex...");
    mutex = platform::CreateMutexA(false, NAME);
    StatusDisplay(LEVEL_TRACE, "Created Shell Transaction Mutex (handle={}).", mutex);
    if (mutex == 0) {
        StatusDisplay(LEVEL_FATAL, "Fatal 1394 error: cannot create Shell Transaction Mutex.");
        StatusDisplay(LEVEL_ERROR, "No command can be sent to a device: {}.", platform::LockTrouble());
    }
    return mutex;
}

} // namespace

void InitializeTargetList() {
    globals = {};
    globals.TargetListMutex = platform::CreateMutexA(false, "");
    globals.TransactionMutex = OpenTransactionMutex();
}

void TerminateTargetList() {
    globals.DeviceLocks.reset();
    for (platform::Handle* mutex : {&globals.TargetListMutex, &globals.TransactionMutex}) {
        if (*mutex != 0)
            platform::CloseHandle(*mutex);
        *mutex = 0;
    }
}

const char* FirmwareImageTypeLookup(std::int32_t imageType) {
    switch (imageType) {
    case IMAGE_APPLICATION:
        return "Application";
    case IMAGE_CONFIG:
        return "Config";
    case IMAGE_DEBUGGER:
        return "Debugger";
    case IMAGE_BOOTLOADER:
        return "Bootloader";
    default:
        return "Invalid";
    }
}

} // namespace basBootloader
