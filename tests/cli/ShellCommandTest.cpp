// shell: keys, pipes and scripts at the console of a device of each generation.
#include "CommandTest.h"
#include "EndRequest.h"
#include "Failure.h"
#include "ShellScript.h"

#include <array>
#include <regex>
#include <sstream>
#include <unistd.h>

using namespace testing_support;

namespace {

constexpr std::int64_t PROTOCOLS[] = {1, 2, 33554432, 3};

class ShellCommandTest : public CommandTest {
protected:
    ~ShellCommandTest() override { CloseInput(); }

    void UseConsole(std::int64_t protocol, const std::string& extra = {}, const std::string& faults = {}) {
        UseBus(fmt::format(R"({{"trace": "trace.jsonl", "nodes": [{{"kind": "target", "guid": "000F1B0000000001",
                               "protocol": {}{}}}, {{"kind": "host"}}], "faults": [{}]}})",
                           protocol, extra, faults));
    }
    // Standard input with these keys; at its end unless `stays`.
    void Type(const std::string& keys, bool stays = false) {
        CloseInput();
        ASSERT_EQ(pipe(ends_.data()), 0);
        input = ends_[0];
        ASSERT_EQ(write(ends_[1], keys.data(), keys.size()), std::ssize(keys));
        if (!stays)
            close(std::exchange(ends_[1], -1));
    }
    void TypeMore(const std::string& keys) const {
        EXPECT_EQ(write(ends_[1], keys.data(), keys.size()), std::ssize(keys));
    }
    void CloseInput() {
        for (int& end : ends_)
            if (end >= 0)
                close(std::exchange(end, -1));
        input = -1;
    }
    // The record at the end of a call with --json; the text of its output is in `text`.
    cli::Json Last(std::vector<std::string> arguments) {
        arguments.emplace_back("--json");
        Call(arguments);
        text.clear();
        cli::Json event;
        std::istringstream lines(out);
        for (std::string line; std::getline(lines, line);) {
            event = cli::Json::parse(line);
            if (event.contains("event"))
                text += event["event"] == "output" ? event["text"].get<std::string>()
                                                   : "<" + event["event"].get<std::string>() + ">";
        }
        return event;
    }
    static std::string Steps(const cli::Json& record) {
        std::string steps;
        for (const auto& step : record["steps"])
            steps += fmt::format("{}:{}:{} ", step["operation"].get<std::string>(), step["subject"].get<std::string>(),
                                 step["outcome"].get<std::string>());
        return steps;
    }

    std::string text;

private:
    std::array<int, 2> ends_{-1, -1};
};

TEST_F(ShellCommandTest, SendsAPipeLineByLineAndSurvivesAReset) {
    for (const std::int64_t protocol : PROTOCOLS) {
        UseConsole(protocol);
        Type("version\nreset\nsleep 300\r\nhelp\n");
        EXPECT_EQ(Call({"shell"}), 0) << protocol << error;
        EXPECT_EQ(out, "ready\r\n> version\r\nTX-9 application 00000001\r\n> ready\r\n> sleep 300\r\n> help\r\n"
                       "help version keys flood N sleep MS reset\r\n> ")
            << protocol;
        EXPECT_NE(error.find("has left the bus"), std::string::npos) << protocol << error;
        EXPECT_NE(error.find("back on the bus, as node 0"), std::string::npos) << protocol << error;
    }
}

TEST_F(ShellCommandTest, CarriesOutAScriptInTheOrderTyped) {
    for (const std::int64_t protocol : PROTOCOLS) {
        UseConsole(protocol);
        const cli::Json record = Last({"shell", "--send", "version\\r", "--expect", "^TX-\\d", "--expect", "^> $",
                                       "--send", "reset\\x0D", "--expect", "ready", "--send", "sleep 4000\\rhelp\\r",
                                       "--expect", "keys fl[o]+d", "000F1B0000000001"});
        EXPECT_EQ(record["verdict"], "done") << protocol << record;
        EXPECT_EQ(Steps(record), "send:version\\r:done expect:^TX-\\d:done expect:^> $:done send:reset\\x0D:done "
                                 "expect:ready:done send:sleep 4000\\rhelp\\r:done expect:keys fl[o]+d:done ");
        EXPECT_NE(text.find("<left><back>"), std::string::npos) << text;
    }
}

TEST_F(ShellCommandTest, TellsWhichTextDidNotCome) {
    const std::vector<std::string> script = {"shell", "--send", "help\\r", "--expect", "ready", "--send", "keys\\r"};
    for (const std::vector<std::string>& limit : {std::vector<std::string>{}, {"--timeout", "4"}}) {
        UseConsole(1);
        std::vector<std::string> arguments = script;
        arguments.insert(arguments.end(), limit.begin(), limit.end());
        const std::int64_t start = program->clock.Now();
        const cli::Json record = Last(arguments);
        EXPECT_EQ(record["verdict"], "failed") << record;
        EXPECT_EQ(record["reason"], "\"ready\" didn't come.") << "the banner came before the text was sent";
        EXPECT_EQ(Steps(record), "send:help\\r:done expect:ready:failed ");
        const std::int64_t seconds = (program->clock.Now() - start) / 1'000'000'000;
        EXPECT_EQ(seconds < 10, !limit.empty()) << seconds;
    }
}

