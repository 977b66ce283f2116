// hoistline doctor, on a made-up machine.
#include "CommandTest.h"
#include "Latency.h"
#include "Machine.h"
#include "TestFolder.h"
#include "UdevRule.h"

#include <cerrno>

using namespace testing_support;

namespace {

class DoctorCommandTest : public CommandTest {
protected:
    DoctorCommandTest() {
        UseBus(Bus({}));
        for (std::string* path : {&machine.Sys, &machine.Dev, &machine.Proc, &machine.Etc, &machine.Lib})
            *path = folder.path() + *path;
        machine.Release = "6.1.0";
        machine.GroupName = machine.OwnerName = [](std::uint32_t) { return std::string("root"); };
        machine.Probe = [](const std::string&) { return doctor::FileFacts{0, 5, 2}; };
        machine.TryRange = [this](const std::string&, std::uint64_t, std::uint32_t) { return rangeError; };
        machine.SelfIds = [this](const std::string&) { return selfIds; };
        doctor::UseMachine(&machine);
    }
    ~DoctorCommandTest() override { doctor::UseMachine(nullptr); }
    void AddNode(const std::string& name, const std::string& isLocal, const std::string& guid) {
        folder.Put("sys/bus/firewire/devices/" + name + "/is_local", isLocal + "\n");
        folder.Put("sys/bus/firewire/devices/" + name + "/guid", guid + "\n");
        folder.Put("dev/" + name, "");
    }

