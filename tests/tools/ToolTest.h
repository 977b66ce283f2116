// Runs a tool as a user or a script does, with its files, exit codes and output.
#pragma once

#include "TestFolder.h"

#include <gtest/gtest.h>
#include <sys/wait.h>

#include <cstdlib>

class ToolTest : public ::testing::Test {
protected:
    explicit ToolTest(const char* path) : tool(path) {}
    // The exit code; the output is in `said`.
    int Run(const std::string& arguments) {
        const std::string command = "cd '" + folder.path() + "' && '" + tool + "' " + arguments + " >said 2>&1";
        const int status = std::system(command.c_str());
        said = folder.Content("said");
        return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    }

    const std::string tool;
    TestFolder folder;
    std::string said;
};
