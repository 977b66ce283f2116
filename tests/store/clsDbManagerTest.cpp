#include "clsDbManager.h"

#include "AppTest.h"
#include "Files.h"
#include "PlatformTest.h"
#include "ScriptedMail.h"

#include <unistd.h>

namespace {

using Texts = std::vector<std::string>;

// A program directory with an empty live database and a name that breaks careless quoting.
class Store : public AppTest {
protected:
    Store() {
        frontEnd.open = false;
        std::filesystem::create_directory(place);
        platform::UseProgramDirectory(place);
        platform::ChangeDirectory(place);
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
    // Rows of the log in a database as "level message", oldest first.
    static Texts TakeLog(const std::string& path) {
        Texts messages;
        platform::Database database(path);
        for (const auto rows = database.OpenRecordset("SELECT * FROM tblStatus"); !rows->AtEnd(); rows->Delete())
            messages.push_back(fmt::format("{} {}", rows->Text("Level"), rows->Text("Message")));
        return messages;
    }

    const std::string startDirectory = platform::CurrentDirectory();
    const std::string place = folder.file("it's here"), live = place + "/db1.mdb";
};

} // namespace

TEST_F(Store, KeepsSettingsFromRunToRunUntilTheyAreRemoved) {
    std::filesystem::copy_file(live, place + "/db1_clean.mdb"); // the first run copies it to the live one
    const std::string killed = live + "-wal";
    {
        platform::Database lost(live);
        lost.Execute("DROP TABLE tblSettings");
        std::filesystem::copy_file(killed, place + "/kept");
    }
    std::filesystem::remove(live);
    std::filesystem::rename(place + "/kept", killed);
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
    const std::string everyRow = "') OR ('' = '"; // what it would match inside a query
    EXPECT_EQ(Get(store, everyRow), "default");
    EXPECT_EQ(Remove(store, everyRow), -1);
    Save(store, everyRow, "overwritten");
    EXPECT_EQ(Get(store, "k"), "it's");
    EXPECT_EQ(Remove(store, "k"), 1);
    EXPECT_EQ(Remove(store, "k"), -1);
    EXPECT_EQ(Get(store, "k"), "default");
    store.SaveSetting("HoistlineApp", "frmSelectFirmware", "DefaultLoadBehavior", "70000");
    EXPECT_EQ(store.GetDefaultDownloadBehavior(), 0);
}

TEST_F(Store, RunsOnDefaultsWithoutAUsableDatabaseAndReportsItOnce) {
    enum { MISSING, TEXT, FOLDER, PIPE };
    for (const auto obstacle : {MISSING, TEXT, FOLDER, PIPE}) {
        std::filesystem::remove(live);
        ASSERT_TRUE(obstacle != PIPE || mkfifo((place + "/db1_clean.mdb").c_str(), 0600) == 0);
        if (obstacle == TEXT)
            std::ofstream(live) << "this is no database at all";
        if (obstacle == FOLDER)
            std::filesystem::create_directory(live);
        dialogs.shown.clear();
        {
            clsDbManager store;
            Save(store, "k", "v");
            EXPECT_EQ(Get(store, "k"), "default");
            EXPECT_EQ(Remove(store, "k"), -1);
            store.AppendToLog("lost", 13, "m", 1);
        }
        ASSERT_EQ(dialogs.shown.size(), 1u);
        EXPECT_EQ(dialogs.shown[0].caption, obstacle == MISSING ? "Database not found" : "Database not usable");
        EXPECT_EQ(dialogs.shown[0].text.find("Not a regular file") != std::string::npos, obstacle == PIPE);
        EXPECT_TRUE(obstacle != TEXT || basApp::GetFileSize64(live) == 26);
    }
}

TEST_F(Store, LogsOpeningAndClosingAndRemovesACompactedFileLeftByACrash) {
    std::ofstream(place + "/db1-compacted.mdb") << "half a database";
    { clsDbManager store; }
    log = TakeLog(live);
    ASSERT_EQ(log.size(), 3u);
    EXPECT_TRUE(log[0].starts_with("13 Database initialized and status log opened on "));
    EXPECT_TRUE(log[1].starts_with("13 App=HoistlineApp ver 1.8.1, EXE="));
    EXPECT_EQ(log[2], "5 Closing database...");
    const std::filesystem::directory_iterator files(place);
    EXPECT_EQ(std::distance(begin(files), end(files)), 1); // the database and nothing beside it
}

// A program with another lock folder may have the file open, and a run as root mustn't take it from its owner: so it
// stays the same file, and isn't touched while another program uses it.
TEST_F(Store, ShrinksItsFileInPlaceAndOnlyWhileNoOtherProgramHasItOpen) {
    const auto file = [this] { return folder.Status("it's here/db1.mdb"); };
    chmod(live.c_str(), 0640);
    const auto fill = [](platform::Database& database) {
        database.Execute("WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n WHERE i < 900) INSERT INTO "
                         "tblStatus SELECT i, 5, hex(zeroblob(100)), '' FROM n");
        database.Execute("DELETE FROM tblStatus WHERE lngRuntime < 890");
    };
    {
        platform::Database other(live);
        fill(other);
        const auto rows = other.OpenRecordset("SELECT * FROM tblStatus");
        { clsDbManager store; }
        EXPECT_EQ(rows->Text("lngRuntime"), "890"); // the rows kept their numbers
        other.Execute("INSERT INTO tblStatus VALUES (1, 13, 'from the other program', '')");
    }
    const auto before = file();
    { clsDbManager store; }
    EXPECT_EQ(file().st_ino, before.st_ino);
    EXPECT_EQ(file().st_mode, before.st_mode);
    EXPECT_LT(file().st_size, before.st_size / 4);
    const Texts messages = TakeLog(live);
    EXPECT_EQ(std::count(messages.begin(), messages.end(), "13 from the other program"), 1);
}

TEST_F(Store, KeepsTheLast2000MessagesAndTheirFirst250Characters) {
    {
        clsDbManager store;
        for (int i = 0; i < 2000; ++i)
            store.AppendToLog(fmt::format("message {}", i), 5, "m", i);
        store.AppendToLog(fmt::format("{:\xC3\xBC>300}", ""), 7, std::string(60, 'm'), 3); // 300 umlauts
    }
    log = TakeLog(live);
    ASSERT_EQ(log.size(), 2000u);
    EXPECT_EQ(log.front(), "5 message 2"); // closing adds a message too
    EXPECT_EQ(log[1998].size(), 2u + 500u);
}

TEST_F(Store, KeepsRowsOfABatchUntilItIsFullOrAnErrorComes) {
    {
        clsDbManager store;
        TakeLog(live);
        store.StoreInBatches(3);
        const std::pair<std::int32_t, Texts> steps[] = {
            {LEVEL_USER, {}},  {LEVEL_ERROR, {"13 1", "11 2"}},      {LEVEL_TRACE, {}},
            {LEVEL_TRACE, {}}, {LEVEL_TRACE, {"5 3", "5 4", "5 5"}}, {LEVEL_TRACE, {}}};
        int number = 0;
        for (const auto& [level, stored] : steps) {
            store.AppendToLog(std::to_string(++number), level, "m", 0);
            EXPECT_EQ(TakeLog(live), stored) << number;
        }
    }
    EXPECT_EQ(TakeLog(live).front(), "5 6") << "the end stores what is kept";
}

TEST_F(Store, ReadsADatabaseThatItCannotWrite) {
    {
        clsDbManager store;
        Save(store, "k", "v");
    }
    chmod(live.c_str(), 0444);
    chmod(place.c_str(), 0555);
    chmod(folder.path().c_str(), 0755);
    const uid_t user = geteuid();
    ASSERT_TRUE(user != 0 || seteuid(65534) == 0); // permissions don't stop the superuser
    basApp::hooks.writeStatusFileLine = [&](std::string_view text) {
        if (text.find(", ERROR, ") != text.npos)
            frontEnd.storeNotices.emplace_back(text);
    };
    basApp::globals.PerformUnattendedOperations = true; // the notice isn't an ERROR of the status file
    {
        clsDbManager store;
        Save(store, "k", "other");
        EXPECT_EQ(Remove(store, "k"), -1);
        EXPECT_EQ(Get(store, "k"), "v");
    }
    ASSERT_TRUE(user != 0 || seteuid(user) == 0);
    chmod(place.c_str(), 0755);
    EXPECT_EQ(frontEnd.storeNotices,
              Texts{"The database file '" + live +
                    "' cannot be written: Permission denied.  Settings and log are not stored."});
    EXPECT_EQ(TakeLog(live).size(), 3u); // those of the first run
}

TEST_F(Store, MailsACopyOfItsFileAndLeavesNoCopyBehind) {
    frontEnd.open = true; // the store's own messages go to `log`
    const std::string copy = place + "/debug_log.mdb";
    const std::string rest = "  Please send the file '" + live + "' to the proper support personnel.";
    const std::string noSession = "Failed to establish a mail session." + rest,
                      exists = "The file '" + copy + "' already exists.  Overwrite?",
                      noCopy = "Failed to backup database file." + rest;
    const std::string blank = "The support e-mail address is currently blank.  Would you like to add a default support "
                              "e-mail address?",
                      enter = "Enter the default support e-mail address:";
    const std::string subject = "subject HoistlineApp - Debug Log; ", to = "to o'k@b.c; " + subject;
    const std::string begun = "sign on; new message; ", sent = "attach " + copy + "; text ' '; send; ";
    enum Obstacle { NONE, SIGNED_ON, NO_MAIL, OLD_COPY, FOLDER_IN_THE_WAY, CANCELLED, SEND_FAILS, UNATTENDED };
    const struct {
        Obstacle obstacle;
        const char* address;
        std::deque<std::string> answers;
        std::int32_t result;
        std::string steps;
        Texts shown;
        const char *logged = "", *addressAfter = " o'k@b.c ";
    } cases[] = {
        {NONE, "  ", {"no"}, 1, begun + subject + sent, {blank}, "", "  "},
        {NONE, "", {"yes", "  "}, 1, begun + subject + sent, {blank, enter}, "", ""},
        {NONE, "", {"yes", " o'k@b.c "}, 1, begun + to + sent, {blank, enter}, "", "o'k@b.c"},
        {SIGNED_ON, " o'k@b.c ", {}, 1, "new message; " + to + sent, {}},
        {NO_MAIL, " o'k@b.c ", {}, -1, "sign on; ", {noSession}},
        {OLD_COPY, " o'k@b.c ", {"no"}, -1, begun + to, {exists, noCopy}},
        {OLD_COPY, " o'k@b.c ", {"yes"}, 1, begun + to + sent, {exists}},
        {FOLDER_IN_THE_WAY, " o'k@b.c ", {"yes"}, -1, begun + to, {exists, noCopy}, " in MakeCopy.  Could not create"},
        {CANCELLED, " o'k@b.c ", {}, -1, begun + to + sent, {}, "Error #32001: scripted in SendErrorReport"},
        {SEND_FAILS, " o'k@b.c ", {}, -1, begun + to + sent, {noSession}, "Error #5: scripted in SendErrorReport"},
        {UNATTENDED, "", {"yes", "o'k@b.c"}, -1, "", {}, "", ""},
    };
    for (const auto& row : cases) {
        SCOPED_TRACE(&row - cases);
        for (const std::string& file : {copy, live, folder.file("sent")})
            std::filesystem::remove_all(file);
        platform::Database::Create(live, clsDbManager::Schema());
        platform::testing::ScriptedMail mail;
        mail.session = row.obstacle == SIGNED_ON;
        mail.signsOn = row.obstacle != NO_MAIL;
        mail.sendFails = row.obstacle == CANCELLED ? 32001 : row.obstacle == SEND_FAILS ? 5 : 0;
        if (row.obstacle == OLD_COPY)
            platform::WriteFileAtomically(copy, TextBytes("old"));
        if (row.obstacle == FOLDER_IN_THE_WAY)
            std::filesystem::create_directory(copy);
        basApp::globals.PerformUnattendedOperations = row.obstacle == UNATTENDED;
        dialogs.shown.clear();
        dialogs.answers = row.answers;
        log.clear();
        {
            clsDbManager store;
            store.SaveSetting("HoistlineApp", "Settings", "SupportEmailAddress", row.address);
            store.AppendToLog("before", 13, "m", 1);
            EXPECT_EQ(store.SendErrorReport(), row.result);
            EXPECT_EQ(store.GetSetting("HoistlineApp", "Settings", "SupportEmailAddress"), row.addressAfter);
            store.AppendToLog("after", 13, "m", 1);
        }
        EXPECT_EQ(mail.steps, row.steps);
        Texts shown;
        for (const auto& dialog : dialogs.shown)
            shown.push_back(dialog.text);
        EXPECT_EQ(shown, row.shown);
        EXPECT_EQ(std::filesystem::exists(copy),
                  row.shown == (Texts{exists, noCopy})); // the old one, never the report's own
        EXPECT_EQ(TakeLog(live), (Texts{"13 before", "13 after"}));
        EXPECT_TRUE(Logged(row.logged));
        EXPECT_EQ(CountLogged("Error #"), *row.logged != '\0' ? 1u : 0u);
        if (mail.steps.ends_with("send; ")) {
            platform::WriteFileAtomically(folder.file("sent"), mail.sent);
            EXPECT_EQ(TakeLog(folder.file("sent")), Texts{"13 before"});
        }
    }
}
