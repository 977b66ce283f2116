// The file of a record: its bytes, its last whole entry wherever it is cut, and what becomes of a full disk.
#include "RecordReader.h"
#include "RecordWriter.h"
#include "TestFolder.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <sys/resource.h>

using namespace recording;

namespace {

Entry Transaction(Kind kind, std::int64_t start, std::int64_t end, Bytes data) {
    Entry entry;
    entry.kind = kind;
    entry.start = start;
    entry.end = end;
    entry.result = 1;
    entry.node = 2;
    entry.address = 0xFFFFC8021000;
    entry.size = static_cast<std::uint32_t>(data.size());
    entry.timeoutMs = 300;
    entry.data = std::move(data);
    return entry;
}

Entry Failure() {
    Entry entry = Transaction(Kind::Read, 100, 5'000'000'000, {});
    entry.result = -2147483647; // 0x80000001
    entry.size = 2048;
    return entry;
}

Entry Text(Kind kind, std::int64_t time, const std::string& text) {
    Entry entry;
    entry.kind = kind;
    entry.start = entry.end = time;
    entry.text = text;
    return entry;
}

class RecordFile : public testing::Test {
protected:
    std::string Write(const std::vector<Entry>& entries) {
        const std::string path = folder.file("bus.twr");
        RecordWriter writer;
        std::string reason;
        EXPECT_TRUE(writer.Create(path, reason)) << reason;
        for (const Entry& entry : entries)
            EXPECT_TRUE(writer.Append(entry));
        return path;
    }
    std::vector<Entry> Read(const std::string& path, Fault& ending) {
        RecordReader reader;
        std::string reason;
        std::vector<Entry> entries;
        EXPECT_TRUE(reader.Open(path, reason)) << reason;
        for (Entry entry; reader.Next(entry);)
            entries.push_back(entry);
        ending = reader.Ending();
        return entries;
    }

    ::TestFolder folder;
};

TEST_F(RecordFile, HasTheseBytes) {
    const Bytes entry = Encode(Transaction(Kind::Write, 1130, 1430, {1, 2, 3, 4}), 1000);
    const Bytes body = {29,                                       // write
                        0xDC, 0x06,                               // 430 after the entry before it, zigzag
                        0xAC, 0x02,                               // it took 300
                        0x02,                                     // result 1, zigzag
                        0x02,                                     // node
                        0x80, 0xA0, 0x88, 0xC0, 0xFC, 0xFF, 0x3F, // address
                        0x04, 0xAC, 0x02,                         // size, time-out
                        0x04, 1,    2,    3,    4};
    ASSERT_EQ(entry.size(), 1 + body.size() + 4);
    EXPECT_EQ(entry.front(), body.size());
    EXPECT_EQ(Bytes(entry.begin() + 1, entry.end() - 4), body);
    EXPECT_EQ(Bytes(entry.end() - 4, entry.end()), (Bytes{0xFC, 0x89, 0x95, 0xE3}));
}

TEST_F(RecordFile, HoldsEachKindOfEntry) {
    std::vector<Entry> entries{Text(Kind::About, 0, "program=x\n"), Text(Kind::Description, 7, "{}"),
                               Text(Kind::DebugText, 6, std::string("a\0b\xFF\r\n", 6)), Failure()};
    for (int kind = static_cast<int>(Kind::RegisterClient); kind <= static_cast<int>(Kind::Write); ++kind) {
        Entry entry;
        entry.kind = static_cast<Kind>(kind);
        entry.end = entry.start = 6'000'000'000 + kind;
        entry.result = -1;
        ASSERT_NE(NameOf(entry.kind), nullptr);
        entries.push_back(entry);
    }
    entries.push_back(Transaction(Kind::Write, 7'000'000'000, 7'000'000'001, Bytes(2048, 0xFF)));
    entries.back().isDigest = true;
    Fault ending{};
    EXPECT_EQ(Read(Write(entries), ending), entries);
    EXPECT_EQ(ending, Fault::None);
    Entry huge = Text(Kind::Description, 0, std::string(LARGEST_BODY, 'x'));
    EXPECT_EQ(Encode(huge, 0), Bytes());
}

TEST_F(RecordFile, IsReadToItsLastWholeEntryWhereverItIsCut) {
    std::vector<Entry> entries;
    std::vector<std::uintmax_t> ends;
    for (int i = 0; i < 60; ++i)
        entries.push_back(Transaction(i % 2 == 0 ? Kind::Write : Kind::Read, i * 1000, i * 1000 + 125,
                                      Bytes(static_cast<std::size_t>(i % 10) * 20, static_cast<std::uint8_t>(i))));
    const std::string path = Write(entries), cut = folder.file("cut.twr");
    std::int64_t previous = 0;
    ends.push_back(MARK.size());
    for (const Entry& entry : entries) {
        ends.push_back(ends.back() + Encode(entry, previous).size());
        previous = entry.end;
    }
    ASSERT_EQ(ends.back(), std::filesystem::file_size(path));
    for (std::uintmax_t size = ends.back() - 1024; size < ends.back(); ++size) {
        std::filesystem::copy_file(path, cut, std::filesystem::copy_options::overwrite_existing);
        std::filesystem::resize_file(cut, size);
        const auto whole = static_cast<std::size_t>(std::ranges::upper_bound(ends, size) - ends.begin()) - 1;
        Fault ending{};
        const std::vector<Entry> read = Read(cut, ending);
        ASSERT_EQ(read, std::vector<Entry>(entries.begin(), entries.begin() + static_cast<std::ptrdiff_t>(whole)))
            << size;
        EXPECT_EQ(ending, ends[whole] == size ? Fault::None : Fault::Cut) << size;
    }
}

TEST_F(RecordFile, EndsWhereAByteIsWrong) {
    const std::string path = Write({Text(Kind::About, 0, "program=x\n"), Failure(), Failure()});
    const auto size = static_cast<std::streamoff>(std::filesystem::file_size(path));
    const auto last = static_cast<std::streamoff>(Encode(Failure(), Failure().end).size());
    for (std::streamoff back = 1; back <= last + 3; ++back) {
        std::fstream file(path, std::ios::in | std::ios::out | std::ios::binary);
        file.seekg(size - back);
        const char byte = static_cast<char>(file.get());
        file.seekp(size - back);
        file.put(static_cast<char>(byte ^ 0x10)).flush();
        Fault ending{};
        EXPECT_EQ(Read(path, ending).size(), back <= last ? 2U : 1U) << back;
        EXPECT_NE(ending, Fault::None);
        file.seekp(size - back);
        file.put(byte);
    }
}

TEST_F(RecordFile, NeverReplacesAFileAndIsOnlyReadAsARecord) {
    const std::string path = folder.file("precious");
    folder.Put("precious", "content");
    RecordWriter writer;
    RecordReader reader;
    std::string reason;
    EXPECT_FALSE(writer.Create(path, reason));
    EXPECT_EQ(reason, "File exists");
    EXPECT_EQ(folder.Content("precious"), "content");
    EXPECT_FALSE(reader.Open(path, reason));
    EXPECT_EQ(reason, "it isn't a record of a bus");
    EXPECT_FALSE(RecordReader().Open(folder.file("missing"), reason));
    EXPECT_EQ(reason, "No such file or directory");
}

TEST_F(RecordFile, EndsWithAWholeEntryOnAFullDisk) {
    const std::string path = folder.file("bus.twr");
    const Entry entry = Transaction(Kind::Write, 0, 125, Bytes(1000));
    RecordWriter writer;
    std::string reason;
    ASSERT_TRUE(writer.Create(path, reason));
    rlimit before{};
    getrlimit(RLIMIT_FSIZE, &before);
    const rlimit small{2500, before.rlim_max};
    const auto handler = std::signal(SIGXFSZ, SIG_IGN);
    setrlimit(RLIMIT_FSIZE, &small);
    const std::vector<bool> written{writer.Append(entry), writer.Append(entry), writer.Append(entry)};
    setrlimit(RLIMIT_FSIZE, &before);
    std::signal(SIGXFSZ, handler);
    EXPECT_EQ(written, (std::vector<bool>{true, true, false}));
    EXPECT_FALSE(writer.Append(entry)) << "nothing after a gap";
    EXPECT_NE(writer.Reason(), "");
    Fault ending{};
    EXPECT_EQ(Read(path, ending).size(), 2U);
    EXPECT_EQ(ending, Fault::None);
}

} // namespace
