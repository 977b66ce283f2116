#include "AppTest.h"
#include "Files.h"
#include "SingleInstance.h"

#include <cstdlib>
#include <map>

using basApp::globals;
using basApp::hooks;

namespace {

using Steps = std::vector<std::string>;

// Every step that belongs to a higher layer, recorded by name.
class StartUp : public AppTest {
protected:
    StartUp() {
        setenv("XDG_RUNTIME_DIR", folder.path().c_str(), 1); // the instance of a test is its own
        for (const auto& [hook, name] :
             {std::pair{&hooks.createStore, "store"}, std::pair{&hooks.initializeTargetList, "targets"},
              std::pair{&hooks.prepareNodeTable, "nodes"}, std::pair{&hooks.requestFirstEnumeration, "enumerate"},
              std::pair{&hooks.focusMainWindow, "focus"}, std::pair{&hooks.terminateTargetList, "targets gone"},
              std::pair{&hooks.unloadLibrary, "library gone"}, std::pair{&hooks.releaseStore, "store gone"},
              std::pair{&hooks.endProgram, "end"}})
            *hook = [this, name = name] { steps.emplace_back(name); };
        const auto answer = [this](const char* name, auto& result) {
            return [this, name, &result](auto&&...) { return steps.emplace_back(name), result; };
        };
        hooks.globalSetting = [this](const std::string& key, const std::string& defaultValue) {
            steps.push_back(key);
            return settings.contains(key) ? settings[key] : defaultValue;
        };
        hooks.loadParentWindow = [this] { steps.emplace_back("windows"), windowsExist = true; };
        hooks.mainWindowExists = [this] { return windowsExist; };
        hooks.parseCommandLine = answer("parse", parsed);
        hooks.initializeCommandLineOptions = answer("options", optionsReady);
        hooks.commandLineHasOperations = answer("operations?", hasOperations);
        hooks.initializeUnattendedRun = answer("unattended", runReady);
        hooks.loadLibrary = answer("library", library);
        hooks.hookSystemModule = [this](const ByteArray& name) {
            return steps.emplace_back(name.begin(), name.end()), 1;
        };
        hooks.setDebugSpew = [this](std::int32_t level) { steps.push_back(fmt::format("spew {}", level)); };
    }
    ~StartUp() override {
        platform::ReleaseSingleInstance();
        platform::ChangeDirectory(startDirectory);
    }

    const std::string startDirectory = platform::CurrentDirectory();
    std::map<std::string, std::string> settings;
    Steps steps;
    bool windowsExist = false, hasOperations = false;
    std::int32_t parsed = 1, optionsReady = 1, runReady = 1;
    void* library = &library;
};

} // namespace

TEST_F(StartUp, RunsItsStepsInTheirOrder) {
    settings = {{"DllMessageLevel", "3"}, {"Default1394TransactionTimeout", "-1"}};
    hasOperations = true;
    ASSERT_TRUE(basApp::Main(" /d x.twd "));
    EXPECT_EQ(steps, (Steps{"store", "DllMessageLevel", "DebugMessageLevel", "DebugLoggingLevel",
                            "Default1394TransactionTimeout", "windows", "parse", "options", "operations?", "unattended",
                            "targets", "nodes", "library", std::string("Bootloader\0", 11),
                            std::string("1394debugger\0", 13), "spew 3", "enumerate", "focus"}));
    EXPECT_EQ(globals.CommandLine, "/D X.TWD");
    EXPECT_EQ(globals.CurrentTransactionTimeout, 200);
    EXPECT_EQ(platform::CurrentDirectory(), platform::ResolvePath(folder.path()));
    EXPECT_TRUE(Logged(" version 1.8.1 at "));
    EXPECT_TRUE(Logged("Command line options = \" /d x.twd \""));
    EXPECT_TRUE(Logged("Default 1394 transaction timeout = 200"));
}

TEST_F(StartUp, EndsTheProgramOnlyWhenAnUnattendedRunCannotBeSetUp) {
    runReady = -1;
    for (const auto& [operations, flag, parse, options, lives, flagAfter] : {
             std::tuple{true, true, 1, 1, false, true}, // the one that can't be set up
             {true, false, 1, 1, true, false},          // no run
             {false, true, 1, 1, true, false},          // no operation
             {true, true, 1, -1, true, false},          // bad options
             {true, true, -1, 1, true, true},           // not parsed
         }) {
        SCOPED_TRACE(fmt::format("{} {} {} {}", operations, flag, parse, options));
        platform::ReleaseSingleInstance();
        globals.PerformUnattendedOperations = flag;
        hasOperations = operations;
        parsed = parse;
        optionsReady = options;
        steps.clear();
        EXPECT_EQ(basApp::Main(""), lives);
        EXPECT_EQ(globals.PerformUnattendedOperations, flagAfter);
        EXPECT_EQ(std::count(steps.begin(), steps.end(), "enumerate"), lives ? 1 : 0);
    }
}

TEST_F(StartUp, StepsOverAnInvalidCallAndOverNothingElse) {
    hooks.prepareNodeTable = [] { platform::Raise(5, "Invalid procedure call"); };
    EXPECT_TRUE(basApp::Main(""));
    EXPECT_EQ(steps.back(), "focus");
    EXPECT_TRUE(
        Logged("ERROR #5: Invalid procedure call in Main.  Aborting current operation on moving onto the next."));
    platform::ReleaseSingleInstance();
    windowsExist = false;
    settings = {{"DebugLoggingLevel", "much"}};
    EXPECT_TRUE(basApp::Main(""));
    EXPECT_EQ(steps.back(), "DebugLoggingLevel");
    ASSERT_EQ(dialogs.shown.size(), 1u);
    EXPECT_TRUE(dialogs.shown[0].text.starts_with("ERROR #13: "));
}

TEST_F(StartUp, IsTakenDownInAFixedOrderPastEveryFailure) {
    ASSERT_TRUE(basApp::Main(""));
    EXPECT_NE(globals.ApplicationShutdownEvent, 0);
    steps.clear();
    hooks.unloadLibrary = [] { platform::Raise(53, "gone already"); };
    basApp::ShutdownApplication();
    EXPECT_EQ(steps, (Steps{"targets gone", "store gone", "end"}));
    EXPECT_EQ(globals.ApplicationShutdownEvent, 0);
}

TEST_F(StartUp, TurnsTheArgumentsOfAShellIntoOneCommandLine) {
    platform::ChangeDirectory(folder.path());
    platform::MakeDirectories("fw");
    for (const char* name : {"app.twd", "fw/app.twd", "my fw.twd", "0011"})
        std::ofstream(folder.file(name));
    const std::string here = platform::CurrentDirectory();
    const std::string app = '"' + here + "/app.twd\"", below = '"' + here + "/fw/app.twd\"";
    const std::pair<Steps, std::string> rows[] = {
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
}
