#include "Files.h"
#include "Modules.h"
#include "PlatformTest.h"
#include "TemporaryDirectory.h"

#include <gtest/gtest.h>

#include <filesystem>

namespace {

using platform::testing::TemporaryDirectory;

TEST(FindingFiles, TakesWildcardsInTheLastComponentOnly) {
    const TemporaryDirectory folder;
    for (const char* name : {"b.TWD", "a[1].twd", "noend", "abcabd"})
        platform::WriteFileAtomically(folder.file(name), TextBytes("12345"));
    platform::MakeDirectories(folder.file("Sub/Deep"));
    const struct {
        const char* pattern;
        const char* found; // "" for nothing
    } cases[] = {{"*.twd", "a[1].twd"}, {"?.twd", "b.TWD"}, {"A[1].TWD", "a[1].twd"},
                 {"*.*", "Sub"},        {"no*d", "noend"},  {"*ab?", "abcabd"},
                 {"*abc", ""},          {"no?", ""},        {"sub\\d*", "Deep"},
                 {"s*b\\Deep", ""},     {"SUB", "Sub"},     {"none", ""}};
    for (const auto& row : cases) {
        const auto found = platform::FindFirstFileA(folder.path() + "\\" + row.pattern);
        EXPECT_EQ(found ? found->FileName : "", row.found) << row.pattern;
    }
    EXPECT_EQ(platform::FindFirstFileA(folder.file("noend"))->Size, 5);
    EXPECT_TRUE(platform::FindFirstFileA(folder.file("sub"))->IsDirectory);
    EXPECT_FALSE(platform::FindFirstFileA(""));
}

TEST(Files, HaveEachLineOnDiskInTheCodePageAtOnceOrFailWithTheClassicNumbers) {
    const TemporaryDirectory folder;
    platform::OutputFile output(folder.file("file"));
    output.WriteLine("Gr\xC3\xBC\xC3\x9F x");
    EXPECT_EQ(platform::ReadWholeFile(folder.file("file")), TextBytes("Gr\xFC\xDF x\r\n"));
    const auto read = [](const std::string& path) { return FailureOf([&] { platform::ReadWholeFile(path); }); };
    EXPECT_EQ(read(folder.file("none")), 53);
    EXPECT_EQ(read(folder.file("none/none")), 76);
    EXPECT_EQ(read(folder.file("file/none")), 76);
    EXPECT_EQ(FailureOf([&] { platform::DeleteFile(folder.file("none")); }), 53);
    EXPECT_EQ(FailureOf([&] { platform::WriteFileAtomically(folder.file("none/new"), {}); }), 76);
    EXPECT_EQ(FailureOf([&] {
                  platform::OutputFile file("/dev/full");
                  file.WriteLine("x");
              }),
              61);
    std::uint8_t byte = 0;
    platform::InputFile directory(folder.path());
    EXPECT_EQ(FailureOf([&] { directory.Read(&byte, 1); }), 75);
}

TEST(CopyingAFile, ReplacesTheTargetOrLeavesItAlone) {
    const TemporaryDirectory folder;
    platform::WriteFileAtomically(folder.file("Source"), TextBytes("new"));
    platform::WriteFileAtomically(folder.file("Target"), TextBytes("old and longer"));
    EXPECT_EQ(FailureOf([&] { platform::CopyFile(folder.file("none"), folder.file("target")); }), 53);
    EXPECT_EQ(FailureOf([&] { platform::CopyFile(folder.path(), folder.file("target")); }), 75);
    EXPECT_EQ(platform::ReadWholeFile(folder.file("Target")), TextBytes("old and longer"));
    platform::CopyFile(folder.file("source"), folder.file("target"));
    EXPECT_EQ(platform::ReadWholeFile(folder.file("Target")), TextBytes("new"));
    const std::filesystem::directory_iterator files(folder.path());
    EXPECT_EQ(std::distance(begin(files), end(files)), 2); // no temporary file stays behind
}

TEST(Modules, HaveTheirOwnFileNamesAndAReasonWhenTheyDoNotLoad) {
    EXPECT_EQ(platform::ModuleFileName("Twl1394api.dll"), "Twl1394api.so");
    EXPECT_EQ(platform::ModuleFileName("a.b/Lib.DLL"), "a.b/Lib.so");
    EXPECT_EQ(platform::ModuleFileName("a.b/Lib"), "a.b/Lib");
    EXPECT_EQ(platform::LoadLibraryA("text.dll"), nullptr);
    EXPECT_NE(platform::LastModuleError().find("text.so"), std::string::npos);
    EXPECT_EQ(platform::LoadLibraryA("libc.so.6"), nullptr); // not from the system's folders
    EXPECT_EQ(platform::GetProcAddress(nullptr, "malloc"), nullptr);
}

} // namespace
