// From a bus reset notice to the complete node table, with and without interruptions.
#include "BusEnumeration.h"
#include "ScriptedLibrary.h"

using namespace testing_support;
using namespace bas1394;

namespace {

using Nodes = std::vector<int>;

ByteArray Rom(std::uint32_t vendor) {
    return Quadlets({0x04040000, 0x31333934, 0, vendor << 8 | 0xAB, 5, 0x00020000, 0x03000000 | vendor, 0x17000007});
}

// Six nodes: two to keep, one of another vendor, one to keep whose root directory is missing, one without a ROM, and
// this computer, also without a ROM.
class BusEnumeration : public LibraryTest {
protected:
    BusEnumeration() {
        PrepareTables();
        library.SetTopology(std::vector<std::uint32_t>(6, 0x807F0000), 6);
        library.nodeAddress = 0xFFC5;
        library.roms = {{0, Rom(0xF1B)}, {1, Rom(0xA27)}, {2, Rom(0xF1B)}, {3, Rom(0xF1B)}};
        library.roms[3].resize(20);
        globals.Client.PostNotice = [](void*, std::uint32_t number) {
            platform::Post([number] { CallbackWindowProc(number); });
        };
        frontEnd.nodesChanged = [this] { seen.push_back(Table()); };
        hooks.bootloaderBusReset = [this] {
            EXPECT_FALSE(globals.BusEnumerated);
            return ++bootloaderPasses, bootloaderResult;
        };
        hooks.discoveryInterrupted = [this] { ++passes; };
    }
    static Nodes Table() {
        Nodes nodes;
        for (const Device& device : globals.DeviceTable)
            nodes.push_back(device.NodeNum);
        return nodes;
    }
    void Notice() { globals.Client.PostNotice(nullptr, 1326); }
    void Enumerate() {
        globals.BusResetPending = true; // as a rescan does, which doesn't clear the other flag
        globals.BusEnumerated = true;
        BusResetHandlerThread();
    }
    std::vector<Nodes> seen;
    int passes = 0, bootloaderPasses = 0;
    std::int32_t bootloaderResult = 1;
    const Nodes COMPLETE = {0, 2, 3, 5};
};

TEST_F(BusEnumeration, KeepsThisComputerAndTheNodesOfTheExpectedVendor) {
    library.deviceCount = 0; // the driver must be started first
    Enumerate();
    EXPECT_EQ(frontEnd.timerStarts, 1);
    ASSERT_EQ(seen, (std::vector<Nodes>{{0}, {0, 2}, {0, 2, 3}, COMPLETE, COMPLETE}));
    EXPECT_EQ(globals.LocalHostNode, 5);
    EXPECT_TRUE(globals.BusEnumerated);
    EXPECT_EQ(frontEnd.completions, 1);
    EXPECT_EQ(globals.DeviceTable[1].DeviceName, "device");
    EXPECT_EQ(CountLogged("13 Node #"), 3u);
    EXPECT_TRUE(Logged("13 Node #1: GUID='000A27AB 00000005', Manufacturer='<UNREADABLE CONFIG ROM VENDOR TEXT>', "
                       "Model='DirectoryType 0x11 not found'"));
    EXPECT_EQ(CountLogged("5 BusResetHandler: unreadable config ROM on node #"), 2u);
    EXPECT_TRUE(Logged("5 BusResetHandler: the number of nodes on the bus has changed from 0 to 6"));
}

TEST_F(BusEnumeration, StartsOverWhenANoticeArrivesWhileTheBusSettles) {
    clock.CallAt(clock.Now() + 100'000'000, [this] { Notice(); });
    const std::int64_t start = clock.Now();
    Enumerate();
    EXPECT_EQ(passes, 2);
    EXPECT_EQ(bootloaderPasses, 1); // no discovery on an outdated table
    EXPECT_EQ(clock.Now() - start, 400'000'000);
    EXPECT_EQ(CountLogged("Getting config rom for node #0"), 1u);
    EXPECT_TRUE(Logged("9 BusResetHandler: routine interrupted by bus topology change."));
    EXPECT_TRUE(Logged("9 BusResetHandlerThread: routine interrupted by another bus reset before completing."));
    EXPECT_EQ(Table(), COMPLETE);
}

TEST_F(BusEnumeration, DoesNotNest) {
    int inside = 0, deepest = 0;
    hooks.bootloaderBusReset = [&] {
        deepest = std::max(deepest, ++inside);
        if (++bootloaderPasses == 1) {
            globals.BusResetPending = true;
            BusResetHandlerThread(); // a timer tick during event processing
        }
        --inside;
        return 1;
    };
    Enumerate();
    EXPECT_EQ(bootloaderPasses, 2);
    EXPECT_EQ(deepest, 1);
    BusResetHandlerThread(); // nothing is pending
    EXPECT_EQ(bootloaderPasses, 2);
}

TEST_F(BusEnumeration, ContinuesAfterFailures) {
    const std::string noNumber = "7 GetLocalHostNode failed, Get1394AddressFromDeviceObject returned code 1";
    const std::tuple<std::string, std::function<void()>, Nodes> rows[] = {
        {"11 Error #91: Not set in bas1394.VdevBusResetHandler",
         [this] { frontEnd.nodesChanged = [] { platform::Raise(91, "Not set"); }; }, COMPLETE},
        {"7 tmrTopologyRefresh: failed call to basBootloader.BusResetHandler, code -1",
         [this] { bootloaderResult = -1; }, COMPLETE},
        {noNumber, [this] { library.hostResult = 1; }, {0, 2, 3}},
        {noNumber, [this] { library.hostResult = 1, library.roms.clear(); }, {128}},
    };
    for (const auto& [message, trouble, table] : rows) {
        SCOPED_TRACE(message);
        library.hostResult = 0;
        frontEnd.nodesChanged = nullptr;
        log.clear();
        bootloaderPasses = 0;
        trouble();
        Enumerate();
        EXPECT_EQ(Table(), table);
        EXPECT_TRUE(Logged(message));
        EXPECT_EQ(bootloaderPasses, 1);
        EXPECT_TRUE(globals.BusEnumerated);
    }
}

TEST_F(BusEnumeration, ForwardsEveryIncomingDataNotice) {
    int handled = 0;
    hooks.incomingData = [&] { globals.IncomingDataPending = ++handled == 1; }; // another one arrives meanwhile
    IncomingDataThreadHandler();
    EXPECT_EQ(handled, 0);
    globals.IncomingDataPending = true;
    IncomingDataThreadHandler();
    EXPECT_EQ(handled, 2);
}

} // namespace
