// The characters of a console, in each protocol.
#include "TargetScript.h"

#include "Handles.h"

using namespace testing_support;
using namespace basBootloader;

namespace {

const std::string NOTHING(1, '\0'), WRAP = "\r\n *** BUFFER WRAP *** \r\n";

class ShellChannel : public OneTarget {
protected:
    std::string Read(std::int32_t protocol, bool wrapNotices = true) {
        record().Info.ProtocolVersion = protocol;
        library.transactions.clear();
        log.clear();
        frontEnd.lostCharacters = 0;
        ByteArray data = Bytes("EE EE");
        result = ReadShellCharacters(HANDLE, data, wrapNotices);
        EXPECT_FALSE(platform::ReleaseMutex(globals.TargetListMutex)) << "still held";
        return {data.begin(), data.end()};
    }
    std::int32_t Write(std::int32_t protocol, const std::string& text) {
        record().Info.ProtocolVersion = protocol;
        library.transactions.clear();
        return WriteShellCharacters(HANDLE, {text.begin(), text.end()});
    }
    // A ring of 16 characters: status, mask and head, then the characters.
    void Ring(int mask, int head, bool bigEndian, const char* characters) {
        const auto text = fmt::format("{:04X}{:04X}", mask, head);
        target.responseBuffer = Bytes(("06070809" + text).c_str());
        if (!bigEndian) {
            std::ranges::reverse(target.responseBuffer.begin(), target.responseBuffer.begin() + 4);
            std::swap(target.responseBuffer[4], target.responseBuffer[5]);
            std::swap(target.responseBuffer[6], target.responseBuffer[7]);
        }
        target.responseBuffer.insert(target.responseBuffer.end(), characters, characters + 16);
    }
    std::int32_t result = 0;
};

TEST_F(ShellChannel, ReadsWhatCommand8Announces) {
    const std::string notice = "\r\n\r\n << buffer overflow on target: 5 characters lost >>\r\n\r\n";
    // An answer of protocol 1: count, status, lost characters, head and buffer start, payload and tail ...; of protocol
    // 3: the count, whose low byte decides.
    // clang-format off
    const struct {
        const char* name;
        std::int32_t protocol;
        Reply reply;
        std::int32_t result, lost;
        std::string text;
        const char* logged;
    } rows[] = {
        {"all fields", 1, {Bytes("03000000 00000080 00000000 0102 0304 0506 0708 090A0B0C 0D0E 0F10")}, 1, 0, "abc",
         "ReadShellCharacters: head=0x102  tail=0x708  bufferStart=0x304  sizeOfPayload=0x506"},
        {"one field", 1, {Bytes("02000000")}, 1, 0, "ab", "received=2 status=0 charsLost=0"},
        {"some lost", 1, {Bytes("0A000000 00000000 05000000")}, 1, 5, notice + "abcdefghij", ""},
        {"all lost", 1, {Bytes("00000000 00000000 05000000")}, 1, 5, NOTHING, ""},
        {"no operand", 1, {}, 1, 0, NOTHING, "no byte indicating size of Uart buffer"},
        {"a negative count", 1, {Bytes("FEFFFFFF")}, 1, 0, NOTHING, ""},
        {"beyond the buffer", 1, {Bytes("01080000")}, -1, 0, NOTHING, "the target announces 2049"},
        {"silence", 1, {.readResult = SILENCE}, SILENCE, 0, NOTHING, "ReadShellCharacters failed: Transaction failed, code 121"},
        {"brief", 3, {Bytes("05000000")}, 1, 0, "abcde", ""},
        {"brief, no low byte", 3, {Bytes("00010000")}, 1, 256, NOTHING, "7 ReadShellCharacters: 256 characters are lost"},
        {"brief, no low byte and no sense", 3, {Bytes("00FF0000")}, 1, 0, NOTHING, ""},
        {"brief, beyond the buffer", 3, {Bytes("01FFFFFF")}, -1, 0, NOTHING, "announces -255"},
        {"an unknown generation", 4, {}, -1, 0, NOTHING, "ReadShellCharacters failed: invalid protocol version: 4"},
    };
    // clang-format on
    target.responseBuffer = Bytes("61 62 63 64 65 66 67 68 69 6A");
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        target.reply = row.reply;
        EXPECT_EQ(Read(row.protocol), row.text);
        EXPECT_EQ(result, row.result);
        EXPECT_EQ(frontEnd.lostCharacters, row.lost);
        EXPECT_TRUE(Logged(row.logged));
        EXPECT_LE(library.transactions.size(), row.result == 1 ? 3u : 2u) << "reads what can't be there";
    }
    library.result = [](std::size_t k) {
        return k == 2 ? SILENCE : 1;
    }; // characters that the target has handed over are lost
    for (const std::int32_t protocol : {1, 3}) {
        target.reply = Reply{Bytes("07000000")};
        EXPECT_EQ(Read(protocol), NOTHING);
        EXPECT_EQ(result, SILENCE);
        EXPECT_EQ(frontEnd.lostCharacters, 7);
    }
}

