// Examples of each command, for its help and its manual page.
#include "Description.h"

namespace cli {

const std::vector<Example> EXAMPLES = {
    {"", "hoistline list", "what is on the bus"},
    {"", "hoistline load app.twd 000F1B0000000001 --junit load.xml", "a package into a device, with a record for CI"},
    {"list", "hoistline list --all --json", "every node, for a script"},
    {"list", "hoistline list --watch --timeout 60", "arrivals and departures of a minute"},
    {"load", "hoistline load app.twd", "into the only device"},
    {"load", "hoistline load --only application --timeout 120 app.twd 000F1B0000000001",
     "its application, in two minutes at most"},
    {"info", "hoistline info '#2'", "what is known of the device at node 2"},
    {"verify", "hoistline verify --reset app.twd", "exit code 9 when the device holds something else"},
    {"crc", "hoistline crc --json", "the CRC of each image, for a script"},
    {"reset", "hoistline reset --into bootloader 000F1B0000000001", "until it is reset again"},
    {"bus-reset", "hoistline bus-reset", "all nodes are numbered anew"},
    {"rom", "hoistline rom --check '#2'", "the config ROM of node 2, and what is wrong with it"},
    {"rom", "hoistline rom --save rom.bin 000F1B0000000001", "also into a file, which \"hoistline rom rom.bin\" shows"},
    {"identity", "hoistline identity --guid 000F1B0000000009 --mac 0000A1B2C3D4 --dry-run", "what would be written"},
    {"key get", "hoistline key get MODEL 000F1B0000000001", "a key's value"},
    {"settings list", "hoistline settings list", "all settings"},
    {"package pack", "hoistline package pack --image1 app.bin --image1-address 0x20000000 --hardware-id 17 app.twd",
     "a package with an application"},
    {"package show", "hoistline package show app.twd --json", "what is in a package"},
    {"package check", "hoistline package check app.twd", "exit code 6 when it has a fault"},
    {"package unpack", "hoistline package unpack app.twd image1 app.bin", "the application's bytes"},
    {"record show", "hoistline record show load.twr", "what happened on the bus in a load with --record load.twr"},
    {"record to-bus", "hoistline record to-bus load.twr -o failure.json",
     "a bus on which it happens again: hoistline load app.twd --bus simulated:failure.json"},
    {"record redact", "hoistline record redact load.twr -o to-send.twr", "without images, keys and GUIDs"},
    {"log", "hoistline log --level error --since 2h", "what went wrong in the last two hours"},
    {"doctor", "hoistline doctor", "why no device of a real bus is found"},
    {"doctor", "hoistline doctor --install-rule", "as root: lets users work with adapters and devices"},
    {"doctor", "hoistline doctor --measure --json '#2'", "how long reads of node 2 take, for a script"},
    {"completion", "hoistline completion bash > ~/.local/share/bash-completion/completions/hoistline",
     "for your own account"},
};

} // namespace cli
