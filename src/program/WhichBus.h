// Which bus the program works on, for its windows and its command line alike.
#pragma once

#include "BusChoice.h"

#include <cstdint>
#include <string>

namespace program {

inline constexpr const char* BUS_VARIABLE = "HOISTLINE_BUS"; // of the environment

// What has decided, in the order of their rank.
enum class BusReason : std::uint8_t { Option, Variable, Setting, DescriptionFile, Adapter, NoAdapter };

struct WhichBus {
    bas1394::BusChoice Choice;
    BusReason Reason = BusReason::NoAdapter;
    std::string Fault = {}; // what was named is no bus, as a sentence. Then there is none
};

// The first of --bus, HOISTLINE_BUS and the stored setting that isn't empty; else the simulated bus if
// simulated-bus.json lies beside the program; else the kernel's, also on a machine without an adapter: a simulated bus
// that nobody has asked for would let a load succeed that reaches no device.
WhichBus DecideBus(const std::string& option, const std::string& variable, const std::string& setting);

const char* NameOf(BusReason reason);     // "description-file"
std::string BusText(const WhichBus& bus); // "the simulated bus (named by --bus)"
// What keeps this machine from its real bus, and what mends it; "" if no check finds anything.
std::string WhyNoBus();

// A file in it gets a whole path, by the current directory.
std::string CallersBus(const std::string& bus);
// Why it can't be stored, as the end of "because ..."; "" when it can.
std::string StoredBusFault(const std::string& bus);

} // namespace program
