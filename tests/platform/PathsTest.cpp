#include "Paths.h"
#include "Files.h"
#include "PlatformTest.h"
#include "TemporaryDirectory.h"

#include <gtest/gtest.h>

#include <filesystem>

namespace {

using platform::testing::TemporaryDirectory;

class Paths : public ::testing::Test {
protected:
    Paths() {
        for (const char* directory : {"Data/Inner", "AMBIG", "ambig", "Fw", "fw"})
            std::filesystem::create_directories(folder.file(directory));
        for (const char* name :
             {"Data/App.TWD", "Data/readme", "Data/README", "fw/one.twd", "AMBIG/two.twd", "ambig/Two.twd"})
            std::filesystem::copy_file("/proc/self/comm", folder.file(name));
        platform::ChangeDirectory(folder.path());
    }
    ~Paths() override { platform::ChangeDirectory(before); }

    const std::string before = platform::CurrentDirectory();
    TemporaryDirectory folder;
};

TEST_F(Paths, MeanWhatIsThereWithoutRegardToCaseAndSeparator) {
    const struct {
        std::string path;
        std::string resolved;
    } cases[] = {{"Data/App.TWD", "Data/App.TWD"},
                 {"data\\app.twd", "Data/App.TWD"},
                 {".\\DATA\\\\inner\\", "./Data/Inner"},
                 {"data\\..\\DATA\\app.twd", "Data/../Data/App.TWD"},
                 {"data/readme", "Data/readme"}, // the exact name goes first
                 {"FW/ONE.TWD", "fw/one.twd"},   // the folder in which the rest is found
                 {"Fw/one.twd", "fw/one.twd"},
                 {"ambig/two.TWD", "ambig/Two.twd"}, // what is spelled as it stands hides the others
                 {"data\\New Folder\\x.txt", "Data/New Folder/x.txt"},
                 {"data\\app.twd\\below", "Data/App.TWD/below"},
                 {"C:" + folder.path() + "\\data", folder.file("Data")},
                 {"C:\\", "/"},
                 {"", ""},
                 {std::string("da\0ta", 5), std::string("da\0ta", 5)},
                 {"\xFF\xFE*?<>|", "\xFF\xFE*?<>|"},
                 {std::string(5000, 'x'), std::string(5000, 'x')}};
    for (const auto& row : cases)
        EXPECT_EQ(platform::ResolvePath(row.path), row.resolved) << row.path.substr(0, 80);
    for (const char* several : {"data/ReadMe", "Ambig/two.TWD", "Ambig\\new.txt"})
        EXPECT_EQ(FailureOf([&] { platform::ReadWholeFile(several); }), 52) << several;
    EXPECT_TRUE(platform::FindFirstFileA("data/ReadMe")); // something is there
    EXPECT_FALSE(platform::FindFirstFileA("Ambig/none"));
    platform::WriteFileAtomically("data\\NEW.txt", TextBytes("x"));
    EXPECT_TRUE(std::filesystem::exists(folder.file("Data/NEW.txt")));
    platform::ChangeDirectory(".\\DATA\\inner");
    EXPECT_EQ(std::filesystem::path(platform::CurrentDirectory()).filename(), "Inner");
    EXPECT_EQ(FailureOf([] { platform::ChangeDirectory("none"); }), 76);
}

TEST(AProgramDirectory, IsSeededWithWhatItLacksAndWithTheLibraryOfTheExecutable) {
    const TemporaryDirectory installed, user;
    const std::string target = user.file("share/HoistlineApp");
    const auto put = [](const std::string& path, const char* text) {
        platform::MakeDirectories(std::filesystem::path(path).parent_path().string());
        platform::WriteFileAtomically(path, TextBytes(text));
    };
    for (const char* name : {"/Twl1394api.so", "/simulated-bus.json", "/docs/guide.md"})
        put(installed.path() + name, "theirs");
    for (const char* name : {"/Twl1394api.so", "/simulated-bus.json"})
        put(target + name, "mine");
    platform::SeedProgramDirectory(installed.path(), target);
    EXPECT_EQ(platform::ReadWholeFile(target + "/Twl1394api.so"), TextBytes("theirs"));
    EXPECT_EQ(platform::ReadWholeFile(target + "/simulated-bus.json"), TextBytes("mine"));
    EXPECT_EQ(platform::ReadWholeFile(target + "/docs/guide.md"), TextBytes("theirs"));
    EXPECT_FALSE(platform::FindFirstFileA(target + "/db1_clean.mdb")); // nothing to copy, no harm done
}

} // namespace
