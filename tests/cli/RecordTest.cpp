// A call that is recorded, and what its record is good for: shown, replayed, turned into a bus, redacted.
#include "CommandTest.h"
#include "PackageBuilder.h"

#include <algorithm>
#include <csignal>
#include <filesystem>
#include <regex>
#include <sys/resource.h>

using namespace testing_support;

namespace {

constexpr const char* GUID = "000F1B0000000001";
const ByteArray IMAGE = Pattern(20000);

class RecordTest : public CommandTest {
protected:
    void UseTarget(const std::string& mode, const std::string& faults = {}) {
        UseDescription(Bus(
            {Target(GUID, mode, R"(, "keys": {"MODEL": "TX-9 of the factory"})"), R"({"kind": "device"})"}, faults));
    }
    void UseDescription(const std::string& bus) {
        UseBus(bus);
        program->ShareClockWithRecords();
        program->Write("app.twd", Package(IMAGE));
    }
    std::string Path(const std::string& name) const { return program->directory.file(name); }
    // The verdict and the messages of a call, without times and addresses.
    std::string Outcome(std::vector<std::string> arguments) {
        arguments.emplace_back("-vv");
        arguments.emplace_back("--progress=none");
        const int code = Call(arguments);
        static const std::regex varying(
            R"(Bus: .*|[0-9.]+ (ms|kB/sec)|[0-9.]+ms|0x[0-9A-F]{9,}|(at|dated) [-0-9]+ +[:0-9]+|handle=\d+|)"
            R"(/tmp/[^/'\n]*)");
        return fmt::format("{}\n{}", code, std::regex_replace(error, varying, "-"));
    }
    // The record of a call in one file, kept over the next UseBus.
    std::string Kept(const std::string& name) {
        const std::string kept = outside.file(name);
        std::filesystem::copy_file(Path(name), kept, std::filesystem::copy_options::overwrite_existing);
        return kept;
    }
    cli::Json ToBus(const std::string& path) { return Record({"record", "to-bus", path})["answer"]["bus"]; }
    // The lines of "record show" that hold this text.
    std::vector<std::string> Shown(const std::string& path, const std::string& part) {
        EXPECT_EQ(Call({"record", "show", path}), 0) << error;
        std::vector<std::string> lines;
        std::istringstream text(out);
        for (std::string line; std::getline(text, line);)
            if (line.find(part) != std::string::npos)
                lines.push_back(line.substr(14));
        return lines;
    }

    ::TestFolder outside;
};

constexpr const char* RESET_AND_CORRUPTION =
    R"({"node": 0, "command": 5, "skip": 6, "do": "busReset"},
       {"node": 0, "operation": "write", "address": "0xffffc8021040", "skip": 9, "do": "corrupt"})";

TEST_F(RecordTest, OfALoadReplaysToTheSameVerdictAndMessagesWhateverHappened) {
    std::vector<std::string> faults{RESET_AND_CORRUPTION, R"({"node": 0, "do": "vanish"})"};
    for (int transactions = 1; transactions < 340; transactions += 13)
        faults.push_back(fmt::format(R"({{"afterTransactions": {}, "do": "busReset"}})", transactions));
    for (int skip = 0; skip < 90; skip += 11) // the target leaves in the middle of its transaction
        faults.push_back(fmt::format(R"({{"node": 0, "operation": "read", "skip": {}, "do": "unplug"}})", skip));
    for (const std::string& fault : faults) {
        UseTarget("application", fault);
        const std::string recorded = Outcome({"load", Path("app.twd"), "--record", Path("load.twr")});
        const std::string record = Kept("load.twr");
        UseDescription(Bus({})); // nobody is there
        EXPECT_EQ(Outcome({"load", Path("app.twd"), "--bus", "replay:" + record}), recorded) << fault;
    }
    EXPECT_NE(error.find("Bus Reset Message"), std::string::npos) << "messages are compared";
}

TEST_F(RecordTest, OfALoadThatFillsTheDiskEndsWithItsLastWholeEntryAndIsSpokenOf) {
    UseTarget("bootloader", "");
    rlimit before{};
    getrlimit(RLIMIT_FSIZE, &before);
    rlimit limit = before;
    limit.rlim_cur = 3000;
    std::signal(SIGXFSZ, SIG_IGN);
    setrlimit(RLIMIT_FSIZE, &limit);
    const int code = Call({"load", Path("app.twd"), "--record", Path("load.twr"), "--quiet"});
    setrlimit(RLIMIT_FSIZE, &before);
    EXPECT_EQ(code, 0) << error;
    EXPECT_NE(error.find("hoistline: record: "), std::string::npos) << error;
    EXPECT_FALSE(Shown(Path("load.twr"), "read").empty());
}

