// hoistline settings, on a database of its own.
#include "CommandTest.h"
#include "Database.h"
#include "Paths.h"
#include "clsDbManager.h"

#include <filesystem>

using namespace testing_support;

namespace {

class SettingsTest : public CommandTest {
protected:
    SettingsTest() : before_(platform::CurrentDirectory()) {
        UseBus(Bus({}));
        std::filesystem::remove(program->directory.file("db1.mdb"));
        platform::Database::Create(program->directory.file("db1_clean.mdb"), clsDbManager::Schema());
        platform::ChangeDirectory("/"); // not where the database lies
    }
    ~SettingsTest() override { platform::ChangeDirectory(before_); }

    // "value" or the verdict's word.
    std::string Get(const std::string& section, const std::string& key) {
        const cli::Json record = Record({"settings", "get", section, key});
        return record["verdict"] == "done" ? record["answer"]["value"] : record["verdict"];
    }
    int Set(const std::string& section, const std::string& key, const std::string& value) {
        return Call({"settings", "set", section, key, "--", value});
    }

private:
    const std::string before_;
};

TEST_F(SettingsTest, StoresWhatIsWithinItsBounds) {
    const std::tuple<const char*, const char*, const char*, int> cases[] = {
        {"Global", "DebugLoggingLevel", "1", 0},
        {"global", "debuglogginglevel", "17", 0},
        {"Global", "DebugLoggingLevel", "18", 6},
        {"Global", "DebugMessageLevel", "17", 6},
        {"Global", "DllMessageLevel", "0", 6},
        {"Global", "DllMessageLevel", "7x", 6},
        {"Global", "DllMessageLevel", " 7", 6},
        {"Global", "DllMessageLevel", "TRACE", 6},
        {"Global", "Default1394TransactionTimeout", "3000", 0},
        {"Global", "Default1394TransactionTimeout", "3001", 6},
        {"Global", "Default1394TransactionTimeout", "-1", 6},
        {"Global", "Default1394TransactionTimeout", "", 6},
        {"frmShell", "ShellPollingInterval", "0", 6},
        {"frmShell", "ScrollBackLines", "99999999999", 6},
        {"frmSelectFirmware", "DefaultLoadBehavior", "3", 6},
        {"MDIForm1", "AutoScaleChildForms", "False", 0},
        {"MDIForm1", "AutoScaleChildForms", "2", 6},
        {"frmSelectFirmware", "AlwaysLoadConfig", "true", 6},
        {"Settings", "SupportEmailAddress", "Ü <it's@example.org>", 0},
        {"Global", "NoSuchKey", "1", 6},
        {"DebugLoggingLevel", "Global", "1", 6}};
    for (const auto& [section, key, value, code] : cases)
        EXPECT_EQ(Set(section, key, value), code) << key << " " << value << "\n" << error;
    EXPECT_EQ(Get("Global", "DebugLoggingLevel"), "17");
    EXPECT_EQ(Get("Global", "Default1394TransactionTimeout"), "3000");
    EXPECT_EQ(Get("Settings", "SupportEmailAddress"), "Ü <it's@example.org>");
    EXPECT_EQ(Get("frmShell", "ScrollBackLines"), "10000") << "its default";
    EXPECT_EQ(Get("Global", "NoSuchKey"), "refused");
    EXPECT_EQ(Call({"settings", "unset", "Global", "DebugLoggingLevel"}), 0);
    EXPECT_EQ(Get("Global", "DebugLoggingLevel"), "5");
    EXPECT_EQ(Call({"settings", "set", "Global"}), 2);
}

TEST_F(SettingsTest, ShowsWhatIsStoredUnderOtherNamesAndWhatCantBeUsed) {
    EXPECT_EQ(Call({"settings", "list"}), 0);
    EXPECT_FALSE(std::filesystem::exists(program->directory.file("db1.mdb"))) << "reading makes no database";
    EXPECT_NE(out.find(" from 1 to 17    lowest level of messages in the stored log\n"), std::string::npos) << out;
    EXPECT_EQ(Set("Global", "DllMessageLevel", "9"), 0);
    EXPECT_EQ(error, "hoistline settings set: done\n");
    {
        clsDbManager store; // in the program's directory, where the call has left this process
        store.SaveSetting("HoistlineApp", "frmMain", "Top", "300");
        store.SaveSetting("HoistlineApp", "Global", "DllMessageLevel", "many\x1B[2J");
        store.SaveSetting("Another program", "Global", "HelpHost", "not ours");
    }
    EXPECT_EQ(Call({"settings", "list"}), 0);
    EXPECT_NE(out.find("frmMain            Top"), std::string::npos) << out;
    EXPECT_EQ(out.find("not ours"), std::string::npos) << out;
    EXPECT_NE(error.find("Global DllMessageLevel: \"many?[2J\" can't be used: it isn't a number from 1 to 15"),
              std::string::npos)
        << error;
    EXPECT_EQ(Set("frmMain", "Top", "wide"), 6);
    EXPECT_EQ(Set("frmMain", "Top", "-20"), 0);
    EXPECT_EQ(Get("frmMain", "Top"), "-20");
}

TEST_F(SettingsTest, FailsWhenNothingCanBeStored) {
    std::filesystem::remove(program->directory.file("db1_clean.mdb"));
    EXPECT_EQ(Get("Global", "DllMessageLevel"), "7");
    EXPECT_EQ(Set("Global", "DllMessageLevel", "9"), 1);
    program->Write("db1.mdb", std::string(4096, 'x'));
    EXPECT_EQ(Set("Global", "DllMessageLevel", "9"), 1);
    EXPECT_EQ(Get("Global", "DllMessageLevel"), "failed");
}

} // namespace
