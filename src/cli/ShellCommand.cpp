// shell: a device's console in the terminal, in a pipe, or in the hands of a script.
#include "BusSession.h"
#include "Clock.h"
#include "Commands.h"
#include "DeviceChoice.h"
#include "DeviceConsole.h"
#include "DeviceLock.h"
#include "DeviceMode.h"
#include "EndRequest.h"
#include "Failure.h"
#include "ShellScript.h"
#include "StandardStreams.h"
#include "Terminal.h"
#include "WindowSystem.h"

#include <algorithm>
#include <array>
#include <memory>
#include <tuple>
#include <utility>

namespace cli {

namespace {

constexpr std::int64_t POLL_INTERVAL = 50;   // ms; a key's echo takes that long
constexpr std::int64_t QUIET = 1000;         // ms without output after the end of the input
constexpr std::int64_t EXPECT_TIME = 10'000; // ms, without --timeout
constexpr std::int64_t TIME_TO_TAKE = 30;    // ms after a line: it may make the device leave the bus
constexpr char END_KEY = 0x1D;               // Ctrl+]

struct ShellOptions {
    std::string device, log;
    bool timestamps = false;
    std::vector<std::string> sends, expects;
    const CLI::App* command = nullptr; // knows the order in which they were typed
};

// --- Standard input ---

class ShellInput {
public:
    ShellInput(int descriptor, bool isTerminal)
        : descriptor_(descriptor), isTerminal_(isTerminal), typing_(!isTerminal) {}

    // Reads when there is something to read, until Stop.
    void Start() {
        watch_ = platform::WatchDescriptor(descriptor_, platform::DescriptorEvent::Readable, [this] { Read(); });
    }
    void Stop() { watch_ = nullptr; }
    bool HasNews() const { return !characters.empty() || ended || endKey; }
    // A character that was cut off waits for its rest only as long as nothing else comes.
    void Flush() {
        for (const std::uint8_t byte : typing_.TakeRest())
            characters.push_back(byte);
    }

    ByteArray characters; // for the device
    bool ended = false, endKey = false;

private:
    void Read();

