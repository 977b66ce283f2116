// What every command has in common: which device it means, its ends, and its output.
#include "CommandTest.h"
#include "EndRequest.h"
#include "Paths.h"
#include "bas1394.h"

#include <filesystem>

using namespace testing_support;

namespace {

class CallTest : public CommandTest {
protected:
    std::string Verdict(const std::vector<std::string>& arguments) { return Record(arguments)["verdict"]; }
};

const std::string TWO_AND_A_CAMERA =
    Bus({Target("000F1B00000000AB", "bootloader"), Target("000F1B0000000002", "application"), R"({"kind": "device"})"});

TEST_F(CallTest, ListsNodesAndTheHiddenOnesWhenAsked) {
    UseBus(TWO_AND_A_CAMERA);
    const auto states = [this](const std::vector<std::string>& arguments) {
        std::string text;
        const cli::Json record = Record(arguments);
        for (const auto& node : record["answer"]["nodes"])
            text += fmt::format("{}:{} ", node["node"].get<int>(), node["state"].get<std::string>());
        return text;
    };
    EXPECT_EQ(states({"list"}), "0:bootloader 1:application 3:host ");
    EXPECT_EQ(states({"list", "--all"}), "0:bootloader 1:application 2:other 3:host ");
    UseBus(Bus({}));
    EXPECT_EQ(states({"list"}), "0:host ") << "an empty list is an answer";
    EXPECT_EQ(Call({"bus-reset"}), 0);
    EXPECT_EQ(out, "1 node\n");
}

TEST_F(CallTest, TakesADevicesNameInAnyFormAndOnlyIfItMeansOneDevice) {
    const std::string twins = Bus({Target("000F1B00000000AB", "bootloader"), Target("000F1B00000000AB", "application"),
                                   Target("000F1B0000000003", "bootloader"), R"({"kind": "device"})"});
    const std::string camera = Bus({R"({"kind": "device"})"});
    struct Case {
        const std::string& bus;
        std::vector<std::string> arguments;
        const char *verdict, *device, *reason;
    };
    const Case cases[] = {
        {TWO_AND_A_CAMERA, {"info", "000F1B00000000AB"}, "done", "000F1B00000000AB", ""},
        {TWO_AND_A_CAMERA, {"info", " 00 0f 1b 00\t000000ab "}, "done", "000F1B00000000AB", ""},
        {TWO_AND_A_CAMERA, {"info", "0x000f1b0000000002"}, "done", "000F1B0000000002", ""},
        {TWO_AND_A_CAMERA, {"info", "# 1"}, "done", "000F1B0000000002", ""},
        {TWO_AND_A_CAMERA,
         {"info"},
         "ambiguous",
         "",
         "2 devices on the bus; name one of 000F1B00000000AB, 000F1B00000"},
        {TWO_AND_A_CAMERA, {"info", "#2"}, "no-device", "", "\"#2\" is no device with a bootloader"},
        {TWO_AND_A_CAMERA, {"info", "000F1B0000000009"}, "no-device", "", "is no device with a bootloader"},
        {TWO_AND_A_CAMERA, {"info", "#64"}, "usage", "", "\"#64\" doesn't name a device: give a GUID"},
        {TWO_AND_A_CAMERA, {"info", "zzz"}, "usage", "", "\"zzz\" doesn't name a device"},
        {TWO_AND_A_CAMERA, {"info", "000F1B00000000A"}, "usage", "", "doesn't name a device"},
        {TWO_AND_A_CAMERA, {"info", "#"}, "usage", "", "doesn't name a device"},
        {TWO_AND_A_CAMERA, {"rom", "zzz"}, "usage", "", "doesn't name a device"},
        {TWO_AND_A_CAMERA, {"rom", "#3"}, "no-device", "", "Node #3 is this computer; its ROM isn't read."},
        {TWO_AND_A_CAMERA, {"rom"}, "ambiguous", "", "There are 3 devices on the bus; name one of #0, #1, #2."},
        {camera, {"info"}, "no-device", "", "There is no device with a bootloader"},
        {camera, {"rom"}, "done", "00A0B00000000000", ""},
        {twins, {"crc", "#0"}, "ambiguous", "", "Nodes #0 and #1 have the same GUID 000F1B00000000AB; disconnect one."},
        {twins, {"crc", "#1"}, "ambiguous", "", "Nodes #0 and #1 have the same GUID 000F1B00000000AB; disconnect one."},
        {twins, {"crc", "000F1B00000000AB"}, "ambiguous", "", "Nodes #0 and #1 have the same GUID"},
        {twins, {"crc"}, "ambiguous", "", "There are 2 devices on the bus; name one of 000F1B00000000AB, 000F1B00000"},
        {twins, {"info", "#2"}, "done", "000F1B0000000003", ""},
        {twins, {"rom", "#0"}, "done", "000F1B00000000AB", ""}};
    for (const Case& c : cases) {
        UseBus(c.bus);
        const cli::Json record = Record(c.arguments);
        SCOPED_TRACE(fmt::format("{}", fmt::join(c.arguments, " ")) + record["reason"].dump());
        EXPECT_EQ(record["verdict"], c.verdict);
        EXPECT_NE(record["reason"].is_null() ? 0 : record["reason"].get<std::string>().find(c.reason),
                  std::string::npos);
        EXPECT_EQ(record["device"].is_null() ? cli::Json("") : record["device"]["guid"], c.device);
        EXPECT_EQ(record["bus"].is_null(), std::string(c.verdict) == "usage") << "a wrong name touches nothing";
    }
    UseBus(twins);
    EXPECT_EQ(Call({"list"}), 0);
    EXPECT_NE(out.find("#0    000F1B00000000AB  duplicate"), std::string::npos) << out;
    EXPECT_NE(out.find("#1    000F1B00000000AB  duplicate"), std::string::npos) << out;
}

TEST_F(CallTest, WatchesArrivalsAndDeparturesUntilItsTimeIsOver) {
    UseBus(TWO_AND_A_CAMERA);
    program->windowSystem.eachTurn = [this, step = 0]() mutable {
        const std::int64_t seconds = program->clock.Now() / 1'000'000'000;
        if (seconds >= 2 && step == 0 && ++step)
            SimulatorUnplug(1);
        if (seconds >= 4 && step == 1 && ++step)
            SimulatorPlug(1);
    };
    EXPECT_EQ(Call({"list", "--watch", "--json", "--timeout", "10"}), 10);
    std::vector<std::string> events;
    std::istringstream lines(out);
    for (std::string line; std::getline(lines, line);) {
        const cli::Json event = cli::Json::parse(line);
        events.push_back(event.contains("event")
                             ? event["event"].get<std::string>() + " " + event["node"]["guid"].dump()
                             : event["verdict"].get<std::string>());
    }
    const std::vector<std::string> expected = {R"(present "000F1B00000000AB")",
                                               R"(present "000F1B0000000002")",
                                               "present null",
                                               R"(departed "000F1B0000000002")",
                                               R"(changed null)",
                                               R"(arrived "000F1B0000000002")",
                                               R"(changed null)",
                                               "timed-out"};
    EXPECT_EQ(events, expected) << out;
}

TEST_F(CallTest, EndsWithTheVerdictThatFitsAndOneDocumentWhateverHappens) {
    UseBus(TWO_AND_A_CAMERA);
    const std::pair<std::vector<std::string>, const char*> cases[] = {{{"list", "--timeout", "0.1"}, "timed-out"},
                                                                      {{"list", "--bogus"}, "usage"},
                                                                      {{}, "usage"},
                                                                      {{"list", "--timeout", "-1"}, "usage"},
                                                                      {{"list", "--bus", "rs232"}, "usage"},
                                                                      {{"list", "--progress", "fancy"}, "usage"}};
    for (const auto& [arguments, verdict] : cases)
        EXPECT_EQ(Verdict(arguments), verdict) << fmt::format("{}", fmt::join(arguments, " "));
    const std::filesystem::path library = program->directory.file("Twl1394api.so");
    std::filesystem::remove(library);
    std::filesystem::create_directory(library);
    const cli::Json record = Record({"list"});
    EXPECT_EQ(record["verdict"], "no-bus");
    EXPECT_NE(record["reason"].dump().find("The access library can't be loaded: not a regular file"), std::string::npos)
        << record["reason"];
}

TEST_F(CallTest, SaysWhatIsWrongWithACommandLine) {
    UseBus(Bus({}));
    const std::pair<std::vector<std::string>, const char*> cases[] = {
        {{}, "hoistline: usage: A command is required.  See \"hoistline --help\".\n"},
        {{"lst"}, "hoistline: usage: There is no command \"lst\"; did you mean list?  See \"hoistline --help\".\n"},
        {{"help"}, "hoistline: usage: There is no command \"help\".  See \"hoistline --help\".\n"},
        {{"key"}, "hoistline key: usage: A command of \"key\" is required.  See \"hoistline key --help\".\n"},
        {{"key", "ste", "A"}, "There is no command \"key ste\"; did you mean set?  See"},
        {{"--bogus"}, "There is no option \"--bogus\".  See"},
        {{"list", "--progress", "lines"}, "--progress: takes auto, json, none, not \"lines\".  See"},
        {{"list", "--timeout", "1 s"}, "--timeout: takes seconds from 0.001 to 1000000, not \"1 s\".  See"},
        {{"list", "--timeout", "nan"}, "--timeout: takes seconds from 0.001 to 1000000, not \"nan\".  See"},
        {{"list", "--junit", ""}, "--junit: takes a file, not an empty name.  See"},
        {{"verify", ""}, "PACKAGE: takes a file, not an empty name.  See"},
        {{"reset", "--into", "debugger"}, "--into: takes application, bootloader, not \"debugger\".  See"}};
    for (const auto& [arguments, part] : cases) {
        EXPECT_EQ(Call(arguments), 2);
        EXPECT_NE(error.find(part), std::string::npos) << error;
    }
}

TEST_F(CallTest, WritesAJUnitFileOfAUsageErrorAndTriesItBeforeTheWork) {
    UseBus(Bus({}));
    const TestFolder folder;
    const std::string file = folder.file("report.xml"), lost = folder.file("none/report.xml");
    for (const std::vector<std::string>& arguments : {std::vector<std::string>{"list", "--bogus", "--junit", file},
                                                      {"--junit=" + file, "list", "--timeout", "x"}}) {
        std::filesystem::remove(file);
        EXPECT_EQ(Call(arguments), 2);
        EXPECT_TRUE(std::filesystem::exists(file) &&
                    folder.Content("report.xml").find("type=\"usage\"") != std::string::npos);
    }
    std::filesystem::remove(file);
    EXPECT_EQ(Call({"list", "--bogus", "--junit", file, "--junit", file + "2"}), 2);
    EXPECT_FALSE(std::filesystem::exists(file)) << "which one isn't certain";
    EXPECT_EQ(Call({"list", "--junit", lost}), 6);
    EXPECT_EQ(error, fmt::format("hoistline list: refused: The JUnit file \"{}\" can't be created.\n", lost));
    EXPECT_EQ(out, "");
    EXPECT_EQ(Call({"list", "--junit", folder.path()}), 6) << "a folder";
}

TEST_F(CallTest, SaysWhyTheBusThatWasNamedCanNotBeHad) {
    UseBus(Bus({}));
    const std::string missing = program->directory.file("missing.json");
    bas1394::ChooseBus({bas1394::BusKind::Simulated, missing});
    EXPECT_EQ(SimulatorDescribe(nullptr, nullptr), -1);
    const cli::Json record = Record({"list", "--bus", "simulated:" + missing});
    EXPECT_EQ(record["verdict"], "no-bus");
    EXPECT_NE(record["reason"].dump().find("missing.json: can't be read"), std::string::npos) << record["reason"];
    const cli::Json other = Record({"list", "--bus", "library:" + missing});
    EXPECT_EQ(other["verdict"], "no-bus");
    EXPECT_EQ(other["bus"], (cli::Json{{"kind", "library"}, {"description", missing}, {"chosenBy", "option"}}));
    EXPECT_EQ(Call({"list", "--bus", "kernel:fw1"}), 2);
    bas1394::ChooseBus({});
}

TEST_F(CallTest, IsInterruptedBySignalAndFailsWithoutItsOutput) {
    UseBus(TWO_AND_A_CAMERA);
    program->windowSystem.eachTurn = [this] {
        if (program->clock.Now() > 3'000'000'000)
            platform::RequestEnd();
    };
    errorIsTerminal = true;
    EXPECT_EQ(Call({"list", "--watch"}), 130);
    EXPECT_EQ(error, "\nhoistline list: interrupted: A signal ended the call.\n") << "not in the line of \"^C\"";
    program->windowSystem.eachTurn = nullptr;
    outputWorks = false;
    EXPECT_EQ(Call({"list"}), 1);
    EXPECT_NE(error.find("Standard output can't be written"), std::string::npos) << error;
}

// The start changes the directory.
TEST_F(CallTest, RelativePathsBelongToTheCallersFolder) {
    UseBus(Bus({}));
    const TestFolder folder;
    const std::string before = platform::CurrentDirectory();
    platform::ChangeDirectory(folder.path());
    const cli::Json record = Record({"list", "--bus", "simulated:bus.json", "--junit", "report.xml"});
    platform::ChangeDirectory(before);
    EXPECT_EQ(record["bus"]["description"], folder.file("bus.json"));
    EXPECT_NE(folder.Content("report.xml").find("<testsuite "), std::string::npos);
}

} // namespace