TEST_F(ShellChannel, ReadsFromARingUpToItsHead) {
    // clang-format off
    const struct {
        const char* name;
        std::int32_t oldHead, mask, head, result, lost;
        std::string text;
        const char* logged;
    } rows[] = {
        {"nothing new", 5, 15, 5, 1, 0, NOTHING, ""},
        {"one piece", 3, 15, 6, 1, 0, "EFG", "(status=0x6070809, head=6, mask=15)"},
        {"past the end", 14, 15, 18, 1, 0, "OP" + WRAP + "ABC", "NumNewBytes=4"},
        {"one lap", 3, 15, 19, 1, 0, "DEFGHIJKLMNOP" + WRAP + "ABCD", "11 ReadShellCharacters error: Overflow: loss of 0 bytes"},
        {"overrun", 0, 15, 40, 1, 24, "IJKLMNOP" + WRAP + "ABCDEFGHI", "Overflow: loss of 24 bytes"},
        {"a little back", 20, 15, 10, 1, 0, "FGHIJK", ""},
        {"past 65535", 65530, 15, 4, 1, 10, NOTHING, ""},
        {"restarted", 1000, 15, 9, 1, 9, NOTHING, ""},
        {"no power of two", 1, 14, 9, -1, 0, NOTHING, "7 ReadShellCharacters failed: no usable ring (mask=14, head=9)"},
        {"the largest mask", 1, 65535, 9, -1, 0, NOTHING, "no usable ring"},
        {"more than a read", 1, 2047, 9, -1, 0, NOTHING, "no usable ring"},
    };
    // clang-format on
    for (const std::int32_t protocol : {2, 0x2000000})
        for (const auto& row : rows) {
            SCOPED_TRACE(row.name);
            Ring(row.mask, row.head, protocol != 2, "ABCDEFGHIJKLMNOP");
            globals.OldHead = row.oldHead;
            EXPECT_EQ(Read(protocol), row.text);
            EXPECT_EQ(result, row.result);
            EXPECT_EQ(globals.OldHead, row.result == 1 ? row.head : row.oldHead);
            EXPECT_EQ(frontEnd.lostCharacters, row.lost);
            EXPECT_TRUE(Logged(row.logged));
            const bool whole = row.result == 1 && row.head != row.oldHead;
            EXPECT_EQ(library.transactions.back(), whole ? "R0 FFFFC8029040 24 200" : "R0 FFFFC8029040 8 200");
        }
    Ring(15, 18, false, "ABCDEFGHIJKLMNOP");
    globals.OldHead = 14;
    EXPECT_EQ(Read(2, false), "OPABC") << "without the notice";
    Ring(15, 15, true, "............\0\0\0x");
    globals.OldHead = 11;
    EXPECT_EQ(Read(0x2000000), "x") << "a character stored as a quadlet";
    library.result = [](std::size_t k) { return k == 1 ? SILENCE : 1; };
    globals.OldHead = 3;
    Read(2);
    EXPECT_EQ(globals.OldHead, 3) << "what a failed read missed is read later";
}

TEST_F(ShellChannel, SendsTextAsEachProtocolExpectsIt) {
    EXPECT_EQ(Write(1, "hello"), 1);
    EXPECT_EQ(library.transactions, (Texts{"W0 FFFFC8021040 0 68656C6C 6F000000",
                                           "W0 FFFFC8021000 0 01000000 01000901 05000000", "R0 FFFFC8029000 40 0"}));
    EXPECT_EQ(Write(3, std::string(300, 'x')), 1);
    for (const auto& [k, quadlets] : {std::pair{0u, 32}, {3, 32}, {6, 11}})
        EXPECT_EQ(std::ranges::count(library.transactions[k], ' '), 2 + quadlets);
    EXPECT_EQ(library.transactions[7], "W0 FFFFC8021000 0 03000000 04000901 2C010000");
    EXPECT_EQ(Write(2, "hello"), 1);
    EXPECT_EQ(library.transactions, (Texts{"W0 FFFFC8021040 0 00000000 00000500 68656C6C 6F000000"}));
    EXPECT_EQ(Write(0x2000000, "hello"), 1);
    EXPECT_EQ(library.transactions, (Texts{"W0 FFFFC8021040 0 00000000 00000005 68656C6C 6F000000"}));
    for (const auto& [protocol, text] : {std::pair{1, NOTHING}, {7, std::string("x")}})
        EXPECT_EQ(Write(protocol, text), -1);
    EXPECT_TRUE(library.transactions.empty());
    for (const auto& [protocol, longest] : {std::pair{2, 2040}, {0x2000000, 2040}, {1, 65536}, {3, 65536}}) {
        EXPECT_EQ(Write(protocol, std::string(static_cast<std::size_t>(longest) + 1, 'x')), -1);
        EXPECT_TRUE(library.transactions.empty()) << "a part of it";
        EXPECT_EQ(LongestShellText(HANDLE), longest);
        EXPECT_EQ(Write(protocol, std::string(static_cast<std::size_t>(longest), 'x')), 1);
    }
    EXPECT_EQ(LongestShellText(HANDLE + 1), 0);
    EXPECT_EQ(Write(2, "a"), 1);
    const std::int64_t before = clock.Now();
    EXPECT_EQ(Write(2, "b"), 1);
    EXPECT_EQ((clock.Now() - before) / 1'000'000, 20) << "a text must not overwrite the previous one";
    library.result = [](std::size_t k) { return k == 3 ? SILENCE : 1; };
    EXPECT_EQ(Write(1, std::string(300, 'x')), -1);
    EXPECT_EQ(library.transactions.size(), 4u) << "continues after a failed chunk";
    EXPECT_FALSE(platform::ReleaseMutex(globals.TargetListMutex)) << "still held";
}

TEST(ShellStoreOfATarget, ReturnsItsLatestCharactersOldestFirst) {
    ShellStore store;
    store.Append({'a', 0, 'b'});
    EXPECT_EQ(store.History(), (std::vector<ByteArray>{{'a', ' ', 'b'}}));
    store.Append(ByteArray(16531, 'c'));
    EXPECT_EQ(store.History().size(), 1u) << "just full";
    store.Append({'d'});
    ASSERT_EQ(store.History().size(), 2u);
    EXPECT_EQ(store.History()[0].size(), 16533u);
    EXPECT_EQ(store.History()[1], ByteArray{'d'});
}

} // namespace
