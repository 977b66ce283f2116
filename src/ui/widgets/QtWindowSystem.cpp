#include "QtWindowSystem.h"

#include <QApplication>
#include <QSocketNotifier>
#include <QTimer>

#include <memory>
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

class QtDescriptorWatch : public platform::DescriptorWatch {
public:
    QtDescriptorWatch(int descriptor, QSocketNotifier::Type type, std::function<void()> call)
        : notifier_(new QSocketNotifier(descriptor, type, QCoreApplication::instance()), End) {
        const std::weak_ptr<QSocketNotifier> watched(notifier_);
        const auto enable = [watched](bool enabled) {
            if (const std::shared_ptr<QSocketNotifier> notifier = watched.lock())
                notifier->setEnabled(enabled);
        };
        QObject::connect(notifier_.get(), &QSocketNotifier::activated, [enable, call = std::move(call)] {
            enable(false); // the call may give a turn before it has read
            call();
            enable(true);
        });
    }

private:
    // The watch may end inside the call.
    static void End(QSocketNotifier* notifier) {
        notifier->setEnabled(false);
        notifier->deleteLater();
    }
    std::shared_ptr<QSocketNotifier> notifier_;
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

std::unique_ptr<platform::DescriptorWatch>
QtWindowSystem::WatchDescriptor(int descriptor, platform::DescriptorEvent event, std::function<void()> call) {
    const bool readable = event == platform::DescriptorEvent::Readable;
    return std::make_unique<QtDescriptorWatch>(descriptor, readable ? QSocketNotifier::Read : QSocketNotifier::Write,
                                               std::move(call));
}

void QtWindowSystem::Beep() {
    QApplication::beep();
}
