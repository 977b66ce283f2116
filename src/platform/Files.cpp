#include "Files.h"

#include "CodePage.h"
#include "Failure.h"
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

// Failure of a system call on `path`.
[[noreturn]] void RaiseError(int error, const std::string& path) {
    std::int32_t number = NumberOfError(error);
    std::error_code ignored;
    const fs::path folder = fs::path(path).parent_path();
    if (number == FILE_NOT_FOUND && !folder.empty() && !fs::is_directory(folder, ignored))
        number = PATH_NOT_FOUND;
    const std::string description = number == DEVICE_IO_ERROR ? std::strerror(error) : DescriptionOf(number);
    Raise(number, description + ": " + path);
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
    if (access(path.c_str(), W_OK) != 0 && errno != ENOENT)
        RaiseError(errno, path); // a rename would take the place of a write-protected file too
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
            p = star + 1; // the star takes one character more
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

std::optional<FoundFile> FindFirstFileA(const std::string& pattern) {
    struct stat status {};
    const std::size_t separator = pattern.find_last_of("/\\");
    const std::size_t last = separator == std::string::npos ? 0 : separator + 1;
    const std::string wanted = LowerCase(pattern.substr(last));
    if (wanted.find_first_of("*?") == std::string::npos) {
        const std::string path = ResolvePath(pattern);
        return !path.empty() && stat(path.c_str(), &status) == 0 ? std::optional(Found(path, status)) : std::nullopt;
    }
    const std::string folder = ResolvePath(pattern.substr(0, last));
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

OutputFile::OutputFile(const std::string& path, Start start) : descriptor_(-1) {
    const std::string resolved = ResolvePath(path);
    const int where = start == Start::Append ? O_APPEND : O_TRUNC;
    descriptor_ = open(resolved.c_str(), O_WRONLY | O_CREAT | where | O_CLOEXEC, 0666);
    if (descriptor_ < 0)
        RaiseError(errno, resolved);
}

OutputFile::~OutputFile() {
    close(descriptor_);
}

void OutputFile::WriteLine(const std::string& text) {
    ByteArray line = AnsiFromText(text);
    line.push_back('\r');
    line.push_back('\n');
    Write(line);
}

void OutputFile::Write(const ByteArray& bytes) {
    WriteAll(descriptor_, bytes.data(), bytes.size(), "the output file");
}

} // namespace platform
