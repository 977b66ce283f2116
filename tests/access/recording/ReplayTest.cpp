// What a replay answers to a client that doesn't do exactly what the record holds.
#include "BusOnVirtualClock.h"
#include "LibraryUnderTest.h"
#include "RecordWriter.h"
#include "TestFolder.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>

using namespace recording;
using namespace testing_support;

namespace {

constexpr std::uint32_t POLLED = 0xC8029000, OTHER = 0xC8020000, WRITTEN = 0xC8021000;

class Replay : public testing::Test {
protected:
    ~Replay() override {
        library_.DeRegisterClient(client_.Get());
        UseClock(REPLAY_LIBRARY, "ReplayUseClock", nullptr);
    }
    // Each takes a millisecond, one after another's end.
    void Add(Kind kind, std::uint32_t address, const Bytes& data, std::uint32_t node = 0) {
        Entry entry;
        entry.kind = kind;
        entry.start = time_;
        entry.end = time_ += IsOperation(kind) ? 1000 : 0;
        entry.result = 1;
        entry.node = node;
        entry.address = 0xFFFF00000000 | address;
        entry.size = static_cast<std::uint32_t>(data.size());
        entry.data = data;
        entry.number = address;
        entries_.push_back(entry);
    }
    void Poll(std::uint8_t answer, std::uint32_t node = 0) { Add(Kind::Read, POLLED, Bytes(4, answer), node); }
    void Begin() {
        RecordWriter writer;
        std::string reason;
        ASSERT_TRUE(writer.Create(folder_.file("bus.twr"), reason));
        for (const Entry& entry : entries_)
            writer.Append(entry);
        const SimulatorClock calls = CallsOf(clock_);
        UseClock(REPLAY_LIBRARY, "ReplayUseClock", &calls);
        setenv(TWL1394_BUS_VARIABLE, folder_.file("bus.twr").c_str(), 1);
        library_.RegisterClient(client_.Get());
        client_.TakeText();
    }
    // The first byte that is read, or the failure.
    std::int32_t Read(std::uint32_t address, std::uint32_t node = 0) {
        const Twl1394Address at{0xFFFF, 0, address};
        Bytes data(4);
        const std::int32_t result = library_.AsyncReadWrapper(node, &at, 4, data.data(), 77);
        return result == TWL1394_SUCCESS ? data[0] : result;
    }
    std::int32_t Write(std::uint8_t byte) {
        const Twl1394Address at{0xFFFF, 0, WRITTEN};
        const Bytes data(4, byte);
        return library_.AsyncWriteWrapper(0, &at, 4, data.data(), 0);
    }

