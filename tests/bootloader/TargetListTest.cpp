// Discovery after bus resets: who is in the list, under which handle, with which GUIDs.
#include "AnotherProgram.h"
#include "TargetScript.h"

#include <algorithm>

using namespace testing_support;
using namespace basBootloader;

namespace {

constexpr const char *FIRST = "00 0F 1B 00 00 00 00 01", *SECOND = "00 0F 1B 00 00 00 00 02",
                     *NULL_GUID = "00 00 00 00 00 00 00 00";

class TargetList : public TargetsTest {
protected:
    // Nodes in this order, then this computer; then handles a bus reset.
    std::int32_t discover(const std::vector<const char*>& guids) {
        Nodes(guids.size());
        for (std::size_t i = 0; i < guids.size(); ++i)
            targets[i].info = InfoBytes(1, guids[i]);
        return BusResetHandler();
    }
    // "handle@node" of each record.
    std::string list() const {
        std::string text;
        for (const BootloaderTarget& target : globals.TargetList)
            text += fmt::format("{}{}@{}", text.empty() ? "" : " ", target.Handle, target.Device.NodeNum);
        return text;
    }
    std::string debugGuid(std::size_t index) const {
        return basUtils::ByteArrayToHexString(globals.TargetList.at(index).DebugGUID);
    }
};

TEST_F(TargetList, KeepsATargetsHandleWhereverItsNodeGoes) {
    const std::tuple<const char*, std::vector<const char*>, const char*> steps[] = {
        {"both arrive", {FIRST, SECOND}, "63@0 64@1"},
        {"they change places", {SECOND, FIRST}, "63@1 64@0"},
        {"one leaves", {SECOND}, "63@128 64@0"},
        {"nobody", {}, "63@128 64@128"},
        {"it returns", {FIRST, SECOND}, "63@0 64@1"}};
    for (const auto& [name, guids, expected] : steps) {
        SCOPED_TRACE(name);
        EXPECT_EQ(discover(guids), 1);
        EXPECT_EQ(list(), expected);
        EXPECT_TRUE(globals.DiscoveryComplete);
    }
    EXPECT_EQ(globals.TargetList[0].Shell.ShellBuffer.size(), 16534u);
    EXPECT_EQ(GetNodeNum(64).NodeNum, 1);
    EXPECT_EQ(GetDeviceHandleFromGuid(globals.TargetList[1].Info.GUID), 64);
    EXPECT_EQ(GetDeviceHandleFromGuid(globals.TargetList[1].Info.GUID, "64"), 0);
    EXPECT_EQ(OpenBootloaderDevice(globals.TargetList[1].Device), 64);
}

TEST_F(TargetList, DoesNotHaltATargetThatRunsItsApplication) {
    Nodes(1);
    Put(targets[0].info, 12, "00 00 00 00");
    EXPECT_EQ(BusResetHandler(), 1);
    EXPECT_EQ(list(), "63@0");
    EXPECT_TRUE(requests.empty());
    EXPECT_TRUE(Logged("BuildBootloaderDeviceList: failed to connect to bootloader target, node #0"));
    EXPECT_TRUE(Logged("Node #0 is capable of sending and receiving debugging information via the 1394 shell."));
}

TEST_F(TargetList, HaltsABootloaderAndEqualizesItsGuids) {
    Nodes(1);
    targets[0].debugGuid = Bytes(SECOND);
    EXPECT_EQ(BusResetHandler(), 1);
    std::vector<int> commands;
    for (const auto& [node, request] : requests)
        commands.push_back(request[6]);
    EXPECT_EQ(commands, (std::vector<int>{HALT, GET_DEBUG_GUID, SET_DEBUG_GUID, GET_DEBUG_GUID}));
    EXPECT_EQ(debugGuid(0), FIRST);
    EXPECT_EQ(targets[0].debugGuid, Bytes(FIRST));
}

TEST_F(TargetList, GeneratesDebugGuidsDownwardsForNullAndSharedOnes) {
    discover({NULL_GUID});
    EXPECT_EQ(debugGuid(0), "FF FF FF FF FF FF FF FE");
    EXPECT_TRUE(Logged("Null bootloader GUID found on node #0, set Debug GUID to FF FF FF FF FF FF FF FE"));
    discover({FIRST, SECOND});
    globals.TargetList[1].DebugGUID = globals.TargetList[0].DebugGUID;
    globals.GeneratedGuid = {1, 0, 0, 0, 0, 0, 0, 1};
    EXPECT_EQ(HandleDuplicateGUIDs(), 1);
    EXPECT_EQ(debugGuid(0), "01 00 00 00 00 00 00 00");
    EXPECT_EQ(debugGuid(1), "00 FF FF FF FF FF FF FF");
}

TEST_F(TargetList, GeneratesNoGuidAfterOneCouldNotBeSet) {
    targets[0].reply = Reply{Bytes("00 00 00 00 00 00 00 05")}; // to every request
    discover({FIRST, NULL_GUID});
    EXPECT_TRUE(Logged("11 BuildDeviceList error: SynchronizeGUIDs failed, code -1"));
    EXPECT_EQ(debugGuid(1), NULL_GUID);
    EXPECT_EQ(globals.GeneratedGuid[0], 0) << "a pass after a failed one";
}

TEST_F(TargetList, MergesTwoNullGuidsAndReusesTheirRecord) {
    discover({NULL_GUID, NULL_GUID});
    EXPECT_EQ(list(), "63@1");
    discover({NULL_GUID, FIRST});
    EXPECT_EQ(list(), "64@1");
}

TEST_F(TargetList, StopsAtAnotherBusReset) {
    Nodes(2);
    onRequest = [] { bas1394::globals.BusResetPending = true; };
    EXPECT_EQ(BusResetHandler(), 1);
    EXPECT_TRUE(Logged("The bootloader discovery process has been interrupted by another bus reset!"));
    EXPECT_EQ(list(), "63@0") << "the rest is left to the next pass";
    EXPECT_TRUE(globals.DiscoveryComplete);
    EXPECT_FALSE(platform::ReleaseMutex(globals.TargetListMutex)) << "still held";
}

TEST_F(TargetList, ContinuesAfterANodeThatFailsAndLooksForADebuggerOnAMinimalRom) {
    Nodes(4);
    bas1394::globals.DeviceTable[0].ConfigRom.RawData = Bytes("01 00 0A 27");
    targets[0].debuggerAnswer = Bytes("01 01 00 00 80 80 01 00");
    targets[1].failingReads = 9;
    targets[2].info = InfoBytes(4);
    EXPECT_EQ(BusResetHandler(), 1);
    EXPECT_EQ(list(), "63@3");
    EXPECT_EQ(globals.DebuggerList.at(0).NodeNum, 0);
    EXPECT_TRUE(Logged("Debugger is running on node #0"));
    EXPECT_TRUE(Logged("BuildBootloaderDeviceList warning: failed to read info registers for node 1, code 121(0x79)"));
}

TEST_F(TargetList, LeavesADeviceAloneWhileAnotherProgramLoadsIt) {
    const auto commands = [this](std::uint32_t node) {
        return std::ranges::count(requests, node, &std::pair<std::uint32_t, ByteArray>::first);
    };
    AnotherProgram other;
    for (const auto& [guid, number] : {std::pair{FIRST, 0x000F1B0000000001}, {NULL_GUID, 0x0L}}) {
        SCOPED_TRACE(guid);
        ASSERT_TRUE(other.Takes(number));
        requests.clear();
        log.clear();
        targets[0].debugGuid = targets[1].debugGuid = ByteArray(8); // to be made distinct, but for the lock
        EXPECT_EQ(discover({guid, SECOND}), 1);
        globals.TargetList.front().DebugGUID =
            globals.TargetList.back().DebugGUID; // a null GUID has no record beside it
        EXPECT_EQ(HandleDuplicateGUIDs(), 1);
        EXPECT_EQ(commands(0), 0);
        EXPECT_EQ(CountLogged("11 "), 0u) << "it is passed over, not refused";
        EXPECT_GT(commands(1), 0);
        EXPECT_TRUE(Logged("ConnectToBootloaderDevice: node #0 is being loaded by another program, discovery is"));
        EXPECT_EQ(globals.TargetList[0].Info.ApplicationVersion, 0x01020304) << "its registers are read";
        for (int tick = 0; tick < 3; ++tick)
            EXPECT_FALSE(TakeOwedDiscovery()) << "it would only be left out again";
        other.Releases(number);
        EXPECT_TRUE(TakeOwedDiscovery());
        EXPECT_EQ(discover({guid, SECOND}), 1);
        EXPECT_GT(commands(0), 0);
        EXPECT_FALSE(TakeOwedDiscovery());
        globals.TargetList.assign(1, BootloaderTarget{});
    }
}

TEST_F(TargetList, IsLeftWithoutNodeNumbersWhenItsMutexCannotBeTaken) {
    discover({FIRST});
    platform::CloseHandle(globals.TargetListMutex);
    EXPECT_EQ(discover({FIRST}), -100);
    EXPECT_EQ(list(), "63@128");
    EXPECT_FALSE(globals.DiscoveryComplete);
}

} // namespace
