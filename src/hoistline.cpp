// The command line: real streams, the message loop, and one call.

#include "EndRequest.h"
#include "EventLoop.h"
#include "Run.h"
#include "StandardStreams.h"

#include <cstdlib>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

namespace {

bool TakesColour() {
    const char* terminal = std::getenv("TERM");
    return terminal != nullptr && *terminal != '\0' && std::string_view(terminal) != "dumb";
}

// A descriptor as an output. A pipe or a file always gets UTF-8, a terminal what it can show.
std::function<bool(std::string_view)> OutputTo(int descriptor, bool isTerminal) {
    if (isTerminal && !platform::LocaleIsUtf8())
        return [descriptor](std::string_view text) { return platform::WriteTo(descriptor, cli::AsciiOnly(text)); };
    return [descriptor](std::string_view text) { return platform::WriteTo(descriptor, text); };
}

} // namespace

int main(int argc, char** argv) {
    platform::OpenStandardStreams();
    platform::CatchEndSignals();
    const platform::EventLoop loop;
    cli::Streams streams;
    streams.In = STDIN_FILENO;
    streams.InIsTerminal = isatty(STDIN_FILENO) != 0;
    streams.OutIsTerminal = isatty(STDOUT_FILENO) != 0;
    streams.ErrorIsTerminal = isatty(STDERR_FILENO) != 0;
    streams.ErrorTakesColour = streams.ErrorIsTerminal && TakesColour();
    streams.Out = OutputTo(STDOUT_FILENO, streams.OutIsTerminal);
    streams.Error = OutputTo(STDERR_FILENO, streams.ErrorIsTerminal);
    streams.ErrorColumns = [] { return platform::ColumnsOf(STDERR_FILENO); };
    return cli::Run({argv + 1, argv + argc}, streams);
}
