#include "basAutomation.h"

#include <gtest/gtest.h>

using Options = std::vector<std::string>;

namespace {

class CommandLine : public testing::Test {
protected:
    void SetUp() override {
        basApp::globals = {};
        basDebug::hooks = {};
        basAutomation::globals = {};
        basAutomation::hooks = {};
    }
    // As Main does it: upper case first.
    static std::string Parse(std::string text) {
        basApp::globals.CommandLine = text;
        EXPECT_EQ(basAutomation::ParseCommandLine(text), 1);
        return text;
    }
    static std::string Apply(const std::string& text) {
        std::string matchGuid;
        Parse(text);
        basAutomation::ApplyOptions(basApp::globals.CommandLineOptions, matchGuid);
        return matchGuid;
    }
};

constexpr const char* NO_SLASH = "ERROR: expected '/' in command line position 1";
constexpr const char* NO_END = "Command Line Error: Begin quotation with no matching end quotation!";

TEST_F(CommandLine, SplitsAtEachSlashOutsideQuotes) {
    struct Row {
        const char* text;
        Options options, errors;
    };
    const Row rows[] = {
        {"", {""}, {""}},
        {"  ", {""}, {""}},
        {"/", {"", "/"}, {""}},
        {" /D a.twd /O /S ", {"", "/D a.twd", "/O", "/S"}, {""}},
        {"/A/B \"x/y\"", {"", "/A", "/B \"x/y\""}, {""}},
        {"/D C:\\Program Files\\x.twd /S", {"", "/D C:\\Program Files\\x.twd", "/S"}, {""}},
        {"/D \"C:/x y/a.twd\" /S", {"", "/D \"C:/x y/a.twd\"", "/S"}, {""}},
        {"/D \"a/b\" \"c/d\" /S", {"", "/D \"a/b\" \"c/d\"", "/S"}, {""}},
        {"/D \"/\"\"/\" /S", {"", "/D \"/\"\"/\"", "/S"}, {""}},
        {"abc /S", {"", "abc", "/S"}, {"", NO_SLASH}},
        {"/D \"a", {"", "/D \"a"}, {"", NO_END}},
        {"/D \"a/b", {"", "/D \"a", "/b"}, {"", NO_END}},
        {"/S /", {"", "/S"}, {""}},
        {"//", {"", "/"}, {""}},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.text);
        Parse(row.text);
        EXPECT_EQ(basApp::globals.CommandLineOptions, row.options);
        EXPECT_EQ(basApp::globals.CommandLineErrors, row.errors);
    }
}

TEST_F(CommandLine, CallsForARunOnlyWithAnOperation) {
    basAutomation::InitializeCommandLineOptions();
    for (const char* option : {"/D x", "/DX", "/d x", "/B", "/G 00", "/M", "/I", "/R x", "/C", "/Q", "/A", "/F"})
        EXPECT_TRUE(basAutomation::CommandLineHasOperations({"", "/S", option})) << option;
    for (const char* option : {"", "/O", "/S", "/X 00", "D", "/", "/A X", "/FX", "--download x"})
        EXPECT_FALSE(basAutomation::CommandLineHasOperations({"", option})) << option;
}

TEST_F(CommandLine, OptionsSetTheParametersOfTheRun) {
    auto& run = basAutomation::globals;
    EXPECT_EQ(Apply("/D A.TWD/D \"C:/X Y/B.TWD\" /B BOOT.TWD/G 00 11 \"22 33\" 44 55 66 77 /X \"0011 2233\""),
              "00112233");
    EXPECT_EQ(run.ImageFile, "C:/X Y/B.TWD"); // the later one wins
    EXPECT_EQ(run.BootloaderFile, "BOOT.TWD");
    EXPECT_EQ(run.GuidText, "0011223344556677");
    EXPECT_FALSE(run.ShowOutputOnExit || run.ProgramGuidFromFileFlag || run.ExecuteKeyBatchFlag);

    Apply("/DFILE /O EXTRA /R KEYS.HTML");
    EXPECT_EQ(run.ImageFile, "FILE");
    EXPECT_FALSE(basApp::globals.OverrideHardwareCompatibility);
    EXPECT_TRUE(run.ExecuteKeyBatchFlag);
    EXPECT_EQ(run.KeyBatchFile, "KEYS.HTML");

    Apply("/O /A /S");
    EXPECT_TRUE(basApp::globals.OverrideHardwareCompatibility);
    EXPECT_TRUE(run.ShowOutputOnExit && run.ProgramGuidFromFileFlag && run.ProgramMacFromFileFlag);
    EXPECT_EQ(run.ImageFile, "DTCP\\GUID\\MACID\\Config_Image.twd");
    EXPECT_EQ(run.GuidFile, "DTCP\\GUID\\MACID\\GUID.txt");
    EXPECT_EQ(run.MacFile, "DTCP\\GUID\\MACID\\MACID.txt");
}

TEST_F(CommandLine, OptionsThatDoNothingSayWhy) {
    std::vector<std::string> errors;
    basDebug::hooks.statusWindowWants = [](std::size_t, std::int32_t level) { return level == 11; };
    basDebug::hooks.postToStatusWindow = [&](std::size_t, std::string_view text, float, std::int32_t,
                                             std::string_view) { errors.emplace_back(text); };
    const std::pair<const char*, const char*> rows[] = {
        {"/A /S", "The /A command cannot be used with other command-line options!"},
        {"/F/A", "The /F command cannot be used with other command-line options!"},
        {"/C X", "The option /C has no operation in this version; nothing was done for it."},
        {"/M 00", "The option /M has no operation in this version; nothing was done for it."},
        {"/D \"\"", "The option /D has no value and is passed over."},
        {"/X", "The option /X has no value and is passed over."},
    };
    for (const auto& [text, error] : rows) {
        errors.clear();
        Apply(text);
        ASSERT_FALSE(errors.empty()) << text;
        EXPECT_EQ(errors.front(), error);
    }
    errors.clear();
    Apply("/A");
    EXPECT_TRUE(errors.empty());
}

} // namespace
