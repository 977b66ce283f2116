#include "DeviceConsole.h"

#include "BusSession.h"
#include "Clock.h"
#include "CodePage.h"
#include "DeviceChoice.h"
#include "DeviceLock.h"
#include "DeviceMode.h"
#include "Failure.h"
#include "ShellWire.h"
#include "basBootloader.h"
#include "basUtils.h"

#include <algorithm>

namespace cli {

namespace {

constexpr std::size_t MOST_AT_ONCE = 128; // between two writes the output is fetched: a device keeps few characters

std::string PresentTime() {
    const platform::SystemTime now = platform::GetLocalTime();
    return fmt::format("{}.{:03}", basUtils::FormatSystemTime(now, "yyyy-mm-dd hh:nn:ss"), now.Milliseconds);
}

bool IsNothing(const ByteArray& characters) {
    return characters.empty() || (characters.size() == 1 && characters.front() == 0);
}

// A terminal would take the controls of the upper half, which come from bytes that the code page lacks, for the
// beginning of a sequence.
std::string TextOf(const ByteArray& characters) {
    const std::string text = platform::TextFromAnsi(characters);
    std::string shown;
    for (std::size_t i = 0; i < text.size(); ++i) {
        const bool control = text[i] == '\xC2' && i + 1 < text.size() && static_cast<unsigned char>(text[i + 1]) < 0xA0;
        shown += control ? std::string("\xEF\xBF\xBD") : std::string(1, text[i]);
        i += control ? 1 : 0;
    }
    return shown;
}

} // namespace

// --- ShellOutput ---

bool ShellOutput::OpenLog(const std::string& path) {
    return platform::Attempt(
        [&] { log_ = std::make_unique<platform::OutputFile>(path, platform::OutputFile::Start::Append); },
        [&](const platform::Failure& failure) {
            call_.End(Verdict::Unchanged,
                      fmt::format("The log \"{}\" can't be written: {}.", path, failure.Description));
        });
}

// A stamp comes in front of a line's first character, so that the line end of a prompt has none.
ByteArray ShellOutput::Stamped(const ByteArray& characters) {
    if (!withTimestamps_)
        return characters;
    ByteArray stamped;
    for (const std::uint8_t character : characters) {
        if (atLineStart_ && character != '\r' && character != '\n') {
            const std::string stamp = PresentTime() + "  ";
            stamped.insert(stamped.end(), stamp.begin(), stamp.end());
            atLineStart_ = false;
        }
        stamped.push_back(character);
        atLineStart_ = atLineStart_ || character == '\n';
    }
    return stamped;
}

void ShellOutput::WriteLog(const ByteArray& characters) {
    if (log_)
        platform::Attempt([&] { log_->Write(characters); },
                          [&](const platform::Failure& failure) {
                              call_.End(Verdict::Failed, "The log can't be written: " + failure.Description);
                          });
}

void ShellOutput::Write(const ByteArray& characters) {
    const ByteArray stamped = Stamped(characters);
    WriteLog(stamped);
    if (call_.WantsLines())
        return call_.Write(TextOf(stamped));
    Json event{{"event", "output"}, {"text", platform::TextFromAnsi(characters)}};
    if (withTimestamps_)
        event["time"] = PresentTime();
    call_.PrintEvent(event);
}

// --- DeviceConsole ---

DeviceConsole::DeviceConsole(Call& call, std::int32_t handle, ShellOutput& output)
    : call_(call), handle_(handle), output_(output), lastActivity_(platform::QueryPerformanceCounter()) {
    call_.frontEnd->onShellLoss = [this](std::int32_t of, std::int32_t count) {
        if (of == handle_)
            TellLoss(count);
    };
}

DeviceConsole::~DeviceConsole() {
    call_.frontEnd->onShellLoss = nullptr;
}

void DeviceConsole::TellEvent(const char* event, const std::string& text) {
    call_.TellAnyway("\nhoistline: " + text);
    if (!call_.WantsLines())
        call_.PrintEvent({{"event", event}, {"text", text}});
}

void DeviceConsole::TellLoss(std::int32_t count) {
    lost_ += count;
    TellEvent("lost", fmt::format("{} characters of the device's output are lost.", count));
}

bool DeviceConsole::IsOnBus() const {
    const BootloaderTarget* target = TargetOf(handle_);
    return target != nullptr && IsPresent(*target);
}

bool DeviceConsole::IsThere() const {
    return BusIsKnown() && IsOnBus();
}

void DeviceConsole::NotePresence() {
    if (!BusIsKnown() || IsOnBus() == wasOnBus_)
        return;
    wasOnBus_ = !wasOnBus_;
    basBootloader::globals.OldHead = 0; // a device that was away starts its ring again
    lastActivity_ = platform::QueryPerformanceCounter();
    if (wasOnBus_)
        TellEvent("back", fmt::format("The device is back on the bus, as node {}.", TargetOf(handle_)->Device.NodeNum));
    else
        TellEvent("left", "The device has left the bus; waiting until it is back ...");
}

void DeviceConsole::NoteAnswer(std::int32_t code) {
    constexpr int SILENT = 10; // reads: a single one may meet a device that restarts
    if (code == basBootloader::SUCCESS) {
        failures_ = 0;
        return;
    }
    if (++failures_ == SILENT)
        TellEvent("silent", basBootloader::LoadedByAnother(handle_)
                                ? basBootloader::LoadedByAnotherText(handle_)
                                : fmt::format("The device's console doesn't answer (code {}).", code));
}

bool DeviceConsole::Poll() {
    NotePresence();
    if (!IsThere())
        return false;
    lost_ = 0;
    ByteArray characters;
    const std::int32_t code = basBootloader::ReadShellCharacters(handle_, characters, false);
    NoteAnswer(code);
    if (code != basBootloader::SUCCESS || IsNothing(characters))
        return false;
    // The windows' notice, which the reader puts in front, isn't the device's.
    const ByteArray notice = platform::AnsiFromText(basBootloader::ShellOverflowNotice(lost_));
    if (lost_ > 0 && std::ranges::mismatch(notice, characters).in1 == notice.end())
        characters.erase(characters.begin(), characters.begin() + std::ssize(notice));
    lastActivity_ = platform::QueryPerformanceCounter();
    output_.Write(characters);
    if (onOutput)
        onOutput(characters);
    return true;
}

bool DeviceConsole::Await() {
    constexpr std::int64_t LONGEST = 30'000; // ms
    NotePresence();
    return IsThere() || call_.Wait(
                            [this] {
                                NotePresence();
                                return IsThere();
                            },
                            LONGEST);
}

bool DeviceConsole::SendSome(ByteArray& characters, std::int32_t& code) {
    const auto longest = std::min<std::size_t>(
        MOST_AT_ONCE, static_cast<std::size_t>(std::max(basBootloader::LongestShellText(handle_), 1)));
    auto end =
        characters.begin() + std::min<std::ptrdiff_t>(std::ssize(characters), static_cast<std::ptrdiff_t>(longest));
    if (const auto lineEnd = std::find(characters.begin(), end, '\r'); lineEnd != end)
        end = lineEnd + 1;
    code = basBootloader::WriteShellCharacters(handle_, {characters.begin(), end});
    lastActivity_ = platform::QueryPerformanceCounter();
    if (code != basBootloader::SUCCESS)
        return false;
    characters.erase(characters.begin(), end);
    return true;
}

std::int64_t DeviceConsole::Quiet() const {
    return (platform::QueryPerformanceCounter() - lastActivity_) / 1'000'000;
}

} // namespace cli
