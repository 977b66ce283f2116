// Files by path; every path goes through ResolvePath. Failures: 52 several such files, 53 no such file, 76 no such
// folder, 70 or 75 not permitted or not a regular file (no call blocks on a pipe or device), 61 disk full, 57 anything
// else. Files.cpp finds and reads, FileWriting.cpp writes.
//
// There are two ways to write. WriteFileAtomically and CopyFile replace the whole file by a new one with the same owner
// and mode. If the name is a link that the user or root has made, its target is replaced; another user's link is
// refused. OutputFile writes line by line. Start::Anew never writes through a link or into a file with another name: a
// new file takes the name (but a link to something other than a file, such as /dev/stdout, is refused). Append treats
// links as above. What root creates in a user's folder belongs to that user.
#pragma once

#include "Bytes.h"
#include "Clock.h"

#include <cstdint>
#include <cstdio>
#include <optional>
#include <string>

namespace platform {

struct FoundFile {
    std::string FileName; // as spelled in the folder
    std::int64_t Size;    // bytes, 0 for a folder
    FileTime LastWriteTime;
    bool IsDirectory;
};
// The first match of `pattern`, whose last component may contain "*" and "?". A name that could mean several files is
// found as well; only opening it fails.
std::optional<FoundFile> FindFirstFileA(const std::string& pattern);

void CopyFile(const std::string& from, const std::string& to); // replaces `to`, all or nothing
// False if `to` exists, even if it appears meanwhile; it is left alone then.
[[nodiscard]] bool CopyToNewFile(const std::string& from, const std::string& to);
bool MayWrite(const std::string& path);   // by its permissions; false if it doesn't exist
void DeleteFile(const std::string& path); // a link itself, not its target
void MakeDirectories(const std::string& path);
// Writes a draft and renames it: after a crash there is either the old file or the new one. Drafts of killed processes
// are removed when this program first replaces a file in the folder.
void WriteFileAtomically(const std::string& path, const ByteArray& bytes);

// A file open for reading, from its start.
class InputFile {
public:
    explicit InputFile(const std::string& path); // failure 53
    ~InputFile();
    InputFile(const InputFile&) = delete;
    InputFile& operator=(const InputFile&) = delete;
    // Up to `count` bytes into `to`; the number read, 0 at the end.
    [[nodiscard]] std::size_t Read(std::uint8_t* to, std::size_t count);
    std::int64_t Size() const;

private:
    int descriptor_;
};

ByteArray ReadWholeFile(const std::string& path); // failure 53

// A text file in the ANSI code page; each write reaches the file system at once.
class OutputFile {
public:
    enum class Start { Anew, Append };
    explicit OutputFile(const std::string& path, Start start = Start::Anew);
    ~OutputFile();
    OutputFile(const OutputFile&) = delete;
    OutputFile& operator=(const OutputFile&) = delete;
    void WriteLine(const std::string& text); // ends in CR LF
    void Write(const ByteArray& bytes);      // unchanged

private:
    int descriptor_;
};

} // namespace platform
