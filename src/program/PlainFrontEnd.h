// The front end of a program without windows: it drives the bus by itself, and messages and boxes are lines on
// standard error.
#pragma once

#include "BusPump.h"
#include "Levels.h"
#include "PrintingFrontEnd.h"
#include "ProgramEnd.h"

#include <cstdint>
#include <optional>
#include <string_view>

namespace program {

class PlainFrontEnd : public PrintingFrontEnd {
public:
    using PrintingFrontEnd::PrintingFrontEnd;

    void Open() override;
    bool IsOpen() const override { return open_; }
    void Close() override;

    std::size_t StatusWindowCount() const override { return 1; }
    bool StatusWindowWants(std::size_t slot, std::int32_t level) const override;
    void PostToStatusWindow(std::size_t slot, std::string_view message, float elapsedTime, std::int32_t level,
                            std::string_view module) override;

    void StartBusTimers() override;
    void NodesChanged() override; // a turn of the message loop

    void EnableScheduler(bool enabled) override;
    void EndRun() override;

    std::int32_t MessageLevel = LEVEL_ERROR; // lowest level that is shown

private:
    bool open_ = false;
    std::optional<BusPump> pump_;
    std::optional<EndWatch> endWatch_;
};

} // namespace program
