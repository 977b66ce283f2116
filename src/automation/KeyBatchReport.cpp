// Writes the report of a batch, and a data file for each operation that worked.
#include "CodePage.h"
#include "Files.h"
#include "KeyBatch.h"
#include "KeyBatchParts.h"
#include "Paths.h"
#include "Processes.h"
#include "basAutomation.h"
#include "basBootloader.h"
#include "basConfigRom.h"
#include "basUtils.h"

#include <algorithm>
#include <array>
#include <filesystem>

namespace basAutomation {

namespace {

namespace fs = std::filesystem;
using basBootloader::SUCCESS;
using platform::Failure;

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

// --- Where a value may be written ---

// Files and folders of the program in its directory.
constexpr const char* PROGRAM_FILES[] = {"HoistlineApp",  "hoistline",          "Twl1394api.so", "db1.mdb",
                                         "db1.mdb-wal",   "db1.mdb-shm",        "db1_clean.mdb", "db1-compacted.mdb",
                                         "debug_log.mdb", "simulated-bus.json", "bus-state",     "docs"};

// Without links and "..", as far as it exists.
fs::path RealPath(const std::string& path) {
    const std::string resolved = platform::ResolvePath(path);
    return fs::weakly_canonical(fs::absolute(resolved.empty() ? "." : resolved));
}

bool LiesWithin(const fs::path& path, const fs::path& folder) {
    return std::ranges::mismatch(folder, path).in1 == folder.end();
}

// Compares the files themselves, since one can have several names.
bool IsSameFile(const fs::path& one, const fs::path& other) {
    std::error_code error;
    return one == other || fs::equivalent(one, other, error);
}

bool IsProgramFile(const fs::path& path) {
    const fs::path lowered = platform::LowerCase(path.string()); // the program finds its files in any spelling
    return std::ranges::any_of(
        std::array{platform::ProgramDirectory(), platform::ExecutableDirectory()}, [&](const std::string& directory) {
            return std::ranges::any_of(PROGRAM_FILES, [&](const char* name) {
                const fs::path file = RealPath(platform::JoinPath(directory, name));
                return LiesWithin(lowered, platform::LowerCase(file.string())) || IsSameFile(path, file);
            });
        });
}

// --- The report ---

// The report and the data files of one batch.
class Report {
public:
    Report(const platform::FileName& batchFile, std::size_t operationCount);
    bool IsWhole() const { return whole_; }
    const platform::FileName& File() const { return report_; }
    void Write(const std::vector<std::string>& lines);
    void WriteEnd();
    // False when an existing file can't be replaced.
    bool WriteDataFile(KeyOperation& operation);

private:
    // The batch itself, its report, the status file and the program are never replaced by a value.
    bool IsInUse(const std::string& path) const;
    void ReplaceDataFile(const std::string& path, const KeyOperation& operation);
    void NotePlace(const std::string& path, const std::string& dataFile);

