#include "FileBytes.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <stdexcept>
#include <system_error>
#include <vector>

namespace simulator {
namespace {

namespace files = std::filesystem;

constexpr const char* DRAFT = ".new"; // then the process ID
constexpr int NEW_FILE = O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC;
constexpr int OLD_FILE = O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC;

// Closes the file; a negative number is no file.
struct OpenFile {
    explicit OpenFile(int opened) : number(opened) {}
    ~OpenFile() {
        if (number >= 0)
            close(number);
    }
    OpenFile(const OpenFile&) = delete;
    OpenFile& operator=(const OpenFile&) = delete;
    int number;
};

bool IsRegular(int file) {
    struct stat status {};
    return fstat(file, &status) == 0 && S_ISREG(status.st_mode);
}

[[noreturn]] void Refuse(const std::string& path) {
    throw std::runtime_error("can't write '" + path + "': " + std::generic_category().message(errno));
}

// Without the right to change the owner, the file stays with its creator.
void SetOwner(int file, uid_t owner, gid_t group) {
    if (fchown(file, owner, group) != 0)
        static_cast<void>(fchown(file, uid_t(-1), group) == 0);
}

// A run as root mustn't lock users out of the state in their own folders.
void GiveToOwnerOfFolder(int file, const files::path& path) {
    struct stat folder {};
    if (geteuid() == 0 && stat(path.parent_path().c_str(), &folder) == 0 && folder.st_uid != 0)
        SetOwner(file, folder.st_uid, folder.st_gid);
}

void WriteAll(int file, ByteView content, const std::string& path) {
    for (std::size_t done = 0; done < content.size();) {
        const ssize_t written = write(file, content.data() + done, content.size() - done);
        if (written < 0 && errno != EINTR)
            Refuse(path);
        done += written > 0 ? std::size_t(written) : 0;
    }
}

bool IsDraft(const std::string& name, std::span<const std::string> of) {
    return std::ranges::any_of(of, [&](const std::string& file) {
        const std::string start = file + DRAFT;
        return name.size() > start.size() && name.starts_with(start) &&
               name.find_first_not_of("0123456789", start.size()) == std::string::npos;
    });
}

} // namespace

std::optional<Bytes> ReadFile(const std::string& path) {
    const OpenFile file(open(path.c_str(), O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
    if (file.number < 0 || !IsRegular(file.number))
        return std::nullopt;
    struct stat status {};
    fstat(file.number, &status);
    Bytes content(static_cast<std::size_t>(status.st_size));
    for (std::size_t done = 0; done < content.size();) {
        const ssize_t got = read(file.number, content.data() + done, content.size() - done);
        if (got <= 0)
            return std::nullopt;
        done += std::size_t(got);
    }
    return content;
}

void CreateDirectories(const std::string& path) {
    std::vector<files::path> made; // innermost first
    for (files::path folder = path; !folder.empty() && !files::exists(folder); folder = folder.parent_path())
        made.push_back(folder);
    files::create_directories(path);
    for (auto folder = made.rbegin(); folder != made.rend(); ++folder) {
        const OpenFile opened(open(folder->c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
        if (opened.number >= 0)
            GiveToOwnerOfFolder(opened.number, *folder);
    }
}

// A draft is locked while it is written, so a draft that can be locked belongs to a process that has ended.
void RemoveStaleDrafts(const std::string& directory, std::span<const std::string> names) {
    std::error_code failure;
    for (files::directory_iterator entry(directory, failure), end; !failure && entry != end; entry.increment(failure)) {
        struct stat status {};
        const files::path& path = entry->path();
        if (!IsDraft(path.filename().string(), names) || lstat(path.c_str(), &status) != 0 ||
            !S_ISREG(status.st_mode) || status.st_uid != geteuid())
            continue;
        const OpenFile draft(open(path.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
        if (draft.number >= 0 && flock(draft.number, LOCK_EX | LOCK_NB) == 0)
            unlink(path.c_str());
    }
}

void ReplaceFile(const std::string& path, ByteView content) {
    CreateDirectories(files::path(path).parent_path().string());
    const std::string draft = path + DRAFT + std::to_string(getpid());
    unlink(draft.c_str()); // a leftover, or a planted link
    struct stat old {};
    const bool exists = lstat(path.c_str(), &old) == 0 && S_ISREG(old.st_mode);
    const OpenFile file(open(draft.c_str(), O_WRONLY | NEW_FILE, exists ? 0600 : 0666));
    if (file.number < 0)
        Refuse(draft);
    flock(file.number, LOCK_EX | LOCK_NB);
    try {
        WriteAll(file.number, content, draft);
        if (exists) {
            SetOwner(file.number, old.st_uid, old.st_gid);
            fchmod(file.number, old.st_mode & 0777);
        } else {
            GiveToOwnerOfFolder(file.number, path);
        }
        files::rename(draft, path);
    } catch (...) {
        unlink(draft.c_str());
        throw;
    }
}

std::FILE* OpenToWrite(const std::string& path) {
    struct stat old {
    }, target{};
    if (lstat(path.c_str(), &old) == 0 && S_ISLNK(old.st_mode)) {
        if (stat(path.c_str(), &target) == 0 && !S_ISREG(target.st_mode))
            return nullptr;   // such as /dev/stdout, which root would remove for every program
        unlink(path.c_str()); // so that a link's target isn't written
    }
    int file = open(path.c_str(), O_WRONLY | NEW_FILE, 0666);
    if (file >= 0)
        GiveToOwnerOfFolder(file, path);
    else
        file = open(path.c_str(), O_WRONLY | OLD_FILE);
    if (file < 0 || !IsRegular(file) || ftruncate(file, 0) != 0) {
        if (file >= 0)
            close(file);
        return nullptr;
    }
    return fdopen(file, "w");
}

int OpenLockFile(const std::string& path) {
    int file = open(path.c_str(), O_RDWR | NEW_FILE, 0666);
    if (file >= 0)
        GiveToOwnerOfFolder(file, path);
    for (const int access : {O_RDWR, O_RDONLY})
        if (file < 0)
            file = open(path.c_str(), access | OLD_FILE);
    if (file >= 0 && !IsRegular(file)) {
        close(file);
        return -1;
    }
    return file;
}

} // namespace simulator