TEST_F(ShellCommandTest, RejectsWhatCannotBeSentOrSearchedFor) {
    UseConsole(1);
    for (const char* bad : {"\\", "\\q", "\\x1", "\\xg0", "", "\\0"})
        EXPECT_EQ(Call({"shell", "--send", bad}), 2) << bad;
    for (const char* bad : {"(", "a{2", "[z-a]", "(a)\\1"})
        EXPECT_EQ(Call({"shell", "--expect", bad}), 2) << bad;
    EXPECT_EQ(program->Changes(), "");
    const cli::ShellSend send = cli::ParseSend("\\r\\n\\t\\e\\\\\\x00a\\x0D1\xC3\xA9");
    EXPECT_EQ(send.bytes, (ByteArray{'\r', '\n', '\t', 27, '\\', 0, 'a', '\r', '1', 0xE9}));
}

// Patterns and texts on which a search that backtracks never ends.
TEST_F(ShellCommandTest, SearchesHostileOutputWithoutEnd) {
    cli::ShellReceived received;
    received.Append(ByteArray(1'000'000, 'a'));
    for (const char* pattern : {"(a*)*b", "(a|aa)+$c", "(a+)+x"})
        EXPECT_FALSE(received.Take(cli::ParseExpect(pattern))) << pattern;
    EXPECT_TRUE(received.Take(cli::ParseExpect("a$")));
    EXPECT_FALSE(received.Take(cli::ParseExpect("a"))) << "what was found is taken away";
}

TEST_F(ShellCommandTest, HandsKeysOverUntilItsEndKey) {
    for (const std::int64_t protocol : PROTOCOLS) {
        UseConsole(protocol);
        inIsTerminal = true;
        Type("h", true);
        program->windowSystem.eachTurn = [this, step = 0]() mutable {
            constexpr const char* KEYS[] = {"el", "p", "\x03\xC3", "\xA9", "\b\b\r", "\x1D not sent"};
            const bool isLast = step + 1 == std::ssize(KEYS);
            if (step < std::ssize(KEYS) && out.find(isLast ? "reset\r\n> " : "> h") != out.npos)
                TypeMore(KEYS[step++]);
        };
        EXPECT_EQ(Call({"shell"}), 0) << error;
        program->windowSystem.eachTurn = nullptr;
        EXPECT_EQ(out, "ready\r\n> help\x03\xC3\xA9\b \b\b \b\r\nhelp version keys flood N sleep MS reset\r\n> ")
            << protocol;
        EXPECT_NE(error.find("Ctrl+] ends it"), std::string::npos) << error;
    }
}

TEST_F(ShellCommandTest, EndsWithATerminalThatGoesAwayAndOnASignal) {
    UseConsole(1);
    inIsTerminal = true;
    Type("help\r");
    EXPECT_EQ(Last({"shell"})["verdict"], "interrupted");
    UseConsole(1);
    Type("", true);
    program->windowSystem.eachTurn = [this] {
        if (program->clock.Now() > 5'000'000'000)
            platform::RequestEnd();
    };
    EXPECT_EQ(Last({"shell"})["verdict"], "interrupted");
    program->windowSystem.eachTurn = nullptr;
    inIsTerminal = false;
    EXPECT_EQ(Last({"shell", "--timeout", "3"})["verdict"], "timed-out");
}

TEST_F(ShellCommandTest, ReportsLossesOutsideTheOutput) {
    for (const std::int64_t protocol : PROTOCOLS) {
        UseConsole(protocol, R"(, "shell": {"ring": 256})");
        Type("flood 300\n");
        Last({"shell"});
        EXPECT_NE(text.find("<lost>"), std::string::npos) << protocol << text;
        EXPECT_EQ(text.find("<<"), std::string::npos) << protocol << text;
        EXPECT_NE(error.find("characters of the device's output are lost"), std::string::npos) << protocol << error;
    }
}

TEST_F(ShellCommandTest, KeepsALogWithTheDevicesBytes) {
    UseConsole(1, R"(, "shell": {"banner": "caf\u00e9\r\n"})");
    program->Write("console.log", std::string("before\n"));
    Type("\n");
    const std::string log = program->directory.file("console.log");
    EXPECT_EQ(Call({"shell", "--log", log}), 0) << error;
    const std::string first = program->Read("console.log");
    EXPECT_EQ(first.substr(0, 7), "before\n");
    EXPECT_EQ(first.substr(first.size() - 6), "> \r\n> ");
    Type("\n");
    EXPECT_EQ(Call({"shell", "--log", log, "--timestamps"}), 0) << error;
    const std::string stamped = program->Read("console.log").substr(first.size());
    EXPECT_TRUE(std::regex_search(stamped, std::regex("\n\\d{4}-\\d\\d-\\d\\d \\d\\d:\\d\\d:\\d\\d\\.\\d{3}  ")))
        << stamped;
    EXPECT_EQ(Call({"shell", "--log", "/no/such/folder/log"}), 7);
}

TEST_F(ShellCommandTest, FailsWhenTheDeviceDoesNotComeBack) {
    UseConsole(3, "", R"({"node": 0, "do": "vanish", "operation": "write", "address": "0xffffc8021040"})");
    Type("reset\nhelp\n");
    EXPECT_EQ(Last({"shell"})["verdict"], "failed");
    EXPECT_EQ(text.find("help"), std::string::npos) << text;
}

} // namespace
