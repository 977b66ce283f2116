// What a front end gives the layers below it: the only way from them to windows, a terminal, or a test.
#pragma once

#include "LoadProgress.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace basApp {

// Its defaults do nothing; PrintingFrontEnd is what all front ends of the program share.
class FrontEnd {
public:
    FrontEnd() = default;
    FrontEnd(const FrontEnd&) = delete;
    FrontEnd& operator=(const FrontEnd&) = delete;
    virtual ~FrontEnd() = default;

    // --- Start and end ---
    virtual void Open() {} // once the settings are read, before the bus is used
    // While false, only errors are shown, as message boxes.
    virtual bool IsOpen() const { return true; }
    virtual void TakeFocus() {}
    // Dismisses whatever waits for a user. False while something has to finish first.
    virtual bool ReadyToEnd() { return true; }
    virtual void Close() {}      // as its user does; ends the program
    virtual void EndProgram() {} // the last step of the shutdown

    // --- Messages ---
    virtual std::size_t StatusWindowCount() const { return 0; } // slots, empty ones included
    virtual bool StatusWindowWants(std::size_t /*slot*/, std::int32_t /*level*/) const { return false; }
    // `elapsedTime` in ms since the sender's first message.
    virtual void PostToStatusWindow(std::size_t /*slot*/, std::string_view /*message*/, float /*elapsedTime*/,
                                    std::int32_t /*level*/, std::string_view /*module*/) {}
    virtual void EchoMessage(std::string_view /*message*/, std::int32_t /*level*/) {} // of a run, WATCH and above
    virtual void AppendDebugSpew(const std::string& /*text*/) {}                      // of the access library
    virtual void ShowStoreNotice(const std::string& /*text*/) {}                      // "" when it is over
    virtual void PrintError(std::string_view /*line*/) {}                             // what the status file can't take

    // --- The bus ---
    virtual void StartBusTimers() {}
    virtual void NodesChanged() {} // after each node that is kept, after discovery, at the end
    virtual void ResetComplete() {}
    virtual void ShellCharactersLost(std::int32_t /*handle*/, std::int32_t /*count*/) {}

    // --- An unattended run ---
    virtual void EnableInput(bool /*enabled*/) {}
    virtual void EnableScheduler(bool /*enabled*/) {}
    virtual void ShowProgress(const LoadProgress& /*progress*/) {}
    virtual void EndRun() {} // the run is over, and the program ends with it
};

// Null puts one that does nothing in its place. The caller keeps ownership.
void UseFrontEnd(FrontEnd* frontEnd);
FrontEnd& CurrentFrontEnd();

} // namespace basApp
