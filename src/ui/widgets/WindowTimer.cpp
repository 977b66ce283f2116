#include "WindowTimer.h"

WindowTimer::WindowTimer(QObject* parent, const char* name, std::int32_t intervalMilliseconds,
                         std::function<void()> tick)
    : WindowTimer(parent, name, platform::MakeTimer(intervalMilliseconds, std::move(tick))) {}

WindowTimer::WindowTimer(QObject* parent, const char* name, std::shared_ptr<platform::Timer> timer)
    : QObject(parent), timer_(std::move(timer)) {
    setObjectName(name);
}
