// A terminal's log file: the device's output, unchanged, with marks where the bus was reset or characters were lost.
#pragma once

#include "Files.h"

#include <string>

class ShellLog {
public:
    // Opens the file, appending to an existing one. Raises a failure if it can't be written.
    ShellLog(std::string path, bool timestamps);
    const std::string& path() const { return path_; }
    void setTimestamps(bool timestamps) { timestamps_ = timestamps; }
    void Write(const ByteArray& data);
    // A line of its own: "--- 2026-11-24 15:30:00 bus reset ---".
    void Mark(const std::string& what);

    // "shell-logs/000F1B0000000001_20261124-153000.log" below the program directory, from a GUID in hex.
    static std::string PathFor(const std::string& guid);

private:
    std::string path_;
    platform::OutputFile file_;
    bool timestamps_;
    bool atLineStart_ = true;
};
