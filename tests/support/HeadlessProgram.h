// The whole program without its windows: its layers joined as in the program, the loaded access library (the simulated
// bus), a program directory of its own, and the virtual clock.
#pragma once

#include "Bytes.h"
#include "ManualWindowSystem.h"
#include "Program.h"
#include "ScriptedDialogs.h"
#include "Simulator.h"
#include "TestFolder.h"
#include "VirtualClock.h"

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

namespace testing_support {

struct Message {
    std::int32_t level;
    std::string text;
};

// Keeps its messages and lines in place of printing them.
class HeadlessProgram : public program::PlainFrontEnd {
public:
    // `bus` is the description; messages of `lowestLevel` and above are kept. A program that keeps
    // only errors has no database: hundreds of runs in a row would wait for the disk.
    explicit HeadlessProgram(const std::string& bus, std::int32_t lowestLevel = 5);
    ~HeadlessProgram() override;
    static void ResetGlobals(); // of all modules, as when the program starts

    // A file of the program directory, with its folders.
    void Write(const std::string& name, const ByteArray& bytes) const;
    void Write(const std::string& name, const std::string& text) const;
    std::string Read(const std::string& name) const { return directory.Content(name); }

    // From Main until the program has ended. False if it is still running after that much bus time.
    bool Run(const std::string& commandLine, std::int64_t limitMilliseconds = 600'000);

    // The message loop for that much bus time.
    void Pass(std::int64_t milliseconds) {
        windowSystem.RunUntil([] { return false; }, milliseconds);
    }

    std::vector<std::string> Told() const;    // texts of all messages and dialogs
    bool Said(const std::string& part) const; // one of them holds this text
    // The requests that crossed the bus, in order, in hex from their command code on.
    std::vector<std::string> RequestsSent() const;
    // Those after the first `from` that change a device or make it leave the bus, by name, GUID and MAC with their
    // operands: "reset start block*3 end guid(3322110077665544) run"; "run" starts an image.
    std::string Changes(std::size_t from = 0) const;
    std::vector<std::string> WrittenTo(const std::string& address) const; // in hex, "0xffffc8021040"
    ByteArray Flash(std::uint32_t node, const char* section) const;

    // What is recorded and replayed has the times of `clock`.
    void ShareClockWithRecords();

    TestFolder directory;
    platform::testing::VirtualClock clock;
    platform::testing::ManualWindowSystem windowSystem;
    platform::testing::ScriptedDialogs dialogs;
    std::vector<Message> messages;
    std::vector<std::string> standardOutput, standardError;
    std::string signalAt;       // a line of standard output with this text triggers the signal to end
    std::size_t nodesAtEnd = 0; // in the node table, once the bus has settled after the run

    std::int32_t lostCharacters = 0;                        // of consoles, as reported
    std::function<void(std::string_view text)> eachMessage; // as it comes

    void Keep(std::string_view message, std::int32_t level);

    void PostToStatusWindow(std::size_t slot, std::string_view message, float elapsedTime, std::int32_t level,
                            std::string_view module) override;
    void Print(std::string_view line) override;
    void PrintError(std::string_view line) override { standardError.emplace_back(line); }
    void ShellCharactersLost(std::int32_t, std::int32_t count) override { lostCharacters += count; }
    void EndRun() override;
    void EndProgram() override { ended_ = true; }

private:
    void LetBusSettle();

    bool ended_ = false;
};

// A target's description; `extra` is further members, each after a comma.
std::string Target(const std::string& guid, const std::string& mode, const std::string& extra = {});
// A bus of these nodes and this computer.
std::string Bus(const std::vector<std::string>& nodes, const std::string& faults = {});
// A package for the targets above.
ByteArray Package(const ByteArray& image, const ByteArray& cne = {});

} // namespace testing_support