    int descriptor_;
    bool isTerminal_;
    ShellTyping typing_;
    std::unique_ptr<platform::DescriptorWatch> watch_;
};

void ShellInput::Read() {
    std::array<char, 4096> buffer{};
    const std::int64_t count = platform::ReadFrom(descriptor_, buffer.data(), buffer.size());
    if (count <= 0) { // its end, or a terminal that has gone away
        ended = true;
        Flush();
        return Stop();
    }
    std::string_view text(buffer.data(), static_cast<std::size_t>(count));
    if (const std::size_t end = isTerminal_ ? text.find(END_KEY) : text.npos; end != text.npos) {
        endKey = true;
        text = text.substr(0, end);
    }
    for (const std::uint8_t byte : typing_.Take(text))
        characters.push_back(byte);
}

// --- With a person ---

void SendKeys(Call& call, DeviceConsole& console, ByteArray& keys) {
    std::int32_t code = 0;
    while (!keys.empty() && !call.MustEnd()) {
        if (!console.IsThere() || !console.SendSome(keys, code)) {
            call.TellAnyway(fmt::format("\nhoistline: {} typed characters weren't taken by the device.", keys.size()));
            keys.clear();
        }
        console.Poll();
    }
}

void TalkToPerson(Call& call, DeviceConsole& console, int descriptor, const std::string& device) {
    call.TellAnyway(fmt::format("The console of {}.  Ctrl+] ends it.", device));
    {
        const platform::RawTerminal raw(descriptor);
        ShellInput input(descriptor, true);
        input.Start();
        while (!input.ended && !input.endKey && !call.MustEnd()) {
            SendKeys(call, console, input.characters);
            const bool more = console.Poll();
            if (!call.Wait([&] { return input.HasNews(); }, more ? 1 : POLL_INTERVAL))
                input.Flush();
        }
        SendKeys(call, console, input.characters);
        if (input.ended)
            call.End(Verdict::Interrupted, "The terminal has gone away.");
    }
    call.Tell("\nThe console is closed.");
}

// --- With a pipe, and with a script ---

bool EndWithoutDevice(Call& call) {
    return call.End(Verdict::Failed, "The device has left the bus and isn't back.");
}

// False: the call has ended.
bool SendAll(Call& call, DeviceConsole& console, ByteArray characters) {
    std::int32_t code = 0;
    while (!characters.empty() && !call.MustEnd()) {
        if (!console.Await())
            return call.MustEnd() ? false : EndWithoutDevice(call);
        if (!console.SendSome(characters, code))
            return call.End(Verdict::Failed, fmt::format("{} characters weren't taken by the device, code {}.",
                                                         characters.size(), code));
        console.Poll();
        std::ignore = call.Wait([] { return false; }, TIME_TO_TAKE);
    }
    return !call.MustEnd();
}

// Until the device has printed nothing for a moment.
void AwaitQuiet(Call& call, DeviceConsole& console) {
    while (!call.MustEnd() && (!console.IsThere() || console.Quiet() < QUIET)) {
        if (!console.Await()) {
            if (!call.MustEnd())
                EndWithoutDevice(call);
            return;
        }
        const bool more = console.Poll();
        std::ignore = call.Wait([] { return false; }, more ? 1 : POLL_INTERVAL);
    }
}

void TalkToPipe(Call& call, DeviceConsole& console, int descriptor) {
    ShellInput input(descriptor, false);
    while (!input.ended && !call.MustEnd()) {
        input.Start();
        std::ignore = call.Wait([&] { return input.HasNews(); }, POLL_INTERVAL);
        input.Stop(); // the pipe holds the rest until these are sent
        if (!SendAll(call, console, std::exchange(input.characters, {})))
            return;
        console.Poll();
    }
    AwaitQuiet(call, console);
}

class Script {
public:
    Script(Call& call, DeviceConsole& console, std::int32_t handle) : call_(call), console_(console), handle_(handle) {
        console_.onOutput = [this](const ByteArray& characters) { received_.Append(characters); };
    }
    ~Script() { console_.onOutput = nullptr; }
    Script(const Script&) = delete;
    Script& operator=(const Script&) = delete;

    // False: the call has ended.
    bool Carry(const ShellSend& send);
    bool Carry(const ShellExpect& expected);

private:
    bool NoteStep(const char* operation, const std::string& subject, const std::string& fault, std::int64_t start);

