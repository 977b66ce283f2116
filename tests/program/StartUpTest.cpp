#include "Files.h"
#include "HeadlessProgram.h"
#include "Paths.h"
#include "bas1394.h"

#include <gtest/gtest.h>

#include <fstream>
#include <utility>

using basApp::globals;
using testing_support::Bus;
using testing_support::HeadlessProgram;

namespace {

using Texts = std::vector<std::string>;

void Store(const HeadlessProgram& program, const std::string& key, const std::string& value) {
    platform::ChangeDirectory(program.directory.path());
    clsDbManager().SaveSetting(basApp::TITLE, "Global", key, value);
}

// The first of `parts` that no message holds after the one before it was found, "" when all come in this order.
std::string MissingInOrder(const Texts& messages, const Texts& parts) {
    auto from = messages.begin();
    for (const std::string& part : parts) {
        from = std::find_if(from, messages.end(),
                            [&](const std::string& message) { return message.find(part) != message.npos; });
        if (from == messages.end())
            return part;
    }
    return {};
}

} // namespace

TEST(StartUp, RunsItsStepsInTheirOrder) {
    HeadlessProgram program(Bus({}));
    Store(program, "DllMessageLevel", "3");
    Store(program, "Default1394TransactionTimeout", "-1");
    ASSERT_TRUE(basApp::Main(" /d x.twd "));
    EXPECT_EQ(MissingInOrder(program.Told(),
                             {" version 1.8.1 at ", "Command line options = \" /d x.twd \"",
                              "Default 1394 transaction timeout = 200", "Twl1394api.so is dated ", "About to load ",
                              "Initializing the bootloader module...", "Calling HookSystemModule...",
                              "Initializing the debugger module...", "The debugger module has been initialized."}),
              "");
    EXPECT_EQ(globals.DllMessageLevel, 3);
    EXPECT_EQ(globals.CommandLine, "/D X.TWD");
    EXPECT_TRUE(globals.PerformUnattendedOperations);
    EXPECT_EQ(globals.CurrentTransactionTimeout, 200);
    EXPECT_EQ(platform::CurrentDirectory(), platform::ResolvePath(program.directory.path()));
    EXPECT_TRUE(bas1394::globals.BusResetPending);
}

TEST(StartUp, StepsOverAnInvalidCallAndOverNothingElse) {
    struct OpensWithAFailure : HeadlessProgram {
        explicit OpensWithAFailure(std::int32_t failure) : HeadlessProgram(Bus({})), number(failure) {}
        void Open() override {
            HeadlessProgram::Open();
            platform::Raise(number, "broken");
        }
        std::int32_t number;
    };
    for (const auto& [number, message, goesOn] :
         {std::tuple{5, "ERROR #5: broken in Main.  Aborting current operation on moving onto the next.", true},
          {91, "ERROR #91: broken in Main.  Exiting initialization abnormally.", false}}) {
        OpensWithAFailure program(number);
        EXPECT_TRUE(basApp::Main(""));
        EXPECT_TRUE(program.Said(message));
        EXPECT_EQ(bas1394::globals.BusResetPending, goesOn);
    }
}

TEST(StartUp, NamesAStoredSettingThatIsNoNumber) {
    HeadlessProgram program(Bus({}));
    Store(program, "DebugLoggingLevel", "much");
    EXPECT_TRUE(basApp::Main(""));
    ASSERT_EQ(program.dialogs.shown.size(), 1u);
    EXPECT_TRUE(program.dialogs.shown[0].text.starts_with("ERROR #13: ")) << program.dialogs.shown[0].text;
    EXPECT_NE(program.dialogs.shown[0].text.find("(setting DebugLoggingLevel = \"much\")"), std::string::npos);
    EXPECT_FALSE(program.IsOpen());
}

TEST(StartUp, IsTakenDownToItsEndAndTellsTheFrontEndLast) {
    struct SeesTheEnd : HeadlessProgram {
        SeesTheEnd() : HeadlessProgram(Bus({})) {}
        void EndProgram() override {
            ++ends;
            EXPECT_EQ(globals.ApplicationShutdownEvent, 0);
            EXPECT_EQ(bas1394::globals.LibraryModule, nullptr);
            EXPECT_EQ(program::globals.DbManager, nullptr);
        }
        int ends = 0;
    } program;
    ASSERT_TRUE(basApp::Main(""));
    EXPECT_NE(globals.ApplicationShutdownEvent, 0);
    EXPECT_NE(bas1394::globals.LibraryModule, nullptr);
    program.Close();
    EXPECT_EQ(program.ends, 1);
}

TEST(StartUp, TurnsTheArgumentsOfAShellIntoOneCommandLine) {
    const TestFolder folder;
    const std::string startDirectory = platform::CurrentDirectory();
    platform::ChangeDirectory(folder.path());
    platform::MakeDirectories("fw");
    for (const char* name : {"app.twd", "fw/app.twd", "my fw.twd", "0011"})
        std::ofstream(folder.file(name));
    const std::string here = platform::CurrentDirectory();
    const std::string app = '"' + here + "/app.twd\"", below = '"' + here + "/fw/app.twd\"";
    const std::pair<Texts, std::string> rows[] = {
        {{"/D", "./app.twd", "/S"}, "/D " + app + " /S"},
        {{"/D app.twd /S"}, "/D " + app + " /S"},
        {{"/D", "APP.twd"}, "/D \"" + here + "/APP.twd\""}, // the opening finds what it means
        {{"/D", "fw/../app.twd"}, "/D \"" + here + "/fw/../app.twd\""},
        {{"/D", "/srv/fw/app.twd"}, "/D \"/srv/fw/app.twd\""},
        {{"/D", "/d/file"}, "/D \"/d/file\""},
        {{"/D /srv/fw/app.twd /S"}, "/D \"/srv/fw/app.twd\" /S"},
        {{"/D \"/srv/my fw/app.twd\"", "/S"}, "/D \"/srv/my fw/app.twd\" /S"},
        {{"/D", "my fw.twd"}, "/D \"" + here + "/my fw.twd\""},
        {{"/D", "no fw.twd"}, "/D \"no fw.twd\""},
        {{"/D", "no\"t/there"}, "/D \"not/there\""},
        {{"/D", "C:\\x.twd"}, "/D C:\\x.twd"},
        {{"/A/B \"x/y\""}, "/A/B \"x/y\""},
        {{"/g", "000F1B0000000001", "/Execute"}, "/g 000F1B0000000001 /Execute"},
        {{"/D \"open"}, "/D \"open"}, // the parser tells the user
        // The option and its value in one argument.
        {{"/Dfw/app.twd"}, "/D " + below},
        {{"/O/Dfw/app.twd/S"}, "/O /D " + below + " /S"},
        {{"/D\"fw/app.twd\" /S"}, "/D " + below + " /S"},
        {{"/Dapp.twd", "/O"}, "/D " + app + " /O"},
        {{"/Dmy fw.twd /S/O"}, "/D \"" + here + "/my fw.twd\" /S/O"},
        {{"/D" + here + "/fw/app.twd", "/Bno/boot.twd"}, "/D " + below + " /B \"no/boot.twd\""},
        {{"/d/no/app.twd"}, "/d \"/no/app.twd\""},
        {{"/Dno.twd", "/X0011/S", "/G", "0011"}, "/Dno.twd /X0011 /S /G 0011"},
    };
    for (const auto& [arguments, line] : rows)
        EXPECT_EQ(basApp::JoinArguments(arguments), line) << arguments.front();
    platform::ChangeDirectory(startDirectory);
}