    ::TestFolder folder_;
    platform::testing::VirtualClock clock_;
    KeepingClient client_;
    const Operations library_ = OperationsOf(REPLAY_LIBRARY);
    std::vector<Entry> entries_;
    std::int64_t time_ = 0;
};

TEST_F(Replay, ToleratesPollsThatAreMoreOrFewer) {
    for (const std::uint8_t answer : {1, 1, 1, 2})
        Poll(answer);
    Add(Kind::Write, WRITTEN, Bytes(4, 9));
    Poll(3);
    Poll(4);
    Add(Kind::Read, OTHER, Bytes(4, 5));
    Poll(6, 1);
    Begin();
    EXPECT_EQ(Read(POLLED), 1);
    EXPECT_EQ(Write(9), 1) << "three polls weren't repeated";
    EXPECT_EQ(Read(POLLED), 3);
    EXPECT_EQ(Read(POLLED), 4);
    EXPECT_EQ(Read(POLLED), 4) << "once more than in the record";
    EXPECT_EQ(Read(POLLED, 1), 6) << "another node has its own order";
    EXPECT_EQ(Read(OTHER), 5);
    EXPECT_EQ(client_.TakeText(), "");
}

TEST_F(Replay, TellsOfWhatIsntInTheRecordAndGoesOn) {
    Poll(1);
    Poll(2);
    Add(Kind::Write, WRITTEN, Bytes(4, 9));
    Begin();
    EXPECT_EQ(Read(POLLED), 1);
    EXPECT_EQ(Write(8), TWL1394_NO_RESPONSE);
    EXPECT_EQ(client_.TakeText(), "replay: the record expects at entry 3 (0.002 s) a write of 4 bytes to node 0 at "
                                  "FFFFC8021000 (09090909); what came is a write of 4 bytes to node 0 at FFFFC8021000 "
                                  "(08080808)\r\n");
    EXPECT_EQ(Read(POLLED), 2) << "the poll wasn't passed over for something else";
    EXPECT_EQ(Write(9), 1);
    EXPECT_EQ(Read(OTHER), TWL1394_NO_RESPONSE);
    EXPECT_EQ(client_.TakeText(),
              "replay: the record ends with entry 3; what came is a read of 4 bytes from node 0 at FFFFC8020000\r\n");
}

TEST_F(Replay, PostsANoticeWhenItCameAndAtTheLatestAtItsPlace) {
    Poll(1);
    time_ += 500'000;
    Add(Kind::Notice, TWL1394_NOTICE_BUS_RESET, {});
    time_ += 500'000;
    Add(Kind::GetVirtualDeviceList, 0, {});
    Add(Kind::Write, WRITTEN, Bytes(4, 9));
    Add(Kind::Notice, TWL1394_NOTICE_INCOMING_DATA, {});
    Add(Kind::Read, OTHER, Bytes(4, 5));
    Begin();
    EXPECT_EQ(Read(POLLED), 1);
    EXPECT_EQ(Read(POLLED), 1) << "once more, which brings the reset no sooner";
    clock_.Sleep(498'000'000);
    EXPECT_EQ(client_.TakeNotices(), std::vector<std::uint32_t>());
    clock_.Sleep(2'000'000);
    EXPECT_EQ(client_.TakeNotices(), std::vector<std::uint32_t>{TWL1394_NOTICE_BUS_RESET});
    EXPECT_EQ(Read(OTHER), TWL1394_BUS_RESET) << "as the topology map hasn't been read";
    EXPECT_EQ(Write(9), 1);
    EXPECT_EQ(Read(OTHER), 5) << "at once";
    EXPECT_EQ(client_.TakeNotices(), std::vector<std::uint32_t>{TWL1394_NOTICE_INCOMING_DATA});
    EXPECT_EQ(client_.TakeText(), "");
}

// Its client was in the middle of something: where its own ticks fall must not change what it does.
TEST_F(Replay, PostsAResetOnceTheClientHasDoneWhatItDidBeforeItTookItUp) {
    for (const bool pollsOnceMore : {false, true}) {
        entries_.clear();
        time_ = 0;
        Add(Kind::Write, WRITTEN, Bytes(4, 1));
        Poll(1);
        Add(Kind::Notice, TWL1394_NOTICE_BUS_RESET, {});
        Add(Kind::Write, WRITTEN, Bytes(4, 2));
        Poll(2);
        time_ += 200'000;
        Add(Kind::GetVirtualDeviceList, 0, {});
        std::filesystem::remove(folder_.file("bus.twr"));
        Begin();
        EXPECT_EQ(Write(1), 1);
        EXPECT_EQ(Read(POLLED), 1);
        if (pollsOnceMore) { // it has stopped there since it had heard of the reset
            EXPECT_EQ(Read(POLLED), 1);
            EXPECT_EQ(client_.TakeNotices(), std::vector<std::uint32_t>{TWL1394_NOTICE_BUS_RESET});
        } else {
            clock_.Sleep(100'000'000);
            EXPECT_EQ(client_.TakeNotices(), std::vector<std::uint32_t>());
            EXPECT_EQ(Write(2), 1);
            EXPECT_EQ(client_.TakeNotices(), std::vector<std::uint32_t>());
            EXPECT_EQ(Read(POLLED), 2);
            EXPECT_EQ(client_.TakeNotices(), std::vector<std::uint32_t>{TWL1394_NOTICE_BUS_RESET});
        }
        library_.DeRegisterClient(client_.Get());
    }
}

TEST_F(Replay, PostsNothingTwiceAfterAResetThatCameEarly) {
    Poll(1);
    Add(Kind::Write, WRITTEN, Bytes(4, 9));
    time_ += 300'000;
    Add(Kind::Notice, TWL1394_NOTICE_BUS_RESET, {});
    Add(Kind::GetVirtualDeviceList, 0, {});
    Begin();
    EXPECT_EQ(Read(POLLED), 1);
    EXPECT_EQ(Write(9), 1);
    EXPECT_EQ(Read(POLLED), 1) << "once more, before the reset is due";
    clock_.Sleep(400'000'000);
    EXPECT_EQ(client_.TakeNotices(), std::vector<std::uint32_t>{TWL1394_NOTICE_BUS_RESET});
}

} // namespace
