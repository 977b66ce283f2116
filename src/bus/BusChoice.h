// Which bus the program works on: an access library, and what it is told.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace bas1394 {

enum class BusKind { Simulated, Kernel, Library, Replay };

struct BusChoice {
    BusKind Kind = BusKind::Simulated;
    std::string Description; // after the colon: a bus description, a card, a library, a record; "" for its default

    bool operator==(const BusChoice&) const = default;
};

// What ParseBus takes, for messages.
inline constexpr const char* BUS_FORMS = "simulated, simulated:FILE, kernel, kernel:CARD, library:FILE or replay:FILE";

// One of BUS_FORMS. Empty for anything else.
std::optional<BusChoice> ParseBus(std::string_view text);
const char* NameOf(BusKind kind);            // "simulated"
std::string TextOf(const BusChoice& choice); // as ParseBus takes it

// What a record of the bus goes into.
struct RecordChoice {
    std::string File;     // "": nothing is recorded
    bool Redacts = false; // images, keys and GUIDs are replaced
};

} // namespace bas1394
