// key: what reaches the device and standard output, and what a failure or a refusal leaves.
#include "CommandTest.h"
#include "EndRequest.h"

#include <filesystem>

using namespace testing_support;

namespace {

constexpr const char *FIRST = "000F1B0000000001", *SECOND = "000F1B0000000002";
constexpr const char* KEYS = R"(, "keys": {"MODEL": "TX-9", "ONE": "1", "BLOB": {"hex": "00ff0d0a81"}})";

class KeyCommandTest : public CommandTest {
protected:
    void UseOne(const std::string& mode, const std::string& faults = {}) {
        UseBus(Bus({Target(FIRST, mode, KEYS)}, faults));
    }
    std::string Path(const std::string& name) const { return program->directory.file(name); }
    std::string Value(const std::string& key) {
        EXPECT_EQ(Call({"key", "get", key, FIRST}), 0) << error;
        return out;
    }
};

TEST_F(KeyCommandTest, HandsOutAValueByteForByte) {
    UseOne("bootloader");
    const std::string blob("\x00\xFF\r\n\x81", 5);
    EXPECT_EQ(Value("MODEL"), "TX-9");
    EXPECT_EQ(Value("ONE"), "1");
    EXPECT_EQ(Value("BLOB"), blob);
    EXPECT_EQ(Call({"key", "get", "BLOB", "--output", Path("blob")}), 0);
    EXPECT_EQ(out, "");
    EXPECT_EQ(program->Read("blob"), blob);
    outIsTerminal = true;
    EXPECT_EQ(Value("BLOB"), "\\x00\xC3\xBF\\x0D\n\\x81\n");
    EXPECT_EQ(Record({"key", "get", "MODEL"})["answer"].dump(),
              R"({"key":"MODEL","bytes":4,"text":"TX-9","hex":"54582D39"})");
    EXPECT_TRUE(Record({"key", "get", "BLOB"})["answer"]["text"].is_null());
}

TEST_F(KeyCommandTest, WritesAValueAndProvesIt) {
    UseOne("bootloader");
    program->Write("file", std::string("a\0b\n", 4));
    const std::string latin = "\xC3\xA9"; // in the device one byte, 0xE9
    EXPECT_EQ(Call({"key", "set", "PLACE", "Rack " + latin}), 0) << error;
    EXPECT_EQ(Value("PLACE"), "Rack \xE9");
    EXPECT_EQ(Call({"key", "set", "PLACE", "x", FIRST}), 0) << error;
    EXPECT_EQ(Value("PLACE"), "x");
    EXPECT_EQ(Call({"key", "set", "PLACE", "--from", Path("file"), FIRST}), 0) << error;
    EXPECT_EQ(Value("PLACE"), std::string("a\0b\n", 4));
    const std::string large(65536, 'k');
    program->Write("large", large);
    EXPECT_EQ(Call({"key", "set", std::string(40, 'N'), "--from", Path("large")}), 0) << error;
    EXPECT_EQ(Value(std::string(40, 'N')), large);
}

TEST_F(KeyCommandTest, EndsWithTheVerdictThatFitsAndWritesNothingDoubtful) {
    const auto onWrite = [](const char* effect) { return std::string(R"({"command": 19, )") + effect + "}"; };
    struct Case {
        const char* mode;
        std::vector<std::string> arguments;
        std::string fault;
        const char *verdict, *changes;
    };
    const Case cases[] = {
        {"bootloader", {"set", std::string(41, 'N'), "v"}, "", "refused", ""},
        {"bootloader", {"set", "", "v"}, "", "refused", ""},
        {"bootloader", {"set", "\xCE\xA9", "v"}, "", "refused", ""}, // an omega would become "?"
        {"bootloader", {"set", "K", "\xCE\xA9"}, "", "refused", ""},
        {"bootloader", {"set", "K", ""}, "", "refused", ""},
        {"bootloader", {"set", "K", "--from", "/dev/null/none"}, "", "refused", ""},
        {"bootloader", {"set", "K"}, "", "usage", ""},
        {"bootloader", {"set", "K", "v", FIRST, "--from", "f"}, "", "usage", ""},
        {"bootloader", {"set", "K", "#0"}, "", "usage", ""}, // a device's name: the value may be missing
        {"bootloader", {"set", "K", SECOND}, "", "usage", ""},
        {"bootloader", {"set", "K", SECOND, FIRST}, "", "done", "write read"},
        {"bootloader", {"set", "K", "zzz", "--from", "/dev/null"}, "", "usage", ""},
        {"bootloader", {"get", "NONE"}, "", "failed", "read"},
        {"bootloader", {"set", "K", "v"}, onWrite(R"("result": 121)"), "failed", "write read"},
        {"bootloader", {"set", "ONE", "2"}, onWrite(R"("do": "silence")"), "failed", "write read"},
        {"application", {"get", "MODEL"}, "", "unchanged", ""},
        {"application", {"set", "K", "v"}, "", "unchanged", ""},
        {"application", {"get", "MODEL", "--reset"}, "", "done", "reset read run"},
        {"application", {"set", "K", "v", "--reset"}, "", "done", "reset write read run"},
        {"application", {"get", "NONE", "--reset"}, "", "failed", "reset read run"},
    };
    for (const Case& c : cases) {
        UseOne(c.mode, c.fault);
        std::vector<std::string> arguments = c.arguments;
        arguments.insert(arguments.begin(), "key");
        const cli::Json record = Record(arguments);
        EXPECT_EQ(record["verdict"], c.verdict) << fmt::format("{}", fmt::join(arguments, " ")) << record;
        EXPECT_EQ(program->Changes(), c.changes) << fmt::format("{}", fmt::join(arguments, " "));
        EXPECT_EQ(record["mode"].is_null() ? c.mode : record["mode"], c.mode)
            << fmt::format("{}", fmt::join(arguments, " "));
    }
}

// After each transaction in turn the bus is reset, or the node before the device leaves it.
TEST_F(KeyCommandTest, TellsOnlyOfAValueThatTheDeviceHolds) {
    for (const char* effect : {R"("do": "busReset")", R"("node": 0, "do": "unplug")"}) {
        int successes = 0;
        for (int transaction = 40; transaction < 160; transaction += 3) {
            UseBus(Bus({R"({"kind": "device"})", Target(FIRST, "bootloader", KEYS), Target(SECOND, "bootloader")},
                       fmt::format(R"({{"afterTransactions": {}, {}}})", transaction, effect)));
            const bool done = Call({"key", "set", "ONE", "two", FIRST}) == 0;
            successes += done;
            EXPECT_TRUE(!done || Value("ONE") == "two") << transaction << out;
        }
        EXPECT_GT(successes, 20) << effect << ": of 40";
    }
}

std::string Outcomes(const cli::Json& record) {
    std::string text;
    for (const auto& step : record["steps"]) {
        text += fmt::format("{}:{}:{} ", step["operation"].get<std::string>(), step["subject"].dump(),
                            step["outcome"].get<std::string>());
        EXPECT_FALSE(step.contains("kBPerSecond")) << "a rate is of a load";
    }
    return text;
}

TEST_F(KeyCommandTest, RunsABatchWithAStepForEachOperation) {
    UseBus(Bus({Target(FIRST, "bootloader", KEYS), Target(SECOND, "application")}));
    std::filesystem::create_directory(Path("batches"));
    program->Write("batches/value.txt", std::string("Rack 3"));
    program->Write("batches/b.txt", "write --single PLACE value.txt\nread --single PLACE got.txt\n"
                                    "read --single NONE none.txt\n");
    const std::vector<std::string> batch = {"key", "batch", Path("batches/b.txt")};
    EXPECT_EQ(Record(batch)["verdict"], "ambiguous") << "two devices, and \"--single\" means one";
    EXPECT_EQ(program->Changes(), "");
    auto onFirst = batch;
    onFirst.push_back(FIRST);
    cli::Json record = Record(onFirst);
    EXPECT_EQ(record["verdict"], "failed");
    EXPECT_EQ(Outcomes(record), R"(write-key:"PLACE":done read-key:"PLACE":done read-key:"NONE":failed )");
    EXPECT_NE(program->Read("batches/got.txt").find("Rack 3"), std::string::npos);
    EXPECT_NE(program->Read("batches/b.out.txt").find("FAILED"), std::string::npos);

    auto onSecond = batch;
    onSecond.push_back(SECOND);
    EXPECT_EQ(Record(onSecond)["verdict"], "unchanged") << "it runs its application";
    onSecond.emplace_back("--reset");
    record = Record(onSecond);
    EXPECT_EQ(Outcomes(record), R"(reset:null:done write-key:"PLACE":done read-key:"PLACE":done )"
                                R"(read-key:"NONE":failed start:null:done )");
    program->Write("batches/c.txt", fmt::format("nonsense\nread {} MODEL m.txt\n", FIRST));
    record = Record({"key", "batch", Path("batches/c.txt")});
    EXPECT_EQ(record["verdict"], "failed") << record;
    EXPECT_EQ(Outcomes(record), R"(read-key:"MODEL":done none:null:refused )");
    EXPECT_EQ(Record({"key", "batch", Path("batches/missing.txt")})["verdict"], "refused");
}

TEST_F(KeyCommandTest, FinishesTheOperationUnderWayWhenABatchIsInterrupted) {
    UseOne("bootloader");
    program->Write("b.txt", std::string("read --single MODEL m.txt\nread --single ONE o.txt\nread --single BLOB b\n"));
    program->windowSystem.eachTurn = [this] {
        if (program->Changes() == "read")
            platform::RequestEnd();
    };
    const cli::Json record = Record({"key", "batch", Path("b.txt")});
    EXPECT_EQ(record["verdict"], "interrupted");
    EXPECT_EQ(Outcomes(record), R"(read-key:"MODEL":done read-key:"ONE":interrupted read-key:"BLOB":interrupted )");
    EXPECT_EQ(program->Changes(), "read");
}

} // namespace
