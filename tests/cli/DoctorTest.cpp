// hoistline doctor, on a made-up machine.
#include "CommandTest.h"
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

} // namespace
