// A call of the program in this process, on a simulated bus and the virtual clock.
#pragma once

#include "HeadlessProgram.h"
#include "Run.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

namespace testing_support {

class CommandTest : public testing::Test {
protected:
    // The bus of the calls that follow, and a program directory of their own.
    void UseBus(const std::string& description) {
        program.reset();
        program = std::make_unique<HeadlessProgram>(description, LEVEL_ERROR);
    }
    // The exit code; what the call wrote is in `out` and `error`, and the line that names the bus in `busLine`.
    int Call(const std::vector<std::string>& arguments);
    // The same with --json, whose one document is returned.
    cli::Json Record(std::vector<std::string> arguments);

    std::unique_ptr<HeadlessProgram> program;
    std::string out, error, busLine;
    bool outputWorks = true, outIsTerminal = false, inIsTerminal = false, errorIsTerminal = false;
    int input = -1;
};

} // namespace testing_support
