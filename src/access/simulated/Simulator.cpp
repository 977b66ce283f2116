// The functions of Simulator.h. No exception crosses them.
#pragma GCC visibility push(default) // the only symbols that the library exports
#include "Simulator.h"
#pragma GCC visibility pop

#include "Library.h"

#include <algorithm>
#include <exception>

using namespace simulator;

void SimulatorUseClock(const SimulatorClock* clock) {
    std::unique_ptr<Clock> old;
    {
        const std::lock_guard lock(globals.mutex);
        CloseBus();
        old = std::move(globals.clock);
        UseCallersClock(clock);
    }
    // A real clock's thread ends here, while it can still take the lock.
}

static int32_t Try(bool (*describe)(const char*, const char*), const char* json, const char* baseDirectory) {
    const std::lock_guard lock(globals.mutex);
    try {
        return describe(json, baseDirectory) ? 1 : -1;
    } catch (const std::exception& failure) {
        globals.lastError = failure.what();
        return -1;
    }
}

int32_t SimulatorDescribe(const char* json, const char* baseDirectory) {
    return Try(Describe, json, baseDirectory);
}

int32_t SimulatorCheck(const char* json, const char* baseDirectory) {
    return Try(CheckDescription, json, baseDirectory);
}

const char* SimulatorLastError(void) {
    return globals.lastError.c_str();
}

const char* SimulatorDescription(void) {
    return globals.descriptionText.c_str();
}

void SimulatorBusReset(void) {
    const std::lock_guard lock(globals.mutex);
    if (globals.bus != nullptr)
        globals.bus->Reset();
}

static void SetPlugged(uint32_t node, bool plugged) {
    const std::lock_guard lock(globals.mutex);
    if (globals.bus != nullptr)
        globals.bus->SetPlugged(node, plugged);
}

void SimulatorUnplug(uint32_t node) {
    SetPlugged(node, false);
}

void SimulatorPlug(uint32_t node) {
    SetPlugged(node, true);
}

uint64_t SimulatorTransactions(void) {
    const std::lock_guard lock(globals.mutex);
    return globals.bus == nullptr ? 0 : globals.bus->Transactions();
}

static void AddFault(const FaultDescription& fault) {
    const std::lock_guard lock(globals.mutex);
    if (globals.bus != nullptr)
        globals.bus->AddFault(fault);
}

void SimulatorResetAfter(uint64_t transactions) {
    FaultDescription fault;
    fault.action = FaultAction::BusReset;
    fault.afterTransactions = transactions;
    fault.standalone = true;
    AddFault(fault);
}

void SimulatorFailNext(uint64_t skip, uint64_t count, int32_t result) {
    FaultDescription fault;
    fault.skip = skip;
    fault.count = count;
    fault.code = result;
    AddFault(fault);
}

int64_t SimulatorSection(uint32_t node, const char* section, uint8_t* data, uint64_t size) {
    const std::lock_guard lock(globals.mutex);
    const Target* target = globals.bus == nullptr ? nullptr : globals.bus->TargetAt(node);
    const auto name = std::find(SECTION_NAMES.begin(), SECTION_NAMES.end(), std::string_view(section));
    if (target == nullptr || name == SECTION_NAMES.end())
        return -1;
    const Bytes& content = target->SectionOf(static_cast<ImageType>(name - SECTION_NAMES.begin())).content;
    std::copy_n(content.begin(), std::min<uint64_t>(size, content.size()), data);
    return static_cast<int64_t>(content.size());
}
