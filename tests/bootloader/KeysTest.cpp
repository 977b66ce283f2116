// Keys, pass by pass.
#include "TargetScript.h"

#include "PackageBuilder.h"

using namespace testing_support;
using namespace basBootloader;

namespace {

const std::string LONG_NAME(75, 'n'); // two passes: 40 bytes each are enough, and so are 36 and then 40

class Keys : public OneTarget {
protected:
    // A target that returns a value in parts of 128 bytes, with a 0 after its end, and accepts any.
    void Serve(const ByteArray& value) {
        onRequest = [this, value] {
            const ByteArray request = LastRequest();
            const auto word = static_cast<std::uint32_t>(basUtils::ByteArrayToLong(request, 16));
            const auto size = static_cast<std::uint32_t>(value.size()), from = std::min(word, size);
            const std::uint32_t part = std::clamp(size - from, 1u, 128u);
            target.responseBuffer.assign(value.begin() + from, value.begin() + std::min(from + part, size));
            target.reply = Reply{
                Quadlets(request[6] == WRITE_KEY ? std::vector{0u, word, 0u} : std::vector{0u, size, part, 0u}, false)};
        };
    }
    // Count and operands of each request, in hex: length and offset of the name, value size (writes only), value
    // offset, part of the name.
    Texts Operands() const {
        Texts texts;
        for (const auto& [node, bytes] : requests)
            texts.push_back(
                fmt::format("{} {}", bytes[7], basUtils::ByteArrayToHexString(&bytes[8], bytes.size() - 8, 4)));
        return texts;
    }
};

TEST_F(Keys, AValueIsReadInAsManyPassesAsItNeeds) {
    ByteArray value = Pattern(300), data = Bytes("EE EE");
    Serve(value);
    EXPECT_EQ(ReadKey(HANDLE, "NAME5", data), 1);
    value.push_back(0);
    EXPECT_EQ(data, value);
    EXPECT_EQ(Operands(), (Texts{"5 06000000 00000000 00000000 4E414D45 35000000",
                                 "5 06000000 05000000 80000000 00000000", "5 06000000 05000000 00010000 00000000"}));
    EXPECT_EQ(library.transactions[2], "R0 FFFFC8029040 128 200");
}

TEST_F(Keys, ANameThatFillsItsQuadletsNeedsAnotherPass) {
    ByteArray data;
    Serve(Bytes("61 62 63 64"));
    EXPECT_EQ(ReadKey(HANDLE, "NAME", data), 1);
    EXPECT_EQ(data, Bytes("61 62 63 64 00"));
    EXPECT_EQ(Operands(),
              (Texts{"4 05000000 00000000 00000000 4E414D45 00000000", "4 05000000 04000000 04000000 00000000"}));
    requests.clear();
    EXPECT_EQ(ReadKey(HANDLE, LONG_NAME, data), 1);
    EXPECT_EQ(data, Bytes("61 62 63 64 00")) << "a pass for the name returns nothing of the value";
    EXPECT_EQ(requests.size(), 2u) << "40 bytes a pass";
}

TEST_F(Keys, AWrittenValueIsSentInReversedQuadletsOnceItsNameFits) {
    Serve({});
    EXPECT_EQ(WriteKey(HANDLE, "NAME5", Bytes("61 62 63")), 1);
    EXPECT_EQ(library.transactions[0].substr(0, 26), "W0 FFFFC8021040 0 00636261");
    EXPECT_EQ(library.transactions[0].size(), 17u + 32 * 9) << "128 bytes always";
    EXPECT_EQ(Operands(), (Texts{"6 06000000 00000000 03000000 00000000 4E414D45 35000000"}));
    library.transactions.clear();
    requests.clear();
    EXPECT_EQ(WriteKey(HANDLE, LONG_NAME, Pattern(200)), 1);
    std::string order; // v value, n request with a part of the name, . read of the answer
    for (const std::string& line : library.transactions)
        order += line.starts_with("W0 FFFFC8021040") ? 'v' : line[0] == 'W' ? 'n' : '.';
    ASSERT_EQ(order, "n.n.vn.vn.") << "the first passes are for the name alone";
    EXPECT_EQ(Operands()[1].substr(0, 38), "13 4C000000 24000000 C8000000 00000000");
    EXPECT_EQ(Operands()[3], "13 4C000000 4B000000 C8000000 80000000 00000000");
}

TEST_F(Keys, EveryFailedTransactionEndsTheOperation) {
    ByteArray data;
    const std::function<std::int32_t()> works[] = {[&] { return ReadKey(HANDLE, LONG_NAME, data); },
                                                   [&] { return WriteKey(HANDLE, LONG_NAME, Pattern(300)); }};
    Serve(Pattern(300));
    for (const auto& work : works)
        for (const std::int32_t code : {SILENCE, TWL1394_BUS_RESET, 0}) {
            std::size_t k = 0;
            library.result = [&](std::size_t i) { return i == k ? code : 1; };
            for (; library.transactions.clear(), work() != 1; ++k) {
                EXPECT_EQ(library.transactions.size(), k + 1) << "continues after a failure";
                bas1394::globals.BusResetPending = false;
            }
            EXPECT_GE(k, 8u) << "a failure passes for a success";
        }
}

TEST_F(Keys, ImpossibleAnswersAreRefusedBeforeAnythingIsRead) {
    const auto words = [](std::vector<std::uint32_t> values) { return Reply{Quadlets(values, false)}; };
    // clang-format off
    const std::tuple<Reply, Reply, const char*, const char*> rows[] = {
        {words({0, 0}), words({0, 0}), "ReadKey failure: expected 4 operands, received 2", "WriteKey failure: expected 3 operands, received 2"},
        {words({0, 0, 0, 0}), words({0xAB, 3, 0}), "ReadKey: size of key data for key 'K' is 0!", "WriteKey failure: target indicates error code 0xAB"},
        {words({0, 0xFFFFFFFF, 4, 0}), words({0, 0xFFFFFFFF, 0}), "size of key data", "the target holds -1 bytes of key 'K', 3 were sent"},
        {words({0, 0x7FFFFFFF, 4, 0}), words({0, 0x7FFFFFFF, 0}), "2147483647 bytes by the target", "the target holds 2147483647"},
        {words({0, 4, 0, 0}), {}, "ReadKey: Failed to read key from the Response Buffer, code -1(0xFFFFFFFF).", ""},
        {words({0, 4, 0x80000000, 0}), {}, "ReadKey: Failed to read key from the Response Buffer, code -1(0xFFFFFFFF).", ""},
        {words({0, 4, 2049, 0}), {}, "ReadKey: Failed to read key from the Response Buffer, code -1(0xFFFFFFFF).", ""},
    };
    // clang-format on
    ByteArray data;
    for (const auto& [read, write, readText, writeText] : rows) {
        SCOPED_TRACE(readText);
        library.transactions.clear();
        target.reply = read;
        EXPECT_EQ(ReadKey(HANDLE, "K", data), -1);
        EXPECT_EQ(library.transactions.size(), 2u);
        EXPECT_TRUE(data.empty());
        EXPECT_TRUE(Logged(readText));
        target.reply = write;
        EXPECT_EQ(WriteKey(HANDLE, "K", Bytes("61 62 63")), -1);
        EXPECT_TRUE(Logged(writeText));
    }
    onRequest = [&, size = 100u]() mutable { target.reply = words({0, ++size, 1, 0}); };
    EXPECT_EQ(ReadKey(HANDLE, "K", data), -1) << "a size that grows faster than the data";
    library.transactions.clear();
    EXPECT_EQ(ReadKey(HANDLE, "", data), -1);
    EXPECT_EQ(WriteKey(HANDLE, "", data), -1);
    EXPECT_EQ(WriteKey(HANDLE, "K", ByteArray(65537)), -1);
    EXPECT_TRUE(library.transactions.empty());
}

} // namespace
