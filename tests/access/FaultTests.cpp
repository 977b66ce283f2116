// Faults hit transactions by count, never by time; the trace records what happened.
#include "SimulatedBus.h"

namespace {

TEST_F(SimulatedBus, AFaultHitsTheTransactionsThatItCounts) {
    const int32_t silent = TWL1394_NODE_DID_NOT_RESPOND, timedOut = TWL1394_TIMED_OUT, reset = TWL1394_BUS_RESET,
                  gone = TWL1394_ADDRESS_ERROR;
    // The results of five reads of the registers, and the number of notices.
    const std::tuple<const char*, std::vector<int32_t>, std::size_t> rows[] = {
        {R"({"operation": "read", "skip": 1, "count": 2, "result": "0x80000102"})", {1, timedOut, timedOut, 1, 1}, 0},
        {R"({"node": 0, "afterTransactions": 3, "result": 121})", {1, 1, 1, silent, 1}, 0},
        {R"({"operation": "write", "result": 121})", {1, 1, 1, 1, 1}, 0},
        {R"({"address": "0xffffc8029000", "result": 121})", {1, 1, 1, 1, 1}, 0},
        {R"({"node": 1, "result": 121})", {1, 1, 1, 1, 1}, 0},
        {R"({"afterTransactions": 2, "do": "busReset"})", {1, 1, 1, 1, 1}, 1},
        {R"({"node": 0, "skip": 1, "do": "busReset"})", {1, reset, 1, 1, 1}, 1},
        {R"({"node": 0, "do": "silence"})", {silent, 1, 1, 1, 1}, 0},
        {R"({"node": 0, "afterTransactions": 1, "do": "unplug"}, {"node": 0, "afterTransactions": 3, "do": "plug"})",
         {1, gone, gone, 1, 1},
         2},
        {R"({"node": 0, "operation": "read", "skip": 1, "do": "unplug"})", {1, reset, gone, gone, gone}, 1},
    };
    for (const auto& [fault, expected, count] : rows) {
        Describe(WithFault(fault));
        std::vector<int32_t> results;
        Bytes data;
        for (int i = 0; i < 5; ++i)
            results.push_back(Read(0, INFO_REGISTERS, 12, data));
        EXPECT_EQ(results, expected) << fault;
        EXPECT_EQ(notices.size(), count) << fault;
    }
}

TEST_F(SimulatedBus, ACorruptedTransactionDiffersInOneBit) {
    Describe(WithFault(R"({"operation": "read", "do": "corrupt"}, {"address": "0xffffc8021000", "do": "corrupt"})"));
    EXPECT_EQ(Get(0, INFO_REGISTERS, 8), (Bytes{'t', 'a', 'r', 'n', 'w' ^ 1, 'e', 'l', 'l'}));
    EXPECT_EQ(Get(0, INFO_REGISTERS, 4), (Bytes{'t', 'a', 'r', 'n'}));
    id = 6;
    EXPECT_EQ(Command(0, 1, GET_DEBUG_GUID, 0)[4], 7 ^ 1) << "the ID was hit on its way";
}

TEST_F(SimulatedBus, ATargetThatVanishesNeverReturnsFromItsReset) {
    Describe(WithFault(R"({"node": 0, "do": "vanish"})"));
    EXPECT_EQ(NodeCount(), 2);
    Command(0, 1, RESET, 1, {1});
    PassMs(600'000);
    EXPECT_EQ(NodeCount(), 1);
    EXPECT_EQ(notices, std::vector<uint32_t>{1326});
}

TEST_F(SimulatedBus, TheTraceHasALineForEachThingThatHappens) {
    const TestFolder scratch;
    Describe(OneTarget(R"("mode": "bootloader")", R"(, "trace": ")" + scratch.path() + R"(/trace.jsonl")"));
    EXPECT_EQ(Write(0, REQUEST_BUFFER, {1, 2, 0xAB, 0}), 1);
    Bytes data;
    Read(0, 0xFFFFC8090000, 4, data);
    BusReset(&client, "1394_VIRTUAL_DEVICE", 0);
    EXPECT_EQ("\n" + scratch.Content("trace.jsonl"), R"(
{"ms":0.125,"operation":"write","node":0,"address":"0xffffc8021040","size":4,"timeout":0,"data":"0102ab00","result":1}
{"ms":0.250,"operation":"read","node":0,"address":"0xffffc8090000","size":4,"timeout":0,"data":"","result":2147483671}
{"ms":0.250,"operation":"reset","result":1}
{"ms":0.250,"operation":"notice","result":1326}
)");
}

} // namespace