    Call& call_;
    DeviceConsole& console_;
    std::int32_t handle_;
    ShellReceived received_;
};

bool Script::NoteStep(const char* operation, const std::string& subject, const std::string& fault, std::int64_t start) {
    Step& step =
        cli::NoteStep(call_, handle_, operation, fault.empty() ? Verdict::Done : Verdict::Failed, fault, start);
    step.Subject = subject;
    return fault.empty();
}

// What was printed before isn't an answer.
bool Script::Carry(const ShellSend& send) {
    const std::int64_t start = platform::QueryPerformanceCounter();
    while (console_.Poll() && !call_.MustEnd())
        platform::DoEvents();
    received_.Clear();
    const bool sent = SendAll(call_, console_, send.bytes);
    return NoteStep("send", send.typed, sent ? "" : call_.report.Reason, start);
}

bool Script::Carry(const ShellExpect& expected) {
    const std::int64_t start = platform::QueryPerformanceCounter();
    const std::int64_t end = start + EXPECT_TIME * 1'000'000;
    bool found = received_.Take(expected);
    while (!found && !call_.MustEnd() && (call_.options.Timeout || platform::QueryPerformanceCounter() < end)) {
        const bool more = console_.Poll();
        found = received_.Take(expected);
        if (!found)
            std::ignore = call_.Wait([] { return false; }, more ? 1 : POLL_INTERVAL);
    }
    const bool interrupted = platform::WhyEndRequested() == platform::EndReason::Signal;
    const std::string fault =
        found ? "" : fmt::format("\"{}\" {}.", expected.typed, interrupted ? "wasn't awaited" : "didn't come");
    if (!found && platform::WhyEndRequested() == platform::EndReason::TimeLimit)
        call_.report.Outcome.reset(); // what didn't come says more than that the time is over
    if (!found)
        call_.End(Verdict::Failed, fault);
    return NoteStep("expect", expected.typed, fault, start);
}

void RunScript(Call& call, DeviceConsole& console, std::int32_t handle, const std::vector<ShellAction>& actions) {
    call.showsVerdict = true;
    Script script(call, console, handle);
    for (const ShellAction& action : actions)
        if (!std::visit([&](const auto& part) { return script.Carry(part); }, action))
            return;
    if (std::holds_alternative<ShellSend>(actions.back()))
        AwaitQuiet(call, console);
}

// --- The command ---

// The sends and expects in the order in which they were typed. False: the call has ended.
bool TakeActions(Call& call, const ShellOptions& options, std::vector<ShellAction>& actions) {
    auto send = options.sends.begin();
    auto expected = options.expects.begin();
    const auto take = [&] {
        for (const CLI::Option* option : options.command->parse_order())
            if (option->check_lname("send") && send != options.sends.end())
                actions.emplace_back(ParseSend(*send++));
            else if (option->check_lname("expect") && expected != options.expects.end())
                actions.emplace_back(ParseExpect(*expected++));
    };
    return platform::Attempt(take, [&](const platform::Failure& failure) {
        call.End(Verdict::Usage, fmt::format("{}.  See \"hoistline shell --help\".", failure.Description));
    });
}

void Shell(Call& call, const ShellOptions& options) {
    std::vector<ShellAction> actions;
    ShellOutput output(call, options.timestamps);
    if (!TakeActions(call, options, actions) || (!options.log.empty() && !output.OpenLog(options.log)))
        return;
    BusSession session(call);
    std::int32_t handle = 0;
    call.answerStandsAlone = true;
    if (!session.OpenBus() || !ChooseTarget(call, options.device, handle))
        return;
    call.streamed = true;
    if (basBootloader::LoadedByAnother(handle)) {
        call.End(Verdict::Unchanged, basBootloader::LoadedByAnotherText(handle));
        return;
    }
    DeviceConsole console(call, handle, output);
    if (!actions.empty())
        RunScript(call, console, handle, actions);
    else if (call.streams.InIsTerminal)
        TalkToPerson(call, console, call.streams.In, GuidText(TargetOf(handle)->Info.GUID));
    else
        TalkToPipe(call, console, call.streams.In);
    NoteDevice(call, handle);
}

CLI::Option* AddTexts(CLI::App* command, const char* name, std::vector<std::string>& texts, const char* description) {
    return command->add_option(name, texts, description)->allow_extra_args(false);
}

} // namespace

void AddShell(CommandSet& set) {
    auto options = std::make_shared<ShellOptions>();
    CLI::App* command = set.Add("shell", "use a device's console in the terminal, in a pipe or from a script",
                                [options](Call& call) { Shell(call, *options); });
    options->command = command;
    AddFile(command, "--log", options->log, "append what the device prints to this file");
    command->add_flag("--timestamps", options->timestamps, "show the time in front of each line");
    AddTexts(command, "--send", options->sends,
             "send this text, with the escapes \\r \\n \\t \\e \\xHH \\\\, in place of standard input; a command ends "
             "in \\r. Can be repeated")
        ->type_name("TEXT");
    AddTexts(command, "--expect", options->expects,
             "wait until the device's answer has this regular expression, 10 s at most or as long as --timeout allows. "
             "Can be repeated; done in the order typed")
        ->type_name("REGEX");
    AddDevice(command, options->device);
}

} // namespace cli
