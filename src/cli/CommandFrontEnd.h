// What the layers below see of a call: messages become lines on standard error and entries of the record, progress
// its line, and nothing waits for a person.
#pragma once

#include "Call.h"
#include "PlainFrontEnd.h"

#include <functional>
#include <string>
#include <string_view>

namespace cli {

class CommandFrontEnd : public program::PlainFrontEnd {
public:
    explicit CommandFrontEnd(Call& call);

    bool ReadyToEnd() override { return false; } // the command sees the request and ends in order

    bool StatusWindowWants(std::size_t slot, std::int32_t level) const override;
    void PostToStatusWindow(std::size_t slot, std::string_view message, float elapsedTime, std::int32_t level,
                            std::string_view module) override;
    void EchoMessage(std::string_view /*message*/, std::int32_t /*level*/) override {} // shown already
    void AppendDebugSpew(const std::string& text) override;
    void ShowStoreNotice(const std::string& text) override;
    void PrintError(std::string_view line) override;
    void ShowProgress(const basApp::LoadProgress& progress) override;

    void ResetComplete() override;
    void ShellCharactersLost(std::int32_t handle, std::int32_t count) override;

    std::function<void()> onResetComplete;                                    // of the command; may be empty
    std::function<void(std::int32_t handle, std::int32_t count)> onShellLoss; // the same
    std::string lastTrouble;                                                  // the last ERROR; for a reason
    std::string replayTrouble;                                                // where a replay first left its record
    std::string libraryTrouble; // what the access library said before there was a bus; explains more

private:
    Call& call_;
    std::string spew_; // of the library, up to its next line end
};

} // namespace cli
