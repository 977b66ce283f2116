// The store and the bus, for one call. Each procedure that answers with a bool ends the call with its verdict and
// reason when it answers false.
#pragma once

#include "Call.h"
#include "CommandFrontEnd.h"
#include "WhichBus.h"
#include "WindowSystem.h"

#include <memory>

namespace cli {

// What a call opens; closing is its end.
class BusSession {
public:
    explicit BusSession(Call& call);
    ~BusSession();
    BusSession(const BusSession&) = delete;
    BusSession& operator=(const BusSession&) = delete;

    // Settings and log, without a bus.
    void OpenStore();
    // The store, and the bus read to its end, with its targets found.
    [[nodiscard]] bool OpenBus();

private:
    void StoreLogInBatches();
    void ReportBus(const program::WhichBus& bus);
    bool EndWithoutBus();
    bool ChooseRecord();
    void TellOfReplay();

    Call& call_;
    CommandFrontEnd frontEnd_;
    std::unique_ptr<platform::Timer> storing_; // of the log's rows
    bool busOpen_ = false;
};

} // namespace cli
