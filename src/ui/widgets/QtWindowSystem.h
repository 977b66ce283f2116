// The window system on Qt: turns are event processing, timers are Qt's.
#pragma once

#include "WindowSystem.h"

class QtWindowSystem : public platform::WindowSystem {
public:
    QtWindowSystem();           // becomes the current one
    ~QtWindowSystem() override; // restores the plain one
    void Turn() override;
    void Post(std::function<void()> call) override;
    [[nodiscard]] std::unique_ptr<platform::Timer> MakeTimer(std::function<void()> tick) override;
    [[nodiscard]] std::unique_ptr<platform::DescriptorWatch>
    WatchDescriptor(int descriptor, platform::DescriptorEvent event, std::function<void()> call) override;
    void Beep() override;
};
