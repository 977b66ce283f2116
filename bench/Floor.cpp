// floor BUS ARGUMENT...: a call of hoistline on the virtual clock, on the bus that the file BUS describes. Prints the
// milliseconds of settling, transactions and the protocol's pauses, which no program can beat.
#include "HeadlessProgram.h"
#include "Run.h"

#include <fmt/format.h>

#include <fstream>
#include <iterator>

int main(int argc, char** argv) {
    if (argc < 3)
        return 2;
    std::ifstream file(argv[1]);
    const std::string bus{std::istreambuf_iterator<char>(file), {}};
    testing_support::HeadlessProgram program(bus, LEVEL_ERROR);
    testing_support::HeadlessProgram::ResetGlobals();
    cli::Streams streams;
    streams.Out = streams.Error = [](std::string_view) { return true; };
    const std::int64_t start = program.clock.Now();
    const int code = cli::Run({argv + 2, argv + argc}, streams);
    fmt::print("{:.1f}\n", static_cast<double>(program.clock.Now() - start) / 1e6);
    return code;
}
