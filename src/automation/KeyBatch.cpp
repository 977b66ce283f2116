// A batch from its start to its end, and its operations carried out. KeyBatchFile.cpp reads it,
// KeyBatchReport.cpp writes what it leaves.
#include "KeyBatch.h"

#include "CodePage.h"
#include "KeyBatchParts.h"
#include "Paths.h"
#include "Processes.h"
#include "RunFailures.h"
#include "WindowSystem.h"
#include "basBootloader.h"
#include "basUtils.h"

#include <algorithm>
#include <array>

namespace basAutomation {

namespace {

using basBootloader::SUCCESS;

// The handle of the first target, whose GUID takes the place of the word for it. 0 when there is none.
std::int32_t HandleOfFirstTarget(ByteArray& deviceId) {
    const BootloaderTarget& first = basBootloader::globals.TargetList.front();
    if (first.Handle > 0)
        deviceId.assign(first.Info.GUID.begin(), first.Info.GUID.end());
    return first.Handle;
}

// Devices that share a GUID may share one record of the list too: a value could reach either.
bool IsUnique(const ByteArray& deviceId) {
    const auto sharing = std::ranges::count_if(basBootloader::globals.CompatibleGuids, [&](const auto& guid) {
        return std::equal(guid.begin(), guid.end(), deviceId.begin(), deviceId.end());
    });
    if (sharing > 1)
        StatusDisplay(LEVEL_ERROR, "PerformKeyOperations: {} devices on the bus have the ID '{}'.  None is worked on.",
                      sharing, basUtils::ByteArrayToHexString(deviceId));
    return sharing <= 1;
}

std::int32_t FindHandle(KeyOperation& operation) {
    const bool wantsFirst = operation.DeviceId == ByteArray{FIRST_TARGET};
    const std::int32_t handle = wantsFirst ? HandleOfFirstTarget(operation.DeviceId) : HandleOfGuid(operation.DeviceId);
    return IsUnique(operation.DeviceId) ? handle : 0;
}

void TellData(const char* verb, const char* direction, const ByteArray& data) {
    StatusDisplay(LEVEL_WATCH, "PerformKeyOperations: {} {} bytes {} target", verb, data.size(), direction);
    if (basDebug::Wanted(LEVEL_WATCH))
        StatusDisplay(LEVEL_WATCH, "  data='{}'", platform::TextFromAnsi(data));
}

void Read(std::int32_t handle, KeyOperation& operation) {
    constexpr std::size_t SHORTEST_VALUE = 2;
    operation.Status = basBootloader::ReadKey(handle, operation.KeyName, operation.Data);
    if (operation.Status != SUCCESS) {
        StatusDisplay(LEVEL_ERROR, "PerformKeyOperations: failed to read key value, code 0x{:X}.",
                      Hex(operation.Status));
        return;
    }
    if (!operation.Data.empty())
        operation.Data.pop_back(); // the spare byte behind the value
    TellData("received", "from", operation.Data);
    if (operation.Data.size() < SHORTEST_VALUE)
        operation.Status = -1;
}

void Write(std::int32_t handle, KeyOperation& operation) {
    operation.Status = basBootloader::WriteKey(handle, operation.KeyName, operation.Data);
    if (operation.Status == SUCCESS)
        TellData("sent", "to", operation.Data);
    else
        StatusDisplay(LEVEL_ERROR, "PerformKeyOperations: failed to write key value, code 0x{:X}.",
                      Hex(operation.Status));
}

void PerformOnce(KeyOperation& operation) {
    const std::int32_t handle = FindHandle(operation);
    if (handle == 0 || handle == basBootloader::INVALID_HANDLE_ERROR) {
        StatusDisplay(LEVEL_WARNING, "PerformKeyOperations: failed to get handle for device '{}'",
                      basUtils::ByteArrayToHexString(operation.DeviceId));
        return;
    }
    if (operation.Operation == READ_KEY_OPERATION)
        Read(handle, operation);
    else
        Write(handle, operation);
}

// A turn for the window system, and more of them until a bus reset has been handled: behind one the
// node numbers at hand may be those of other devices. False when it stays.
bool BusIsKnown() {
    constexpr std::int32_t MOST_TURNS = 500;
    constexpr std::uint32_t PAUSE = 20; // ms
    platform::DoEvents();
    for (std::int32_t turn = 0; bas1394::globals.BusResetPending && turn < MOST_TURNS; ++turn) {
        platform::Sleep(PAUSE);
        platform::DoEvents();
    }
    return !bas1394::globals.BusResetPending;
}

// Nothing once the run is to end; an operation that has begun comes to its end all the same.
// A success with a bus reset in it may be that of another device, so the operation is done anew.
void Perform(KeyOperation& operation) {
    constexpr int MOST_ATTEMPTS = 3;
    for (int attempt = 0; attempt < MOST_ATTEMPTS && BusIsKnown(); ++attempt) {
        if (attempt == 0 && basApp::globals.EndRequested) {
            operation.NotDone = true;
            return;
        }
        const std::int32_t generation = bas1394::globals.TopologyMap.Generation;
        PerformOnce(operation);
        if (operation.Status != SUCCESS)
            return;
        if (BusIsKnown() && bas1394::globals.TopologyMap.Generation == generation)
            return;
        operation.Status = bas1394::RESULT_BUS_RESET;
        StatusDisplay(LEVEL_WARNING, "PerformKeyOperations: the bus was reset during the operation.");
    }
    StatusDisplay(LEVEL_ERROR, "PerformKeyOperations: bus resets kept the operation from being carried out.");
}

void ShowStatusFile() {
    if (globals.ShowOutputOnExit)
        platform::Shell("cmd /c start notepad.exe " + globals.StatusFile);
}

// False, with its ERROR, when there is no such file, or its name could be that of several.
bool IsBatchFile(const platform::FileName& file) {
    if (!FileIsThere(file)) {
        TellMissing("PerformKeyBatchOperation", file);
        return false;
    }
    const std::vector<std::string> meant = platform::PathsMeant(file.Typed);
    if (meant.size() > 1) {
        StatusDisplay(LEVEL_ERROR, "PerformKeyBatchOperation: \"{}\" could be any of {}.  Can't perform operation!",
                      file, platform::Quoted(meant));
    }
    return meant.size() == 1;
}

} // namespace

std::int32_t HandleOfGuid(const ByteArray& deviceId) {
    std::array<std::uint8_t, 8> guid{};
    if (deviceId.size() != guid.size())
        return 0;
    std::copy(deviceId.begin(), deviceId.end(), guid.begin());
    return basBootloader::GetDeviceHandleFromGuid(guid);
}

std::int32_t PerformKeyOperations(std::vector<KeyOperation>& operations) {
    platform::ResumeNext next{Reporter("PerformKeyOperations")};
    std::int32_t result = -1;
    for (std::size_t i = 1; i < operations.size(); ++i) {
        operations[i].NotDone = basApp::globals.EndRequested;
        if (!operations[i].NotDone)
            next([&] { Perform(operations[i]); });
        if (operations[i].Status == SUCCESS)
            result = 1;
    }
    if (const auto notDone = std::ranges::count_if(operations, &KeyOperation::NotDone)) {
        StatusDisplay(LEVEL_ERROR,
                      "PerformKeyOperations: the program is being closed; {} of {} operations were not done.", notDone,
                      operations.size() - 1);
    }
    return result;
}

std::int32_t PerformKeyBatchOperation(const platform::FileName& batchFile) {
    platform::ResumeNext next{Reporter("PerformKeyBatchOperation")};
    if (!IsBatchFile(batchFile)) {
        next(ShowStatusFile);
        return -1;
    }
    globals.KeyBatchDirectory = FolderOf(batchFile);
    std::vector<KeyOperation> operations;
    // The word for a step that failed; the others go on.
    const auto done = [&](const char* step, std::int32_t code) {
        if (code != SUCCESS)
            StatusDisplay(LEVEL_ERROR, "PerformKeyBatchOperation error: {} returned code 0x{:X}", step, Hex(code));
        return code == SUCCESS;
    };
    if (!done("GetKeyOperationsFromFile",
              Code(next, [&] { return GetKeyOperationsFromFile(batchFile, operations); }))) {
        next(ShowStatusFile);
        return -1;
    }
    done("PerformKeyOperations", Code(next, [&] { return PerformKeyOperations(operations); }));
    done("DumpKeyBatchOutput", Code(next, [&] { return DumpKeyBatchOutput(operations, batchFile); }));
    return 1;
}

std::int32_t ExecuteKeyBatchFromMenu() {
    globals.ShowOutputOnExit = true;
    const std::string typed = "/R batch-operations\\keybatch.html";
    std::string text = platform::UpperCase(typed);
    if (ParseCommandLine(text, typed) != 1) {
        StatusDisplay(LEVEL_ERROR, "mnuExecuteKeybatch_Click: Error processing command line!");
        return 1;
    }
    if (!CommandLineHasOperations(basApp::globals.CommandLineOptions)) {
        basApp::globals.PerformUnattendedOperations = false;
        return 1;
    }
    const std::int32_t result = Initialize();
    return basApp::globals.PerformUnattendedOperations ? result : 1;
}

} // namespace basAutomation
