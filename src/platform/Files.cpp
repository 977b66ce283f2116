#include "Files.h"

#include "CodePage.h"
#include "Failure.h"
#include "Paths.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <fnmatch.h>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

namespace fs = std::filesystem;

namespace platform {

namespace {

[[noreturn]] void RaiseError(int error, const std::string& path) {
    const std::string what = std::string(std::strerror(error)) + ": " + path;
    switch (error) {
    case ENOENT: {
        std::error_code ignored;
        const fs::path folder = fs::path(path).parent_path();
        if (!folder.empty() && !fs::is_directory(folder, ignored))
            Raise(PATH_NOT_FOUND, "Path not found: " + path);
        Raise(FILE_NOT_FOUND, "File not found: " + path);
    }
    case ENOTDIR:
        Raise(PATH_NOT_FOUND, "Path not found: " + path);
    case EACCES:
    case EPERM:
    case EROFS:
        Raise(PERMISSION_DENIED, "Permission denied: " + path);
    case EISDIR:
        Raise(PATH_ACCESS_ERROR, "Path/File access error: " + path);
    case ENOSPC:
    case EDQUOT:
        Raise(DISK_FULL, "Disk full: " + path);
    default:
        Raise(DEVICE_IO_ERROR, what);
    }
}

// A file descriptor that closes itself.
class Descriptor {
public:
    Descriptor(const std::string& path, int flags) : number(open(path.c_str(), flags | O_CLOEXEC, 0666)) {
        if (number < 0)
            RaiseError(errno, path);
    }
    ~Descriptor() { close(number); }
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;
    const int number;
};

void WriteAll(int descriptor, const std::uint8_t* bytes, std::size_t count, const std::string& path) {
    while (count > 0) {
        const ssize_t written = write(descriptor, bytes, count);
        if (written < 0) {
            if (errno == EINTR)
                continue;
            RaiseError(errno, path);
        }
        bytes += written;
        count -= std::size_t(written);
    }
}

// Fills a new file beside `path` and puts it in its place; on a failure `path` is as it was.
template <class Fill> void ReplaceFile(const std::string& path, Fill fill) {
    const std::string temporary = path + ".new" + std::to_string(getpid());
    try {
        {
            const Descriptor file(temporary, O_WRONLY | O_CREAT | O_TRUNC);
            fill(file.number);
            if (fsync(file.number) != 0)
                RaiseError(errno, path);
        }
        if (rename(temporary.c_str(), path.c_str()) != 0)
            RaiseError(errno, path);
    } catch (...) {
        unlink(temporary.c_str());
        throw;
    }
}

FoundFile Found(const fs::path& path, const struct stat& status) {
    const std::int64_t time = status.st_mtim.tv_sec * 1'000'000'000LL + status.st_mtim.tv_nsec;
    const bool directory = S_ISDIR(status.st_mode);
    return {path.filename().string(), directory ? 0 : std::int64_t(status.st_size), FileTimeFromUnix(time), directory};
}

} // namespace

std::optional<FoundFile> FindFirstFileA(const std::string& pattern) {
    if (pattern.empty())
        return {};
    const std::size_t separator = pattern.find_last_of("/\\");
    const std::string folder = separator == std::string::npos ? "" : ResolvePath(pattern.substr(0, separator + 1));
    const std::string last = separator == std::string::npos ? pattern : pattern.substr(separator + 1);
    struct stat status {};
    if (last.find_first_of("*?") == std::string::npos) {
        const std::string path = ResolvePath(pattern);
        if (path.empty() || stat(path.c_str(), &status) != 0)
            return {};
        return Found(path, status);
    }
    std::vector<fs::path> matches;
    std::error_code error;
    for (fs::directory_iterator entry(folder.empty() ? "." : folder, error), end; !error && entry != end;
         entry.increment(error))
        if (fnmatch(LowerCase(last).c_str(), LowerCase(entry->path().filename().string()).c_str(), FNM_NOESCAPE) == 0)
            matches.push_back(entry->path());
    std::sort(matches.begin(), matches.end());
    for (const fs::path& match : matches)
        if (stat(match.c_str(), &status) == 0)
            return Found(match, status);
    return {};
}

void CopyFile(const std::string& from, const std::string& to) {
    const Descriptor source(ResolvePath(from), O_RDONLY);
    ReplaceFile(ResolvePath(to), [&](int target) {
        std::vector<std::uint8_t> block(1 << 16);
        for (;;) {
            const ssize_t count = read(source.number, block.data(), block.size());
            if (count < 0)
                RaiseError(errno, from);
            if (count == 0)
                return;
            WriteAll(target, block.data(), std::size_t(count), to);
        }
    });
}

void DeleteFile(const std::string& path) {
    const std::string resolved = ResolvePath(path);
    if (unlink(resolved.c_str()) != 0)
        RaiseError(errno, resolved);
}

void MakeDirectories(const std::string& path) {
    std::error_code error;
    const std::string resolved = ResolvePath(path);
    fs::create_directories(resolved, error);
    if (error)
        RaiseError(error.value(), resolved);
}

void WriteFileAtomically(const std::string& path, const ByteArray& bytes) {
    ReplaceFile(ResolvePath(path), [&](int target) { WriteAll(target, bytes.data(), bytes.size(), path); });
}

InputFile::InputFile(const std::string& path) : descriptor_(-1) {
    const std::string resolved = ResolvePath(path);
    descriptor_ = open(resolved.c_str(), O_RDONLY | O_CLOEXEC);
    if (descriptor_ < 0)
        RaiseError(errno, resolved);
}

InputFile::~InputFile() { close(descriptor_); }

std::size_t InputFile::Read(std::uint8_t* to, std::size_t count) {
    for (;;) {
        const ssize_t got = read(descriptor_, to, count);
        if (got >= 0)
            return std::size_t(got);
        if (errno != EINTR)
            Raise(errno == EISDIR ? PATH_ACCESS_ERROR : DEVICE_IO_ERROR, std::strerror(errno));
    }
}

std::int64_t InputFile::Size() const {
    struct stat status {};
    return fstat(descriptor_, &status) == 0 ? status.st_size : 0;
}

OutputFile::OutputFile(const std::string& path) : descriptor_(-1) {
    const std::string resolved = ResolvePath(path);
    descriptor_ = open(resolved.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666);
    if (descriptor_ < 0)
        RaiseError(errno, resolved);
}

OutputFile::~OutputFile() { close(descriptor_); }

void OutputFile::WriteLine(const std::string& text) {
    ByteArray line = AnsiFromText(text);
    line.push_back('\r');
    line.push_back('\n');
    WriteAll(descriptor_, line.data(), line.size(), "the output file");
}

} // namespace platform