    platform::ResumeNext<decltype(LogFailure(""))> next_{LogFailure("DumpKeyBatchOutput")};
    platform::FileName batchFile_, report_;
    BatchFacts facts_;
    OutputFileOwner file_;
    bool whole_ = true;
    std::vector<std::string> outside_; // the data files outside the folder of the batch
};

// In the spelling of the batch file's own name, since the command line is in upper case.
platform::FileName ReportPath(const platform::FileName& batchFile) {
    const platform::FileName folder = FolderOf(batchFile);
    const auto found = platform::FindFirstFileA(batchFile.Typed);
    return folder + ReportFileName(found ? found->FileName : batchFile.Typed.substr(folder.Typed.size()));
}

Report::Report(const platform::FileName& batchFile, std::size_t operationCount)
    : batchFile_(batchFile), report_(ReportPath(batchFile)) {
    facts_ = {report_.Shown, PresentTime(), fs::path(platform::ExecutablePath()).stem().string(),
              basApp::globals.RawCommandLine, operationCount};
    whole_ = next_([&] { file_ = std::make_unique<platform::OutputFile>(report_.Typed); });
    Write(ReportHead(facts_));
}

void Report::Write(const std::vector<std::string>& lines) {
    if (!file_)
        return;
    whole_ = next_([&] {
                 for (const std::string& line : lines)
                     file_->WriteLine(line);
             }) &&
             whole_;
}

bool Report::IsInUse(const std::string& path) const {
    const fs::path file = RealPath(path);
    return IsProgramFile(file) ||
           std::ranges::any_of(std::array{batchFile_.Typed, report_.Typed, globals.StatusFile},
                               [&](const std::string& used) { return IsSameFile(file, RealPath(used)); });
}

// The old file is kept until the new one is complete: a write's data file is the only copy of its value.
void Report::ReplaceDataFile(const std::string& path, const KeyOperation& operation) {
    if (path.size() > LONGEST_PATH || IsInUse(path))
        platform::Raise(platform::PATH_ACCESS_ERROR, platform::DescriptionOf(platform::PATH_ACCESS_ERROR));
    if (fs::is_symlink(platform::ResolvePath(path)))
        platform::DeleteFile(path); // the link may be as foreign as the batch
    platform::WriteFileAtomically(path, BytesOf(DataFileLines(operation, facts_, MakerOf(operation.DeviceId))));
}

void Report::NotePlace(const std::string& path, const std::string& dataFile) {
    const fs::path file = RealPath(path);
    if (!LiesWithin(file, RealPath(globals.KeyBatchDirectory.Typed)))
        outside_.push_back(fmt::format("{} ({})", dataFile, file.string()));
}

bool Report::WriteDataFile(KeyOperation& operation) {
    if (operation.DataFile.empty())
        operation.DataFile = basUtils::ByteArrayToHexString(operation.DeviceId, 8) + ".txt";
    const platform::FileName path = globals.KeyBatchDirectory + operation.DataFile;
    facts_.time = PresentTime();
    const bool exists = FileIsThere(path);
    if (exists)
        StatusDisplay(LEVEL_USER, "Overwriting existing file '{}'", path);
    bool refused = false; // as opposed to a full disk
    const bool written = next_([&] {
        try {
            ReplaceDataFile(path.Typed, operation);
        } catch (const Failure& failure) {
            refused = failure.Number == platform::PATH_ACCESS_ERROR || failure.Number == platform::PERMISSION_DENIED;
            throw;
        }
    });
    if (written) {
        next_([&] { NotePlace(path.Typed, operation.DataFile); });
        return true;
    }
    if (operation.Operation == READ_KEY_OPERATION)
        operation.Status = -1; // its value is lost
    if (exists && refused) {
        StatusDisplay(LEVEL_ERROR, "DumpKeyBatchOutput: failed to remove existing file'{}', aborting operation!", path);
        return false;
    }
    StatusDisplay(LEVEL_ERROR, "DumpKeyBatchOutput: the data file '{}' could not be written.", path);
    return true;
}

// The path for the report's link; empty when it isn't found.
std::string FindStatusFile() {
    for (const platform::FileName& folder :
         {globals.KeyBatchDirectory, platform::FileName(platform::ProgramDirectory() + "\\"),
          platform::FileName(platform::CurrentDirectory() + "\\")})
        if (FileIsThere(folder + globals.StatusFile))
            return folder.Shown + globals.StatusFile;
    return {};
}

void Report::WriteEnd() {
    Write(ReportEnd(FindStatusFile(), globals.StatusFile));
    Write(PlaceLines(outside_));
}

} // namespace

std::int32_t DumpKeyBatchOutput(std::vector<KeyOperation>& operations, const platform::FileName& batchFile) {
    Report report(batchFile, operations.size() - 1);
    for (std::size_t i = 1; i < operations.size(); ++i) {
        KeyOperation& operation = operations[i];
        if (operation.Status == SUCCESS && !report.WriteDataFile(operation))
            return -1;
        if (operation.Status != SUCCESS && !operation.NotDone)
            StatusDisplay(LEVEL_USER, "# FAILED, code 0x{:X}", Bits(operation.Status));
        report.Write(ReportRow(operation));
    }
    report.WriteEnd();
    if (!report.IsWhole())
        return -1;
    if (globals.ShowOutputOnExit)
        platform::Attempt([&] { platform::Shell("cmd /c start " + report.File().Typed); },
                          LogFailure("DumpKeyBatchOutput"));
    return 1;
}

} // namespace basAutomation
