// What each notice of the library says and does.
#include "ScriptedLibrary.h"

using namespace testing_support;
using namespace bas1394;

namespace {

using Texts = std::vector<std::string>;

class Notices : public LibraryTest {
protected:
    Notices() {
        LoadTwl1394Dll(false); // there is none to load; the callbacks are set all the same
        log.clear();
        HookCallbackWindow(true);
        hooks.debugSpew = [this](const std::string& text) { spew += text; };
    }
    void Post(std::uint32_t number) {
        globals.Client.PostNotice(globals.Client.Context, number);
        windowSystem.Turn();
    }
    std::string spew;
};

TEST_F(Notices, AreLoggedAndSetTheirFlags) {
    const struct {
        std::uint32_t number;
        Texts log;
        bool reset, incoming;
    } rows[] = {
        {1325, {"9 Device Change message from Windows."}, false, false},
        {1326, {"13 Bus Reset Message received from 1394 Virtual Device driver"}, true, false},
        {1044, {"13 Bus Reset Message received from VHPD driver"}, true, false},
        {1327,
         {"9 Incoming Data Message received (likely from a Tarnwell bootloader target).  Broadcasting a halt "
          "command..."},
         false,
         true},
        {1328,
         {"11 Error Message received from 1394 Virtual Device driver!",
          "11   this error sometimes occurs in bus reset processing - treat it as a bus reset!"},
         true,
         false},
        {1324, {}, false, false},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.number);
        log.clear();
        globals.BusResetPending = globals.IncomingDataPending = false;
        globals.BusEnumerated = true;
        Post(row.number);
        EXPECT_EQ(log, row.log);
        EXPECT_EQ(globals.BusResetPending, row.reset);
        EXPECT_EQ(globals.BusEnumerated, !row.reset);
        EXPECT_EQ(globals.IncomingDataPending, row.incoming);
    }
}

TEST_F(Notices, OfTheTwentiethDriverErrorNoLongerCountAsBusResets) {
    for (int i = 0; i < 19; ++i)
        Post(1328);
    EXPECT_TRUE(globals.BusResetPending);
    EXPECT_EQ(CountLogged("15 "), 0u);
    globals.BusResetPending = false;
    globals.BusEnumerated = true;
    Post(1328);
    EXPECT_FALSE(globals.BusResetPending);
    EXPECT_TRUE(globals.BusEnumerated);
    EXPECT_TRUE(Logged("15 We continue to receive errors from the 1394 driver.  Cannot continue!"));
    EXPECT_TRUE(Logged("15   Possible corrective actions: restart the application, reboot the PC, and/or send an error "
                       "report to the software provider."));
    EXPECT_EQ(CountLogged("11 "), 40u); // its two lines come all the same
}

TEST_F(Notices, WaitForATurnAndAreDroppedOnceNobodyTakesThem) {
    globals.Client.PostNotice(nullptr, 1326);
    globals.Client.AppendDebugText(nullptr, "caf\xE9\r\n");
    EXPECT_FALSE(globals.BusResetPending);
    windowSystem.Turn();
    EXPECT_TRUE(globals.BusResetPending);
    EXPECT_EQ(spew, "café\r\n");
    globals.BusResetPending = false;
    globals.Client.PostNotice(nullptr, 1326);
    globals.Client.AppendDebugText(nullptr, "late\r\n");
    HookCallbackWindow(false);
    windowSystem.Turn();
    EXPECT_FALSE(globals.BusResetPending);
    EXPECT_EQ(spew, "café\r\n");
}

TEST(DebugText, IsTakenLineByLine) {
    const struct {
        const char* box;
        Texts lines;
    } rows[] = {
        {"", {}},
        {"one\r\ntwo\r\n", {"one", "two"}},
        {"one\r\nlost", {"one"}},
        {"\r\n\r\n", {"", ""}},
        {"a\nb\rc\r\n", {"a\nb\rc"}},
    };
    for (const auto& row : rows)
        EXPECT_EQ(TakeDebugLines(row.box), row.lines) << row.box;
}

} // namespace