TEST_F(RecordTest, OfAFailedLoadBecomesABusOnWhichItFailsInTheSamePlace) {
    UseTarget("application", RESET_AND_CORRUPTION);
    Outcome({"load", Path("app.twd"), "--record", Path("load.twr")});
    const std::string record = Kept("load.twr");
    const cli::Json bus = ToBus(record);
    EXPECT_EQ(bus["nodes"][0]["guid"], GUID);
    EXPECT_EQ(bus["faults"].size(), 2U) << bus;
    UseDescription(bus.dump());
    Outcome({"load", Path("app.twd"), "--record", Path("again.twr")});
    const std::string again = Kept("again.twr");
    for (const char* part : {"DownloadBlock: ", "answer to DownloadEnd", "notice", "-> bus reset"}) {
        std::vector<std::string> before = Shown(record, part), after = Shown(again, part);
        for (auto* lines : {&before, &after})
            for (std::string& line : *lines)
                line = line.substr(0, line.find(", crc ")); // which bit was wrong isn't in the record
        EXPECT_EQ(before, after);
        EXPECT_FALSE(before.empty()) << part;
    }
    EXPECT_EQ(ToBus(again), bus) << "a bus of that bus is the same";
}

TEST_F(RecordTest, TellsWhatTheFaultsOfABusWere) {
    const std::pair<const char*, const char*> cases[] = {
        {R"({"node": 0, "command": 5, "skip": 3, "status": -3})", R"({"node":0,"command":5,"skip":3,"status":-3})"},
        {R"({"node": 0, "operation": "read", "address": "0xffffc8029000", "skip": 12, "count": 2, "result": "0x80000102"})",
         R"({"node":0,"operation":"read","address":"0xffffc8029000","skip":12,"count":2,"result":2147483906})"},
        {R"({"node": 0, "command": 5, "skip": 2, "do": "silence"})",
         R"({"node":0,"command":5,"skip":2,"do":"silence"})"},
        {R"({"afterTransactions": 200, "do": "busReset"})", R"({"afterTransactions":200,"do":"busReset"})"},
        {R"({"node": 0, "do": "vanish"})", R"({"node":0,"afterTransactions":N,"do":"vanish"})"},
        {R"({"node": 1, "afterTransactions": 230, "do": "unplug"}, {"node": 1, "afterTransactions": 300, "do": "plug"})",
         R"({"node":1,"afterTransactions":230,"do":"unplug"}{"node":1,"afterTransactions":300,"do":"plug"})"}};
    for (const auto& [given, expected] : cases) {
        UseTarget("application", given);
        Outcome({"load", Path("app.twd"), "--record", Path("load.twr")});
        std::string found;
        const cli::Json bus = ToBus(Path("load.twr"));
        for (const cli::Json& fault : bus["faults"])
            found += fault.dump();
        if (std::string_view(expected).find(":N,") != std::string_view::npos)
            found = std::regex_replace(found, std::regex(R"("afterTransactions":\d+)"), R"("afterTransactions":N)");
        EXPECT_EQ(found, expected) << error;
    }
}

TEST_F(RecordTest, HasTheKeysThatWereRead) {
    UseTarget("bootloader");
    ASSERT_EQ(Call({"key", "get", "MODEL", "--record", Path("key.twr")}), 0) << error;
    EXPECT_EQ(ToBus(Path("key.twr"))["nodes"][0]["keys"].dump(), R"({"MODEL":"TX-9 of the factory"})");
    ASSERT_EQ(Call({"record", "redact", Path("key.twr"), "-o", Path("redacted.twr")}), 0) << error;
    for (const char* secret : {"TX-9 of", "factory", "2d39206f66"}) {
        EXPECT_EQ(program->directory.Content("redacted.twr").find(secret), std::string::npos);
        EXPECT_EQ(Shown(Path("redacted.twr"), secret), std::vector<std::string>());
    }
    EXPECT_EQ(ToBus(Path("redacted.twr"))["nodes"][0].value("keys", cli::Json()), cli::Json());
}

