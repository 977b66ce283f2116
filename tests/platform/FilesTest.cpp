#include "Files.h"
#include "Database.h"
#include "Modules.h"
#include "PlatformTest.h"

#include <fmt/format.h>

#include <csignal>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/resource.h>
#include <unistd.h>

namespace {

TEST(FindingFiles, AllowsWildcardsOnlyInTheLastComponent) {
    const TestFolder folder;
    for (const char* name : {"b.TWD", "a[1].twd", "noend", "abcabd"})
        platform::WriteFileAtomically(folder.file(name), TextBytes("12345"));
    platform::MakeDirectories(folder.file("Sub/Deep"));
    // Pattern and match, "" for none.
    const std::pair<const char*, const char*> cases[] = {
        {"*.twd", "a[1].twd"}, {"?.twd", "b.TWD"}, {"A[1].TWD", "a[1].twd"},
        {"*.*", "Sub"},        {"no*d", "noend"},  {"*ab?", "abcabd"},
        {"*abc", ""},          {"no?", ""},        {"sub\\d*", "Deep"},
        {"s*b\\Deep", ""},     {"SUB", "Sub"},     {"none", ""}};
    for (const auto& [pattern, name] : cases) {
        const auto found = platform::FindFirstFileA(folder.path() + "\\" + pattern);
        EXPECT_EQ(found ? found->FileName : "", name) << pattern;
    }
    EXPECT_EQ(platform::FindFirstFileA(folder.file("noend"))->Size, 5);
    EXPECT_TRUE(platform::FindFirstFileA(folder.file("sub"))->IsDirectory);
    EXPECT_FALSE(platform::FindFirstFileA(""));
}

TEST(Files, ReachTheDiskLineByLineInTheCodePageOrFailWithTheClassicNumbers) {
    const TestFolder folder;
    platform::OutputFile output(folder.file("file"));
    output.WriteLine("Gr\xC3\xBC\xC3\x9F x");
    EXPECT_EQ(platform::ReadWholeFile(folder.file("file")), TextBytes("Gr\xFC\xDF x\r\n"));
    const auto read = [](const std::string& path) { return FailureOf([&] { platform::ReadWholeFile(path); }); };
    EXPECT_EQ(read(folder.file("none")), 53);
    EXPECT_EQ(read(folder.file("none/none")), 76);
    EXPECT_EQ(read(folder.file("file/none")), 76);
    EXPECT_EQ(FailureOf([&] { platform::DeleteFile(folder.file("none")); }), 53);
    EXPECT_EQ(FailureOf([&] { platform::WriteFileAtomically(folder.file("none/new"), {}); }), 76);
    EXPECT_EQ(read(folder.path()), 75);
}

// A plain open would wait for ever for the other end.
TEST(Files, AreNeverPipesOrDevices) {
    const TestFolder folder;
    const std::string pipe = folder.file("pipe"), file = folder.file("file");
    ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
    platform::WriteFileAtomically(file, TextBytes("x"));
    EXPECT_EQ(platform::LoadLibraryA(pipe), nullptr);
    for (const std::string& path : {pipe, std::string("/dev/full")}) {
        EXPECT_EQ(FailureOf([&] { platform::ReadWholeFile(path); }), 75);
        EXPECT_EQ(FailureOf([&] { platform::CopyFile(path, file); }), 75);
        EXPECT_EQ(FailureOf([&] { platform::CopyFile(file, path); }), 75);
        EXPECT_EQ(FailureOf([&] { platform::OutputFile output(path); }), 75);
        EXPECT_EQ(FailureOf([&] { platform::OutputFile output(path, platform::OutputFile::Start::Append); }), 75);
        EXPECT_EQ(FailureOf([&] { platform::Database database(path); }), 75);
    }
}

TEST(ReplacingAFile, KeepsItsModeAndAfterAFailureItsContent) {
    const TestFolder folder;
    const std::string source = folder.file("Source"), target = folder.file("Target");
    platform::WriteFileAtomically(source, TextBytes("new"));
    platform::WriteFileAtomically(target, TextBytes("old and longer"));
    chmod(target.c_str(), 0640);
    EXPECT_EQ(FailureOf([&] { platform::CopyFile(folder.file("none"), folder.file("target")); }), 53);
    EXPECT_EQ(FailureOf([&] { platform::CopyFile(folder.path(), folder.file("target")); }), 75);
    EXPECT_FALSE(platform::CopyToNewFile(source, target));
    rlimit before{}; // as on a full disk
    getrlimit(RLIMIT_FSIZE, &before);
    const auto handler = std::signal(SIGXFSZ, SIG_IGN);
    const rlimit full = {8, before.rlim_max};
    setrlimit(RLIMIT_FSIZE, &full);
    EXPECT_EQ(FailureOf([&] { platform::WriteFileAtomically(target, ByteArray(9)); }), 57);
    setrlimit(RLIMIT_FSIZE, &before);
    std::signal(SIGXFSZ, handler);
    EXPECT_EQ(platform::ReadWholeFile(target), TextBytes("old and longer"));
    platform::CopyFile(source, folder.file("target"));
    EXPECT_EQ(platform::ReadWholeFile(target), TextBytes("new"));
    EXPECT_EQ(folder.Status("Target").st_mode & 0777, 0640u);
    const std::filesystem::directory_iterator files(folder.path());
    EXPECT_EQ(std::distance(begin(files), end(files)), 2); // no draft is left
}

TEST(ReplacingAFile, FollowsOnlyTheUsersOwnLinksAndRemovesDraftsOfKilledProcesses) {
    const TestFolder folder;
    const std::string kept = folder.file("kept"), own = folder.file("own"), second = folder.file("second");
    const auto draft = [&](int i) { return folder.file(fmt::format(".hoistline-{}-{}.new", getpid(), i)); };
    platform::WriteFileAtomically(kept, TextBytes("kept")); // from now on the folder counts as cleared
    std::filesystem::create_symlink("kept", own);
    std::filesystem::create_symlink(kept, draft(0)); // planted where the next draft is expected
    platform::WriteFileAtomically(own, TextBytes("by the link"));
    EXPECT_TRUE(std::filesystem::is_symlink(own));
    EXPECT_EQ(platform::ReadWholeFile(kept), TextBytes("by the link"));
    std::filesystem::create_hard_link(kept, second);
    for (const std::string& name : {own, second, folder.file("dangling")}) {
        if (name == folder.file("dangling"))
            std::filesystem::create_symlink("victim", name);
        platform::OutputFile(name).WriteLine("x");
        EXPECT_EQ(platform::ReadWholeFile(name), TextBytes("x\r\n"));
        EXPECT_FALSE(std::filesystem::is_symlink(name));
    }
    EXPECT_FALSE(std::filesystem::exists(folder.file("victim")));
    EXPECT_EQ(platform::ReadWholeFile(kept), TextBytes("by the link"));
    std::filesystem::create_symlink("/dev/null", folder.file("sink")); // a link of the system's, like /dev/stdout
    EXPECT_EQ(FailureOf([&] { platform::OutputFile output(folder.file("sink")); }), 75);
    EXPECT_TRUE(std::filesystem::is_symlink(folder.file("sink")));

    const TestFolder killed;
    std::ofstream(killed.file(".hoistline-1-0.new")) << "half";
    std::ofstream(killed.file("model.txt.new1")) << "the user's";
    std::ofstream(killed.file(".hoistline-2-0.new")) << "being written";
    const int writer = open(killed.file(".hoistline-2-0.new").c_str(), O_RDONLY);
    ASSERT_EQ(flock(writer, LOCK_EX), 0);
    platform::WriteFileAtomically(killed.file("a"), {});
    close(writer);
    EXPECT_FALSE(std::filesystem::exists(killed.file(".hoistline-1-0.new")));
    EXPECT_TRUE(std::filesystem::exists(killed.file(".hoistline-2-0.new")));
    EXPECT_TRUE(std::filesystem::exists(killed.file("model.txt.new1")));
}

// Only root can create files for other users.
TEST(ReplacingAFile, KeepsItsOwnerAndRefusesAnotherUsersLink) {
    if (geteuid() != 0)
        GTEST_SKIP();
    const TestFolder folder;
    constexpr uid_t OTHER = 65534;
    platform::WriteFileAtomically(folder.file("roots"), TextBytes("root's"));
    ASSERT_EQ(chown(folder.path().c_str(), OTHER, OTHER), 0);
    platform::WriteFileAtomically(folder.file("new"), {});
    platform::OutputFile(folder.file("line"));
    platform::MakeDirectories(folder.file("deep/deeper"));
    for (const char* name : {"new", "line", "deep", "deep/deeper"})
        EXPECT_EQ(folder.Status(name).st_uid, OTHER) << name;
    platform::WriteFileAtomically(folder.file("new"), TextBytes("again"));
    EXPECT_EQ(folder.Status("new").st_uid, OTHER);
    std::filesystem::create_symlink("roots", folder.file("link"));
    ASSERT_EQ(lchown(folder.file("link").c_str(), OTHER, OTHER), 0);
    EXPECT_EQ(FailureOf([&] { platform::WriteFileAtomically(folder.file("link"), {}); }), 70);
    EXPECT_EQ(FailureOf([&] { platform::OutputFile output(folder.file("link"), platform::OutputFile::Start::Append); }),
              70);
    EXPECT_EQ(platform::ReadWholeFile(folder.file("roots")), TextBytes("root's"));
}

TEST(Modules, HaveTheirOwnFileNamesAndReportWhyTheyDoNotLoad) {
    EXPECT_EQ(platform::ModuleFileName("Twl1394api.dll"), "Twl1394api.so");
    EXPECT_EQ(platform::ModuleFileName("a.b/Lib.DLL"), "a.b/Lib.so");
    EXPECT_EQ(platform::ModuleFileName("a.b/Lib"), "a.b/Lib");
    EXPECT_EQ(platform::LoadLibraryA("text.dll"), nullptr);
    EXPECT_NE(platform::LastModuleError().find("text.so"), std::string::npos);
    EXPECT_EQ(platform::LoadLibraryA("libc.so.6"), nullptr); // not from the system's folders
    EXPECT_EQ(platform::GetProcAddress(nullptr, "malloc"), nullptr);
}

} // namespace
