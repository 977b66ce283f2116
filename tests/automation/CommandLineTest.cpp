#include "AppTest.h"
#include "basAutomation.h"

using Options = std::vector<std::string>;

namespace {

class CommandLine : public AppTest {
protected:
    CommandLine() { basAutomation::globals = {}; }
    // Upper case first, as in Main.
    static std::string Parse(std::string text) {
        basApp::globals.CommandLine = text;
        EXPECT_EQ(basAutomation::ParseCommandLine(text, text), 1);
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
    const std::tuple<const char*, Options, Options> rows[] = {
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
    for (const auto& [text, options, errors] : rows) {
        SCOPED_TRACE(text);
        Parse(text);
        EXPECT_EQ(basApp::globals.CommandLineOptions, options);
        EXPECT_EQ(basApp::globals.CommandLineErrors, errors);
    }
}

TEST_F(CommandLine, RequestsARunOnlyWithAnOperation) {
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
    EXPECT_EQ(run.ImageFile.Shown, "C:/X Y/B.TWD"); // the later one wins
    EXPECT_EQ(run.BootloaderFile.Shown, "BOOT.TWD");
    EXPECT_EQ(run.GuidText, "0011223344556677");
    Apply("/DFILE /O EXTRA");
    EXPECT_EQ(run.ImageFile.Shown, "FILE");
    EXPECT_FALSE(basApp::globals.OverrideHardwareCompatibility || run.ShowOutputOnExit);
    Apply("/O /S");
    EXPECT_TRUE(basApp::globals.OverrideHardwareCompatibility && run.ShowOutputOnExit);
}

TEST_F(CommandLine, OptionsWithoutEffectSayWhy) {
    const std::pair<const char*, const char*> rows[] = {
        {"/A /S", "The /A command cannot be used with other command-line options!"},
        {"/F/A", "The /F command cannot be used with other command-line options!"},
        {"/C X", "The option /C has no operation in this version; nothing was done for it."},
        {"/M 00", "The option /M has no operation in this version; nothing was done for it."},
        {"/D \"\"", "The option /D has no value and is passed over."},
        {"/X", "The option /X has no value and is passed over."},
    };
    basApp::globals.DebugLoggingLevel = 11;
    for (const auto& [text, error] : rows) {
        log.clear();
        Apply(text);
        ASSERT_FALSE(log.empty()) << text;
        EXPECT_EQ(log.front(), std::string("11 ") + error);
    }
    log.clear();
    Apply("/A");
    EXPECT_TRUE(log.empty());
}

} // namespace
