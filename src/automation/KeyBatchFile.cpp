// Reads a batch file and the data files of its writes.
#include "CodePage.h"
#include "Files.h"
#include "KeyBatch.h"
#include "KeyBatchParts.h"
#include "Paths.h"
#include "basAutomation.h"
#include "basBootloader.h"
#include "basUtils.h"

#include <utility>

namespace basAutomation {

namespace {

using basBootloader::SUCCESS;
using platform::Failure;

constexpr std::int32_t INPUT_PAST_END = 62;         // the customary number for a read beyond the end of a file
constexpr std::int32_t MOST_FAULTS_REPORTED = 1000; // per file, which may be of any kind and size

std::string TextOfFile(const platform::FileName& file) {
    const ByteArray bytes = platform::ReadWholeFile(file.Typed);
    if (bytes.empty())
        platform::Raise(INPUT_PAST_END, "Input past end of file");
    return platform::TextFromAnsi(bytes);
}

// Reports the first faults of one file; a file of another kind has too many.
class FaultLog {
public:
    explicit FaultLog(const platform::FileName& file) : file_(file.Shown) {}
    template <class... Arguments>
    void operator()(std::int32_t level, fmt::format_string<Arguments...> text, Arguments&&... arguments) {
        if (++count_ <= MOST_FAULTS_REPORTED)
            StatusDisplay(level, text, std::forward<Arguments>(arguments)...);
        else if (count_ == MOST_FAULTS_REPORTED + 1)
            StatusDisplay(LEVEL_ERROR, "\"{}\" has more than {} faults; the others are not listed.", file_,
                          MOST_FAULTS_REPORTED);
    }

private:
    std::string file_;
    std::int32_t count_ = 0;
};

// The overload for a procedure that reads a file.
auto LogFailure(FaultLog& faults, const char* procedure) {
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
    const platform::FileName path = globals.KeyBatchDirectory + words[3];
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

// False for words that make no operation.
bool TakeOperation(const Words& words, const platform::FileName& batchFile, KeyOperation& operation, FaultLog& faults) {
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
        basUtils::HexString2Ascii(word, operation.DeviceId); // a failure leaves one zero byte, which no device has
}

} // namespace

bool FileIsThere(const platform::FileName& file) {
    return file.Typed.size() <= LONGEST_PATH && basApp::FileExists(std::as_const(file.Typed));
}

platform::FileName FolderOf(const platform::FileName& file) {
    const std::size_t name = file.Typed.find_last_of("\\/") + 1; // npos is -1
    return {file.Shown.substr(0, name), file.Typed.substr(0, name)};
}

void TellMissing(const char* procedure, const platform::FileName& file) {
    StatusDisplay(LEVEL_ERROR, "{}: \"{}\" does not exist.  Can't perform operation!  (current directory = {})",
                  procedure, file, platform::CurrentDirectory());
}

std::int32_t GetKeyDataFromFile(const platform::FileName& file, ByteArray& data) {
    FaultLog faults(file);
    platform::ResumeNext next{LogFailure(faults, "GetKeyDataFromFile")};
    std::string text, joined;
    next([&] { text = TextOfFile(file); });
    ForEachLine(
        text, ItemReader::Comment::Line, [&](const std::string& fault) { faults(LEVEL_ERROR, "{}", fault); },
        [&](const std::string& line) { joined += platform::Trim(line); });
    data = joined.empty() ? ByteArray(1) : platform::AnsiFromText(joined);
    return joined.empty() ? -1 : 1;
}

std::int32_t GetKeyOperationsFromFile(const platform::FileName& batchFile, std::vector<KeyOperation>& operations,
                                      std::int32_t& dropped) {
    operations.assign(1, {});
    dropped = 0;
    if (!FileIsThere(batchFile)) {
        TellMissing("GetKeyOperationsFromFile", batchFile);
        return -1;
    }
    FaultLog faults(batchFile);
    platform::ResumeNext next{LogFailure(faults, "GetKeyOperationsFromFile")};
    std::string text;
    next([&] { text = TextOfFile(batchFile); });
    const auto takeLine = [&](std::string& line) {
        Words words;
        KeyOperation operation;
        if (line.find_first_not_of(' ') == std::string::npos)
            return;
        SplitArguments(line, words);
        if (!TakeOperation(words, batchFile, operation, faults)) {
            ++dropped;
            return;
        }
        next([&] { TakeDevice(words[1], operation); });
        operations.push_back(std::move(operation));
    };
    ForEachLine(
        text, ItemReader::Comment::Item, [&](const std::string& fault) { faults(LEVEL_ERROR, "{}", fault); },
        [&](std::string& line) { next([&] { takeLine(line); }); });
    return 1;
}

} // namespace basAutomation
