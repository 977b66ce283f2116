// The console of one device, as long as a call is connected to it.
#pragma once

#include "Bytes.h"
#include "Call.h"
#include "Files.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <string>

namespace cli {

// Where a console's characters go: standard output (text through the code page, or events with --json) and a log file
// (bytes).
class ShellOutput {
public:
    ShellOutput(Call& call, bool withTimestamps) : call_(call), withTimestamps_(withTimestamps) {}
    [[nodiscard]] bool OpenLog(const std::string& path); // appends; false: the call has ended
    void Write(const ByteArray& characters);

private:
    ByteArray Stamped(const ByteArray& characters);
    void WriteLog(const ByteArray& characters);

    Call& call_;
    bool withTimestamps_, atLineStart_ = true;
    std::unique_ptr<platform::OutputFile> log_;
};

class DeviceConsole {
public:
    DeviceConsole(Call& call, std::int32_t handle, ShellOutput& output);
    ~DeviceConsole();
    DeviceConsole(const DeviceConsole&) = delete;
    DeviceConsole& operator=(const DeviceConsole&) = delete;

    // Fetches what was printed since; true when something came. Tells of characters lost, and of a device that leaves
    // the bus or comes back.
    bool Poll();
    // The device is on the bus, and its node number is known.
    [[nodiscard]] bool IsThere() const;
    // Waits until it is. False: it isn't back in time, or the call must end.
    [[nodiscard]] bool Await();
    // The first of the characters that may go out in one write: a line at most, since a line may reset the device.
    // Removed from `characters` when they were taken. False, with the code, when they weren't.
    bool SendSome(ByteArray& characters, std::int32_t& code);

    std::function<void(const ByteArray& characters)> onOutput; // may be empty
    std::int64_t Quiet() const;                                // ms since the last output or input

private:
    bool IsOnBus() const;
    void NotePresence();
    void NoteAnswer(std::int32_t code);
    void TellLoss(std::int32_t count);
    void TellEvent(const char* event, const std::string& text);

    Call& call_;
    const std::int32_t handle_;
    ShellOutput& output_;
    bool wasOnBus_ = true;
    int failures_ = 0;      // reads in a row
    std::int32_t lost_ = 0; // during the read under way
    std::int64_t lastActivity_;
};

} // namespace cli
