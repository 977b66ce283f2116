// identity: what goes over the wire, what is refused, and what a failure in the middle leaves.
#include "CommandTest.h"
#include "EndRequest.h"

using namespace testing_support;

namespace {

constexpr const char* OWN = "000F1B0000000001";
constexpr const char* GUID = "00:0f:1b:00 11-22-33-44";
constexpr const char* MAC = "00-0F-1B-AA-BB-CC";

class IdentityCommandTest : public CommandTest {
protected:
    // The outcome of each step: "reset:done guid:failed".
    static std::string Steps(const cli::Json& record) {
        std::string text;
        for (const auto& step : record["steps"])
            text += (text.empty() ? "" : " ") + step["operation"].get<std::string>() + ":" +
                    step["outcome"].get<std::string>();
        return text;
    }
};

// Each quadlet of the 8 bytes goes out with its least significant byte first, whatever the target's own order.
TEST_F(IdentityCommandTest, WritesInTheOrderOfTheProductionLineAndReadsBackTheGuid) {
    const std::string bootloader = Target(OWN, "bootloader"), application = Target(OWN, "application");
    struct Case {
        std::string node;
        std::vector<std::string> arguments;
        const char *changes, *steps, *mode;
    };
    const Case cases[] = {
        {bootloader, {"--guid", GUID}, "guid(001b0f0044332211)", "guid:done", "bootloader"},
        {bootloader, {"--mac", MAC}, "mac(0f000000ccbbaa1b)", "mac:done", "bootloader"},
        {bootloader,
         {"--mac", MAC, "--guid", GUID, "--initialize"},
         "parameters guid(001b0f0044332211) mac(0f000000ccbbaa1b)",
         "parameters:done guid:done mac:done",
         "bootloader"},
        {application,
         {"--guid", GUID, "--mac", MAC},
         "reset guid(001b0f0044332211) mac(0f000000ccbbaa1b) run",
         "reset:done guid:done mac:done start:done",
         "application"},
        {bootloader, {"--guid", OWN}, "guid(001b0f0001000000)", "guid:done", "bootloader"},
        {application, {"--guid", GUID, "--mac", MAC, "--dry-run"}, "", "", "application"},
    };
    for (const Case& c : cases) {
        UseBus(Bus({c.node, Target("000F1B0000000002", "bootloader")}));
        std::vector<std::string> arguments = c.arguments;
        arguments.insert(arguments.begin(), {"identity", OWN});
        const cli::Json record = Record(arguments);
        EXPECT_EQ(record["verdict"], "done") << record;
        EXPECT_EQ(program->Changes(), c.changes);
        EXPECT_EQ(Steps(record), c.steps);
        EXPECT_EQ(record["mode"], c.mode) << record;
        if (!record["answer"]["guid"].is_null() && record["answer"]["dryRun"] == false) {
            EXPECT_EQ(record["answer"]["guid"]["readBack"], record["answer"]["guid"]["new"]);
            EXPECT_EQ(record["device"]["guid"], record["answer"]["guid"]["new"]);
        }
    }
}

TEST_F(IdentityCommandTest, ShowsOldAndNewValueBeforeItWrites) {
    UseBus(Bus({Target(OWN, "bootloader")}));
    EXPECT_EQ(Call({"identity", "--guid", GUID, "--mac", MAC, "--dry-run"}), 0);
    EXPECT_EQ(out, "GUID  000F1B0000000001 -> 000F1B0011223344\n"
                   "MAC   (can't be read) -> 00-0F-1B-AA-BB-CC\n");
}

TEST_F(IdentityCommandTest, RefusesDoubtfulValuesAndWritesNothing) {
    const std::string camera = R"({"kind": "device", "guid": "00D0F50000000007"})";
    UseBus(Bus({Target(OWN, "application"), Target("000F1B0000000002", "bootloader"), camera}));
    const std::pair<std::vector<std::string>, const char*> cases[] = {
        {{"--guid", "000F1B00112233"}, "refused"},
        {{"--guid", "000F1B001122334455"}, "refused"},
        {{"--guid", "000F1B001122334G"}, "refused"},
        {{"--guid", "000F1B0 011223344"}, "refused"},
        {{"--guid", "00--0F1B0011223344"}, "refused"},
        {{"--guid", ""}, "refused"},
        {{"--guid", "0000000000000000"}, "refused"},
        {{"--guid", "FFFFFFFFFFFFFFFF"}, "refused"},
        {{"--guid", "000F1B0000000002"}, "refused"}, // another target's
        {{"--guid", "00D0F50000000007"}, "refused"}, // a hidden node's, in its ROM
        {{"--mac", "000F1BAABB"}, "refused"},
        {{"--mac", "000000000000"}, "refused"},
        {{"--mac", "010F1BAABBCC"}, "refused"},
        {{"--guid", GUID, "--mac", "FFFFFFFFFFFF"}, "refused"},
        {{}, "usage"},
        {{"--guid", GUID, "--initialize"}, "usage"},
    };
    for (const auto& [values, verdict] : cases) {
        std::vector<std::string> arguments = values;
        arguments.insert(arguments.begin(), {"identity", OWN});
        EXPECT_EQ(Record(arguments)["verdict"], verdict) << fmt::format("{}", fmt::join(arguments, " "));
        EXPECT_EQ(program->Changes(), "") << fmt::format("{}", fmt::join(arguments, " "));
    }
}

TEST_F(IdentityCommandTest, TellsWhichStepFailedAndWhatTheDeviceHas) {
    const auto silent = [](int command, int count) {
        return fmt::format(R"({{"operation": "write", "command": {}, "do": "silence", "count": {}}})", command, count);
    };
    const std::string lostAnswer = // the GUID arrives; the polls for its answer fail
        R"({"operation": "read", "address": "0xffffc8029000", "skip": 1, "count": 1, "result": 121})";
    struct Case {
        const char* mode;
        std::string fault;
        const char *verdict, *steps, *leftIn;
    };
    const Case cases[] = {
        {"application", silent(11, 1), "failed", "reset:done guid:done mac:failed start:done", "application"},
        {"bootloader", silent(10, 1), "failed", "guid:failed", "bootloader"},
        {"bootloader", lostAnswer, "done", "guid:done mac:done", "bootloader"},
        {"application", silent(2, 1), "done", "reset:done guid:done mac:done start:done", "application"},
        {"application", silent(2, 99), "unchanged", "reset:unchanged", "application"},
        {"application", R"({"node": 0, "operation": "write", "command": 2, "do": "vanish"})", "unchanged",
         "reset:unchanged", "unknown"},
    };
    for (const Case& c : cases) {
        UseBus(Bus({Target(OWN, c.mode)}, c.fault));
        const cli::Json record = Record({"identity", "--guid", GUID, "--mac", MAC});
        EXPECT_EQ(record["verdict"], c.verdict) << c.fault << record;
        EXPECT_EQ(Steps(record), c.steps) << c.fault;
        EXPECT_EQ(record["mode"], c.leftIn) << c.fault << record;
    }
}

// The node before the device leaves after each transaction in turn, so that the device's number becomes another's.
TEST_F(IdentityCommandTest, WritesToNoOtherDeviceAfterABusReset) {
    cli::Json record;
    const auto transactionsOf = [&](std::vector<std::string> arguments, const std::string& fault) {
        UseBus(
            Bus({R"({"kind": "device"})", Target(OWN, "bootloader"), Target("000F1B0000000002", "bootloader")}, fault));
        arguments.insert(arguments.begin(), {"identity", OWN, "--guid", GUID});
        record = Record(arguments);
        return SimulatorTransactions();
    };
    const std::uint64_t first = transactionsOf({"--dry-run"}, ""), last = transactionsOf({}, "");
    EXPECT_GT(last, first + 3);
    for (std::uint64_t transaction = first - 20; transaction <= last; ++transaction) {
        transactionsOf({}, fmt::format(R"({{"node": 0, "afterTransactions": {}, "do": "unplug"}})", transaction));
        const std::string verdict = record["verdict"];
        const std::string nodes = Record({"list"})["answer"]["nodes"].dump();
        EXPECT_NE(nodes.find("000F1B0000000002"), std::string::npos) << transaction << nodes;
        EXPECT_EQ(verdict == "done", nodes.find("000F1B0011223344") != std::string::npos) << transaction << nodes;
    }
}

TEST_F(IdentityCommandTest, EndsBetweenTwoStepsWhenItIsInterrupted) {
    UseBus(Bus({Target(OWN, "bootloader")}));
    program->windowSystem.eachTurn = [this] {
        if (program->Changes().find("guid") != std::string::npos)
            platform::RequestEnd();
    };
    const cli::Json record = Record({"identity", "--guid", GUID, "--mac", MAC});
    EXPECT_EQ(record["verdict"], "interrupted");
    EXPECT_EQ(Steps(record), "guid:done mac:interrupted");
    EXPECT_EQ(program->Changes(), "guid(001b0f0044332211)");
}

} // namespace
