#include "AppTest.h"
#include "Files.h"
#include "PlatformTest.h"
#include "ScriptedMail.h"
#include "clsDbManager.h"

#include <filesystem>

namespace {

using Texts = std::vector<std::string>;

// In a folder with a name that breaks careless quoting.
class ErrorReport : public AppTest {
protected:
    ErrorReport() {
        std::filesystem::create_directory(place);
        platform::UseProgramDirectory(place);
        platform::ChangeDirectory(place);
        basApp::hooks.mainWindowExists = [] { return true; }; // the store's own messages go to `log`
    }
    ~ErrorReport() override { platform::ChangeDirectory(start); }
    static Texts Stored(const std::string& path) {
        Texts messages;
        platform::Database database(path);
        for (const auto rows = database.OpenRecordset("SELECT * FROM tblStatus"); !rows->AtEnd(); rows->Delete())
            messages.push_back(rows->Text("Message"));
        return messages;
    }

    const std::string start = platform::CurrentDirectory(), place = folder.file("it's here");
    const std::string live = place + "/db1.mdb", copy = place + "/debug_log.mdb";
};

TEST_F(ErrorReport, IsAMailWithACopyOfTheDatabaseAndLeavesNothingBehind) {
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
        EXPECT_EQ(std::filesystem::exists(copy), row.shown == (Texts{exists, noCopy})); // not the report's own
        EXPECT_EQ(Stored(live), (Texts{"before", "after"}));
        EXPECT_TRUE(Logged(row.logged));
        EXPECT_EQ(CountLogged("Error #"), *row.logged != '\0' ? 1u : 0u);
        if (mail.steps.ends_with("send; ")) {
            platform::WriteFileAtomically(folder.file("sent"), mail.sent);
            EXPECT_EQ(Stored(folder.file("sent")), Texts{"before"});
        }
    }
}

} // namespace
