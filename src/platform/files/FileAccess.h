// Internal to Files.cpp, FileWriting.cpp and Database.cpp.
#pragma once

#include <string>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>

namespace platform {

// The failure for the errno of a system call on `path`.
[[noreturn]] void RaiseFileError(int error, const std::string& path);
// Failure 75 for a folder, pipe, socket or device.
void RequireRegularFile(const struct stat& status, const std::string& path);
// The same without opening the file: closing another descriptor of a database would drop the engine's locks. Failure 53
// or 76 if it doesn't exist.
void RequireRegularFile(const std::string& path);
// Never blocks waiting for the other end of a pipe.
int OpenDescriptor(const std::string& path, int flags, unsigned mode = 0);
struct stat StatusOf(int descriptor, const std::string& path);
// Opens a regular file for reading.
int OpenToRead(const std::string& path);

std::string FolderOf(const std::string& path); // "." for a bare name

// A file descriptor that closes itself.
class Descriptor {
public:
    explicit Descriptor(int open) : number(open) {}
    ~Descriptor() {
        if (number >= 0)
            close(number);
    }
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;
    int Release() { return std::exchange(number, -1); }
    int number;
};

} // namespace platform
