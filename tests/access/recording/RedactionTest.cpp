// What a redacted record no longer tells, and what it still does.
#include "Redaction.h"
#include "Sha256.h"

#include <gtest/gtest.h>

#include <algorithm>

using namespace recording;

namespace {

Entry Transfer(Kind kind, std::uint64_t address, Bytes data) {
    Entry entry;
    entry.kind = kind;
    entry.address = address;
    entry.size = static_cast<std::uint32_t>(data.size());
    entry.data = std::move(data);
    return entry;
}

constexpr std::uint64_t ROM = 0xFFFFF0000400, INFO = 0xFFFFC8020000, REQUEST = 0xFFFFC8021000,
                        RESPONSE = 0xFFFFC8029000;
const Bytes GUID = {0, 0x0F, 0x1B, 0xAB, 1, 2, 3, 4}, FIRST = {0, 0x0F, 0x1B, 0, 0, 0, 0, 1};

Bytes Turned(Bytes bytes) {
    std::reverse(bytes.begin(), bytes.begin() + 4);
    std::reverse(bytes.begin() + 4, bytes.end());
    return bytes;
}

Bytes operator+(Bytes a, const Bytes& b) {
    a.insert(a.end(), b.begin(), b.end());
    return a;
}

Bytes Info(const Bytes& protocol, const Bytes& guid) {
    return Bytes{'t', 'a', 'r', 'n', 'w', 'e', 'l', 'l'} + protocol + Bytes(4, 7) + guid + Bytes(80, 9);
}

TEST(Redaction, ReplacesAGuidWhereverItIs) {
    Redaction redaction;
    const Bytes little = {1, 0, 0, 0}, big = {0, 0, 0, 2};
    const std::pair<Entry, Bytes> cases[] = {
        {Transfer(Kind::Read, ROM + 12, {GUID.begin(), GUID.begin() + 4}), {0, 0x0F, 0x1B, 0}},
        {Transfer(Kind::Read, ROM + 16, {GUID.begin() + 4, GUID.end()}), {0, 0, 0, 1}},
        {Transfer(Kind::Read, ROM + 8, Bytes(4, 5) + GUID + Bytes(4, 6)), Bytes(4, 5) + FIRST + Bytes(4, 6)},
        {Transfer(Kind::Read, INFO, Info(little, Turned(GUID))), Info(little, Turned(FIRST))},
        {Transfer(Kind::Read, INFO, Info(big, GUID)), Info(big, FIRST)},
        {Transfer(Kind::Write, REQUEST, Bytes{1, 0, 0, 0, 5, 0, 10, 2} + Turned(GUID)),
         Bytes{1, 0, 0, 0, 5, 0, 10, 2} + Turned(FIRST)},
        {Transfer(Kind::Write, REQUEST, Bytes{1, 0, 0, 0, 5, 0, 14, 2} + GUID), Bytes{1, 0, 0, 0, 5, 0, 14, 2} + FIRST},
        {Transfer(Kind::Read, RESPONSE, Bytes{1, 0, 0, 0, 5, 0, 15, 2} + GUID + Bytes(24, 3)),
         Bytes{1, 0, 0, 0, 5, 0, 15, 2} + FIRST + Bytes(24, 0)},
        {Transfer(Kind::Read, RESPONSE, Bytes{1, 0, 0, 0, 5, 0, 1, 0} + GUID),
         Bytes{1, 0, 0, 0, 5, 0, 1, 0} + Bytes(8, 0)},
        {Transfer(Kind::Write, REQUEST, Bytes{1, 0, 0, 0, 5, 0, 14, 2} + Bytes(8, 0)),
         Bytes{1, 0, 0, 0, 5, 0, 14, 2} + Bytes(8, 0)}};
    for (const auto& [given, expected] : cases) {
        Entry entry = given;
        EXPECT_TRUE(redaction.Apply(entry));
        EXPECT_EQ(entry.data, expected) << &given - &cases[0].first;
        EXPECT_FALSE(entry.isDigest);
    }
    Entry text;
    text.kind = Kind::DebugText;
    text.text = "000F1BAB01020304 and 000F1B000000000A, not 000F1BAB010203045\r\n";
    redaction.Apply(text);
    EXPECT_EQ(text.text, "000f1b0000000001 and 000f1b0000000002, not 000F1BAB010203045\r\n");
    text.text = "bus: /home/jane doe/bus.json: bad\r\ncan't write '/srv/000F1BAB01020304/x'\r\n";
    redaction.Apply(text);
    EXPECT_EQ(text.text, "bus: bus.json: bad\r\ncan't write 'x'\r\n");
}

TEST(Redaction, LeavesOnlyDigestsOfWhatCrossesTheBuffers) {
    Redaction redaction;
    for (Entry entry :
         {Transfer(Kind::Write, REQUEST + 0x40, Bytes(1024, 7)), Transfer(Kind::Read, RESPONSE + 0x40, {1, 2, 3, 4}),
          Transfer(Kind::Read, RESPONSE, Bytes(0x44, 1))}) {
        const auto digest = Sha256(entry.data);
        const std::uint32_t size = entry.size;
        redaction.Apply(entry);
        EXPECT_TRUE(entry.isDigest);
        EXPECT_EQ(entry.data, Bytes(digest.begin(), digest.begin() + 16));
        EXPECT_EQ(entry.size, size);
        Entry again = entry;
        redaction.Apply(again);
        EXPECT_EQ(again, entry);
    }
    const std::string abc = "abc"; // FIPS 180-4's example
    EXPECT_EQ(Sha256(Bytes(abc.begin(), abc.end()))[0], 0xBA);
    EXPECT_EQ(Sha256(Bytes(abc.begin(), abc.end()))[31], 0xAD);
    Entry description;
    description.kind = Kind::Description;
    EXPECT_FALSE(redaction.Apply(description));
    Entry about;
    about.text = "program=x 1\nbus=simulated:/home/user/a/bus.json\n";
    redaction.Apply(about);
    EXPECT_EQ(about.text, "program=x 1\nbus=simulated:bus.json\nredacted=1\n");
}

} // namespace