TEST_F(RecordTest, RedactedWhileItIsMadeOrAfterwardsIsTheSameAndReplays) {
    const std::string guid = "000F1BAB12345678";
    UseDescription(Bus({Target(guid, "application")}, RESET_AND_CORRUPTION));
    const std::string recorded =
        Outcome({"load", Path("app.twd"), "--record", Path("live.twr"), "--redact"}).substr(0, 2);
    const std::vector<std::string> live = Shown(Path("live.twr"), "node ");
    UseDescription(Bus({Target(guid, "application")}, RESET_AND_CORRUPTION));
    Outcome({"load", Path("app.twd"), "--record", Path("plain.twr")});
    Call({"record", "redact", Path("plain.twr"), "-o", Path("after.twr")});
    EXPECT_EQ(Shown(Path("after.twr"), "node "), live);
    const std::string content = program->directory.Content("after.twr");
    EXPECT_LT(content.size(), IMAGE.size()) << "no image is in it";
    EXPECT_EQ(content.find("12345678"), std::string::npos);
    EXPECT_EQ(content.find("\xAB\x12\x34"), std::string::npos);
    EXPECT_EQ(content.find("\x78\x56\x34\x12"), std::string::npos);
    const std::string record = Kept("after.twr");
    UseDescription(Bus({}));
    EXPECT_EQ(Outcome({"load", Path("app.twd"), "000F1B0000000001", "--bus", "replay:" + record}).substr(0, 2),
              recorded);
    EXPECT_NE(error.find("damaged: CRC failure"), std::string::npos) << error;
    EXPECT_EQ(error.find("left its record"), std::string::npos) << error;
    program->Write("other.twd", Package(Pattern(19999)));
    Outcome({"load", Path("other.twd"), "--bus", "replay:" + record});
    EXPECT_NE(error.find("left its record"), std::string::npos) << error;
}

TEST_F(RecordTest, IsLeftVisiblyByACallThatIsAnother) {
    UseTarget("bootloader");
    const cli::Json recorded = Record({"crc", "--record", Path("crc.twr")});
    const std::string record = Kept("crc.twr");
    const cli::Json same = Record({"crc", "--bus", "replay:" + record});
    EXPECT_EQ(same["steps"], recorded["steps"]);
    EXPECT_EQ(same["bus"]["kind"], "replay");
    EXPECT_NE(Call({"reset", "--into", "bootloader", "--bus", "replay:" + record}), 0);
    EXPECT_NE(error.find("The replay left its record: the record expects at entry "), std::string::npos) << error;
    EXPECT_NE(error.find(" to node 0 at FFFFC8021000 (0100000003000301"), std::string::npos) << error;
    EXPECT_NE(error.find("; what came is a write of 12 bytes to node 0 at FFFFC8021000 (0100000003000201"),
              std::string::npos)
        << error;
    EXPECT_EQ(Record({"list", "--bus", "replay:" + Path("missing.twr")})["verdict"], "no-bus");
    EXPECT_EQ(Record({"list", "--bus", "replay:" + Path("app.twd")})["verdict"], "no-bus");
}

TEST_F(RecordTest, NeverTakesThePlaceOfAFile) {
    UseTarget("bootloader");
    program->Write("precious", std::string("content"));
    const std::size_t before = program->RequestsSent().size();
    for (const std::string& file : {Path("precious"), Path("missing/load.twr")}) {
        const cli::Json record = Record({"load", Path("app.twd"), "--record", file});
        EXPECT_EQ(record["verdict"], "refused") << record;
        setenv("HOISTLINE_RECORD", file.c_str(), 1);
        EXPECT_EQ(Record({"load", Path("app.twd")})["verdict"], "refused");
        unsetenv("HOISTLINE_RECORD");
    }
    EXPECT_EQ(program->RequestsSent().size(), before);
    EXPECT_EQ(program->Read("precious"), "content");
    EXPECT_NE(Call({"record", "redact", Path("app.twd"), "-o", Path("precious")}), 0);
    EXPECT_EQ(Call({"record", "show", Path("precious")}), 6);
    EXPECT_EQ(Call({"list", "--redact"}), 2) << "without a record";
}

TEST_F(RecordTest, IsShownToItsLastWholeEntryAndAsJson) {
    UseTarget("bootloader");
    Outcome({"info", "--record", Path("info.twr")});
    std::filesystem::resize_file(Path("info.twr"), std::filesystem::file_size(Path("info.twr")) - 1);
    ASSERT_EQ(Call({"record", "show", Path("info.twr"), "--json"}), 0) << error;
    std::istringstream lines(out);
    std::string line, meanings;
    cli::Json last;
    while (std::getline(lines, line)) {
        last = cli::Json::parse(line);
        if (last.contains("entry") && last["entry"].contains("meaning"))
            meanings += last["entry"]["meaning"]["name"].get<std::string>() + "\n";
    }
    EXPECT_EQ(last["answer"]["ending"], "cut");
    EXPECT_NE(meanings.find("info registers\n"), std::string::npos);
    EXPECT_NE(meanings.find("ReadImageCRC\n"), std::string::npos);
}

} // namespace
