#include "Handles.h"

#include "Clock.h"
#include "HandleTable.h"
#include "LockFile.h"

#include <map>
#include <mutex>
#include <sys/syscall.h>
#include <unistd.h>

namespace platform {

namespace {

// In the lock file of a named mutex its owner locks one byte, and everybody who has it open shares the other.
constexpr std::int64_t OWNER = 0, USERS = 1;

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
        if (count_ == 0 && file_ && !file_->Lock(OWNER))
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
            file_->Unlock(OWNER);
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
    if (!file->Trouble().empty() || (!create && !file->OthersHave(USERS)))
        return nullptr;
    file->Share(USERS);
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
