// What the wrappers ask of the library, what they refuse, and what becomes of each failure.
#include "ScriptedLibrary.h"

using namespace testing_support;
using namespace bas1394;

namespace {

using Texts = std::vector<std::string>;
constexpr Address1394 ROM{0xFFFF, 0xF0000400};

class AsyncTransactions : public LibraryTest {
protected:
    AsyncTransactions() {
        basApp::globals.Default1394TransactionTimeout = 250;
        library.roms[5] = Quadlets(std::vector<std::uint32_t>(512, 0x01020304));
    }
    // Every transaction takes 12 ms and ends with `code`.
    void FailWith(std::int32_t code) {
        library.result = [this, code](std::size_t) {
            clock.Sleep(12'000'000);
            return code;
        };
    }
    std::int32_t Read(std::int32_t size, bool quadlets, std::int32_t timeout = 100, Address1394 at = ROM) {
        return AsyncReadWrapperVB(record(), at, size, quadlets, timeout, buffer);
    }
    std::int32_t Write(std::size_t size, std::int32_t timeout = 100) {
        buffer.assign(size, 0xAB);
        return AsyncWriteWrapperVB(record(), ROM, false, timeout, buffer);
    }
    ByteArray buffer = {9, 9};
};

TEST_F(AsyncTransactions, AskTheLibraryForWholeQuadlets) {
    const struct {
        const char* name;
        std::int32_t size;
        bool quadlets;
        std::int32_t timeout;
        Texts transactions;
    } rows[] = {
        {"a block of whole quadlets", 8, false, 100, {"R5 FFFFF0000400 8 100"}},
        {"a block that is rounded up", 5, false, -1, {"R5 FFFFF0000400 8 250"}},
        {"the largest block, synchronously", 2048, false, 0, {"R5 FFFFF0000400 2048 0"}},
        {"quadlets", 6, true, -7, {"R5 FFFFF0000400 4 250", "R5 FFFFF0000404 4 250"}},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        library.transactions.clear();
        EXPECT_EQ(Read(row.size, row.quadlets, row.timeout), 1);
        EXPECT_EQ(library.transactions, row.transactions);
        EXPECT_EQ(buffer, Quadlets(std::vector<std::uint32_t>((row.size + 3u) / 4, 0x01020304)));
    }
    EXPECT_TRUE(Logged(
        "1 AsyncRead of 0xFFFFF0000404, node 5 succeeded.   function call time=0ms. Exiting normally."));
}

TEST_F(AsyncTransactions, RefuseABadArgumentWithoutACall) {
    const struct {
        const char* name;
        char kind;
        std::int32_t node, size;
        std::uint8_t linkActive;
        const char* driver;
        Texts log;
    } rows[] = {
        {"read of no node", 'R', -1, 4, 1, "vdev", {}},
        {"read of all nodes", 'R', 63, 4, 1, "vdev", {}},
        {"write to no node", 'W', 64, 4, 1, "vdev", {}},
        {"read of nothing", 'R', 5, 0, 1, "vdev",
         {"7 AsyncRead failure: (addr 0xFFFFF0000400, node 5): invalid size of requested payload: 0.  The maximum "
          "payload is 2048.  Exiting abnormally"}},
        {"read of too much", 'R', 5, 2049, 1, "vdev",
         {"7 AsyncRead failure: (addr 0xFFFFF0000400, node 5): invalid size of requested payload: 2049.  The maximum "
          "payload is 2048.  Exiting abnormally"}},
        {"write of nothing", 'W', 5, 0, 1, "vdev",
         {"11 Error #9: Subscript out of range in bas1394.AsyncWriteWrapperVB"}},
        {"write of too much", 'W', 5, 2049, 1, "vdev",
         {"11 Error #9: Subscript out of range in bas1394.AsyncWriteWrapperVB"}},
        {"read of a dead link", 'R', 5, 4, 0, "vdev",
         {"7 AsyncRead failure: node 5 has an inactive LLC (according to the SelfID packet).  Exiting abnormally"}},
        {"write to a dead link", 'W', 5, 4, 0, "vdev",
         {"7 AsyncWrite failure: node 5 has an inactive LLC (according to the SelfID packet).  Exiting abnormally"}},
        {"read by an unknown driver", 'R', 5, 4, 1, "",
         {"11 AsyncReadWrapperVB: Unknown Driver error.  Exiting abnormally."}},
        {"write by an unknown driver", 'W', 5, 4, 1, "",
         {"11 AsyncWriteWrapperVB: Unknown Driver error.  Exiting abnormally."}},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        log.clear();
        record().NodeNum = static_cast<std::int16_t>(row.node);
        record().SelfId.LinkActive = row.linkActive;
        record().Driver = row.driver;
        EXPECT_EQ(row.kind == 'R' ? Read(row.size, false) : Write(static_cast<std::size_t>(row.size)), -1);
        EXPECT_EQ(log, row.log);
    }
    EXPECT_TRUE(library.transactions.empty());
}

TEST_F(AsyncTransactions, TellTheFailuresOfAReadApart) {
    const struct {
        std::uint32_t code;
        std::int32_t result;
        const char* text;
    } rows[] = {
        {121, 121,
         "7 AsyncRead of 0xFFFF0000ABCD, node 5 failed, code 0x79: Node did not respond.  function call time=12ms. "
         "Exiting abnormally"},
        {0x80000102, Code(0x80000102),
         "7 AsyncRead of 0xFFFFABCD, node 5 timed out. function call time=12ms.  Exiting abnormally"},
        {0x80000002, Code(0x80000002),
         "7 AsyncRead failure: the Application Shutdown Event has somehow become set in the Twl1394api.dll.  No "
         "multithreaded transactions can complete.  function call time=12ms.  Exiting abnormally"},
        {0x8000013D, Code(0x8000013D),
         "7 AsyncRead failure (addr 0xFFFF0000ABCD, node 5): common unknown error, code 0x8000013D .  TODO: determine "
         "if this is caused by an error response packet or no response.  function call time=12ms.  Exiting abnormally"},
        {0x80000017, Code(0x80000017),
         "7 AsyncRead failure (addr 0xFFFF0000ABCD, node 5): 1394 response error, code 0x80000017 .  This is caused by "
         "an address error rcode and possibly by other error conditions.  function call time=12ms.  Exiting "
         "abnormally"},
        {0xCAFE, 0xCAFE,
         "7 AsyncRead of 0xFFFFABCD, node 5 failed, code 0xCAFE function call time=12ms. Exiting abnormally"},
        {0x80000001, -105,
         "7 AsyncRead failure: a bus reset has interrupted the transaction in progress from within the DLL layer.  "
         "function call time=12ms.  Exiting abnormally"},
        {121, -105, // with the reset of the row before still pending
         "7 AsyncRead of 0xFFFF0000ABCD, node 5 failed, code 0x79: Node did not respond.  function call time=12ms. "
         "Exiting abnormally"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.text);
        log.clear();
        FailWith(Code(row.code));
        EXPECT_EQ(Read(5, false, 100, {0xFFFF, 0xABCD}), row.result);
        EXPECT_EQ(log, Texts{row.text});
        EXPECT_EQ(buffer, ByteArray(8));
        EXPECT_EQ(globals.BusResetPending, row.result == -105);
    }
}

TEST_F(AsyncTransactions, KeepWhatAQuadletReadGotBeforeItFailed) {
    library.result = [](std::size_t k) { return k == 2 ? 121 : 1; };
    EXPECT_EQ(Read(16, true), 121);
    EXPECT_EQ(buffer, Quadlets({0x01020304, 0x01020304, 0, 0}));
    EXPECT_EQ(library.transactions.size(), 3u);
    EXPECT_EQ(CountLogged("7 AsyncRead of 0xFFFFF0000408, node 5 failed, code 0x79"), 1u);
}

TEST_F(AsyncTransactions, SurviveANodeTableThatIsReplacedDuringATurn) {
    windowSystem.Post([] { globals.DeviceTable = {}, globals.DeviceTable.resize(1); });
    EXPECT_EQ(Read(8, true), 1);
    EXPECT_EQ(library.transactions, (Texts{"R5 FFFFF0000400 4 100", "R5 FFFFF0000404 4 100"}));
}

TEST_F(AsyncTransactions, WriteOnePaddedBlock) {
    EXPECT_EQ(Write(5, -1), 1);
    record().NodeNum = 63;
    EXPECT_EQ(Write(4, 0), 1);
    EXPECT_EQ(library.transactions, (Texts{"W5 FFFFF0000400 250 ABABABAB AB000000", "W63 FFFFF0000400 0 ABABABAB"}));
    EXPECT_EQ(Write(5), 1);
    EXPECT_EQ(buffer, (ByteArray{0xAB, 0xAB, 0xAB, 0xAB, 0xAB, 0, 0, 0})); // the caller's own array
    EXPECT_TRUE(log.empty());
}

TEST_F(AsyncTransactions, GiveEveryFailedWriteOneOfTwoCodes) {
    const struct {
        std::uint32_t code;
        bool resetPending;
        const char *head, *tail;
    } rows[] = {
        {0x80000017, false, "-2147483625(0x80000017)",
         "80000017 indicates that a response error packet was received from the target."},
        {0x8000013D, false, "-2147483331(0x8000013D)",
         "8000013D indicates that no response packet was received from the target.  TODO: verify this."},
        {0x80000001, false, "-2147483647(0x80000001)", "80000001 is an unknown error response."},
        {121, true, "121(0x79)", "79 is an unknown error response."},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.head);
        log.clear();
        FailWith(Code(row.code));
        globals.BusResetPending = row.resetPending;
        EXPECT_EQ(Write(4), row.resetPending ? -105 : -1);
        EXPECT_EQ(log, (Texts{fmt::format("5 AsyncWriteWrapperVB: call to AsyncWrite failed, code{}, node 5, address "
                                          "0xFFFFF0000400, call time = 12 ms",
                                          row.head),
                              fmt::format("5 AsyncWriteWrapperVB: code 0x{}", row.tail)}));
    }
}

TEST_F(AsyncTransactions, HaveNoPathForTheOtherDriverFamily) {
    record().Driver = "vhpd";
    EXPECT_EQ(Read(4, false), Code(0xEE000200));
    EXPECT_EQ(Read(4, true), Code(0xEE000200));
    EXPECT_EQ(Write(4), -1);
    EXPECT_TRUE(library.transactions.empty());
}

TEST_F(AsyncTransactions, FailWithAWordWhenNoLibraryIsLoaded) {
    library::Unbind();
    EXPECT_EQ(Read(4, false), -1);
    EXPECT_EQ(Write(4), -1);
    EXPECT_EQ(log, (Texts{"11 Error #53: File not found: Twl1394api.dll in bas1394.AsyncReadWrapperVB",
                          "11 Error #53: File not found: Twl1394api.dll in bas1394.AsyncWriteWrapperVB"}));
}

} // namespace
