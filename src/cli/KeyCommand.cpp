// key: reads and writes the named items of a device's persistent store, one at a time or in a batch.
#include "BusSession.h"
#include "CallFiles.h"
#include "CodePage.h"
#include "Commands.h"
#include "DeviceChoice.h"
#include "DeviceLock.h"
#include "DeviceMode.h"
#include "KeyBatch.h"
#include "basApp.h"
#include "basBootloader.h"

#include <algorithm>
#include <array>
#include <filesystem>
#include <memory>
#include <optional>
#include <tuple>

namespace cli {

namespace {

using basAutomation::KeyOperation;
using basBootloader::SUCCESS;

constexpr std::size_t LONGEST_NAME = 40; // a target takes a longer one, but never hands out its value again

struct KeyOptions {
    std::string name, device, output, from, batch;
    std::optional<std::string> value; // with --from the device, when that is given
    bool reset = false;
};

// --- Names and values ---

// A character that the device's code page lacks would become another one.
bool HasBytes(const std::string& text) {
    return platform::TextFromAnsi(platform::AnsiFromText(text)) == text;
}

bool IsGoodName(Call& call, const std::string& name) {
    if (!HasBytes(name))
        return call.End(Verdict::Refused, fmt::format("No key has the name \"{}\": names are of the code page "
                                                      "Windows-1252.",
                                                      name));
    const std::size_t length = platform::AnsiFromText(name).size();
    return (length >= 1 && length <= LONGEST_NAME) ||
           call.End(Verdict::Refused, fmt::format("No key has the name \"{}\": a name has 1 to {} characters, not {}.",
                                                  name, LONGEST_NAME, length));
}

bool IsGoodValue(Call& call, const ByteArray& value) {
    if (value.empty())
        return call.End(Verdict::Refused, "The value is empty: a device doesn't hand out an empty one.");
    return value.size() <= static_cast<std::size_t>(basBootloader::LARGEST_KEY_DATA) ||
           call.End(Verdict::Refused, fmt::format("The value has {} bytes; a key can have {}.", value.size(),
                                                  basBootloader::LARGEST_KEY_DATA));
}

// The value of `set`, and the device when it took the value's place.
bool TakeValue(Call& call, KeyOptions& options, ByteArray& value) {
    if (options.from.empty()) {
        if (!options.value)
            return call.End(Verdict::Usage,
                            "Give the value, or a file with --from.  See \"hoistline key set --help\".");
        if (options.device.empty() && IsDeviceName(*options.value)) // the value may have been forgotten
            return call.End(Verdict::Usage,
                            fmt::format("\"{}\" could be the value or the device.  For the value, name the device too "
                                        "or give the value in a file with --from.",
                                        *options.value));
        if (!HasBytes(*options.value))
            return call.End(Verdict::Refused, "The value has characters that the code page Windows-1252 lacks; give "
                                              "its bytes in a file with --from.");
        value = platform::AnsiFromText(*options.value);
    } else {
        if (options.value && !options.device.empty())
            return call.End(Verdict::Usage, "Give the value or a file, not both.  See \"hoistline key set --help\".");
        if (options.value)
            options.device = *options.value;
        if (const std::string fault = FaultOfName(options.device); !fault.empty())
            return call.End(Verdict::Usage, fault + ".");
        if (!ReadInput(call, options.from, value))
            return false;
    }
    return IsGoodValue(call, value);
}

bool IsPrintable(std::uint8_t byte) {
    constexpr std::string_view UNASSIGNED =
        "\x81\x8D\x8F\x90\x9D"; // in the code page: terminals take them for controls
    return byte >= ' ' && byte != 0x7F && UNASSIGNED.find(static_cast<char>(byte)) == std::string_view::npos;
}

bool IsText(std::uint8_t byte) {
    return IsPrintable(byte) || byte == '\r' || byte == '\n' || byte == '\t';
}

// For a terminal: what isn't text becomes "\x00".
std::string Shown(const ByteArray& value) {
    std::string text;
    for (const std::uint8_t byte : value)
        text += IsText(byte) && byte != '\r' ? platform::TextFromAnsi(&byte, 1) : fmt::format("\\x{:02X}", byte);
    return text;
}

Json ToJson(const std::string& name, const ByteArray& value) {
    Json text;
    if (std::ranges::all_of(value, IsText))
        text = platform::TextFromAnsi(value);
    return {
        {"key", name}, {"bytes", value.size()}, {"text", text}, {"hex", fmt::format("{:02X}", fmt::join(value, ""))}};
}

// --- One operation ---

// What was first logged as an error from here on: the device's own reason rather than its consequences.
class FirstError {
public:
    explicit FirstError(const Call& call) : messages_(call.report.Messages), from_(messages_.size()) {}
    std::string Text() const { return from_ < messages_.size() ? messages_[from_].text : "it doesn't answer"; }

private:
    const std::vector<LoggedMessage>& messages_;
    std::size_t from_;
};

KeyOperation OperationOn(std::int32_t handle, std::int32_t kind, const std::string& name) {
    KeyOperation operation;
    operation.Operation = kind;
    const auto& guid = TargetOf(handle)->Info.GUID;
    operation.DeviceId.assign(guid.begin(), guid.end());
    operation.KeyName = name;
    return operation;
}

Step& NoteOperation(Call& call, std::int32_t handle, const KeyOperation& operation, const std::string& fault,
                    std::int64_t start) {
    const bool reads = operation.Operation == basAutomation::READ_KEY_OPERATION;
    Step& step = NoteStep(call, handle, reads ? "read-key" : "write-key",
                          fault.empty()       ? Verdict::Done
                          : operation.NotDone ? OutcomeOfEnd(Verdict::Failed)
                                              : Verdict::Failed,
                          fault, start);
    step.Subject = operation.KeyName;
    step.Length = std::ssize(operation.Data);
    step.Bytes = fault.empty() ? *step.Length : 0;
    return step;
}

bool Read(Call& call, std::int32_t handle, const std::string& name, ByteArray& value) {
    const std::int64_t start = platform::QueryPerformanceCounter();
    const FirstError error(call);
    KeyOperation operation = OperationOn(handle, basAutomation::READ_KEY_OPERATION, name);
    PerformKeyOperation(operation);
    const bool done = operation.Status == SUCCESS;
    const std::string fault =
        done ? "" : fmt::format("The key \"{}\" doesn't exist or can't be read ({}).", name, error.Text());
    if (!done)
        operation.Data.clear();
    NoteOperation(call, handle, operation, fault, start);
    value = std::move(operation.Data);
    return done || call.End(Verdict::Failed, fault);
}

// The value read back decides, not the answer to the last pass: it can get lost.
void WriteAndCompare(Call& call, std::int32_t handle, const std::string& name, const ByteArray& value) {
    const std::int64_t start = platform::QueryPerformanceCounter();
    const FirstError error(call);
    KeyOperation write = OperationOn(handle, basAutomation::WRITE_KEY_OPERATION, name);
    write.Data = value;
    PerformKeyOperation(write);
    KeyOperation check = OperationOn(handle, basAutomation::READ_KEY_OPERATION, name);
    if (!write.NotDone)
        PerformKeyOperation(check);
    std::string fault;
    if (write.NotDone)
        fault = "It wasn't begun.";
    else if (check.Status != SUCCESS)
        fault = fmt::format("What the key \"{}\" holds now isn't known ({}).", name, error.Text());
    else if (check.Data != value)
        fault = fmt::format("The key \"{}\" holds {} other bytes ({}).", name, check.Data.size(), error.Text());
    NoteOperation(call, handle, write, fault, start);
    if (fault.empty())
        call.Print(fmt::format("The key \"{}\" holds the {} bytes.", name, value.size()));
    else
        call.End(OutcomeOfEnd(Verdict::Failed), fault);
}

// --- The commands ---

void Deliver(Call& call, const KeyOptions& options, const ByteArray& value) {
    call.report.Answer = ToJson(options.name, value);
    if (!options.output.empty())
        std::ignore = WriteOutput(call, options.output, value);
    else if (call.WantsLines() && call.streams.OutIsTerminal)
        call.Print(Shown(value));
    else if (call.WantsLines())
        call.Write({reinterpret_cast<const char*>(value.data()), value.size()});
}

void Get(Call& call, const KeyOptions& options) {
    if (!IsGoodName(call, options.name))
        return;
    BusSession session(call);
    std::int32_t handle = 0;
    call.answerStandsAlone = options.output.empty();
    if (!session.OpenBus() || !ChooseTarget(call, options.device, handle))
        return;
    InBootloader(call, handle, options.reset, [&] {
        ByteArray value;
        if (Read(call, handle, options.name, value))
            Deliver(call, options, value);
    });
}

void Set(Call& call, KeyOptions options) {
    call.showsVerdict = true;
    ByteArray value;
    if (!IsGoodName(call, options.name) || !TakeValue(call, options, value))
        return;
    BusSession session(call);
    std::int32_t handle = 0;
    if (!session.OpenBus() || !ChooseTarget(call, options.device, handle))
        return;
    InBootloader(call, handle, options.reset, [&] { WriteAndCompare(call, handle, options.name, value); });
}

// --- A batch ---

// The devices of a batch, in their bootloaders as long as it runs.
class BatchDevices {
public:
    BatchDevices(Call& call, const KeyOptions& options) : call_(call), options_(options) {}
    // Chooses the device of lines with --single. False: the call has ended.
    bool Prepare(std::vector<KeyOperation>& operations);
    void Release();

private:
    bool ChooseSingle(std::vector<KeyOperation>& operations);
    bool Enter(std::int32_t handle);

