#include "KeyBatch.h"

#include "CodePage.h"
#include "Paths.h"
#include "Processes.h"
#include "RunFailures.h"
#include "WindowSystem.h"
#include "basBootloader.h"
#include "basConfigRom.h"
#include "basUtils.h"

#include <algorithm>
#include <filesystem>
#include <utility>

namespace basAutomation {

namespace {

using basBootloader::SUCCESS;
using platform::Failure;

constexpr std::uint8_t FIRST_TARGET = 2;        // the one byte of a DeviceId in place of a GUID
constexpr std::int32_t INPUT_PAST_END = 62;     // the classic number of a read behind the end of a file
constexpr std::size_t LONGEST_PATH = 4096;      // longer ones name nothing, and walking them takes its time
constexpr std::int32_t MOST_FAULTS_TOLD = 1000; // of one file: it could be any file, of any size

std::uint32_t Hex(std::int32_t code) {
    return static_cast<std::uint32_t>(code);
}

// --- Files ---

bool FileIsThere(const std::string& path) {
    return path.size() <= LONGEST_PATH && basApp::FileExists(path);
}

std::string TextOfFile(const std::string& path) {
    const ByteArray bytes = platform::ReadWholeFile(path);
    if (bytes.empty())
        platform::Raise(INPUT_PAST_END, "Input past end of file");
    return platform::TextFromAnsi(bytes);
}

// Path up to its last separator, and the rest.
std::pair<std::string, std::string> Split(const std::string& path) {
    const std::size_t name = path.find_last_of("\\/") + 1; // npos is -1
    return {path.substr(0, name), path.substr(name)};
}

void TellMissing(const char* procedure, const std::string& path) {
    StatusDisplay(LEVEL_ERROR, "{}: \"{}\" does not exist.  Can't perform operation!  (current directory = {})",
                  procedure, path, platform::CurrentDirectory());
}

// --- Reading a batch ---

// The faults of one file. The first ones are told; a file that isn't a batch at all has too many.
class FaultLog {
public:
    explicit FaultLog(std::string file) : file_(std::move(file)) {}
    template <class... Arguments>
    void operator()(std::int32_t level, fmt::format_string<Arguments...> text, Arguments&&... arguments) {
        if (++count_ <= MOST_FAULTS_TOLD)
            StatusDisplay(level, text, std::forward<Arguments>(arguments)...);
        else if (count_ == MOST_FAULTS_TOLD + 1)
            StatusDisplay(LEVEL_ERROR, "\"{}\" has more than {} faults; the others are not listed.", file_,
                          MOST_FAULTS_TOLD);
    }

private:
    std::string file_;
    std::int32_t count_ = 0;
};

// For the ResumeNext of a procedure that reads a file.
auto FaultReporter(FaultLog& faults, const char* procedure) {
    return [&faults, procedure](const Failure& failure) {
        faults(LEVEL_ERROR, "Error #{}: {} in {}", failure.Number, failure.Description, procedure);
    };
}

using Words = std::vector<std::string>;

bool TakeRead(const Words& words, KeyOperation& operation, FaultLog& faults) {
    if (words.size() < 3) {
        faults(LEVEL_WARNING, "GetKeyOperationsFromFile: read operation takes 2 or 3 arguments, not {}",
               words.size() - 1);
        return false;
    }
    operation.Operation = READ_KEY_OPERATION;
    operation.KeyName = words[2];
    operation.DataFile = words.size() > 3 ? words[3] : "";
    return true;
}

bool TakeWrite(const Words& words, KeyOperation& operation, FaultLog& faults) {
    if (words.size() < 4)
        return false;
    const std::string path = globals.KeyBatchDirectory + words[3];
    if (!FileIsThere(path)) {
        faults(LEVEL_ERROR, "GetKeyOperationsFromFile: key data file '{}' not found!", path);
        return false;
    }
    if (GetKeyDataFromFile(path, operation.Data) != SUCCESS) {
        faults(LEVEL_ERROR, "GetKeyOperationsFromFile failed to read data from file '{}'!", path);
        return false;
    }
    operation.Operation = WRITE_KEY_OPERATION;
    operation.KeyName = words[2];
    operation.DataFile = words[3];
    return true;
}

// False when the words make no operation.
bool TakeOperation(const Words& words, const std::string& batchFile, KeyOperation& operation, FaultLog& faults) {
    const std::string kind = platform::LowerCase(words[0]);
    if (kind == "read")
        return TakeRead(words, operation, faults);
    if (kind == "write")
        return TakeWrite(words, operation, faults);
    faults(LEVEL_ERROR, "GetKeyOperationsFromFile: Invalid key operation (first parameter) specified in {}", batchFile);
    return false;
}

void TakeDevice(const std::string& word, KeyOperation& operation) {
    if (platform::LowerCase(word).find("--single") != std::string::npos)
        operation.DeviceId = {FIRST_TARGET};
    else
        basUtils::HexString2Ascii(word, operation.DeviceId); // a failure leaves one zero byte, which is nobody's
}

// --- Carrying it out ---

// The handle of the first target, whose GUID takes the place of the word for it. 0 when there is none.
std::int32_t HandleOfFirstTarget(ByteArray& deviceId) {
    const BootloaderTarget& first = basBootloader::globals.TargetList.front();
    if (first.Handle > 0)
        deviceId.assign(first.Info.GUID.begin(), first.Info.GUID.end());
    return first.Handle;
}

std::int32_t HandleOfGuid(const ByteArray& deviceId) {
    std::array<std::uint8_t, 8> guid{};
    if (deviceId.size() != guid.size())
        return 0;
    std::copy(deviceId.begin(), deviceId.end(), guid.begin());
    return basBootloader::GetDeviceHandleFromGuid(guid);
}

std::int32_t FindHandle(KeyOperation& operation) {
    const bool wantsFirst = operation.DeviceId == ByteArray{FIRST_TARGET};
    return wantsFirst ? HandleOfFirstTarget(operation.DeviceId) : HandleOfGuid(operation.DeviceId);
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

// A success with a bus reset in it may be that of another device, so the operation is done anew.
void Perform(KeyOperation& operation) {
    constexpr int MOST_ATTEMPTS = 3;
    for (int attempt = 0; attempt < MOST_ATTEMPTS && BusIsKnown(); ++attempt) {
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

// --- Telling of it ---

std::string PresentTime() {
    return basUtils::FormatSystemTime(platform::GetLocalTime(), "yyyy-mm-dd hh:nn:ss");
}

std::optional<MakerTexts> MakerOf(const ByteArray& deviceId) {
    const Device& device = basBootloader::GetNodeNum(HandleOfGuid(deviceId));
    if (device.NodeNum == NO_NODE)
        return std::nullopt;
    return MakerTexts{basConfigRom::GetConfigRomVendorText(device.ConfigRom),
                      basConfigRom::GetConfigRomModelText(device.ConfigRom)};
}

ByteArray BytesOf(const std::vector<std::string>& lines) {
    std::string text;
    for (const std::string& line : lines)
        text += line + "\r\n";
    return platform::AnsiFromText(text);
}

// A report that is being written, and the data files beside it.
class Report {
public:
    Report(const std::string& batchFile, std::size_t operationCount);
    bool IsOpen() const { return file_ != nullptr; }
    const std::string& Path() const { return facts_.report; }
    void Write(const std::vector<std::string>& lines);
    // False when a file is in the way that can't be replaced.
    bool WriteDataFile(KeyOperation& operation);

private:
    // Neither the batch itself nor its report is ever replaced by a value.
    bool IsInUse(const std::string& path) const;

    platform::ResumeNext<decltype(Reporter(""))> next_{Reporter("DumpKeyBatchOutput")};
    std::string batchFile_;
    BatchFacts facts_;
    OutputFileOwner file_;
};

// In the spelling of the folder: the command line comes in capitals.
std::string ReportPath(const std::string& batchFile) {
    const auto found = platform::FindFirstFileA(batchFile);
    const auto [folder, name] = Split(batchFile);
    return folder + ReportFileName(found ? found->FileName : name);
}

Report::Report(const std::string& batchFile, std::size_t operationCount) : batchFile_(batchFile) {
    facts_ = {ReportPath(batchFile), PresentTime(), std::filesystem::path(platform::ExecutablePath()).stem().string(),
              basApp::globals.RawCommandLine, operationCount};
    next_([&] { file_ = std::make_unique<platform::OutputFile>(facts_.report); });
    Write(ReportHead(facts_));
}

void Report::Write(const std::vector<std::string>& lines) {
    if (!file_)
        return;
    next_([&] {
        for (const std::string& line : lines)
            file_->WriteLine(line);
    });
}

bool Report::IsInUse(const std::string& path) const {
    const std::string resolved = platform::ResolvePath(path);
    return resolved == platform::ResolvePath(batchFile_) || resolved == platform::ResolvePath(facts_.report);
}

bool Report::WriteDataFile(KeyOperation& operation) {
    if (operation.DataFile.empty())
        operation.DataFile = basUtils::ByteArrayToHexString(operation.DeviceId, 8) + ".txt";
    const std::string path = globals.KeyBatchDirectory + operation.DataFile;
    facts_.time = PresentTime();
    const bool exists = FileIsThere(path);
    if (exists)
        StatusDisplay(LEVEL_USER, "Overwriting existing file '{}'", path);
    // The old file goes when the new one is whole: that of a write is the only copy of what was written.
    const bool written = next_([&] {
        if (path.size() > LONGEST_PATH || IsInUse(path))
            platform::Raise(platform::PATH_ACCESS_ERROR, platform::DescriptionOf(platform::PATH_ACCESS_ERROR));
        platform::WriteFileAtomically(path, BytesOf(DataFileLines(operation, facts_, MakerOf(operation.DeviceId))));
    });
    if (!written && exists) {
        StatusDisplay(LEVEL_ERROR, "DumpKeyBatchOutput: failed to remove existing file'{}', aborting operation!", path);
        return false;
    }
    return true;
}

// Where the report can link to it; empty when it is nowhere.
std::string FindStatusFile() {
    for (const std::string& folder :
         {globals.KeyBatchDirectory, platform::ProgramDirectory() + "\\", platform::CurrentDirectory() + "\\"})
        if (FileIsThere(folder + globals.StatusFile))
            return folder + globals.StatusFile;
    return {};
}

void ShowStatusFile() {
    if (globals.ShowOutputOnExit)
        platform::Shell("cmd /c start notepad.exe " + globals.StatusFile);
}

} // namespace

std::int32_t GetKeyDataFromFile(const std::string& filePath, ByteArray& data) {
    FaultLog faults(filePath);
    platform::ResumeNext next{FaultReporter(faults, "GetKeyDataFromFile")};
    std::string text, joined;
    next([&] { text = TextOfFile(filePath); });
    ForEachLine(
        text, [&](const std::string& fault) { faults(LEVEL_ERROR, "{}", fault); },
        [&](const std::string& line) { joined += platform::Trim(line); });
    data = joined.empty() ? ByteArray(1) : platform::AnsiFromText(joined);
    return joined.empty() ? -1 : 1;
}

std::int32_t GetKeyOperationsFromFile(const std::string& batchFile, std::vector<KeyOperation>& operations) {
    operations.assign(1, {});
    if (!FileIsThere(batchFile)) {
        TellMissing("GetKeyOperationsFromFile", batchFile);
        return -1;
    }
    FaultLog faults(batchFile);
    platform::ResumeNext next{FaultReporter(faults, "GetKeyOperationsFromFile")};
    std::string text;
    next([&] { text = TextOfFile(batchFile); });
    const auto takeLine = [&](std::string& line) {
        Words words;
        KeyOperation operation;
        if (line.find_first_not_of(' ') == std::string::npos)
            return;
        SplitArguments(line, words);
        if (!TakeOperation(words, batchFile, operation, faults))
            return;
        next([&] { TakeDevice(words[1], operation); });
        operations.push_back(std::move(operation));
    };
    ForEachLine(
        text, [&](const std::string& fault) { faults(LEVEL_ERROR, "{}", fault); },
        [&](std::string& line) { next([&] { takeLine(line); }); });
    return 1;
}

std::int32_t PerformKeyOperations(std::vector<KeyOperation>& operations) {
    platform::ResumeNext next{Reporter("PerformKeyOperations")};
    std::int32_t result = -1;
    for (std::size_t i = 1; i < operations.size(); ++i) {
        next([&] { Perform(operations[i]); });
        if (operations[i].Status == SUCCESS)
            result = 1;
    }
    return result;
}

std::int32_t DumpKeyBatchOutput(std::vector<KeyOperation>& operations, const std::string& batchFile) {
    Report report(batchFile, operations.size() - 1);
    for (std::size_t i = 1; i < operations.size(); ++i) {
        KeyOperation& operation = operations[i];
        if (operation.Status != SUCCESS)
            StatusDisplay(LEVEL_USER, "# FAILED, code 0x{:X}", Hex(operation.Status));
        else if (!report.WriteDataFile(operation))
            return -1;
        report.Write(ReportRow(operation));
    }
    report.Write(ReportEnd(FindStatusFile(), globals.StatusFile));
    if (!report.IsOpen())
        return -1;
    if (globals.ShowOutputOnExit)
        platform::Attempt([&] { platform::Shell("cmd /c start " + report.Path()); }, Reporter("DumpKeyBatchOutput"));
    return 1;
}

std::int32_t PerformKeyBatchOperation(const std::string& batchFile) {
    platform::ResumeNext next{Reporter("PerformKeyBatchOperation")};
    if (!FileIsThere(batchFile)) {
        TellMissing("PerformKeyBatchOperation", batchFile);
        next(ShowStatusFile);
        return -1;
    }
    globals.KeyBatchDirectory = Split(batchFile).first;
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
    std::string text = platform::UpperCase("/R batch-operations\\keybatch.html");
    if (ParseCommandLine(text) != 1) {
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
