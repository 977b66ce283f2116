// Runs a batch. KeyBatchFile.cpp reads it, KeyBatchReport.cpp writes its report and data files.
#include "KeyBatch.h"

#include "CodePage.h"
#include "EndRequest.h"
#include "KeyBatchParts.h"
#include "OneTarget.h"
#include "Paths.h"
#include "Processes.h"
#include "basAutomation.h"
#include "basBootloader.h"
#include "basUtils.h"

#include <algorithm>
#include <array>
#include <utility>

namespace basAutomation {

namespace {

using basBootloader::SUCCESS;

// The handle of the first target, 0 without one. Its GUID takes the place of "--single" in `deviceId`.
std::int32_t HandleOfFirstTarget(ByteArray& deviceId) {
    const BootloaderTarget& first = basBootloader::globals.TargetList.front();
    if (first.Handle > 0)
        deviceId.assign(first.Info.GUID.begin(), first.Info.GUID.end());
    return first.Handle;
}

// Devices with the same GUID may share one record of the list, so that a value could reach either.
bool IsUnique(const ByteArray& deviceId) {
    const auto sharing = std::ranges::count_if(basBootloader::globals.CompatibleNodes, [&](const CompatibleNode& node) {
        return std::ranges::equal(node.GUID, deviceId);
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
    operation.Status = basBootloader::ReadKey(handle, operation.KeyName, operation.Data);
    if (operation.Status != SUCCESS) {
        StatusDisplay(LEVEL_ERROR, "PerformKeyOperations: failed to read key value, code 0x{:X}.",
                      Bits(operation.Status));
        return;
    }
    if (!operation.Data.empty())
        operation.Data.pop_back(); // the spare byte after the value
    TellData("received", "from", operation.Data);
}

void Write(std::int32_t handle, KeyOperation& operation) {
    operation.Status = basBootloader::WriteKey(handle, operation.KeyName, operation.Data);
    if (operation.Status == SUCCESS)
        TellData("sent", "to", operation.Data);
    else
        StatusDisplay(LEVEL_ERROR, "PerformKeyOperations: failed to write key value, code 0x{:X}.",
                      Bits(operation.Status));
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

// An end that is asked for here is in effect before the front end has had a turn to see it.
bool Ends() {
    return basApp::globals.ClosesAfterOperation || platform::EndRequested();
}

// A batch takes a value of one character for none.
void PerformInBatch(KeyOperation& operation) {
    constexpr std::size_t SHORTEST_VALUE = 2;
    PerformKeyOperation(operation);
    const bool read = operation.Operation == READ_KEY_OPERATION && operation.Status == SUCCESS;
    if (read && operation.Data.size() < SHORTEST_VALUE)
        operation.Status = -1;
}

void ShowStatusFile() {
    if (globals.ShowOutputOnExit)
        platform::Shell("cmd /c start notepad.exe " + globals.StatusFile);
}

// The error, also logged, if there is no such file or its name could mean several; empty for a batch file that can be
// used.
std::string FaultOfBatchFile(const platform::FileName& file) {
    if (!FileIsThere(file)) {
        TellMissing("PerformKeyBatchOperation", file);
        return fmt::format("The key batch \"{}\" does not exist.", file);
    }
    const std::vector<std::string> meant = platform::PathsMeant(file.Typed);
    if (meant.size() <= 1)
        return {};
    std::string fault = fmt::format("PerformKeyBatchOperation: \"{}\" could be any of {}.  Can't perform operation!",
                                    file, platform::Quoted(meant));
    StatusDisplay(LEVEL_ERROR, "{}", fault);
    return fault;
}

basApp::OutcomeKind OutcomeOf(const KeyOperation& operation) {
    if (operation.NotDone)
        return basApp::OutcomeKind::Interrupted;
    return operation.Status == SUCCESS ? basApp::OutcomeKind::Done : basApp::OutcomeKind::Failed;
}

void NoteOperation(const KeyOperation& operation, basApp::RunVerdict& verdict) {
    const bool reads = operation.Operation == READ_KEY_OPERATION;
    basApp::StepVerdict& step =
        NoteStep(verdict, reads ? basApp::OperationKind::ReadKey : basApp::OperationKind::WriteKey,
                 HandleOfGuid(operation.DeviceId), operation.Status,
                 operation.NotDone ? "The program was closed before the operation."
                                   : fmt::format("The operation failed, code {}.", operation.Status));
    step.Outcome = OutcomeOf(operation);
    step.Key = operation.KeyName;
    step.File = operation.DataFile;
    step.Length = std::ssize(operation.Data);
    step.Sent = step.Outcome == basApp::OutcomeKind::Done ? step.Length : 0;
}

// The operations, and what kept the batch as a whole from being done.
void NoteBatch(const std::vector<KeyOperation>& operations, std::int32_t dropped, bool reported,
               basApp::RunVerdict& verdict) {
    const auto note = [&](basApp::OutcomeKind outcome, std::string reason) {
        NoteStep(verdict, basApp::OperationKind::None, 0, basBootloader::FAILED, std::move(reason)).Outcome = outcome;
    };
    for (std::size_t i = 1; i < operations.size(); ++i)
        NoteOperation(operations[i], verdict);
    if (dropped > 0)
        note(basApp::OutcomeKind::Refused, fmt::format("{} lines of the batch make no operation.", dropped));
    else if (operations.size() == 1)
        note(basApp::OutcomeKind::Refused, "The batch has no operation.");
    if (!reported)
        note(basApp::OutcomeKind::Failed, "The report of the batch is incomplete.");
}

} // namespace

std::int32_t HandleOfGuid(const ByteArray& deviceId) {
    std::array<std::uint8_t, 8> guid{};
    if (deviceId.size() != guid.size())
        return 0;
    std::copy(deviceId.begin(), deviceId.end(), guid.begin());
    return basBootloader::GetDeviceHandleFromGuid(guid);
}

void PerformKeyOperation(KeyOperation& operation) {
    bool begun = false;
    operation.Status = OnKnownBus("PerformKeyOperations", [&] {
        if (begun)
            operation.Status = bas1394::RESULT_BUS_RESET;
        operation.NotDone = !begun && Ends();
        begun = true;
        if (!operation.NotDone)
            PerformOnce(operation);
        return operation.Status;
    });
}

std::int32_t PerformKeyOperations(std::vector<KeyOperation>& operations) {
    platform::ResumeNext next{LogFailure("PerformKeyOperations")};
    std::int32_t result = -1;
    for (std::size_t i = 1; i < operations.size(); ++i) {
        operations[i].NotDone = Ends();
        if (!operations[i].NotDone)
            next([&] { PerformInBatch(operations[i]); });
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

std::int32_t PerformKeyBatchOperation(const platform::FileName& batchFile, basApp::RunVerdict& verdict,
                                      const std::function<bool(std::vector<KeyOperation>& operations)>& mayBegin) {
    const auto logFailure = LogFailure("PerformKeyBatchOperation");
    const auto refuse = [&](std::string reason) {
        verdict.End(basApp::OutcomeKind::Refused, std::move(reason));
        platform::Attempt(ShowStatusFile, logFailure);
        return -1;
    };
    if (std::string fault = FaultOfBatchFile(batchFile); !fault.empty())
        return refuse(std::move(fault));
    globals.KeyBatchDirectory = FolderOf(batchFile);
    std::vector<KeyOperation> operations;
    std::int32_t dropped = 0;
    // True if the step worked; a failed one is reported, and the next still runs.
    const auto works = [&](const char* step, auto&& run) {
        const std::int32_t code = platform::ResultOf(run, logFailure);
        if (code != SUCCESS)
            StatusDisplay(LEVEL_ERROR, "PerformKeyBatchOperation error: {} returned code 0x{:X}", step, Bits(code));
        return code == SUCCESS;
    };
    if (!works("GetKeyOperationsFromFile", [&] { return GetKeyOperationsFromFile(batchFile, operations, dropped); }))
        return refuse(fmt::format("The key batch \"{}\" can't be read.", batchFile));
    if (mayBegin && !mayBegin(operations))
        return -1;
    works("PerformKeyOperations", [&] { return PerformKeyOperations(operations); });
    const bool reported = works("DumpKeyBatchOutput", [&] { return DumpKeyBatchOutput(operations, batchFile); });
    NoteBatch(operations, dropped, reported, verdict);
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