    Call& call_;
    const KeyOptions& options_;
    std::vector<std::int32_t> handles_, reset_;
    std::vector<std::unique_ptr<basBootloader::DeviceLock>> locks_;
};

bool BatchDevices::ChooseSingle(std::vector<KeyOperation>& operations) {
    const auto isSingle = [](const KeyOperation& operation) {
        return operation.DeviceId == ByteArray{basAutomation::FIRST_TARGET};
    };
    if (options_.device.empty() && std::ranges::none_of(operations, isSingle))
        return true;
    std::int32_t handle = 0;
    if (!ChooseTarget(call_, options_.device, handle))
        return false;
    const auto& guid = TargetOf(handle)->Info.GUID;
    for (KeyOperation& operation : operations)
        if (isSingle(operation))
            operation.DeviceId.assign(guid.begin(), guid.end());
    return true;
}

bool BatchDevices::Enter(std::int32_t handle) {
    const bool ranApplication = !RunsBootloader(*TargetOf(handle));
    locks_.push_back(std::make_unique<basBootloader::DeviceLock>(handle));
    if (!HasLock(call_, *locks_.back()) || !EnterBootloaderIf(options_.reset, call_, handle))
        return false;
    if (ranApplication)
        reset_.push_back(handle);
    return true;
}

bool BatchDevices::Prepare(std::vector<KeyOperation>& operations) {
    if (!ChooseSingle(operations))
        return false;
    for (const KeyOperation& operation : operations) {
        std::array<std::uint8_t, 8> guid{};
        std::copy_n(operation.DeviceId.begin(), std::min(operation.DeviceId.size(), guid.size()), guid.begin());
        const std::int32_t handle = basBootloader::GetDeviceHandleFromGuid(guid);
        const BootloaderTarget* target = TargetOf(handle);
        if (target == nullptr || !IsPresent(*target) || std::ranges::count(handles_, handle) > 0)
            continue; // an operation without its device fails by itself
        handles_.push_back(handle);
        if (!Enter(handle))
            return false;
    }
    return true;
}

void BatchDevices::Release() {
    for (const std::int32_t handle : reset_)
        StartAgain(call_, handle);
}

std::string ReportOf(const std::string& batch) {
    const std::filesystem::path path = batch;
    return path.parent_path() / basAutomation::ReportFileName(path.filename().string());
}

void PrintStep(Call& call, const Step& step) {
    if (step.Operation != "none")
        call.Print(fmt::format(
            "{:<9} {}  {:<24}  {}", step.Operation, step.Guid.empty() ? "-" : step.Guid, Printable(step.Subject),
            step.Outcome == Verdict::Done ? fmt::format("{} bytes", step.Bytes.value_or(0)) : WordOf(step.Outcome)));
}

void Conclude(Call& call, basApp::RunVerdict& run) {
    run.Conclude();
    const bool someDone = std::ranges::any_of(
        run.Steps, [](const basApp::StepVerdict& step) { return step.Outcome == basApp::OutcomeKind::Done; });
    if (run.Outcome == basApp::OutcomeKind::Refused && someDone)
        run.Outcome = basApp::OutcomeKind::Failed;
    const std::size_t before = call.report.Steps.size();
    call.report.Take(run);
    for (std::size_t i = before; i < call.report.Steps.size(); ++i)
        PrintStep(call, call.report.Steps[i]);
}

void Batch(Call& call, const KeyOptions& options) {
    call.showsVerdict = true;
    BusSession session(call);
    if (!session.OpenBus())
        return;
    basApp::globals.RawCommandLine = "key batch " + options.batch; // for the report
    BatchDevices devices(call, options);
    basApp::RunVerdict run;
    run.Result = basAutomation::PerformKeyBatchOperation(
        options.batch, run, [&](std::vector<KeyOperation>& operations) { return devices.Prepare(operations); });
    if (!call.Ended() || !run.Steps.empty()) {
        Conclude(call, run);
        const std::string report = ReportOf(options.batch);
        call.report.Answer = {{"report", report}};
        if (!run.Steps.empty())
            call.Print("Report: " + Printable(report));
    }
    devices.Release();
    call.End(Verdict::Done);
}

} // namespace

void AddKey(CommandSet& set) {
    auto options = std::make_shared<KeyOptions>();
    CLI::App* group = set.AddGroup("key", "read and write the named items of a device's persistent store");
    const auto add = [&](const char* name, const char* summary, auto run) {
        CLI::App* command = set.Add(
            name, summary, [options, run](Call& call) { run(call, *options); }, group);
        AddResetFlag(command, options->reset);
        return command;
    };
    CLI::App* get = add("get", "write one key to standard output or into a file", Get);
    get->add_option("NAME", options->name, "the key's name")->required()->type_name("");
    AddFile(get, "--output", options->output, "write the value into this file instead");
    AddDevice(get, options->device);
    CLI::App* put = add("set", "write one key, read it back and compare", Set);
    put->add_option("NAME", options->name, "the key's name")->required()->type_name("");
    put->add_option("VALUE", options->value, "the value as text; left out with --from")->type_name("");
    AddFile(put, "--from", options->from, "write the bytes of this file");
    AddDevice(put, options->device);
    CLI::App* batch =
        add("batch", "carry out the reads and writes that a file lists, and write a report beside it", Batch);
    AddFile(batch, "FILE", options->batch, "the batch")->required();
    AddDevice(batch, options->device)
        ->description(
            "the device of lines with --single: its GUID, or \"#2\"; not needed when exactly one device fits");
}

} // namespace cli
