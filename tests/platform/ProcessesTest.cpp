#include "Processes.h"
#include "PlatformTest.h"

namespace {

using Arguments = std::vector<std::string>;

// On the real clock, since the children are real.
std::uint32_t ExitCodeOf(const std::string& command) {
    std::uint32_t exitCode = 0;
    const platform::Handle process = platform::OpenProcess(1024, false, platform::Shell(command));
    EXPECT_EQ(platform::WaitForSingleObject(process, 60'000), 0u);
    EXPECT_TRUE(platform::GetExitCodeProcess(process, exitCode));
    EXPECT_TRUE(platform::CloseHandle(process));
    return exitCode;
}

TEST(CommandTexts, BecomeAProgramAndItsArguments) {
    const std::pair<const char*, Arguments> cases[] = {
        {"cmd /c mkdir C:\\none\\My Folder", {"mkdir", "C:\\none\\My Folder"}},
        {"CMD /C MKDIR \"a b\"", {"mkdir", "a b"}},
        {"cmd /c start notepad.exe /none/a b.txt", {"xdg-open", "/none/a b.txt"}},
        {"cmd /c start \"/none/report.htm\"", {"xdg-open", "/none/report.htm"}},
        {"cmd /c start /none/$(x);y", {"xdg-open", "/none/$(x);y"}},
        {"tool  \"a b\" c\"d e\"f \"\"", {"tool", "a b", "cd ef", ""}},
        {"tool \"open end", {"tool", "open end"}},
        {"  ", {}},
    };
    for (const auto& [command, arguments] : cases)
        EXPECT_EQ(platform::CommandArguments(command), arguments) << command;
}

TEST(Commands, RunWithoutAShellAndReturnTheirExitCodeOrReportWhyTheyDoNotStart) {
    const TestFolder folder;
    EXPECT_EQ(ExitCodeOf("sh -c \"exit 7\""), 7u);
    EXPECT_EQ(ExitCodeOf("sh -c \"kill -9 $$\""), 137u);
    EXPECT_EQ(ExitCodeOf("cmd /c mkdir " + folder.file("a\\b c")), 0u);
    EXPECT_TRUE(platform::FindFirstFileA(folder.file("a/b c"))->IsDirectory);
    EXPECT_EQ(ExitCodeOf("cmd /c mkdir /proc/none/x"), 1u);
    EXPECT_EQ(FailureOf([] { platform::Shell("hoistline-none x"); }), 53);
    EXPECT_EQ(FailureOf([] { platform::Shell(""); }), 5);
    EXPECT_EQ(platform::OpenProcess(1024, false, 1), 0); // not one of ours
    const Variable path("PATH", folder.path());
    std::string reason;
    platform::Attempt([] { platform::Shell("cmd /c start notepad.exe x"); },
                      [&](const platform::Failure& failure) { reason = failure.Description; });
    EXPECT_NE(reason.find("xdg-open"), std::string::npos) << reason;
}

TEST(Commands, DoNotInheritALock) {
    const TestFolder folder;
    const Variable place("XDG_RUNTIME_DIR", folder.path());
    const platform::Handle mutex = platform::CreateMutexA(true, "held");
    EXPECT_EQ(ExitCodeOf("sh -c \"ls -l /proc/self/fd /proc/$PPID/fd | grep -c 'held.*lock' | grep -qx 1\""), 0u);
    EXPECT_TRUE(platform::CloseHandle(mutex));
}

} // namespace
