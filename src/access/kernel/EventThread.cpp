#include "EventThread.h"

#include "Port.h"

#include <cerrno>
#include <csignal>
#include <system_error>

#include <sys/eventfd.h>
#include <sys/inotify.h>
#include <unistd.h>

namespace kernel_bus {

namespace {

constexpr std::uint32_t CHANGES = IN_CREATE | IN_ATTRIB | IN_MOVED_TO | IN_DELETE | IN_MOVED_FROM;
constexpr std::size_t WAKE_UP = 0, FOLDER = 1, DESCRIPTORS = 2; // places in the poll set

} // namespace

int EventThread::Watch() {
    wakeUp_ = eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
    if (wakeUp_ < 0)
        throw std::system_error(errno, std::generic_category(), "eventfd");
    folder_ = inotify_init1(IN_CLOEXEC | IN_NONBLOCK);
    if (folder_ < 0 || inotify_add_watch(folder_, calls_.DeviceFolder().c_str(), CHANGES) < 0)
        return -errno;
    return 0;
}

void EventThread::Run() {
    sigset_t all, before; // signals are for the program's own threads
    sigfillset(&all);
    pthread_sigmask(SIG_SETMASK, &all, &before);
    thread_ = std::thread([this] { Serve(); });
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
}

void EventThread::Wake() {
    if (wakeUp_ >= 0)
        eventfd_write(wakeUp_, 1);
}

void EventThread::Stop() {
    stopping_ = true;
    Wake();
    if (thread_.joinable())
        thread_.join();
    for (int* const descriptor : {&wakeUp_, &folder_}) {
        if (*descriptor >= 0)
            ::close(*descriptor);
        *descriptor = -1;
    }
}

void EventThread::Serve() {
    while (!stopping_) {
        descriptors_.clear();
        sink_.ListDescriptors(descriptors_);
        polled_.assign({{wakeUp_, POLLIN, 0}, {folder_, POLLIN, 0}});
        for (const int descriptor : descriptors_)
            polled_.push_back({descriptor, POLLIN, 0});
        if (calls_.Poll(polled_.data(), polled_.size()) < 0)
            continue; // interrupted
        eventfd_t count = 0;
        if (polled_[WAKE_UP].revents != 0)
            eventfd_read(wakeUp_, &count);
        ServeDescriptors();
        if (polled_[FOLDER].revents != 0)
            ServeFolder();
    }
}

// What has been sent before a device went is read first.
void EventThread::ServeDescriptors() {
    for (std::size_t i = DESCRIPTORS; i < polled_.size() && !stopping_; ++i)
        if ((polled_[i].revents & POLLIN) != 0)
            sink_.ReadEvent(polled_[i].fd);
        else if (polled_[i].revents != 0)
            sink_.LoseDescriptor(polled_[i].fd);
}

void EventThread::ServeFolder() {
    alignas(inotify_event) char buffer[4096];
    const ssize_t size = ::read(folder_, buffer, sizeof buffer);
    for (ssize_t at = 0; at < size;) {
        const auto& change = *reinterpret_cast<const inotify_event*>(buffer + at);
        ServeChange(change);
        at += static_cast<ssize_t>(sizeof change + change.len);
    }
}

void EventThread::ServeChange(const inotify_event& change) {
    if ((change.mask & IN_Q_OVERFLOW) != 0) {
        sink_.Scan();
        return;
    }
    const std::string file = change.len == 0 ? "" : change.name;
    if (!IsDeviceFile(file))
        return;
    if ((change.mask & (IN_DELETE | IN_MOVED_FROM)) != 0)
        sink_.DeviceFileRemoved(file);
    else
        sink_.DeviceFileAppeared(file);
}

} // namespace kernel_bus
