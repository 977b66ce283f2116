// What the wrappers pass to the library, what they reject, and how each failure is handled.
#include "ScriptedLibrary.h"

using namespace testing_support;
using namespace bas1394;

namespace {

class AsyncTransactions : public LibraryTest {
protected:
    AsyncTransactions() {
        basApp::globals.Default1394TransactionTimeout = 250;
        library.roms[5] = ByteArray(2048, 7);
    }
    // Every transaction takes 12 ms and ends with `code`.
    void FailWith(std::int32_t code) {
        library.result = [this, code](std::size_t) { return clock.Sleep(12'000'000), code; };
    }
    std::int32_t Read(std::int32_t size, bool quadlets, std::int32_t timeout = 100) {
        return AsyncReadWrapperVB(record(), address, size, quadlets, timeout, buffer);
    }
    std::int32_t Write(std::size_t size, std::int32_t timeout = 100) {
        buffer.assign(size, 0xAB);
        return AsyncWriteWrapperVB(record(), {0xFFFF, 0xABCD}, false, timeout, buffer);
    }
    ByteArray buffer = {9, 9};
    Address1394 address{0xFFFF, 0xF0000400};
};

TEST_F(AsyncTransactions, AskTheLibraryForWholeQuadlets) {
    const std::tuple<std::int32_t, bool, std::int32_t, Texts> rows[] = {
        {5, false, -1, {"R5 FFFFF0000400 8 250"}},
        {2048, false, 0, {"R5 FFFFF0000400 2048 0"}},
        {6, true, 100, {"R5 FFFFF0000400 4 100", "R5 FFFFF0000404 4 100"}},
    };
    for (const auto& [size, quadlets, timeout, transactions] : rows) {
        SCOPED_TRACE(size);
        library.transactions.clear();
        EXPECT_EQ(Read(size, quadlets, timeout), 1);
        EXPECT_EQ(library.transactions, transactions);
        EXPECT_EQ(buffer, ByteArray((size + 3u) / 4 * 4, 7));
    }
    EXPECT_TRUE(Logged("1 AsyncRead of 0xFFFFF0000404, node 5 succeeded.   function call time=0ms. Exiting normally."));
}

TEST_F(AsyncTransactions, RejectABadArgumentWithoutACall) {
    const std::tuple<char, std::int16_t, std::int32_t, std::uint8_t, const char*, const char*> rows[] = {
        {'R', -1, 4, 1, "vdev", ""},
        {'R', 63, 4, 1, "vdev", ""},
        {'W', 64, 4, 1, "vdev", ""},
        {'R', 5, 0, 1, "vdev",
         "7 AsyncRead failure: (addr 0xFFFFF0000400, node 5): invalid size of requested payload: 0.  "},
        {'R', 5, 2049, 1, "vdev", "payload: 2049.  The maximum payload is 2048.  Exiting abnormally"},
        {'W', 5, 0, 1, "vdev", "11 Error #9: Subscript out of range in bas1394.AsyncWriteWrapperVB"},
        {'W', 5, 2049, 1, "vdev", "11 Error #9: Subscript out of range in bas1394.AsyncWriteWrapperVB"},
        {'R', 5, 4, 0, "vdev", "7 AsyncRead failure: node 5 has an inactive LLC (according to the SelfID packet).  "},
        {'W', 5, 4, 0, "vdev", "7 AsyncWrite failure: node 5 has an inactive LLC (according to the SelfID packet).  "},
        {'R', 5, 4, 1, "", "11 AsyncReadWrapperVB: Unknown Driver error.  Exiting abnormally."},
        {'W', 5, 4, 1, "", "11 AsyncWriteWrapperVB: Unknown Driver error.  Exiting abnormally."},
    };
    for (const auto& [kind, node, size, linkActive, driver, words] : rows) {
        SCOPED_TRACE(testing::Message() << kind << node << " " << words);
        log.clear();
        record().NodeNum = node;
        record().SelfId.LinkActive = linkActive;
        record().Driver = driver;
        EXPECT_EQ(kind == 'R' ? Read(size, false) : Write(static_cast<std::size_t>(size)), -1);
        EXPECT_EQ(log.size(), *words ? 1u : 0u);
        EXPECT_EQ(CountLogged(words), log.size());
    }
    EXPECT_TRUE(library.transactions.empty());
}

TEST_F(AsyncTransactions, DistinguishTheFailuresOfARead) {
    // What is logged follows "7 AsyncRead".
    const std::pair<std::int32_t, const char*> rows[] = {
        {SILENCE, " of 0xFFFF0000ABCD, node 5 failed, code 0x79: Node did not respond.  function call time=12ms. "},
        {TWL1394_TIMED_OUT, " of 0xFFFFABCD, node 5 timed out. function call time=12ms.  Exiting abnormally"},
        {TWL1394_SHUTTING_DOWN, " failure: the Application Shutdown Event has somehow become set"},
        {TWL1394_NO_RESPONSE, " failure (addr 0xFFFF0000ABCD, node 5): common unknown error, code 0x8000013D ."},
        {TWL1394_ADDRESS_ERROR, " failure (addr 0xFFFF0000ABCD, node 5): 1394 response error, code 0x80000017 ."},
        {0xCAFE, " of 0xFFFFABCD, node 5 failed, code 0xCAFE function call time=12ms. Exiting abnormally"},
        {TWL1394_BUS_RESET, " failure: a bus reset has interrupted the transaction in progress"},
        {SILENCE,
         " of 0xFFFF0000ABCD, node 5 failed, code 0x79: Node did not respond."}, // the bus reset is still pending
    };
    address.AddressLow = 0xABCD;
    bool resetPending = false;
    for (const auto& [code, words] : rows) {
        SCOPED_TRACE(words);
        log.clear();
        FailWith(code);
        resetPending = resetPending || code == TWL1394_BUS_RESET;
        EXPECT_EQ(Read(5, false), resetPending ? -105 : code);
        EXPECT_EQ(CountLogged(std::string("7 AsyncRead") + words), 1u);
        EXPECT_EQ(buffer, ByteArray(8));
        EXPECT_EQ(globals.BusResetPending, resetPending);
    }
}

TEST_F(AsyncTransactions, KeepWhatAQuadletReadReturnedBeforeItFailed) {
    windowSystem.Post([] { globals.DeviceTable.assign(9, {}); }); // the first event removes the record
    library.result = [](std::size_t k) { return k == 2 ? SILENCE : 1; };
    EXPECT_EQ(Read(16, true), SILENCE);
    EXPECT_EQ(buffer, Quadlets({0x07070707, 0x07070707, 0, 0}));
    EXPECT_TRUE(Logged("7 AsyncRead of 0xFFFFF0000408, node 5 failed, code 0x79"));
}

TEST_F(AsyncTransactions, WriteOnePaddedBlock) {
    record().NodeNum = 63;
    EXPECT_EQ(Write(4, 0), 1);
    EXPECT_EQ(Write(5, -1), 1);
    EXPECT_EQ(library.transactions, (Texts{"W63 FFFF0000ABCD 0 ABABABAB", "W63 FFFF0000ABCD 250 ABABABAB AB000000"}));
    EXPECT_EQ(buffer, (ByteArray{0xAB, 0xAB, 0xAB, 0xAB, 0xAB, 0, 0, 0})); // the caller's array is padded
    EXPECT_TRUE(log.empty());
}

TEST_F(AsyncTransactions, GiveEveryFailedWriteOneOfTwoCodes) {
    const std::tuple<std::int32_t, bool, const char*, const char*> rows[] = {
        {TWL1394_ADDRESS_ERROR, false, "-2147483625(0x80000017)",
         "that a response error packet was received from the target."},
        {TWL1394_NO_RESPONSE, false, "-2147483331(0x8000013D)",
         "that no response packet was received from the target.  TODO"},
        {TWL1394_BUS_RESET, false, "-2147483647(0x80000001)", "0x80000001 is an unknown error response."},
        {SILENCE, true, "121(0x79)", "5 AsyncWriteWrapperVB: code 0x79 is an unknown error response."},
    };
    for (const auto& [code, resetPending, head, tail] : rows) {
        SCOPED_TRACE(head);
        log.clear();
        FailWith(code);
        globals.BusResetPending = resetPending;
        EXPECT_EQ(Write(4), resetPending ? -105 : -1);
        ASSERT_EQ(log.size(), 2u);
        EXPECT_EQ(log[0], fmt::format("5 AsyncWriteWrapperVB: call to AsyncWrite failed, code{}, node 5, address "
                                      "0xFFFF0000ABCD, call time = 12 ms",
                                      head));
        EXPECT_TRUE(Logged(tail));
    }
}

TEST_F(AsyncTransactions, NeedALibraryAndAPath) {
    record().Driver = "vhpd";
    EXPECT_EQ(Read(4, true), Code(0xEE000200));
    EXPECT_EQ(Write(4), -1);
    record().Driver = "vdev";
    library::Unbind();
    EXPECT_EQ(Read(4, false), -1);
    EXPECT_EQ(Write(4), -1);
    EXPECT_TRUE(Logged("11 Error #53: File not found: Twl1394api.dll in bas1394.AsyncReadWrapperVB"));
    EXPECT_TRUE(library.transactions.empty());
}

} // namespace
