#pragma once

#include "WindowSystem.h"

#include <QObject>

#include <functional>
#include <memory>

// A window's timer: a named Qt object on the window system's clock.
class WindowTimer : public QObject {
    Q_OBJECT
public:
    WindowTimer(QObject* parent, const char* name, std::int32_t intervalMilliseconds, std::function<void()> tick);
    WindowTimer(QObject* parent, const char* name, std::shared_ptr<platform::Timer> timer);
    void setEnabled(bool enabled) { timer_->SetEnabled(enabled); }
    bool isEnabled() const { return timer_->Enabled(); }
    void setInterval(std::int32_t milliseconds) { timer_->SetInterval(milliseconds); }
    std::int32_t interval() const { return timer_->Interval(); }

private:
    std::shared_ptr<platform::Timer> timer_;
};
