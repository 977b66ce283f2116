// Which bus is chosen, by what, and that a doubtful choice leaves the program without one.
#include "WhichBus.h"
#include "Files.h"
#include "HeadlessProgram.h"
#include "KnownSettings.h"
#include "Paths.h"
#include "Survey.h"
#include "TestFolder.h"
#include "bas1394.h"

#include <gtest/gtest.h>

#include <cstdlib>

using namespace program;
using testing_support::HeadlessProgram;

namespace {

// A program folder and a machine that are empty.
class WhichBusTest : public testing::Test {
protected:
    WhichBusTest() {
        for (std::string* path : {&machine_.Sys, &machine_.Dev, &machine_.Proc})
            *path = folder_.path() + *path;
        doctor::UseMachine(&machine_);
        platform::UseProgramDirectory(folder_.path());
    }
    ~WhichBusTest() override {
        doctor::UseMachine(nullptr);
        platform::UseProgramDirectory("");
    }
    void Put(const std::string& name, const std::string& text) const { folder_.Put(name, text); }
    static std::string Chosen(const std::string& option, const std::string& variable, const std::string& setting) {
        const WhichBus bus = DecideBus(option, variable, setting);
        return bus.Fault.empty() ? TextOf(bus.Choice) + " " + NameOf(bus.Reason) : bus.Fault;
    }

    TestFolder folder_;
    doctor::Machine machine_ = doctor::ThisMachine();
};

} // namespace

TEST_F(WhichBusTest, TheFirstThatNamesOneDecidesAndNobodyFallsBackToASimulation) {
    EXPECT_EQ(Chosen("", "", ""), "kernel no-adapter");
    Put("dev/fw0", "");
    EXPECT_EQ(Chosen("", "", ""), "kernel adapter");
    EXPECT_EQ(Chosen("", "", "kernel:1"), "kernel:1 setting");
    EXPECT_EQ(Chosen("", "simulated:/a b.json", "kernel:1"), "simulated:/a b.json variable");
    EXPECT_EQ(Chosen("library:/x.so", "simulated", "kernel:1"), "library:/x.so option");
    Put("simulated-bus.json", "{}");
    EXPECT_EQ(Chosen("", "", ""), "simulated description-file");
    EXPECT_EQ(Chosen("", "kernel", ""), "kernel variable");
    EXPECT_EQ(Chosen("", "Kernel", "simulated"), "\"Kernel\" (named by HOISTLINE_BUS) isn't a bus; use simulated, "
                                                 "simulated:FILE, kernel, kernel:CARD, library:FILE or replay:FILE.");
}

TEST_F(WhichBusTest, AnAdapterIsAControllerANodeOrADeviceFile) {
    for (const auto& [file, text] : {std::pair{"sys/bus/pci/devices/0000:03:00.0/class", "0x0c0010\n"},
                                     {"sys/bus/firewire/devices/fw0/is_local", "1\n"},
                                     {"dev/fw12", ""}}) {
        EXPECT_FALSE(doctor::HasAdapter(machine_));
        Put(file, text);
        EXPECT_TRUE(doctor::HasAdapter(machine_)) << file;
        for (const char* top : {"sys", "dev"})
            std::filesystem::remove_all(folder_.file(top));
    }
    Put("dev/fwupd", "");
    EXPECT_FALSE(doctor::HasAdapter(machine_));
}

TEST_F(WhichBusTest, AStoredChoiceMeansTheSameInEveryFolder) {
    platform::ChangeDirectory(folder_.path());
    EXPECT_EQ(CallersBus("simulated:bus.json"), "simulated:" + folder_.file("bus.json"));
    EXPECT_EQ(CallersBus("kernel:1"), "kernel:1");
    EXPECT_EQ(CallersBus("nonsense"), "nonsense");
    for (const char* good : {"", "kernel", "simulated:/a", "library:/a"})
        EXPECT_EQ(StoredBusFault(good), "") << good;
    for (const char* bad : {"simulated:a", "library:a", "kernel:card", "simulation"})
        EXPECT_NE(StoredBusFault(bad), "") << bad;
}

TEST(WhichBus, ARunOnABusThatNobodyCanMeanDoesNotBegin) {
    HeadlessProgram program(testing_support::Bus({testing_support::Target("000F1B0000000001", "bootloader")}));
    program.Write("app.twd", testing_support::Package(ByteArray(1000, 7)));
    setenv(BUS_VARIABLE, "simulation", 1);
    EXPECT_FALSE(basApp::Main("/D app.twd"));
    EXPECT_TRUE(program.Said("\"simulation\" (named by HOISTLINE_BUS) isn't a bus"));
    EXPECT_EQ(bas1394::globals.LibraryModule, nullptr);
}

TEST(WhichBus, ARunWithoutItsLibraryEnds) {
    HeadlessProgram program(testing_support::Bus({}));
    program.Write("app.twd", testing_support::Package(ByteArray(1000, 7)));
    setenv(BUS_VARIABLE, "library:/nowhere/Twl1394api.so", 1);
    EXPECT_TRUE(program.Run("/D app.twd"));
    EXPECT_TRUE(program.Said("The run can't begin without an access library."));
}
