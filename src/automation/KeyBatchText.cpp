#include "KeyBatchText.h"

#include "CodePage.h"
#include "basAutomation.h"
#include "basUtils.h"

#include <algorithm>

namespace basAutomation {

namespace {

constexpr std::string_view LINE_ENDS = "\r\n";
constexpr std::string_view ITEM_ENDS = ",\r\n";
constexpr const char* CELL = " </td><td> ";
constexpr const char* RULE = "#-----------------------------------------------";
constexpr const char* REPORT_RULE = "# ********************************************************";

std::string ApplicationLine(const BatchFacts& facts) {
    return fmt::format("# App='{}' Ver={}.{}.{}  command line = '{}'", facts.application, basApp::VERSION_MAJOR,
                       basApp::VERSION_MINOR, basApp::VERSION_REVISION, facts.commandLine);
}

const char* KindOf(const KeyOperation& operation) {
    return operation.Operation == READ_KEY_OPERATION ? "Read" : "Write";
}

std::string DeviceDigits(const KeyOperation& operation) {
    return basUtils::ByteArrayToHexString(operation.DeviceId, static_cast<std::int32_t>(operation.DeviceId.size()));
}

// A path with a drive letter as a browser takes it; any other path unchanged.
std::string LinkOf(std::string path) {
    if (path.find(':') == std::string::npos)
        return path;
    std::replace(path.begin(), path.end(), ':', '|');
    return "file://localhost/" + path;
}

std::string DataFileCell(KeyOperation& operation) {
    if (operation.Status != 1)
        return "FAILED OPERATION";
    operation.DataFile = LinkOf(operation.DataFile);
    return fmt::format("<A HREF=\"{0}\">{0}</A>", operation.DataFile);
}

std::string ResultCell(const KeyOperation& operation) {
    if (operation.Status == 1)
        return std::string("SUCCESS") + CELL;
    if (operation.NotDone)
        return "FAILED, not done: the program was closed";
    return operation.Status == -1 ? "FAILED" : fmt::format("FAILED, code 0x{:X}", Bits(operation.Status));
}

std::string MakerLine(const std::optional<MakerTexts>& maker) {
    if (!maker)
        return "#   Error retrieving device manufacturer & model";
    return fmt::format("# Device Manufacturer = '{}'  Model = '{}'", maker->vendor, maker->model);
}

std::string CountLine(const BatchFacts& facts) {
    return fmt::format("# {} operations performed.", facts.operationCount);
}

// Every `searched`, in either case, becomes `replacement`.
std::string Replaced(const std::string& text, std::string_view searched, std::string_view replacement) {
    const std::string lowered = platform::LowerCase(text);
    std::string result;
    std::size_t position = 0;
    for (std::size_t found; (found = lowered.find(searched, position)) != std::string::npos;
         position = found + searched.size())
        result.append(text, position, found - position).append(replacement);
    return result.append(text, position);
}

} // namespace

std::string_view ItemReader::Next() {
    SkipBlanks();
    if (AtCommentLine()) {
        position_ = std::min(text_.find_first_of(LINE_ENDS, position_), text_.size());
        SkipOneEnd();
        return {};
    }
    if (!AtEnd() && text_[position_] == '"')
        return NextQuoted();
    const std::size_t start = position_;
    position_ = std::min(text_.find_first_of(ITEM_ENDS, start), text_.size());
    const std::string_view item = text_.substr(start, position_ - start);
    SkipOneEnd();
    return item;
}

std::string_view ItemReader::NextQuoted() {
    const std::size_t start = position_ + 1;
    const std::size_t end = std::min(text_.find('"', start), text_.size());
    position_ = std::min(end + 1, text_.size());
    SkipBlanks();
    SkipOneEnd(); // anything else after the quotation is an item of its own
    return text_.substr(start, end - start);
}

void ItemReader::SkipBlanks() {
    position_ = std::min(text_.find_first_not_of(' ', position_), text_.size());
}

bool ItemReader::AtCommentLine() const {
    return comment_ == Comment::Line && atLineStart_ && !AtEnd() && text_[position_] == '#';
}

void ItemReader::SkipOneEnd() {
    atLineStart_ = !AtEnd() && LINE_ENDS.find(text_[position_]) != std::string_view::npos;
    if (text_.substr(position_).starts_with("\r\n"))
        position_ += 2;
    else if (!AtEnd() && ITEM_ENDS.find(text_[position_]) != std::string_view::npos)
        ++position_;
}

std::string StripComments(std::string_view line) {
    const std::size_t mark = line.find('#');
    if (mark == std::string_view::npos)
        return std::string(line);
    return std::string(line.substr(0, mark == 0 ? 0 : mark + 1));
}

std::string WithoutTags(std::string_view line, TagFault& fault) {
    std::string rest;
    std::size_t position = 0, opening = 0;
    while ((opening = line.find('<', position)) != std::string_view::npos) {
        const std::size_t closing = line.find('>', opening);
        if (closing == std::string_view::npos)
            break;
        rest += line.substr(position, opening - position);
        position = closing + 1;
    }
    rest += line.substr(position);
    fault = opening != std::string_view::npos          ? TagFault::NotClosed
            : rest.find('>') != std::string_view::npos ? TagFault::NotOpened
                                                       : TagFault::None;
    return rest;
}

std::string TagFaultText(TagFault fault, std::optional<std::int32_t> lineNumber) {
    return fmt::format("StripHTML: HtmlParse ERROR - {}, line {}.  Exiting abnormally.",
                       fault == TagFault::NotClosed ? "'<' with no '>'" : "'>' with no '<'",
                       lineNumber ? std::to_string(*lineNumber) : "- unspecified -");
}

std::string StripHTML(std::string_view line, std::optional<std::int32_t> lineNumber) {
    TagFault fault = TagFault::None;
    std::string rest = WithoutTags(line, fault);
    if (fault != TagFault::None)
        StatusDisplay(LEVEL_ERROR, "{}", TagFaultText(fault, lineNumber));
    return rest;
}

std::int32_t SplitArguments(std::string& line, std::vector<std::string>& words) {
    words.clear();
    std::replace(line.begin(), line.end(), '\t', ' ');
    line.erase(std::unique(line.begin(), line.end(), [](char a, char b) { return a == ' ' && b == ' '; }), line.end());
    std::size_t start = 0;
    for (std::size_t blank; (blank = line.find(' ', start)) != std::string::npos; start = blank + 1)
        words.push_back(line.substr(start, blank - start));
    if (!line.empty())
        words.push_back(line.substr(start));
    return 1;
}

void ForEachLine(std::string_view text, ItemReader::Comment comment,
                 const std::function<void(const std::string& fault)>& fault,
                 const std::function<void(std::string& line)>& line) {
    ItemReader items(text, comment);
    for (std::int32_t number = 1; !items.AtEnd(); ++number) {
        TagFault tagFault = TagFault::None;
        std::string cleaned = WithoutTags(StripComments(platform::Trim(items.Next())), tagFault);
        if (tagFault != TagFault::None)
            fault(TagFaultText(tagFault, number));
        line(cleaned);
    }
}

std::string ReportFileName(const std::string& batchFileName) {
    const std::string name = Replaced(Replaced(batchFileName, ".txt", ".out.txt"), ".html", ".out.html");
    return name == batchFileName ? name + ".out.html" : name;
}

std::vector<std::string> ReportHead(const BatchFacts& facts) {
    return {REPORT_RULE,
            "<br>",
            "# " + facts.report,
            "<br>",
            "# Batch status file written on: " + facts.time,
            "<br>",
            ApplicationLine(facts),
            "<br>",
            CountLine(facts),
            "<br>",
            REPORT_RULE,
            "<table border=1><tr><td>",
            "# Type </td><td> Device ID </td><td>  Key </td><td> Data File </td><td> Results ",
            "</td></tr>"};
}

std::vector<std::string> ReportRow(KeyOperation& operation) {
    std::string cells;
    for (const std::string& cell :
         {std::string(KindOf(operation)), DeviceDigits(operation), operation.KeyName, DataFileCell(operation)})
        cells += cell + CELL;
    return {"<tr><td>", cells + ResultCell(operation), "</td></tr>"};
}

std::vector<std::string> ReportEnd(const std::string& statusFilePath, const std::string& statusFile) {
    std::vector<std::string> lines{"</table>", "<br>", "#"};
    if (statusFilePath.empty())
        return lines;
    std::string link = LinkOf(statusFilePath);
    std::replace(link.begin(), link.end(), '\\', '/');
    lines.push_back(fmt::format("<A HREF=\"{}\">Application Status Information: {}</A>", link, statusFile));
    return lines;
}

std::vector<std::string> PlaceLines(const std::vector<std::string>& outside) {
    std::vector<std::string> lines;
    for (const std::string& file : outside) {
        lines.emplace_back("<br>");
        lines.push_back("# Outside the folder of the batch: " + file);
    }
    return lines;
}

std::vector<std::string> DataFileLines(const KeyOperation& operation, const BatchFacts& facts,
                                       const std::optional<MakerTexts>& maker) {
    std::vector<std::string> lines{RULE,
                                   "# " + operation.DataFile,
                                   "# date generated: " + facts.time,
                                   "# ",
                                   ApplicationLine(facts),
                                   MakerLine(maker),
                                   CountLine(facts),
                                   "# ",
                                   fmt::format("# Batch Parameters ({}) Operation): ", KindOf(operation)),
                                   "#   Device GUID = " + DeviceDigits(operation),
                                   "#   Key Name = " + operation.KeyName,
                                   "# ",
                                   RULE,
                                   "# Status: OK",
                                   "# DATA:",
                                   RULE};
    for (std::string& line : lines) // the rest after a line end would be read back as data
        std::ranges::replace_if(
            line, [](char c) { return LINE_ENDS.find(c) != std::string_view::npos; }, ' ');
    lines.push_back(platform::TextFromAnsi(operation.Data));
    lines.emplace_back(RULE);
    return lines;
}

} // namespace basAutomation
