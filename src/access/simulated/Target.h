// A device with a Tarnwell bootloader: its two modes and its commands.
#pragma once

#include "Flash.h"
#include "InfoRegisters.h"
#include "KeyStore.h"
#include "RomBehaviour.h"
#include "Session.h"
#include "ShellConsole.h"
#include "StateDirectory.h"
#include "Surroundings.h"

#include <memory>

namespace simulator {

// What a fault does to the next request.
struct RequestFault {
    bool badCrc = false;
    std::optional<std::int32_t> blockStatus;
};

class Target {
public:
    Target(const NodeDescription& description, Surroundings surroundings, StateDirectory store);
    Target(const Target&) = delete;
    Target& operator=(const Target&) = delete;

    // Starts in the mode of the previous run.
    void PowerUp();
    Behaviour& Rom() { return rom_; }
    Behaviour& Registers() { return registers_; }
    Session& Requests() { return session_; }
    const Section& SectionOf(ImageType type) const { return state_.sections[type]; }
    void SetFault(const RequestFault& fault) { fault_ = fault; }
    void Vanish() { vanishes_ = true; } // doesn't return from its next reset

private:
    friend struct TargetCommands; // the commands

    Session::Hooks SessionHooks();
    ShellConsole::Settings ConsoleSettings() const;
    ShellConsole::Hooks ConsoleHooks();
    Bytes CurrentRom() const;
    std::optional<Answer> Execute(const Request& request);
    bool VersionFits(const Request& request) const;
    // A text for the console, which looks for it a moment later; the next write may come first.
    void TakeDirectWrite(ByteView requestBuffer);
    void TypeIntoConsole(ByteView requestBuffer);
    // Leaves the bus a moment later and returns in the requested mode.
    void Restart(bool intoBootloader);
    void Announce();

    const NodeDescription description_;
    const Surroundings surroundings_;
    StateDirectory store_;
    TargetState state_;
    Flash flash_;
    KeyStore keys_;
    ShellConsole console_;
    Session session_;
    InfoRegisters registers_;
    RomBehaviour rom_;
    RequestFault fault_;
    bool restarting_ = false;
    bool vanishes_ = false;
    bool awaitsHalt_ = false;
    std::uint32_t life_ = 0;          // number of starts
    std::uint32_t textRemaining_ = 0; // of a console text that arrives in chunks
    std::uint32_t textLength_ = 0;
    std::optional<Bytes> directWrite_; // not yet examined
};

} // namespace simulator
