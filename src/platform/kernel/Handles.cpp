#include "Handles.h"

#include "Clock.h"
#include "HandleTable.h"
#include "LockFolder.h"

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <map>
#include <mutex>
#include <sys/syscall.h>
#include <unistd.h>

namespace platform {

namespace {

// The lock file of a named mutex. The owner locks byte 0, and everybody who has the mutex open shares a lock of byte 1;
// the system releases both when a process ends, however it ends.
class LockFile {
public:
    explicit LockFile(const std::string& name) {
        const std::string folder = LockFolder();
        if (folder.empty()) {
            trouble_ = "there is no folder for lock files that only this user can write";
            return;
        }
        const std::string path = folder + "/" + FileNameOf(name);
        descriptor_ = open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK, 0600);
        struct flock probe = Range(F_WRLCK, OWNER);
        if (descriptor_ < 0 || fcntl(descriptor_, F_OFD_GETLK, &probe) != 0)
            trouble_ = "lock file \"" + path + "\": " + std::strerror(errno);
    }
    ~LockFile() {
        if (descriptor_ >= 0)
            close(descriptor_);
    }
    LockFile(const LockFile&) = delete;
    LockFile& operator=(const LockFile&) = delete;

    // Why the file can't be locked; empty when it can.
    const std::string& Trouble() const { return trouble_; }
    bool TryOwn() { return Lock(F_WRLCK, OWNER); }
    void Disown() { Lock(F_UNLCK, OWNER); }
    void JoinUsers() { Lock(F_RDLCK, USERS); }
    bool HasUsers() {
        struct flock probe = Range(F_WRLCK, USERS);
        return fcntl(descriptor_, F_OFD_GETLK, &probe) == 0 && probe.l_type != F_UNLCK;
    }

private:
    static constexpr off_t OWNER = 0, USERS = 1;

    // With the machine's name: machines may share a home, but each has a bus of its own.
    static std::string FileNameOf(std::string name) {
        char host[256] = "";
        gethostname(host, sizeof host - 1);
        name += std::string("-") + host;
        for (char& character : name)
            if (character == '/' || character == '\0')
                character = '_';
        return name + ".lock";
    }
    static struct flock Range(short type, off_t byte) {
        struct flock range {};
        range.l_type = type;
        range.l_whence = SEEK_SET;
        range.l_start = byte;
        range.l_len = 1;
        return range;
    }
    bool Lock(short type, off_t byte) {
        struct flock range = Range(type, byte);
        return fcntl(descriptor_, F_OFD_SETLK, &range) == 0;
    }

    std::string trouble_;
    int descriptor_ = -1;
};

class Event : public KernelObject {
public:
    Event(bool manualReset, bool signalled) : manualReset_(manualReset), signalled_(signalled) {}
    bool TryWait() override {
        const bool was = signalled_;
        signalled_ = was && manualReset_;
        return was;
    }
    void Set() { signalled_ = true; }

private:
    bool manualReset_, signalled_;
};

// One object for all handles of a name in this process, so that its owner can take it again by any of them.
class Mutex : public KernelObject {
public:
    explicit Mutex(std::unique_ptr<LockFile> file) : file_(std::move(file)) {}
    bool TryWait() override {
        const std::uint32_t thread = GetCurrentThreadId();
        const std::lock_guard guard(guard_);
        if (count_ > 0 && owner_ != thread)
            return false;
        if (count_ == 0 && file_ && !file_->TryOwn())
            return false;
        owner_ = thread;
        ++count_;
        return true;
    }
    bool Release() {
        const std::lock_guard guard(guard_);
        if (count_ == 0 || owner_ != GetCurrentThreadId())
            return false;
        if (--count_ == 0 && file_)
            file_->Disown();
        return true;
    }

private:
    std::mutex guard_;
    std::unique_ptr<LockFile> file_; // null for an unnamed mutex
    std::uint32_t owner_ = 0;
    int count_ = 0;
};

struct Globals {
    std::mutex guard;
    std::map<Handle, std::shared_ptr<KernelObject>> objects;
    std::map<std::string, std::weak_ptr<Mutex>> namedMutexes;
    Handle next = 4;
    std::string lockTrouble;
} globals;

std::shared_ptr<Mutex> NamedMutex(const std::string& name, bool create) {
    const std::lock_guard guard(globals.guard);
    if (std::shared_ptr<Mutex> known = globals.namedMutexes[name].lock())
        return known;
    auto file = std::make_unique<LockFile>(name);
    globals.lockTrouble = file->Trouble();
    if (!file->Trouble().empty() || (!create && !file->HasUsers()))
        return nullptr;
    file->JoinUsers();
    auto mutex = std::make_shared<Mutex>(std::move(file));
    globals.namedMutexes[name] = mutex;
    return mutex;
}

} // namespace

Handle AddHandle(std::shared_ptr<KernelObject> object) {
    const std::lock_guard guard(globals.guard);
    const Handle handle = globals.next;
    globals.next += 4;
    globals.objects[handle] = std::move(object);
    return handle;
}

std::shared_ptr<KernelObject> ObjectOf(Handle handle) {
    const std::lock_guard guard(globals.guard);
    const auto found = globals.objects.find(handle);
    return found == globals.objects.end() ? nullptr : found->second;
}

Handle CreateEventA(bool manualReset, bool initialState) {
    return AddHandle(std::make_shared<Event>(manualReset, initialState));
}

bool SetEvent(Handle event) {
    const auto object = std::dynamic_pointer_cast<Event>(ObjectOf(event));
    if (object)
        object->Set();
    return object != nullptr;
}

Handle CreateMutexA(bool initialOwner, const std::string& name) {
    std::shared_ptr<Mutex> mutex = name.empty() ? std::make_shared<Mutex>(nullptr) : NamedMutex(name, true);
    if (!mutex)
        return 0;
    if (initialOwner)
        mutex->TryWait();
    return AddHandle(std::move(mutex));
}

Handle OpenMutexA(std::uint32_t, bool, const std::string& name) {
    std::shared_ptr<Mutex> mutex = NamedMutex(name, false);
    return mutex ? AddHandle(std::move(mutex)) : 0;
}

std::string LockTrouble() {
    const std::lock_guard guard(globals.guard);
    return globals.lockTrouble;
}

bool ReleaseMutex(Handle mutex) {
    const auto object = std::dynamic_pointer_cast<Mutex>(ObjectOf(mutex));
    return object && object->Release();
}

std::uint32_t WaitForSingleObject(Handle handle, std::uint32_t milliseconds) {
    const auto object = ObjectOf(handle);
    if (!object)
        return WAIT_FAILED;
    const std::int64_t end = CurrentClock().Now() + std::int64_t(milliseconds) * 1'000'000;
    while (!object->TryWait()) {
        if (CurrentClock().Now() >= end)
            return WAIT_TIMEOUT;
        Sleep(1);
    }
    return WAIT_OBJECT_0;
}

bool CloseHandle(Handle handle) {
    // Without a handle left, a mutex closes its lock file, which ends the ownership.
    const std::lock_guard guard(globals.guard);
    return globals.objects.erase(handle) == 1;
}

std::uint32_t GetCurrentThreadId() {
    return std::uint32_t(syscall(SYS_gettid));
}

} // namespace platform
