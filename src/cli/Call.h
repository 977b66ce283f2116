// One call of the program, from its command line to its verdict.
#pragma once

#include "Progress.h"
#include "Report.h"

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

namespace cli {

// Where the output goes. False when it can't be written.
struct Streams {
    std::function<bool(std::string_view text)> Out, Error;
    int In = -1; // a descriptor, since a console's input is awaited together with its output
    bool InIsTerminal = false, OutIsTerminal = false, ErrorIsTerminal = false;
    bool ErrorTakesColour = false;     // also by TERM; a line can be redrawn then
    std::function<int()> ErrorColumns; // its width; 0 or empty when it isn't known
};

enum class ProgressStyle { Auto, Lines, None }; // Lines: of JSON

// The options of all commands.
struct CommonOptions {
    bool AsJson = false, Quiet = false, NoColor = false;
    int Verbose = 0;               // 1: WARNING and above, 2: TRACE, 3: everything
    std::optional<double> Timeout; // seconds, of the whole call
    std::string JUnit;             // a file, or empty
    std::string Bus;               // as bas1394::ParseBus takes it; "" for the default
    std::string Record;            // a file that what happens on the bus is written to, or empty
    bool Redacts = false;          // images, keys and GUIDs in it are replaced
    ProgressStyle Progress = ProgressStyle::Auto;
};

class CommandFrontEnd;

class Call {
public:
    Call(CommonOptions options, Streams streams, std::string command);
    Call(const Call&) = delete;
    Call& operator=(const Call&) = delete;

    // --- Output. Untrusted text goes through Printable first. ---

    // A line of the answer on standard output; nothing with --json, since the answer is in the record then.
    void Print(std::string_view line);
    // A line of a stream of JSON documents (list --watch, log --follow, shell); flushed. The record is the last one.
    void PrintEvent(const Json& event);
    // Bytes of a device, or a document, as they are.
    void Write(std::string_view bytes);
    // A line for a person on standard error: what happens, a prompt. Nothing with --quiet.
    void Tell(std::string_view line);
    // The same for what has to be seen.
    void TellAnyway(std::string_view line);
    [[nodiscard]] bool WantsLines() const { return !options.AsJson; }

    // --- The end ---

    // False; the first end holds.
    bool End(Verdict verdict, std::string reason = {});
    [[nodiscard]] bool Ended() const { return report.Outcome.has_value(); }
    // Ends the call when a signal or the time limit asks for it, and a stream that nobody takes any more; true when it
    // has ended, however.
    bool MustEnd();
    // Turns of the message loop until `done` (true), or until that much time has passed or something must end the call
    // (false). Also waits after the verdict: a device may have to be brought back.
    [[nodiscard]] bool Wait(const std::function<bool()>& done, std::int64_t milliseconds);
    // Before the work: false ends the call as "refused", since the JUnit file couldn't be created afterwards.
    [[nodiscard]] bool CanWriteJUnit();
    // Writes what is still owed (record, JUnit file, verdict line). The exit code.
    int Finish();

    const CommonOptions options;
    const Streams streams;
    Report report;
    Progress progress;                   // of a load, on standard error
    CommandFrontEnd* frontEnd = nullptr; // once the bus or the store is in use
    bool showsVerdict = false;           // also a verdict of "done" has its line
    bool answerStandsAlone = false;      // it is bytes or one value, and no line of ours may come before it
    bool streamed = false;               // output is its purpose; the record is the last of several documents

private:
    [[nodiscard]] bool StreamIsBroken() const { return streamed && outputFailed_; }
    void FailWithoutOutput();
    void WriteJUnit();
    void TellVerdict();

    std::int64_t start_;
    bool outputFailed_ = false, writesJUnit_ = true;
};

// Text of a device or a file, safe for a terminal: control characters become "?".
std::string Printable(std::string text);
// For a terminal without UTF-8: each character beyond ASCII becomes "?".
std::string AsciiOnly(std::string_view text);

} // namespace cli
