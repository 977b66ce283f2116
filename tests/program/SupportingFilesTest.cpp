#include "AppTest.h"
#include "StartUp.h"

#include <fcntl.h>
#include <sys/stat.h>

namespace {

class SupportingFiles : public AppTest {
protected:
    SupportingFiles() { basApp::globals.DebugLoggingLevel = 1; }
    // A file of three bytes that was last written at this time.
    void MakeFile(const std::string& name, std::time_t unixTime) {
        std::ofstream(folder.file(name)) << "abc";
        const timespec times[] = {{unixTime, 0}, {unixTime, 0}};
        ASSERT_EQ(utimensat(AT_FDCWD, folder.file(name).c_str(), times, 0), 0);
    }
};

} // namespace

TEST_F(SupportingFiles, AreMissedWhenTheyAreNotThereOrOfAnotherDate) {
    constexpr std::time_t DAY = 86400, JULY_24 = 1059030245; // 2003-07-24 07:04:05 UTC
    const std::string path = folder.file("f");
    const auto dated = [&](int day) { return fmt::format("{} is dated 2003-7-{}  7:04:05.|", path, day); };
    const auto refused = [&](int day) {
        return fmt::format("9 {0}11 File Dependency Error: file \"{1}\" is dated 2003-7-{2}  7:04:05.|"
                           "11 The expected date is Year=2003 mon=7 day=24|",
                           dated(day), path, day);
    };
    const platform::SystemTime july24{2003, 7, 0, 24, 0, 0, 0, 0};
    const std::string missing = "13 ERROR: the file \"" + path + "\" does not exist!|11 Failed to convert driver " +
                                "date to a readable format!  FileTimeToSystemTime result = 0|";
    // When it was written, 0 for a file that is not there.
    const std::tuple<std::time_t, basApp::Dependency, std::string> rows[] = {
        {JULY_24, {"\\f", july24, false, true, false}, "9 " + dated(24)},
        {JULY_24 + DAY, {"f", july24, false, true, true}, "9 " + dated(25)},
        {JULY_24 + DAY, {"f", july24, false, true, false}, refused(25)},
        {JULY_24 - DAY, {path, july24, false, false, true}, refused(23)},
        {JULY_24 - DAY, {"f", {}, false, true, false}, "9 " + dated(23)},
        {0, {"f", july24, false, true, true}, missing},
        {0,
         {"f", july24, true, false, true},
         "11 Failed to get the Windows directory name in the startup routine, code 0!|"},
    };
    for (const auto& [written, dependency, expected] : rows) {
        remove(path.c_str());
        if (written != 0)
            MakeFile("f", written);
        log.clear();
        EXPECT_EQ(basApp::VerifySupportingFile(dependency), written != 0 ? 0 : -1) << expected;
        EXPECT_EQ(fmt::format("{}|", fmt::join(log, "|")), expected);
    }
}
