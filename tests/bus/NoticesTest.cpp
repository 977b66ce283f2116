// The library's coming, and what each of its notices says and does.
#include "Files.h"
#include "ScriptedLibrary.h"

using namespace testing_support;
using namespace bas1394;

namespace {

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
        bool reset, incoming;
        const char* log;
    } rows[] = {
        {1325, false, false, "9 Device Change message from Windows."},
        {1326, true, false, "13 Bus Reset Message received from 1394 Virtual Device driver"},
        {1044, true, false, "13 Bus Reset Message received from VHPD driver"},
        {1327, false, true,
         "9 Incoming Data Message received (likely from a Tarnwell bootloader target).  Broadcasting"},
        {1328, true, false, "11 Error Message received from 1394 Virtual Device driver!"},
        {1324, false, false, nullptr},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.number);
        log.clear();
        globals.BusResetPending = globals.IncomingDataPending = false;
        globals.BusEnumerated = true;
        Post(row.number);
        EXPECT_EQ(log.empty(), row.log == nullptr);
        EXPECT_TRUE(!row.log || Logged(row.log));
        EXPECT_EQ(globals.BusResetPending, row.reset);
        EXPECT_EQ(globals.BusEnumerated, !row.reset);
        EXPECT_EQ(globals.IncomingDataPending, row.incoming);
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
    EXPECT_EQ(TakeDebugLines("one\r\n\r\na\nb\rc\r\nlost"), (Texts{"one", "", "a\nb\rc"}));
    EXPECT_EQ(TakeDebugLines(""), Texts{});
}

class LibraryLoading : public LibraryTest {};

TEST_F(LibraryLoading, SaysWhyALibraryDoesNotLoad) {
    for (const std::string content : {"", "this is no shared object"}) {
        SCOPED_TRACE(content);
        log.clear();
        if (!content.empty())
            platform::WriteFileAtomically(folder.file("Twl1394api.so"), ByteArray(content.begin(), content.end()));
        EXPECT_EQ(LoadTwl1394Dll(true), nullptr);
        EXPECT_EQ(log.at(1), "5 App path = '" + folder.path() + "'");
        EXPECT_TRUE(
            Logged("11 ERROR loading Twl1394api.dll!  Call to LoadLibrary returned 0.  The app will generate "));
        EXPECT_TRUE(Logged("11 Twl1394api.dll could not be loaded: "));
    }
}

TEST_F(LibraryLoading, RefusesAnotherInterfaceVersion) {
    library::Unbind();
    library::Operations operations = library.Operations();
    operations.InterfaceVersion = [] { return std::uint32_t{2}; };
    std::string reason;
    EXPECT_FALSE(library::BindTo(operations, reason));
    EXPECT_EQ(reason, "it has interface version 2, and version 1 is needed");
    EXPECT_THROW(ResetBus(), platform::Failure);
}

} // namespace
