// The record of a call: what was asked, what happened to the device, and the answer.
#pragma once

#include "CallVerdict.h"
#include "Verdict.h"

#include <nlohmann/json.hpp>

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace cli {

using Json = nlohmann::ordered_json;

inline constexpr const char* SCHEMA = "hoistline/1"; // docs/hoistline.schema.json

// Something that was asked of one device.
struct Step {
    std::string Operation; // "load", "reset", "crc"
    std::string Subject;   // what of it: "application", the name of a key; may be empty
    std::string Guid;      // of the device, 16 digits; empty without one
    Verdict Outcome = Verdict::Failed;
    bool Confirmed = true; // false: the device didn't answer, and need not
    std::string Reason;    // why it isn't done, as one sentence
    std::optional<std::int64_t> Bytes, Length;
    std::optional<std::uint32_t> PackageCrc, DeviceCrc;
    std::optional<double> Seconds;

    [[nodiscard]] std::optional<double> Rate() const; // of a whole load, erase and check included, in kB/s (k = 1000)
};

struct LoggedMessage {
    std::int32_t level;
    std::string module, text;
};

// What is known of the call's device.
struct DeviceSummary {
    std::string Guid, Vendor, Model;
    int Node = -1;
    std::string Mode = "unknown"; // in which it was left: "application", "bootloader", "unknown"
};

struct Report {
    std::string Command;
    std::optional<Verdict> Outcome; // none while the call goes on
    std::string Reason;             // why it isn't done, as one sentence
    std::string BusKind, BusDescription, BusReason;
    std::optional<DeviceSummary> Device;
    std::vector<Step> Steps;
    basApp::FlashState Flash = basApp::FlashState::Unchanged;
    double Seconds = 0; // of the whole call
    std::vector<LoggedMessage> Messages;
    Json Answer; // what the command found out; null without an answer

    // The first end holds.
    void End(Verdict verdict, std::string reason = {});
    // Takes "done" back; any other end is worse news and holds.
    void Spoil(std::string reason);
    // Adds the steps of a run, and draws flash and verdict from them. One that is done doesn't end the call: its device
    // may have to be started.
    void Take(const basApp::RunVerdict& run);
    [[nodiscard]] Verdict Concluded() const { return Outcome.value_or(Verdict::Done); }
};

// "application", "config", "debugger", "bootloader"; null for no image.
const char* NameOfImage(std::int32_t imageType);
std::string GuidText(std::span<const std::uint8_t> guid); // 16 digits
std::string CrcText(std::uint32_t crc);                   // 0x0123ABCD, also of an address
std::string HexText(std::int32_t value);                  // 0x1A
Step StepFrom(const basApp::StepVerdict& verdict);
// The whole record by the schema.
Json ToJson(const Report& report);
// One document; bytes that aren't UTF-8 become U+FFFD. Negative indent: on one line.
std::string Dump(const Json& json, int indent);
// A test suite with a case for each step, for a JUnit reader.
std::string ToJUnit(const Report& report);

} // namespace cli
