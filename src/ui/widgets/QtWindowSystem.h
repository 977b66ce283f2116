// The window system on Qt: turns are event processing, timers are Qt's.
#pragma once

#include "WindowSystem.h"

class QtWindowSystem : public platform::WindowSystem {
public:
    QtWindowSystem();           // becomes the current one
    ~QtWindowSystem() override; // puts the plain one back
    void Turn() override;
    void Post(std::function<void()> call) override;
    std::unique_ptr<platform::Timer> MakeTimer(std::function<void()> tick) override;
    void Beep() override;
};
