#include "Paths.h"
#include "PlatformTest.h"

namespace {

class Paths : public ::testing::Test {
protected:
    Paths() {
        for (const char* name :
             {"Data/App.TWD", "Data/readme", "Data/README", "fw/one.twd", "AMBIG/two.twd", "ambig/Two.twd"})
            folder.Put(name, "x");
        for (const char* directory : {"Data/Inner", "Fw"})
            std::filesystem::create_directory(folder.file(directory));
        platform::ChangeDirectory(folder.path());
    }
    ~Paths() override { platform::ChangeDirectory(before); }

    const std::string before = platform::CurrentDirectory();
    TestFolder folder;
};

TEST_F(Paths, MeanWhatExistsRegardlessOfCaseAndSeparator) {
    const std::pair<std::string, std::string> cases[] = {
        {"Data/App.TWD", "Data/App.TWD"},
        {"data\\app.twd", "Data/App.TWD"},
        {".\\DATA\\\\inner\\", "./Data/Inner"},
        {"data\\..\\DATA\\app.twd", "Data/../Data/App.TWD"},
        {"data/readme", "Data/readme"}, // the exact name comes first
        {"FW/ONE.TWD", "fw/one.twd"},   // the folder in which the rest is found
        {"Fw/one.twd", "fw/one.twd"},
        {"ambig/two.TWD", "ambig/Two.twd"}, // a component in its exact spelling hides the others
        {"data\\New Folder\\x.txt", "Data/New Folder/x.txt"},
        {"data\\app.twd\\below", "Data/App.TWD/below"},
        {"C:" + folder.path() + "\\data", folder.file("Data")},
        {"C:\\", "/"},
        {"", ""},
        {std::string("da\0ta", 5), std::string("da\0ta", 5)},
        {"\xFF\xFE*?<>|", "\xFF\xFE*?<>|"},
        {std::string(5000, 'x'), std::string(5000, 'x')}};
    for (const auto& [path, resolved] : cases)
        EXPECT_EQ(platform::ResolvePath(path), resolved) << path.substr(0, 80);
    for (const char* several : {"data/ReadMe", "Ambig/two.TWD", "Ambig\\new.txt"})
        EXPECT_EQ(FailureOf([&] { platform::ReadWholeFile(several); }), 52) << several;
    EXPECT_TRUE(platform::FindFirstFileA("data/ReadMe")); // one of them
    EXPECT_FALSE(platform::FindFirstFileA("Ambig/none"));
    platform::WriteFileAtomically("data\\NEW.txt", TextBytes("x"));
    EXPECT_TRUE(std::filesystem::exists(folder.file("Data/NEW.txt")));
    platform::ChangeDirectory(".\\DATA\\inner");
    EXPECT_EQ(std::filesystem::path(platform::CurrentDirectory()).filename(), "Inner");
    EXPECT_EQ(FailureOf([] { platform::ChangeDirectory("none"); }), 76);
}

TEST(AProgramDirectory, ReceivesWhatItLacksAndTheExecutablesLibrary) {
    const TestFolder installed, user;
    for (const char* name : {"Twl1394api.so", "simulated-bus.json", "batch-operations/keybatch.html"})
        installed.Put(name, "theirs");
    for (const char* name : {"app/Twl1394api.so", "app/simulated-bus.json"})
        user.Put(name, "mine");
    platform::SeedProgramDirectory(installed.path(), user.file("app"));
    EXPECT_EQ(user.Content("app/Twl1394api.so"), "theirs");
    EXPECT_EQ(user.Content("app/simulated-bus.json"), "mine");
    EXPECT_EQ(user.Content("app/batch-operations/keybatch.html"), "theirs");
    EXPECT_FALSE(platform::FindFirstFileA(user.file("app/db1_clean.mdb"))); // nothing to copy
}

TEST(AProgramDirectory, IsThatOfTheExecutableUnlessItBelongsToTheSystem) {
    const TestFolder folder;
    const std::string users = platform::UserFolder("XDG_DATA_HOME", ".local/share");
    for (const auto& [executables, data] : {std::pair{folder.path(), folder.path()},
                                            {"/usr/lib", users}, // even for root, who may write there
                                            {"/usr", users},
                                            {folder.file("none"), users}})
        EXPECT_EQ(platform::ProgramDirectoryOf(executables), data) << executables;
}

} // namespace
