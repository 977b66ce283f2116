#include "UserSettings.h"
#include "PlatformTest.h"

namespace {

class UserSettings : public ::testing::Test {
protected:
    platform::testing::TemporaryDirectory folder;
    const Variable place{"XDG_CONFIG_HOME", folder.path()};
    const std::string file = folder.file("HoistlineApp/settings.json");
};

TEST_F(UserSettings, AreStoredBySectionAndKey) {
    EXPECT_EQ(platform::GetUserSetting("Global", "Path", "default"), "default");
    EXPECT_TRUE(platform::SaveUserSetting("Global", "Path", "a\"b\\c"));
    EXPECT_TRUE(platform::SaveUserSetting("Other", "Path", ""));
    EXPECT_EQ(platform::GetUserSetting("Global", "Path", "default"), "a\"b\\c");
    EXPECT_EQ(platform::GetUserSetting("Other", "Path", "default"), "");
}

TEST_F(UserSettings, SurviveAnUnreadableFileAndKeepACopyOfIt) {
    platform::MakeDirectories(folder.file("HoistlineApp"));
    for (const char* broken : {"{\"Global\": ", "[1, 2]", "", "\xFF"}) {
        platform::WriteFileAtomically(file, TextBytes(broken));
        EXPECT_EQ(platform::GetUserSetting("Global", "Path", "default"), "default") << broken;
        EXPECT_TRUE(platform::SaveUserSetting("Global", "Path", "x")) << broken;
        EXPECT_EQ(platform::GetUserSetting("Global", "Path", "default"), "x") << broken;
        EXPECT_EQ(platform::ReadWholeFile(file + ".unreadable"), TextBytes(broken));
    }
    platform::WriteFileAtomically(file, TextBytes("{\"Global\": 5, \"Other\": {\"Path\": 5, \"Kept\": \"y\"}}"));
    EXPECT_EQ(platform::GetUserSetting("Global", "Path", "default"), "default");
    EXPECT_EQ(platform::GetUserSetting("Other", "Path", "default"), "default");
    EXPECT_TRUE(platform::SaveUserSetting("Global", "Path", "x"));
    EXPECT_EQ(platform::GetUserSetting("Other", "Kept", "default"), "y");
}

} // namespace
