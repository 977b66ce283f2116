// The writing half of Files.h. New files are created with O_EXCL | O_NOFOLLOW, so that nothing already there under the
// name, least of all a link, is written to.
#include "CodePage.h"
#include "Failure.h"
#include "FileAccess.h"
#include "Files.h"
#include "Paths.h"

#include <cerrno>
#include <fcntl.h>
#include <filesystem>
#include <set>
#include <sys/file.h>
#include <vector>

namespace fs = std::filesystem;

namespace platform {

namespace {

constexpr int NEW_FILE = O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW;
constexpr unsigned NEW_FILE_MODE = 0666; // before the umask
constexpr unsigned PRIVATE_MODE = 0600;
constexpr int LONGEST_CHAIN = 8; // of links
constexpr int MOST_DRAFTS = 100; // of one process in one folder
constexpr const char* DRAFT_PREFIX = ".hoistline-";
constexpr const char* DRAFT_SUFFIX = ".new";

struct Globals {
    std::set<std::string> sweptFolders; // searched for drafts of killed processes
} globals;

void WriteAll(int descriptor, const std::uint8_t* bytes, std::size_t count, const std::string& path) {
    while (count > 0) {
        const ssize_t written = write(descriptor, bytes, count);
        if (written < 0) {
            if (errno == EINTR)
                continue;
            RaiseFileError(errno, path);
        }
        bytes += written;
        count -= std::size_t(written);
    }
}

bool LinkStatus(const std::string& path, struct stat& status) {
    return lstat(path.c_str(), &status) == 0;
}

// The target of a link that this user or root has made; anybody else's is refused, since it may lead to a file that
// only this user can write.
std::string FollowOwnLinks(std::string path) {
    struct stat status {};
    for (int links = 0; links < LONGEST_CHAIN; ++links) {
        if (!LinkStatus(path, status) || !S_ISLNK(status.st_mode))
            return path;
        if (status.st_uid != geteuid() && status.st_uid != 0)
            Raise(PERMISSION_DENIED, "Permission denied, a link that another user made: " + path);
        path = (fs::path(path).parent_path() / fs::read_symlink(path)).string();
    }
    RaiseFileError(ELOOP, path);
}

// Without the right to, it leaves the owner as it is: the content matters more.
void SetOwner(int descriptor, uid_t owner, gid_t group) {
    if (fchown(descriptor, owner, group) != 0)
        static_cast<void>(fchown(descriptor, uid_t(-1), group) == 0);
}

void KeepOwnerAndMode(int descriptor, const struct stat& old) {
    SetOwner(descriptor, old.st_uid, old.st_gid);
    fchmod(descriptor, old.st_mode & 0777);
}

// What root creates in a user's folder goes to that user, who couldn't write it in a later run otherwise.
void GiveToOwnerOfFolder(int descriptor, const std::string& path) {
    struct stat folder {};
    if (geteuid() == 0 && stat(FolderOf(path).c_str(), &folder) == 0 && folder.st_uid != 0)
        SetOwner(descriptor, folder.st_uid, folder.st_gid);
}

// A draft is locked while somebody writes it, so one that can be locked was left by a killed process.
void RemoveIfStale(const std::string& draft) {
    struct stat status {};
    if (!LinkStatus(draft, status) || !S_ISREG(status.st_mode) || status.st_uid != geteuid())
        return;
    const Descriptor file(open(draft.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
    if (file.number >= 0 && flock(file.number, LOCK_EX | LOCK_NB) == 0)
        unlink(draft.c_str());
}

// Once per folder, which may be large.
void RemoveStaleDrafts(const std::string& folder) {
    if (!globals.sweptFolders.insert(fs::absolute(folder).string()).second)
        return;
    std::error_code error;
    for (fs::directory_iterator entry(folder, error), end; !error && entry != end; entry.increment(error)) {
        const std::string name = entry->path().filename().string();
        if (name.starts_with(DRAFT_PREFIX) && name.ends_with(DRAFT_SUFFIX))
            RemoveIfStale(entry->path().string());
    }
}

// The new file, in the folder of the file that it will replace; removed unless it has replaced it.
class Draft {
public:
    Draft(const std::string& target, unsigned mode) : file_(-1) {
        const std::string folder = FolderOf(target);
        RemoveStaleDrafts(folder);
        for (int i = 0; i < MOST_DRAFTS; ++i) {
            path_ = JoinPath(folder, DRAFT_PREFIX + std::to_string(getpid()) + "-" + std::to_string(i) + DRAFT_SUFFIX);
            if (Begin(mode, target))
                return;
        }
        RaiseFileError(EEXIST, path_);
    }
    ~Draft() {
        if (!path_.empty())
            unlink(path_.c_str());
    }
    Draft(const Draft&) = delete;
    Draft& operator=(const Draft&) = delete;

    int Number() const { return file_.number; }
    // False if `mayReplace` isn't set and a file of that name exists by now.
    bool Place(const std::string& target, bool mayReplace) {
        if (fsync(file_.number) != 0)
            RaiseFileError(errno, target);
        int result = renameat2(AT_FDCWD, path_.c_str(), AT_FDCWD, target.c_str(), mayReplace ? 0 : RENAME_NOREPLACE);
        if (result != 0 && errno == EEXIST && !mayReplace)
            return false;
        if (result != 0 && errno == EINVAL) // a file system without RENAME_NOREPLACE
            result = rename(path_.c_str(), target.c_str());
        if (result != 0)
            RaiseFileError(errno, target);
        path_.clear();
        return true;
    }

private:
    // False if the name is taken, or somebody removed the file as stale before it was locked.
    bool Begin(unsigned mode, const std::string& target) {
        const int descriptor = open(path_.c_str(), NEW_FILE | O_CLOEXEC, mode);
        if (descriptor < 0 && errno != EEXIST)
            RaiseFileError(errno, target);
        Descriptor file(descriptor);
        if (descriptor < 0 || (flock(descriptor, LOCK_EX | LOCK_NB) != 0 && errno == EWOULDBLOCK) ||
            StatusOf(descriptor, path_).st_nlink == 0)
            return false;
        file_.number = file.Release();
        return true;
    }

    Descriptor file_;
    std::string path_;
};

// Fills a new file and replaces `named` by it; after a failure the old file is unchanged. False if `mayReplace` isn't
// set and a file of that name exists.
template <class Fill> bool ReplaceFile(const std::string& named, bool mayReplace, Fill fill) {
    const std::string path = FollowOwnLinks(named);
    struct stat old {};
    const bool exists = LinkStatus(path, old);
    if (exists && !mayReplace)
        return false;
    if (exists)
        RequireRegularFile(old, path);
    if (exists && !MayWrite(path))
        RaiseFileError(errno, path); // a rename would replace a write-protected file as well
    Draft draft(path, exists ? PRIVATE_MODE : NEW_FILE_MODE);
    fill(draft.Number());
    if (exists)
        KeepOwnerAndMode(draft.Number(), old);
    else
        GiveToOwnerOfFolder(draft.Number(), path);
    return draft.Place(path, mayReplace);
}

auto ContentOf(const Descriptor& source, const std::string& from, const std::string& to) {
    return [&](int target) {
        std::vector<std::uint8_t> block(1 << 16);
        for (;;) {
            const ssize_t count = read(source.number, block.data(), block.size());
            if (count < 0)
                RaiseFileError(errno, from);
            if (count == 0)
                return;
            WriteAll(target, block.data(), std::size_t(count), to);
        }
    };
}

int OpenNewFile(const std::string& path) {
    Descriptor file(OpenDescriptor(path, NEW_FILE, NEW_FILE_MODE));
    GiveToOwnerOfFolder(file.number, path);
    return file.Release();
}

int OpenExistingFile(const std::string& path, int flags) {
    Descriptor file(OpenDescriptor(path, O_WRONLY | O_NOFOLLOW | flags));
    RequireRegularFile(StatusOf(file.number, path), path);
    return file.Release();
}

// An existing file is emptied and keeps owner and mode. One with other names, by a link of either kind, may be
// anybody's: a new file takes its name.
int OpenAnew(const std::string& path) {
    struct stat old {};
    if (!LinkStatus(path, old))
        return OpenNewFile(path);
    if (S_ISLNK(old.st_mode) || (S_ISREG(old.st_mode) && old.st_nlink > 1)) {
        struct stat target {};
        if (stat(path.c_str(), &target) == 0)
            RequireRegularFile(target, path); // a link to a device, such as /dev/stdout, is the system's
        if (unlink(path.c_str()) != 0)
            RaiseFileError(errno, path);
        Descriptor file(OpenNewFile(path));
        if (S_ISREG(old.st_mode))
            KeepOwnerAndMode(file.number, old);
        return file.Release();
    }
    RequireRegularFile(old, path);
    Descriptor file(OpenExistingFile(path, 0));
    if (ftruncate(file.number, 0) != 0)
        RaiseFileError(errno, path);
    return file.Release();
}

int OpenToAppend(const std::string& named) {
    const std::string path = FollowOwnLinks(named);
    struct stat old {};
    if (!LinkStatus(path, old))
        return OpenNewFile(path);
    RequireRegularFile(old, path);
    return OpenExistingFile(path, O_APPEND);
}

} // namespace

std::string FolderOf(const std::string& path) {
    const std::string folder = fs::path(path).parent_path().string();
    return folder.empty() ? "." : folder;
}

bool MayWrite(const std::string& path) {
    return faccessat(AT_FDCWD, ResolvePath(path).c_str(), W_OK, AT_EACCESS) == 0;
}

void CopyFile(const std::string& from, const std::string& to) {
    const Descriptor source(OpenToRead(ResolvePath(from)));
    ReplaceFile(ResolvePath(to), true, ContentOf(source, from, to));
}

bool CopyToNewFile(const std::string& from, const std::string& to) {
    const Descriptor source(OpenToRead(ResolvePath(from)));
    return ReplaceFile(ResolvePath(to), false, ContentOf(source, from, to));
}

void DeleteFile(const std::string& path) {
    const std::string resolved = ResolvePath(path);
    if (unlink(resolved.c_str()) != 0)
        RaiseFileError(errno, resolved);
}

void MakeDirectories(const std::string& path) {
    const std::string resolved = ResolvePath(path);
    std::vector<fs::path> made; // innermost first
    std::error_code error;
    for (fs::path folder = resolved; !folder.empty() && !fs::exists(folder, error); folder = folder.parent_path())
        made.push_back(folder);
    fs::create_directories(resolved, error);
    if (error)
        RaiseFileError(error.value(), resolved);
    for (auto folder = made.rbegin(); folder != made.rend(); ++folder) {
        const Descriptor opened(open(folder->c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
        if (opened.number >= 0)
            GiveToOwnerOfFolder(opened.number, folder->string());
    }
}

void WriteFileAtomically(const std::string& path, const ByteArray& bytes) {
    ReplaceFile(ResolvePath(path), true, [&](int target) { WriteAll(target, bytes.data(), bytes.size(), path); });
}

OutputFile::OutputFile(const std::string& path, Start start)
    : descriptor_(start == Start::Append ? OpenToAppend(ResolvePath(path)) : OpenAnew(ResolvePath(path))) {}

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
