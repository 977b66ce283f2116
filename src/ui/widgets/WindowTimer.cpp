#include "WindowTimer.h"

WindowTimer::WindowTimer(QObject* parent, const char* name, std::int32_t intervalMilliseconds,
                         std::function<void()> tick)
    : QObject(parent), timer_(platform::MakeTimer(intervalMilliseconds, std::move(tick))) {
    setObjectName(name);
}
