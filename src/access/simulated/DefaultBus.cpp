#include "BusDescription.h"

namespace simulator {

const char* DefaultBus() {
    return R"({
  "transactionMicroseconds": 125,
  "stateDirectory": "bus-state",
  "nodes": [
    {"kind": "target", "guid": "000F1B0000000001", "protocol": 1, "mode": "application",
     "vendor": "Tarnwell", "model": "TX-9", "hardwareModelID": 17, "hardwareVersion": "0x01000000",
     "application": {"id": "0x1234", "version": "0x01020304", "date": "20020831", "time": "152503"},
     "bootloader": {"version": "0x01000101", "date": "20020101", "time": "080000"},
     "debugger": {"id": 7, "version": 1, "date": "20020101", "time": "080000"},
     "eraseMs": 800, "checkMs": 100, "rebootMs": 600,
     "keys": {"MODEL": "TX-9", "SERIAL": "10000001"}},
    {"kind": "target", "guid": "000F1B0000000002", "protocol": 3, "mode": "bootloader",
     "vendor": "Tarnwell", "model": "TX-12", "hardwareModelID": 18, "hardwareVersion": "0x02000000",
     "application": {"id": "0x1235", "version": "0x02000001", "date": "20020915", "time": "101500"},
     "bootloader": {"version": "0x02000003", "date": "20020601", "time": "120000"},
     "debugger": {"id": 7, "version": 2, "date": "20020601", "time": "120000"},
     "eraseMs": 800, "checkMs": 100, "rebootMs": 600,
     "keys": {"MODEL": "TX-12", "SERIAL": "20000002", "BLOB": {"hex": "00ff10"}}},
    {"kind": "device", "guid": "00A0B00000000003", "vendor": "Brightwater Imaging", "model": "Camera 30"},
    {"kind": "debugger", "vendor": "0x000A27"},
    {"kind": "host"}
  ]
})";
}

BusDescription EmptyBus() {
    BusDescription bus;
    bus.nodes.emplace_back().kind = NodeKind::Host;
    return bus;
}

} // namespace simulator
