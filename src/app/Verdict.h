// The outcome of an operation and the state in which it left its device, as values for a front end. The messages say
// the same in words.
#pragma once

#include "FileName.h"

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace basApp {

enum class FlashState {
    Unchanged, // nothing has been erased
    Identical, // the device's own CRC confirmed what was sent
    Damaged,   // the erase began and the load didn't end well
    Unknown    // whether the erase began isn't known
};

enum class OutcomeKind {
    Pending,     // not ended, or not begun
    Done,        // all that was asked
    NoDevice,    // none, or not the one that was named
    Ambiguous,   // several, and none was named
    Refused,     // bad input, or input that doesn't fit the device; nothing was written
    Unchanged,   // failed before the device was changed
    Damaged,     // failed after an erase began, or may have begun
    Failed,      // any other failure, also one that leaves part of the work done
    Interrupted, // ended by a signal or by the user
    Unconfirmed, // of a step only: the device didn't answer, and need not; the run goes on
};

enum class OperationKind {
    None, // an option that asks for nothing this version can do
    Reset,
    InitializeParameters,
    ProgramGuid,
    ProgramMac,
    Load,
    FactoryDefaults,
    StartApplication,
    ReadKey,
    WriteKey,
};

struct StepVerdict {
    OperationKind Operation = OperationKind::None;
    std::int32_t Handle = 0; // of the device, below 1 for none
    std::array<std::uint8_t, 8> Guid{};
    platform::FileName File;     // the package, or the file that a value came from; may be empty
    std::string Key;             // the name of a key
    std::int32_t ImageType = -1; // of a load; -1 otherwise
    OutcomeKind Outcome = OutcomeKind::Pending;
    FlashState Flash = FlashState::Unchanged; // changed by loads only
    std::int32_t Result = -1;                 // the required result code, 1 for success
    std::int64_t Sent = 0, Length = 0;        // bytes of a section or a value
    std::optional<std::uint32_t> PackageCrc, DeviceCrc;
    std::string Reason;             // why it isn't done, as one sentence
    std::int64_t Milliseconds = -1; // that it took; -1 when nobody measured
};

struct RunVerdict {
    OutcomeKind Outcome = OutcomeKind::Pending;
    std::int32_t Result = 0; // of the last pass or key batch
    std::string Reason;      // of an end that no step explains
    std::vector<StepVerdict> Steps;

    [[nodiscard]] FlashState Flash() const; // over all loads
    // Sets an outcome that the steps don't show; the first one holds. A failure after a step that has written
    // something is never "unchanged" or "refused".
    void End(OutcomeKind outcome, std::string reason);
    // Draws the outcome from the steps, unless End has set one.
    void Conclude();
};

} // namespace basApp
