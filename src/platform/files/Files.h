// Files by path, every path through ResolvePath. Failures: 52 several such files, 53 no such file,
// 76 no such folder, 70 or 75 not permitted or no regular file (a pipe or device is never waited
// for), 61 disk full, 57 anything else. Files.cpp finds and reads, FileWriting.cpp writes.
//
// Everybody writes by one of two roads. WriteFileAtomically and CopyFile replace the whole file: by
// a new one beside it that keeps owner and mode. Where the name is a link, what it leads to is
// replaced if the user or root has made the link; another user's is refused. OutputFile writes
// line by line: Anew never through a link or into a file with a second name, a new file takes the
// name (a link to what is no file, such as /dev/stdout, is refused); Append as above. What root makes
// in a user's folder belongs to that user.
#pragma once

#include "Bytes.h"
#include "Clock.h"

#include <cstdint>
#include <cstdio>
#include <memory>
#include <optional>
#include <string>

namespace platform {

struct FoundFile {
    std::string FileName; // as it stands in the folder
    std::int64_t Size;    // bytes, 0 for a folder
    FileTime LastWriteTime;
    bool IsDirectory;
};
// The first match of `pattern`, whose last component may hold "*" and "?". Something is there also
// where the name means several files; which of them is only asked, and refused, at the opening.
std::optional<FoundFile> FindFirstFileA(const std::string& pattern);

void CopyFile(const std::string& from, const std::string& to); // replaces `to`, all or nothing
// Leaves a `to` that exists alone, also one that appears meanwhile; false then.
bool CopyToNewFile(const std::string& from, const std::string& to);
bool MayWrite(const std::string& path);   // by the permissions; false when there is nothing
void DeleteFile(const std::string& path); // a link itself, not what it leads to
void MakeDirectories(const std::string& path);
// Writes the whole file and puts it in place by a rename: after a crash the old or the new is there.
// A draft that a killed process left is removed when this program first replaces a file in that folder.
void WriteFileAtomically(const std::string& path, const ByteArray& bytes);

// A file open for reading, from its start.
class InputFile {
public:
    explicit InputFile(const std::string& path); // failure 53
    ~InputFile();
    InputFile(const InputFile&) = delete;
    InputFile& operator=(const InputFile&) = delete;
    // Up to `count` bytes into `to`; the number read, 0 at the end.
    std::size_t Read(std::uint8_t* to, std::size_t count);
    std::int64_t Size() const;

private:
    int descriptor_;
};

ByteArray ReadWholeFile(const std::string& path); // failure 53

// A text file, written in the ANSI code page; what is written reaches the file system at once.
class OutputFile {
public:
    enum class Start { Anew, Append };
    explicit OutputFile(const std::string& path, Start start = Start::Anew);
    ~OutputFile();
    OutputFile(const OutputFile&) = delete;
    OutputFile& operator=(const OutputFile&) = delete;
    void WriteLine(const std::string& text); // ends in CR LF
    void Write(const ByteArray& bytes);      // as they are

private:
    int descriptor_;
};

} // namespace platform
