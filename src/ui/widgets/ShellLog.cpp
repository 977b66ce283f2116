#include "ShellLog.h"

#include "Clock.h"
#include "CodePage.h"
#include "Paths.h"
#include "basUtils.h"

#include <fmt/format.h>

#include <utility>

namespace {

std::string Now(const char* format) {
    return basUtils::FormatSystemTime(platform::GetLocalTime(), format);
}

void Append(ByteArray& bytes, const std::string& text) {
    const ByteArray more = platform::AnsiFromText(text);
    bytes.insert(bytes.end(), more.begin(), more.end());
}

} // namespace

ShellLog::ShellLog(std::string path, bool timestamps)
    : path_(std::move(path)), file_(path_, platform::OutputFile::Start::Append), timestamps_(timestamps) {
    Mark("log opened");
}

void ShellLog::Write(const ByteArray& data) {
    ByteArray bytes;
    for (const std::uint8_t byte : data) {
        if (std::exchange(atLineStart_, byte == '\n') && timestamps_)
            Append(bytes, fmt::format("[{}] ", Now("yyyy-mm-dd hh:nn:ss")));
        bytes.push_back(byte);
    }
    file_.Write(bytes);
}

void ShellLog::Mark(const std::string& what) {
    ByteArray bytes;
    const char* newLine = std::exchange(atLineStart_, true) ? "" : "\r\n";
    Append(bytes, fmt::format("{}--- {} {} ---\r\n", newLine, Now("yyyy-mm-dd hh:nn:ss"), what));
    file_.Write(bytes);
}

std::string ShellLog::PathFor(const std::string& guid) {
    const std::string folder = platform::JoinPath(platform::ProgramDirectory(), "shell-logs");
    platform::MakeDirectories(folder);
    return platform::JoinPath(folder, fmt::format("{}_{}.log", guid, Now("yyyymmdd-hhnnss")));
}
