// Where a program that was started from a network share finds its local data.
#pragma once

#include <functional>
#include <string>

namespace basApp {

// The file system, as the choice needs it.
struct DirectoryCalls {
    std::function<bool(const std::string& path)> exists;
    std::function<void(const std::string& path)> change; // failure 76 when there is no such folder
};

// The current directory becomes `programDirectory`, or, when that is on a network share (begins
// with two backslashes), the first local install: the candidates in order, each on C to Z.
void EnterWorkingDirectory(const std::string& programDirectory, const DirectoryCalls& calls);

} // namespace basApp
