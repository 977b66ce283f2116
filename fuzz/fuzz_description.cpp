// Bus descriptions: the simulator accepts any text or reports what is wrong with it.

#include "Simulator.h"

#include <cstdint>
#include <string>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string text(reinterpret_cast<const char*>(data), size);
    // A description may name folders and files; fuzzing must not create any.
    for (const char* key : {"stateDirectory", "trace", "romImage"})
        if (text.find(key) != std::string::npos)
            return 0;
    if (SimulatorDescribe(text.c_str(), "/nonexistent") != 1 && SimulatorLastError()[0] == '\0')
        __builtin_trap();
    return 0;
}
