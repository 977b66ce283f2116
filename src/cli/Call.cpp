#include "Call.h"

#include "Clock.h"
#include "EndRequest.h"
#include "Failure.h"
#include "Files.h"
#include "WindowSystem.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <utility>

namespace cli {

namespace {

constexpr std::int64_t NANOSECONDS = 1'000'000'000;

std::string Coloured(Verdict verdict) {
    return fmt::format("\x1B[{}m{}\x1B[0m", verdict == Verdict::Done ? 32 : 31, WordOf(verdict));
}

} // namespace

Call::Call(CommonOptions commonOptions, Streams outputs, std::string command)
    : options(std::move(commonOptions)), streams(std::move(outputs)), progress(options, streams),
      start_(platform::QueryPerformanceCounter()) {
    report.Command = std::move(command);
    if (options.Timeout)
        platform::RequestEndAt(start_ + std::llround(*options.Timeout * NANOSECONDS));
}

void Call::Print(std::string_view line) {
    if (!options.AsJson)
        Write(fmt::format("{}\n", line));
}

void Call::PrintEvent(const Json& event) {
    streamed = true;
    Write(Dump(event, -1) + "\n");
}

void Call::Write(std::string_view bytes) {
    if (streams.OutIsTerminal)
        progress.Erase();
    if (!outputFailed_ && !streams.Out(bytes))
        outputFailed_ = true;
}

void Call::Tell(std::string_view line) {
    if (!options.Quiet)
        TellAnyway(line);
}

void Call::TellAnyway(std::string_view line) {
    progress.Erase();
    streams.Error(fmt::format("{}\n", line)); // nobody could be told of a failure
}

bool Call::End(Verdict verdict, std::string reason) {
    report.End(verdict, std::move(reason));
    return false;
}

bool Call::MustEnd() {
    switch (platform::WhyEndRequested()) {
    case platform::EndReason::None:
        break;
    case platform::EndReason::Signal:
        End(Verdict::Interrupted, "A signal ended the call.");
        break;
    case platform::EndReason::TimeLimit:
        End(Verdict::TimedOut, fmt::format("The time limit of {} s is over.", options.Timeout.value_or(0)));
        break;
    }
    if (StreamIsBroken())
        FailWithoutOutput();
    return Ended();
}

bool Call::Wait(const std::function<bool()>& done, std::int64_t milliseconds) {
    if (options.Timeout) { // the end of the time limit wakes nobody
        const std::int64_t limit = start_ + std::llround(*options.Timeout * NANOSECONDS);
        const std::int64_t left = (limit - platform::QueryPerformanceCounter()) / 1'000'000 + 1;
        milliseconds = std::clamp<std::int64_t>(left, 0, milliseconds);
    }
    const auto stopped = [this] { return platform::EndRequested() || StreamIsBroken(); };
    platform::CurrentWindowSystem().RunUntil([&] { return done() || stopped(); }, milliseconds);
    if (stopped())
        MustEnd();
    return done() && !stopped();
}

void Call::FailWithoutOutput() {
    if (outputFailed_)
        report.Spoil("Standard output can't be written.");
}

int Call::Finish() {
    MustEnd();
    FailWithoutOutput();
    progress.Erase();
    report.Seconds = static_cast<double>(platform::QueryPerformanceCounter() - start_) / NANOSECONDS;
    WriteJUnit();
    if (options.AsJson)
        Write(Dump(ToJson(report), streamed ? -1 : 2) + "\n");
    FailWithoutOutput();
    TellVerdict();
    return static_cast<int>(report.Concluded());
}

bool Call::CanWriteJUnit() {
    if (options.JUnit.empty())
        return true;
    std::error_code error;
    const std::filesystem::path folder = std::filesystem::path(options.JUnit).parent_path();
    if (std::filesystem::is_directory(folder, error) && platform::MayWrite(folder) &&
        !std::filesystem::is_directory(options.JUnit, error))
        return true;
    writesJUnit_ = false;
    return End(Verdict::Refused, fmt::format("The JUnit file \"{}\" can't be created.", options.JUnit));
}

void Call::WriteJUnit() {
    if (options.JUnit.empty() || !writesJUnit_)
        return;
    const std::string xml = ToJUnit(report);
    platform::Attempt([&] { platform::WriteFileAtomically(options.JUnit, ByteArray(xml.begin(), xml.end())); },
                      [&](const platform::Failure& failure) {
                          const std::string reason = fmt::format("The JUnit file \"{}\" can't be written: {}",
                                                                 options.JUnit, failure.Description);
                          if (report.Concluded() == Verdict::Done)
                              report.Spoil(reason);
                          else
                              TellAnyway("hoistline: " + Printable(reason));
                      });
}

void Call::TellVerdict() {
    const Verdict verdict = report.Concluded();
    if (verdict == Verdict::Done && (!showsVerdict || options.Quiet))
        return;
    const bool colour = streams.ErrorTakesColour && !options.NoColor;
    const std::string program = report.Command.empty() ? "hoistline" : "hoistline " + report.Command;
    std::string line = fmt::format("{}: {}", program, colour ? Coloured(verdict) : WordOf(verdict));
    if (verdict == Verdict::Interrupted && streams.ErrorIsTerminal)
        line.insert(0, 1, '\n'); // after the "^C" that the terminal shows
    if (verdict != Verdict::Done && !report.Reason.empty())
        line += ": " + Printable(report.Reason);
    TellAnyway(line);
}

std::string Printable(std::string text) {
    std::replace_if(
        text.begin(), text.end(), [](unsigned char c) { return c < ' ' || c == 0x7F; }, '?');
    return text;
}

std::string AsciiOnly(std::string_view text) {
    std::string ascii;
    for (const char c : text) {
        const auto byte = static_cast<unsigned char>(c);
        if (byte < 0x80 || byte >= 0xC0) // the others continue a character
            ascii += byte < 0x80 ? c : '?';
    }
    return ascii;
}

} // namespace cli
