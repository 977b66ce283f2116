#include "QtWindowSystem.h"

#include <QApplication>
#include <QTimer>

#include <utility>

namespace {

class QtTimer : public platform::Timer {
public:
    explicit QtTimer(std::function<void()> tick) {
        timer_.setTimerType(Qt::PreciseTimer);
        QObject::connect(&timer_, &QTimer::timeout, &timer_, std::move(tick));
    }
    void SetInterval(std::int32_t milliseconds) override { timer_.setInterval(milliseconds); }
    std::int32_t Interval() const override { return timer_.interval(); }
    void SetEnabled(bool enabled) override { enabled ? timer_.start() : timer_.stop(); }
    bool Enabled() const override { return timer_.isActive(); }

private:
    QTimer timer_;
};

} // namespace

QtWindowSystem::QtWindowSystem() {
    platform::UseWindowSystem(this);
}
QtWindowSystem::~QtWindowSystem() {
    platform::UseWindowSystem(nullptr);
}

void QtWindowSystem::Turn() {
    QCoreApplication::processEvents();
}

void QtWindowSystem::Post(std::function<void()> call) {
    QMetaObject::invokeMethod(QCoreApplication::instance(), std::move(call), Qt::QueuedConnection);
}

std::unique_ptr<platform::Timer> QtWindowSystem::MakeTimer(std::function<void()> tick) {
    return std::make_unique<QtTimer>(std::move(tick));
}

void QtWindowSystem::Beep() {
    QApplication::beep();
}
