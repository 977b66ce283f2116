// Key batches as text: reads a batch and its data files, and makes the lines of the report and of the data files that
// a batch leaves. No files and no devices here. Everything takes linear time.
#pragma once

#include "Bytes.h"

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace basAutomation {

inline constexpr std::int32_t INVALID_KEY_OPERATION = 0, READ_KEY_OPERATION = 1, WRITE_KEY_OPERATION = 2;
inline constexpr std::uint8_t FIRST_TARGET = 2; // the one byte of a DeviceId in place of a GUID

struct KeyOperation {
    std::int32_t Operation = INVALID_KEY_OPERATION;
    ByteArray DeviceId = ByteArray(1); // GUID, most significant byte first; one byte 2 is the first target
    std::string KeyName;
    std::string DataFile;     // from the batch file's folder; may be empty for a read
    ByteArray Data;           // to be written, or read
    std::int32_t Status = -1; // 1 once it has worked
    bool NotDone = false;     // the run ended before it
};

// --- Reading ---

// The items of a text file. An item ends at a comma or a line end, which are dropped; one that begins with
// a double quote runs to the next double quote, commas and line ends included.
class ItemReader {
public:
    // How far a comment goes that starts with a "#" at the start of a line: to the end of the item, or to that of the
    // line with its commas and quotes, which then gives an empty item.
    enum class Comment { Item, Line };
    explicit ItemReader(std::string_view text, Comment comment = Comment::Item) : text_(text), comment_(comment) {}
    bool AtEnd() const { return position_ >= text_.size(); }
    std::string_view Next(); // empty at the end; valid as long as the text

private:
    std::string_view NextQuoted();
    void SkipOneEnd();
    void SkipBlanks();
    bool AtCommentLine() const;

    std::string_view text_;
    Comment comment_;
    bool atLineStart_ = true;
    std::size_t position_ = 0;
};

// Empty for a line that begins with "#"; otherwise the line up to and with its first "#".
std::string StripComments(std::string_view line);

enum class TagFault { None, NotClosed, NotOpened };
// The line without each stretch from a "<" to the next ">"; on a fault with those removed so far.
std::string WithoutTags(std::string_view line, TagFault& fault);
std::string TagFaultText(TagFault fault, std::optional<std::int32_t> lineNumber = {});
// WithoutTags, with the fault logged at ERROR.
std::string StripHTML(std::string_view line, std::optional<std::int32_t> lineNumber = {});

// Makes each run of blanks and tabs in `line` one blank and splits it into words: a blank at either end makes an
// empty word. 1.
std::int32_t SplitArguments(std::string& line, std::vector<std::string>& words);

// Calls `line` with each item, trimmed and without comments and tags, and `fault` with the texts of tag faults.
void ForEachLine(std::string_view text, ItemReader::Comment comment,
                 const std::function<void(const std::string& fault)>& fault,
                 const std::function<void(std::string& line)>& line);

// --- Writing. Lines without their ends. ---

struct BatchFacts {
    std::string report;      // its path
    std::string time;        // "yyyy-mm-dd hh:nn:ss"
    std::string application; // the program file's name without its extension
    std::string commandLine; // as typed
    std::size_t operationCount = 0;
};

// The maker of a device, as its config ROM has it.
struct MakerTexts {
    std::string vendor, model;
};

// "a.txt" gives "a.out.txt", "a.html" gives "a.out.html", anything else is followed by ".out.html":
// never the name itself.
std::string ReportFileName(const std::string& batchFileName);
std::vector<std::string> ReportHead(const BatchFacts& facts);
// The row of one operation. A data file with a drive letter becomes a link, and stays one in the record.
std::vector<std::string> ReportRow(KeyOperation& operation);
// An empty `statusFilePath` gives no link to the status file.
std::vector<std::string> ReportEnd(const std::string& statusFilePath, const std::string& statusFile);
// Names the data files outside the folder of the batch.
std::vector<std::string> PlaceLines(const std::vector<std::string>& outside);
// The data file of an operation that worked. Its head is comments, so that a write can read it back.
std::vector<std::string> DataFileLines(const KeyOperation& operation, const BatchFacts& facts,
                                       const std::optional<MakerTexts>& maker);

} // namespace basAutomation
