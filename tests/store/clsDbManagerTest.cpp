#include "clsDbManager.h"

#include "AppTest.h"
#include "Files.h"
#include "PlatformTest.h"

#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>

namespace {

// A program directory with an empty live database.
class Store : public AppTest {
protected:
    Store() {
        basApp::hooks.writeStatusFileLine = [this](std::string_view text) { statusFile.emplace_back(text); };
        platform::ChangeDirectory(folder.path());
        platform::Database::Create(live, clsDbManager::Schema());
    }
    ~Store() override { platform::ChangeDirectory(startDirectory); }
    static std::string Get(clsDbManager& store, const std::string& key) {
        return store.GetSetting("HoistlineApp", "Global", key, "default");
    }
    static void Save(clsDbManager& store, const std::string& key, const std::string& value) {
        EXPECT_EQ(store.SaveSetting("HoistlineApp", "Global", key, value), "");
    }
    static std::int32_t Remove(clsDbManager& store, const std::string& key) {
        return store.RemoveSetting("HoistlineApp", "Global", key);
    }
    // Rows of the log as "level message", oldest first.
    std::vector<std::string> Log() {
        platform::Database database(live);
        const auto rows = database.OpenRecordset("SELECT * FROM tblStatus");
        for (log.clear(); !rows->AtEnd(); rows->Delete())
            log.push_back(fmt::format("{} {}", std::get<std::int64_t>(rows->Field("Level")), rows->Text("Message")));
        return log;
    }

    const std::string startDirectory = platform::CurrentDirectory();
    std::vector<std::string> statusFile;
    const std::string live = folder.file("db1.mdb");
};

} // namespace

TEST_F(Store, KeepsSettingsFromRunToRunAndForgetsThemOnlyByRemoval) {
    std::filesystem::rename(live, folder.file("db1_clean.mdb")); // the first run makes the live one of it
    {
        clsDbManager store;
        Save(store, "k", "it's");
        Save(store, "k", "");
        Save(store, "new and empty", "");
    }
    EXPECT_TRUE(dialogs.shown.empty());
    clsDbManager store;
    EXPECT_EQ(Get(store, "k"), "it's");
    EXPECT_EQ(Get(store, "new and empty"), "default");
    const std::string everyRow = "') OR ('' = '"; // what would happen if it got into a query
    EXPECT_EQ(Get(store, everyRow), "default");
    EXPECT_EQ(Remove(store, everyRow), -1);
    Save(store, everyRow, "overwritten");
    EXPECT_EQ(Get(store, "k"), "it's");
    EXPECT_EQ(Remove(store, "k"), 1);
    EXPECT_EQ(Remove(store, "k"), -1);
    EXPECT_EQ(Get(store, "k"), "default");
    store.SetDefaultDownloadBehavior(-7);
    EXPECT_EQ(store.GetDefaultDownloadBehavior(), -7);
    store.SaveSetting("HoistlineApp", "frmSelectFirmware", "DefaultLoadBehavior", "70000");
    EXPECT_EQ(store.GetDefaultDownloadBehavior(), 0);
}

TEST_F(Store, RunsOnDefaultsWithoutAUsableDatabaseAndSaysSoOnce) {
    for (const bool corrupt : {false, true}) {
        std::filesystem::remove(live);
        if (corrupt)
            std::ofstream(live) << "this is no database at all";
        dialogs.shown.clear();
        {
            clsDbManager store;
            Save(store, "k", "v");
            EXPECT_EQ(Get(store, "k"), "default");
            EXPECT_EQ(Remove(store, "k"), -1);
            store.AppendToLog("lost", 13, "m", 1);
        }
        ASSERT_EQ(dialogs.shown.size(), 1u);
        EXPECT_EQ(dialogs.shown[0].caption, corrupt ? "Database not usable" : "Database not found");
        EXPECT_EQ(basApp::GetFileSize64(live), corrupt ? 26 : -1);
    }
    basApp::globals.PerformUnattendedOperations = true;
    const clsDbManager store;
    ASSERT_FALSE(statusFile.empty()); // a run has no message box
    EXPECT_NE(statusFile[0].find(live), std::string::npos);
    EXPECT_EQ(dialogs.shown.size(), 1u);
}

