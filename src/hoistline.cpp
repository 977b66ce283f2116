// The command line: real streams, the message loop, and one call.

#include "EndRequest.h"
#include "EventLoop.h"
#include "Run.h"
#include "StandardStreams.h"

#include <cstdlib>
#include <string_view>
#include <vector>

namespace {

bool TakesColour() {
    const char* terminal = std::getenv("TERM");
    return terminal != nullptr && *terminal != '\0' && std::string_view(terminal) != "dumb";
}

} // namespace

int main(int argc, char** argv) {
    platform::OpenStandardStreams();
    platform::CatchEndSignals();
    const platform::EventLoop loop;
    cli::Streams streams;
    streams.Out = [](std::string_view text) { return platform::WriteTo(STDOUT_FILENO, text); };
    streams.Error = [](std::string_view text) { return platform::WriteTo(STDERR_FILENO, text); };
    streams.OutIsTerminal = isatty(STDOUT_FILENO) != 0;
    streams.ErrorIsTerminal = isatty(STDERR_FILENO) != 0;
    streams.ErrorTakesColour = streams.ErrorIsTerminal && TakesColour();
    return cli::Run({argv + 1, argv + argc}, streams);
}
