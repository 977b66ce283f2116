#include "Files.h"

#include "CodePage.h"
#include "Failure.h"
#include "FileAccess.h"
#include "Paths.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <string_view>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

namespace fs = std::filesystem;

namespace platform {

namespace {

// "*" stands for any characters, "?" for one.
bool Matches(std::string_view pattern, std::string_view name) {
    std::size_t p = 0, n = 0, star = std::string_view::npos, retry = 0;
    while (n < name.size()) {
        if (p < pattern.size() && pattern[p] == '*') {
            star = p++;
            retry = n;
        } else if (p < pattern.size() && (pattern[p] == '?' || pattern[p] == name[n])) {
            ++p;
            ++n;
        } else if (star != std::string_view::npos) {
            p = star + 1; // the star takes one more character
            n = ++retry;
        } else {
            return false;
        }
    }
    return pattern.find_first_not_of('*', p) == std::string_view::npos;
}

FoundFile Found(const fs::path& path, const struct stat& status) {
    const std::int64_t time = status.st_mtim.tv_sec * 1'000'000'000LL + status.st_mtim.tv_nsec;
    const bool directory = S_ISDIR(status.st_mode);
    return {path.filename().string(), directory ? 0 : std::int64_t(status.st_size), FileTimeFromUnix(time), directory};
}

} // namespace

void RaiseFileError(int error, const std::string& path) {
    std::int32_t number = NumberOfError(error);
    std::error_code ignored;
    const fs::path folder = fs::path(path).parent_path();
    if (number == FILE_NOT_FOUND && !folder.empty() && !fs::is_directory(folder, ignored))
        number = PATH_NOT_FOUND;
    const std::string description = number == DEVICE_IO_ERROR ? std::strerror(error) : DescriptionOf(number);
    Raise(number, description + ": " + path);
}

void RequireRegularFile(const struct stat& status, const std::string& path) {
    if (S_ISDIR(status.st_mode))
        RaiseFileError(EISDIR, path);
    if (!S_ISREG(status.st_mode))
        Raise(PATH_ACCESS_ERROR, "Not a regular file: " + path);
}

int OpenDescriptor(const std::string& path, int flags, unsigned mode) {
    const int descriptor = open(path.c_str(), flags | O_NONBLOCK | O_NOCTTY | O_CLOEXEC, mode);
    if (descriptor < 0)
        RaiseFileError(errno, path);
    return descriptor;
}

struct stat StatusOf(int descriptor, const std::string& path) {
    struct stat status {};
    if (fstat(descriptor, &status) != 0)
        RaiseFileError(errno, path);
    return status;
}

void RequireRegularFile(const std::string& path) {
    struct stat status {};
    if (stat(path.c_str(), &status) != 0)
        RaiseFileError(errno, path);
    RequireRegularFile(status, path);
}

// Checked first because opening a device or pipe may have effects, and again because the file may have been replaced.
int OpenToRead(const std::string& path) {
    RequireRegularFile(path);
    Descriptor file(OpenDescriptor(path, O_RDONLY));
    RequireRegularFile(StatusOf(file.number, path), path);
    return file.Release();
}

std::optional<FoundFile> FindFirstFileA(const std::string& pattern) {
    struct stat status {};
    const std::size_t separator = pattern.find_last_of("/\\");
    const std::size_t last = separator == std::string::npos ? 0 : separator + 1;
    const std::string wanted = LowerCase(pattern.substr(last));
    if (wanted.find_first_of("*?") == std::string::npos) {
        const std::string path = PathsMeant(pattern).front();
        return !path.empty() && stat(path.c_str(), &status) == 0 ? std::optional(Found(path, status)) : std::nullopt;
    }
    const std::string folder = PathsMeant(pattern.substr(0, last)).front();
    std::vector<fs::path> matches;
    std::error_code error;
    for (fs::directory_iterator entry(folder.empty() ? "." : folder, error), end; !error && entry != end;
         entry.increment(error))
        if (wanted == "*.*" || Matches(wanted, LowerCase(entry->path().filename().string())))
            matches.push_back(entry->path());
    std::sort(matches.begin(), matches.end());
    for (const fs::path& match : matches)
        if (stat(match.c_str(), &status) == 0)
            return Found(match, status);
    return {};
}

InputFile::InputFile(const std::string& path) : descriptor_(OpenToRead(ResolvePath(path))) {}

InputFile::~InputFile() {
    close(descriptor_);
}

std::size_t InputFile::Read(std::uint8_t* to, std::size_t count) {
    for (;;) {
        const ssize_t got = read(descriptor_, to, count);
        if (got >= 0)
            return std::size_t(got);
        if (errno != EINTR)
            Raise(NumberOfError(errno), std::strerror(errno));
    }
}

std::int64_t InputFile::Size() const {
    struct stat status {};
    return fstat(descriptor_, &status) == 0 ? status.st_size : 0;
}

ByteArray ReadWholeFile(const std::string& path) {
    InputFile file(path);
    ByteArray bytes(std::size_t(file.Size()));
    std::size_t filled = 0;
    for (std::size_t got = 1; got > 0 && filled < bytes.size(); filled += got)
        got = file.Read(bytes.data() + filled, bytes.size() - filled);
    bytes.resize(filled);
    return bytes;
}

} // namespace platform
