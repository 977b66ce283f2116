// Binding the library, and what each of its notices logs and sets.
#include "PlatformTest.h"
#include "ScriptedLibrary.h"

#include <tuple>

using namespace testing_support;
using namespace bas1394;

namespace {

class Notices : public LibraryTest {
protected:
    Notices() {
        std::ignore = LoadTwl1394Dll(false); // there is none to load, but the callbacks are set
        log.clear();
        HookCallbackWindow(true);
    }
    void Post(std::uint32_t number) {
        globals.Client.PostNotice(globals.Client.Context, number);
        windowSystem.Turn();
    }
};

TEST_F(Notices, AreLoggedAndSetTheirFlags) {
    for (const auto& [number, reset, text] : {
             std::tuple{1325u, false, "9 Device Change message from Windows."},
             {1326u, true, "13 Bus Reset Message received from 1394 Virtual Device driver"},
             {1044u, true, "13 Bus Reset Message received from VHPD driver"},
             {1327u, false, "9 Incoming Data Message received (likely from a Tarnwell bootloader target).  Broadcast"},
             {1328u, true, "11 Error Message received from 1394 Virtual Device driver!"},
             {1324u, false, ""}, // an unknown number
         }) {
        SCOPED_TRACE(number);
        log.clear();
        globals.BusResetPending = globals.IncomingDataPending = false;
        globals.BusEnumerated = true;
        Post(number);
        EXPECT_EQ(log.empty(), !*text);
        EXPECT_TRUE(Logged(text));
        EXPECT_EQ(globals.BusResetPending, reset);
        EXPECT_EQ(globals.BusEnumerated, !reset);
        EXPECT_EQ(globals.IncomingDataPending, number == 1327);
    }
}

TEST_F(Notices, OfATwentiethDriverErrorNoLongerCountAsABusReset) {
    for (int i = 0; i < 19; ++i)
        Post(1328);
    EXPECT_TRUE(globals.BusResetPending);
    EXPECT_EQ(CountLogged("15 "), 0u);
    globals.BusResetPending = false;
    globals.BusEnumerated = true;
    Post(1328);
    EXPECT_TRUE(globals.BusEnumerated && !globals.BusResetPending);
    EXPECT_TRUE(Logged("15 We continue to receive errors from the 1394 driver.  Cannot continue!"));
    EXPECT_EQ(CountLogged("15 "), 2u);
}

TEST_F(Notices, WaitForEventProcessingAndAreDroppedWithoutAWindow) {
    globals.Client.PostNotice(nullptr, 1326);
    globals.Client.AppendDebugText(nullptr, "caf\xE9\r\n");
    EXPECT_FALSE(globals.BusResetPending);
    windowSystem.Turn();
    EXPECT_TRUE(globals.BusResetPending);
    EXPECT_EQ(frontEnd.debugSpew, "café\r\n");
    globals.BusResetPending = false;
    globals.Client.PostNotice(nullptr, 1326);
    globals.Client.AppendDebugText(nullptr, "late\r\n");
    HookCallbackWindow(false);
    windowSystem.Turn();
    EXPECT_FALSE(globals.BusResetPending);
    EXPECT_EQ(frontEnd.debugSpew, "café\r\n");
}

TEST(TheChosenBus, IsSetForTheLibraryAndTakenBack) {
    const Variable before("TWL1394_BUS", "");
    ChooseBus({BusKind::Simulated, "/racks/bus 7.json"});
    EXPECT_STREQ(getenv("TWL1394_BUS"), "/racks/bus 7.json");
    EXPECT_EQ(globals.LibraryFile, "");
    ChooseBus({BusKind::Library, "/opt/other.so"});
    EXPECT_EQ(getenv("TWL1394_BUS"), nullptr);
    EXPECT_EQ(globals.LibraryFile, "/opt/other.so");
    ChooseBus({BusKind::Kernel, "1"});
    EXPECT_STREQ(getenv("TWL1394_BUS"), "1");
    EXPECT_TRUE(globals.LibraryFile.ends_with("/Twl1394kernel.so"));
    ChooseBus({});
    EXPECT_EQ(getenv("TWL1394_BUS"), nullptr);
    EXPECT_EQ(globals.LibraryFile, "");
}

TEST(TheChosenBus, IsNamedByItsKindAndWhatFollowsTheColon) {
    const std::pair<const char*, std::optional<BusChoice>> cases[] = {
        {"simulated", BusChoice{}},
        {"simulated:a:b", BusChoice{BusKind::Simulated, "a:b"}},
        {"kernel", BusChoice{BusKind::Kernel, ""}},
        {"kernel:1", BusChoice{BusKind::Kernel, "1"}},
        {"library:x.so", BusChoice{BusKind::Library, "x.so"}},
        {"kernel:/dev/fw1", {}},
        {"library", {}},
        {"library:", {}},
        {"simulated:", {}},
        {"Kernel", {}},
        {"", {}}};
    for (const auto& [text, choice] : cases)
        EXPECT_EQ(ParseBus(text), choice) << text;
}

TEST(DebugText, IsSplitIntoLines) {
    EXPECT_EQ(TakeDebugLines("one\r\n\r\na\nb\rc\r\nlost"), (Texts{"one", "", "a\nb\rc"}));
    EXPECT_EQ(TakeDebugLines(""), Texts{});
}

TEST_F(Notices, AreNotTakenFromALibraryOfAnotherInterfaceVersion) {
    library::Unbind();
    library::Operations operations = library.Operations();
    operations.InterfaceVersion = [] { return std::uint32_t{2}; };
    std::string reason;
    EXPECT_FALSE(library::BindTo(operations, reason));
    EXPECT_EQ(reason, "it has interface version 2, and version 1 is needed");
    EXPECT_THROW(ResetBus(), platform::Failure);
}

} // namespace