TEST_F(Store, LogsItsOpeningAndClosingAndReplacesACompactedFileOfACrash) {
    std::ofstream(folder.file("db1-compacted.mdb")) << "half a database";
    { clsDbManager store; }
    Log();
    ASSERT_EQ(log.size(), 3u);
    EXPECT_TRUE(log[0].starts_with("13 Database initialized and status log opened on "));
    EXPECT_TRUE(log[1].starts_with("13 App=HoistlineApp ver 1.8.1, EXE="));
    EXPECT_EQ(log[2], "5 Closing database...");
    const std::filesystem::directory_iterator files(folder.path());
    EXPECT_EQ(std::distance(begin(files), end(files)), 1); // the database and nothing beside it
}

TEST_F(Store, KeepsTheLast2000MessagesAndTheirFirst250Characters) {
    {
        clsDbManager store;
        for (int i = 0; i < 2000; ++i)
            store.AppendToLog(fmt::format("message {}", i), 5, "m", i);
        store.AppendToLog(fmt::format("{:\xC3\xBC>300}", ""), 7, std::string(60, 'm'), 3); // 300 umlauts
    }
    Log();
    ASSERT_EQ(log.size(), 2000u);
    EXPECT_EQ(log.front(), "5 message 2"); // the closing is a message too
    EXPECT_EQ(log[1998].size(), 2u + 500u);
}

TEST_F(Store, WritesErrorsOfARunToItsStatusFile) {
    clsDbManager store;
    store.AppendToLog("before the run", 11, "m", 1);
    basApp::globals.PerformUnattendedOperations = true;
    store.AppendToLog("too low", 9, "m", 1);
    store.AppendToLog("broken", 11, "bas1394", 247123);
    EXPECT_EQ(statusFile, std::vector<std::string>{"0:04:07.123, ERROR, bas1394, broken"});
}

TEST_F(Store, CopiesItsFileAndIsOpenAgainAfterwardsWhateverHappened) {
    clsDbManager store;
    Save(store, "k", "v");
    const std::string copy = folder.file("debug_log.mdb");
    const auto makeCopy = [&](const std::string& path, const char* answer) {
        dialogs.answers = {answer};
        const std::int32_t result = store.MakeCopy(path);
        EXPECT_EQ(Get(store, "k"), "v");
        return result;
    };
    EXPECT_EQ(makeCopy(copy, ""), 1);
    EXPECT_EQ(makeCopy(copy, "no"), -1);
    EXPECT_EQ(makeCopy(copy, "yes"), 1);
    EXPECT_EQ(makeCopy(folder.file("nowhere/copy.mdb"), ""), -1);
    ASSERT_EQ(dialogs.shown.size(), 2u);
    EXPECT_EQ(dialogs.shown[0].text, "The file '" + copy + "' already exists.  Overwrite?");
    EXPECT_FALSE(platform::Database(copy).OpenRecordset("SELECT * FROM tblSettings")->AtEnd());
    basApp::globals.PerformUnattendedOperations = true;
    EXPECT_EQ(makeCopy(copy, "yes"), -1); // nobody is asked
}

TEST_F(Store, ReadsADatabaseThatItMayNotWrite) {
    {
        clsDbManager store;
        Save(store, "k", "v");
    }
    chmod(live.c_str(), 0444);
    chmod(folder.path().c_str(), 0555);
    const uid_t user = geteuid();
    ASSERT_TRUE(user != 0 || seteuid(65534) == 0); // no permission stops the superuser
    {
        clsDbManager store;
        Save(store, "k", "other");
        EXPECT_EQ(Remove(store, "k"), -1);
        EXPECT_EQ(Get(store, "k"), "v");
    }
    ASSERT_TRUE(user != 0 || seteuid(user) == 0);
    chmod(folder.path().c_str(), 0755);
    EXPECT_EQ(Log().size(), 3u); // those of the first life
}
