// What the conformance suite needs of a bench: an access library on a bus of three nodes, and hands on that bus.
//
// Node 0 is a target in its bootloader that announces itself when it is plugged in (it writes 8 bytes to 0xFFFFC8029000
// of this computer), node 1 another device with a config ROM, node 2 this computer. A library for other hardware needs
// a bench of its own, and passes the same suite.
#pragma once

#include "LibraryUnderTest.h"

#include <functional>
#include <memory>
#include <ostream>
#include <string>
#include <vector>

namespace testing_support {

class ConformanceBench {
public:
    virtual ~ConformanceBench() = default;
    virtual const Operations& Library() = 0;
    // No client is registered yet. Each returns at once; Settle lets what follows from it happen.
    virtual void ResetBus() = 0; // by somebody else
    virtual void Unplug(std::uint32_t node) = 0;
    virtual void Plug(std::uint32_t node) = 0;
    virtual void Silence() = 0; // the next read of node 0 is acknowledged and never answered
    // Waits until nothing is under way any more: about two seconds of a real bus.
    virtual void Settle() = 0;
};

// A bench, new for each case.
struct BenchMaker {
    std::string name;
    std::function<std::unique_ptr<ConformanceBench>()> make;
};
inline void PrintTo(const BenchMaker& maker, std::ostream* stream) {
    *stream << maker.name;
}
const std::vector<BenchMaker>& Benches();

} // namespace testing_support