    TestFolder folder;
    doctor::Machine machine;
    std::vector<std::uint32_t> selfIds = {0x807F8000, 0x817F8000};
    int rangeError = 0;
};

TEST_F(DoctorCommandTest, EndsByWhatIsBadFirst) {
    EXPECT_EQ(Call({"doctor"}), 3);
    EXPECT_NE(out.find("controller         bad      This machine has no IEEE 1394 controller"), std::string::npos)
        << out;
    EXPECT_NE(error.find("hoistline doctor: no-bus: This machine has no IEEE 1394 controller"), std::string::npos)
        << error;
    AddNode("fw0", "1", "0x0011223344556677");
    EXPECT_EQ(Call({"doctor"}), 4) << out;
    AddNode("fw1", "0", "0x000f1b0000000001");
    EXPECT_EQ(Call({"doctor"}), 0) << out;
    rangeError = EBUSY;
    EXPECT_EQ(Call({"doctor"}), 1) << out;

    const cli::Json record = Record({"doctor"});
    EXPECT_EQ(record["verdict"], "failed");
    EXPECT_EQ(record["bus"], nullptr);
    const cli::Json& checks = record["answer"]["checks"];
    ASSERT_EQ(checks.size(), 11U);
    EXPECT_EQ(checks[9]["name"], "address-range");
    EXPECT_EQ(checks[9]["verdict"], "bad");
    EXPECT_EQ(checks[9]["command"], nullptr);
    EXPECT_EQ(checks[9]["found"], record["reason"]);
}

TEST_F(DoctorCommandTest, OnlyRootInstallsTheRule) {
    EXPECT_EQ(Call({"doctor", "--print-rule"}), 0);
    EXPECT_EQ(out, doctor::RULE_TEXT);
    const std::string file = "etc/udev/rules.d/70-hoistline.rules";
    machine.User = 1000;
    EXPECT_EQ(Call({"doctor", "--install-rule"}), 6);
    EXPECT_NE(error.find("sudo hoistline doctor --install-rule"), std::string::npos) << error;
    EXPECT_FALSE(std::filesystem::exists(folder.file(file)));
    machine.User = 0;
    EXPECT_EQ(Call({"doctor", "--install-rule"}), 0) << error;
    EXPECT_EQ(folder.Content(file), doctor::RULE_TEXT);
    EXPECT_NE(out.find("udevadm control --reload && udevadm trigger"), std::string::npos) << out;
    folder.Put(file, "an older rule");
    EXPECT_EQ(Call({"doctor", "--install-rule"}), 0);
    EXPECT_EQ(folder.Content(file), doctor::RULE_TEXT);
    folder.Put("blocked", "");
    machine.Etc = folder.file("blocked");
    EXPECT_EQ(Call({"doctor", "--install-rule"}), 1);
    EXPECT_EQ(Call({"doctor", "--install-rule", "--print-rule"}), 2);
}

TEST_F(DoctorCommandTest, MeasuresEachNodeThatCanBeRead) {
    UseBus(Bus({Target("000F1B0000000001", "bootloader"), Target("000F1B0000000002", "application"),
                R"({"kind": "device"})", R"({"kind": "off"})"},
               R"({"node": 1, "operation": "read", "address": "0xfffff0000400", "skip": 40, "result": 121})"));
    const cli::Json record = Record({"doctor", "--measure"});
    const std::tuple<int, const char*, int, int> expected[] = {
        {0, "rom-header", 4, 0}, {0, "info-registers", 104, 0}, {1, "rom-header", 4, 1}, {2, "rom-header", 4, 0}};
    const cli::Json& measurements = record["answer"]["measurements"];
    ASSERT_EQ(measurements.size(), std::size(expected)) << record;
    for (std::size_t i = 0; i < std::size(expected); ++i) {
        const cli::Json& one = measurements[i];
        EXPECT_EQ(std::tuple(one["node"], one["read"], one["bytes"], one["failures"]), expected[i]);
        EXPECT_EQ(one["reads"], 1000);
        EXPECT_EQ(one["microseconds"]["max"], 125);
    }
    EXPECT_EQ(program->Changes(), "") << "it only reads";

    EXPECT_EQ(Call({"doctor", "--measure", "#0", "--timeout", "0.4"}), 10);
    EXPECT_NE(out.find("The bus is simulated"), std::string::npos) << out;
    EXPECT_NE(out.find("#0    000F1B0000000001  info-registers"), std::string::npos)
        << "what there is is told: " << out;
    EXPECT_EQ(Call({"doctor", "#0"}), 2);
    UseBus(Bus({}));
    EXPECT_EQ(Call({"doctor", "--measure"}), 4);
}

TEST_F(DoctorCommandTest, AMeasurementFollowsItsDeviceThroughBusResetsAndGivesUpOnASilentOne) {
    const std::vector<std::string> nodes = {R"({"kind": "device"})", Target("000F1B0000000001", "application")};
    UseBus(Bus(nodes, R"({"afterTransactions": 500, "node": 0, "do": "unplug"})"));
    cli::Json record = Record({"doctor", "--measure", "000F1B0000000001"});
    EXPECT_EQ(record["verdict"], "done") << record;
    EXPECT_EQ(record["answer"]["measurements"][0]["node"], 0) << "its number after the reset";
    EXPECT_EQ(record["answer"]["measurements"][0]["reads"], 1000);

    UseBus(Bus(nodes, R"({"afterTransactions": 500, "node": 1, "do": "unplug"})"));
    EXPECT_EQ(Call({"doctor", "--measure", "#1"}), 1);
    EXPECT_NE(error.find("Node #1: It isn't found after a bus reset."), std::string::npos) << error;

    UseBus(Bus(nodes, R"({"afterTransactions": 500, "node": 1, "count": 100000, "result": 121})"));
    record = Record({"doctor", "--measure", "#1"});
    EXPECT_EQ(record["reason"], "Node #1: It doesn't answer.");
    EXPECT_EQ(record["answer"]["measurements"][0]["failures"], 20);
}

TEST(Latency, IsTheTimeThatAShareOfTheReadsDoesNotExceed) {
    std::vector<std::int64_t> times;
    for (std::int64_t microseconds = 1000; microseconds >= 1; --microseconds)
        times.push_back(1000 * microseconds);
    EXPECT_EQ(cli::QuantilesOf(times), (cli::Quantiles{1, 500, 900, 990, 999, 1000}));
    EXPECT_EQ(cli::QuantilesOf({7500}), (cli::Quantiles{7.5, 7.5, 7.5, 7.5, 7.5, 7.5}));
}

} // namespace
