#include "Handles.h"
#include "LockFile.h"
#include "LockFolder.h"
#include "PlatformTest.h"
#include "SingleInstance.h"
#include "VirtualClock.h"

#include <csignal>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

constexpr const char* NAME = "Tarnwell/Transaction";
constexpr std::uint32_t TAKEN = 0, TIMED_OUT = 258;

platform::Handle theirs = 0; // the peer's handle of that mutex

// A peer's orders.
const auto Open = [] { return (theirs = platform::OpenMutexA(0x1F0001, true, NAME)) != 0; };
const auto Take = [] { return platform::WaitForSingleObject(theirs, 0) == TAKEN; };
const auto Release = [] { return platform::ReleaseMutex(theirs); };
const auto Close = [] { return platform::CloseHandle(theirs); };

// Another process that carries out one order at a time. It has to start before this process opens the mutex: a fork
// inherits what is open.
class Peer {
public:
    Peer() {
        if (socketpair(AF_UNIX, SOCK_STREAM, 0, ends_) != 0)
            abort();
        id_ = fork();
        if (id_ == 0)
            Serve();
        close(ends_[1]);
    }
    ~Peer() {
        Kill();
        close(ends_[0]);
    }
    // The order has the same address in both processes.
    bool Does(bool (*order)()) {
        char answer = 0;
        return write(ends_[0], &order, sizeof order) > 0 && read(ends_[0], &answer, 1) == 1 && answer;
    }
    void Kill() {
        if (id_ > 0)
            kill(id_, SIGKILL), waitpid(id_, nullptr, 0);
        id_ = 0;
    }

private:
    [[noreturn]] void Serve() {
        close(ends_[0]);
        ssize_t answered = 1;
        for (bool (*order)(); answered == 1 && read(ends_[1], &order, sizeof order) > 0;) {
            const char answer = order();
            answered = write(ends_[1], &answer, 1);
        }
        _exit(0);
    }

    int ends_[2];
    pid_t id_ = 0;
};

class ANamedMutex : public ::testing::Test {
protected:
    platform::testing::TemporaryDirectory folder;
    const Variable place{"XDG_RUNTIME_DIR", folder.path()};
    platform::testing::VirtualClock clock;
};

TEST_F(ANamedMutex, ExistsWhileSomeProcessHasItOpen) {
    Peer peer;
    EXPECT_FALSE(peer.Does(Open));
    const platform::Handle mutex = platform::CreateMutexA(false, NAME);
    EXPECT_TRUE(peer.Does(Open));
    EXPECT_TRUE(platform::CloseHandle(mutex));
    const platform::Handle again = platform::OpenMutexA(0x1F0001, true, NAME);
    EXPECT_NE(again, 0);
    EXPECT_TRUE(platform::CloseHandle(again));
    EXPECT_TRUE(peer.Does(Close));
    EXPECT_EQ(platform::OpenMutexA(0x1F0001, true, NAME), 0);
}

TEST_F(ANamedMutex, HasOneOwnerAmongAllProcessesUntilItIsReleasedOrTheOwnerDies) {
    Peer peer;
    const platform::Handle mutex = platform::CreateMutexA(true, NAME);
    const platform::Handle second = platform::OpenMutexA(0x1F0001, true, NAME);
    ASSERT_TRUE(peer.Does(Open));
    EXPECT_EQ(platform::WaitForSingleObject(second, 0), TAKEN); // the same object, taken twice
    EXPECT_FALSE(peer.Does(Take));
    EXPECT_FALSE(peer.Does(Release));
    EXPECT_TRUE(platform::ReleaseMutex(mutex));
    EXPECT_FALSE(peer.Does(Take));
    EXPECT_TRUE(platform::ReleaseMutex(mutex));
    EXPECT_FALSE(platform::ReleaseMutex(mutex));
    EXPECT_TRUE(peer.Does(Take));

    const std::int64_t before = clock.Now();
    EXPECT_EQ(platform::WaitForSingleObject(mutex, 250), TIMED_OUT);
    EXPECT_EQ(clock.Now() - before, 250'000'000);
    clock.CallAt(clock.Now() + 40'000'000, [&] { peer.Does(Release); });
    EXPECT_EQ(platform::WaitForSingleObject(mutex, 250), TAKEN);
    EXPECT_EQ(clock.Now() - before, 290'000'000);
    EXPECT_TRUE(platform::CloseHandle(mutex));
    EXPECT_FALSE(peer.Does(Take)); // the second handle still holds it
    EXPECT_TRUE(platform::CloseHandle(second));
    EXPECT_TRUE(peer.Does(Take));

    const platform::Handle third = platform::CreateMutexA(true, NAME);
    EXPECT_EQ(platform::WaitForSingleObject(third, 0), TIMED_OUT);
    peer.Kill();
    EXPECT_EQ(platform::WaitForSingleObject(third, 0), TAKEN);
    EXPECT_TRUE(platform::CloseHandle(third));
}

