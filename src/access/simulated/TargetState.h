// The contents of a target's flash and persistent store.
#pragma once

#include "BusDescription.h"

namespace simulator {

struct Section {
    ImageIdentity identity;
    Bytes content;         // as loaded; empty for the described image
    std::uint32_t crc = 0; // CRC-32 of the content
    bool valid = false;    // can be started
};

struct TargetState {
    bool inBootloader = false;
    EightBytes guid{}; // most significant byte first, like the others
    EightBytes debugGuid{};
    EightBytes mac{};                // two bytes of 0, then the six of the address
    std::array<Section, 4> sections; // by ImageType
    KeyTable keys;
};

// The factory state: the described images count as good.
inline TargetState FactoryState(const NodeDescription& description) {
    TargetState state;
    state.inBootloader = description.startsInBootloader;
    state.guid = state.debugGuid = description.guid;
    for (const ImageType type : {APPLICATION, DEBUGGER, BOOTLOADER}) {
        state.sections[type].identity = description.images[type];
        state.sections[type].valid = true;
    }
    state.keys = description.keys;
    return state;
}

} // namespace simulator
