// A bus description, checked and completed. The format: docs/simulated-bus.md.
#pragma once

#include "WireBytes.h"

#include <array>
#include <map>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

namespace simulator {

enum class NodeKind { Target, Device, Debugger, Off, Host };

inline constexpr std::uint32_t PROTOCOL_BIG_ENDIAN = 0x2000000;

// The image types of the download commands.
enum ImageType : std::uint8_t { APPLICATION = 0, CONFIG = 1, DEBUGGER = 2, BOOTLOADER = 3 };
inline constexpr std::array<const char*, 4> SECTION_NAMES = {"application", "config", "debugger", "bootloader"};

struct ImageIdentity {
    std::uint32_t id = 0;
    std::uint32_t version = 0;
    EightBytes date{}; // ASCII digits YYYYMMDD
    EightBytes time{}; // ASCII digits HHMMSS, two padding bytes
};

using KeyTable = std::map<std::string, Bytes>;

struct NodeDescription {
    NodeKind kind = NodeKind::Off;
    EightBytes guid{};
    std::uint32_t protocol = 1;
    bool startsInBootloader = false;
    std::string vendor, model;
    Bytes romImage;             // big-endian; empty if the ROM is generated
    std::uint32_t vendorId = 0; // in the minimal ROM of a node under the debugger
    std::uint32_t hardwareModelId = 0;
    std::uint32_t hardwareVersion = 0;
    std::array<ImageIdentity, 4> images; // by ImageType
    std::uint32_t maxBlockSize = 0;      // bytes; any 32-bit value
    std::int64_t eraseMs = 0, checkMs = 0, rebootMs = 0, answerMs = 0;
    bool announce = false;
    KeyTable keys;
    std::string shellBanner;
    std::uint32_t shellRing = 0; // characters, a power of two
};

enum class FaultAction { Result, Status, BusReset, Corrupt, BadCrc, Unplug, Plug, Vanish, Silence };

struct FaultDescription {
    std::optional<std::uint32_t> node; // index in nodes
    std::optional<bool> isWrite;
    std::optional<std::uint64_t> address;
    std::optional<std::uint8_t> command;
    std::uint64_t afterTransactions = 0;
    std::uint64_t skip = 0;
    std::uint64_t count = 1;
    FaultAction action = FaultAction::Result;
    std::int32_t code = 0;   // of Result and Status
    bool standalone = false; // happens between two transactions
};

struct BusDescription {
    std::int64_t transactionMicroseconds = 125;
    std::string stateDirectory; // absolute; empty keeps the state in memory
    std::string traceFile;      // absolute; empty writes none
    bool virtualDevice = true;
    std::vector<NodeDescription> nodes; // exactly one host among them
    std::vector<FaultDescription> faults;
};

// what() is "<path in the document>: <reason>".
struct DescriptionError : std::runtime_error {
    DescriptionError(const std::string& path, const std::string& reason)
        : std::runtime_error((path.empty() ? "/" : path) + ": " + reason) {}
    explicit DescriptionError(const std::string& reason) : std::runtime_error(reason) {} // of no place in the document
};

// Relative paths in the text are relative to baseDirectory. Throws DescriptionError.
BusDescription ParseDescription(const std::string& json, const std::string& baseDirectory);
// The bus that is used without a description.
const char* DefaultBus();
// A bus of this computer only.
BusDescription EmptyBus();

} // namespace simulator