TEST_F(ANamedMutex, MakesOneProcessTheOnlyInstance) {
    Peer peer;
    EXPECT_TRUE(peer.Does([] { return platform::ClaimSingleInstance("HoistlineApp"); }));
    EXPECT_FALSE(platform::ClaimSingleInstance("HoistlineApp"));
    EXPECT_TRUE(platform::ClaimSingleInstance("Other"));
    platform::ReleaseSingleInstance();
    peer.Kill();
    EXPECT_TRUE(platform::ClaimSingleInstance("HoistlineApp"));
    platform::ReleaseSingleInstance();
}

using ALockFile = ANamedMutex;

TEST_F(ALockFile, HasOneOwnerOfEachByteUntilItIsUnlockedOrClosed) {
    constexpr std::int64_t LAST = 0x7FFFFFFFFFFFFFFF; // byte of a file
    auto first = std::make_unique<platform::LockFile>("devices");
    platform::LockFile second("devices");
    for (const std::int64_t byte : {std::int64_t{0}, std::int64_t{5}, LAST}) {
        EXPECT_TRUE(first->Lock(byte) && first->Lock(byte)) << "again";
        EXPECT_FALSE(second.Lock(byte));
        EXPECT_TRUE(second.OthersHave(byte) && second.OthersHave(0, 0));
        EXPECT_FALSE(first->OthersHave(byte) || first->OthersHave(0, 0)) << "its own";
        first->Unlock(byte);
        EXPECT_FALSE(second.OthersHave(0, 0));
    }
    EXPECT_TRUE(first->Share(7) && second.Share(7));
    EXPECT_FALSE(first->Lock(7));
    EXPECT_TRUE(first->Lock(LAST));
    first.reset();
    EXPECT_TRUE(second.Lock(LAST) && second.Lock(7));
}

TEST_F(ANamedMutex, HasItsFileWhereOnlyItsUserCanWriteAndReportsOneThatCannotBeUsed) {
    namespace fs = std::filesystem;
    const std::string open = folder.file("open"), link = folder.file("link"), own = folder.file("own/locks"),
                      file = folder.file("file");
    fs::create_directory(open);
    fs::permissions(open, fs::perms::all);
    fs::create_directory_symlink(folder.path(), link);
    std::ofstream(file) << "in the way";
    EXPECT_EQ(platform::FirstPrivateFolder({open, link, file, file + "/below", own, folder.path()}), own);
    EXPECT_EQ(fs::status(own).permissions(), fs::perms::owner_all);
    EXPECT_EQ(platform::FirstPrivateFolder({open, link}), "");
    EXPECT_EQ(platform::LockFolder(), folder.path());

    ASSERT_NE(platform::CreateMutexA(false, "known"), 0);
    EXPECT_EQ(platform::LockTrouble(), "");
    std::string other;
    for (const auto& entry : fs::directory_iterator(folder.path()))
        if (entry.path().extension() == ".lock")
            other = entry.path();
    ASSERT_NE(other.find("known"), std::string::npos);
    other.replace(other.find("known"), 5, "taken");
    fs::create_directory(other);
    EXPECT_EQ(platform::CreateMutexA(false, "taken"), 0);
    EXPECT_NE(platform::LockTrouble().find(other), std::string::npos) << platform::LockTrouble();
}

} // namespace
