// The thread that waits for whatever the kernel has to say: events of open device files, and changes of the folder that
// they are in. It sleeps as long as there is nothing.
#pragma once

#include "KernelCalls.h"

#include <atomic>
#include <string>
#include <thread>
#include <vector>

#include <poll.h>

struct inotify_event;

namespace kernel_bus {

// Called on the event thread.
class EventSink {
public:
    virtual ~EventSink() = default;
    // In the order in which they are to be served.
    virtual void ListDescriptors(std::vector<int>& descriptors) = 0;
    virtual void ReadEvent(int descriptor) = 0;
    virtual void LoseDescriptor(int descriptor) = 0;
    virtual void DeviceFileAppeared(const std::string& file) = 0; // or may have become accessible
    virtual void DeviceFileRemoved(const std::string& file) = 0;
    virtual void Scan() = 0; // changes were missed
};

class EventThread {
public:
    EventThread(KernelCalls& calls, EventSink& sink) : calls_(calls), sink_(sink) {}
    ~EventThread() { Stop(); }
    EventThread(const EventThread&) = delete;
    EventThread& operator=(const EventThread&) = delete;

    // Watches the folder from now on; the thread serves its changes once it runs. 0 or -errno. Throws if there can't be
    // a thread.
    int Watch();
    void Run();
    void Wake(); // the descriptors have changed
    void Stop(); // returns once the thread has ended

private:
    void Serve();
    void ServeDescriptors();
    void ServeFolder();
    void ServeChange(const inotify_event& change);

    KernelCalls& calls_;
    EventSink& sink_;
    int wakeUp_ = -1; // eventfd
    int folder_ = -1; // inotify
    std::atomic<bool> stopping_{false};
    std::vector<int> descriptors_;
    std::vector<pollfd> polled_; // wakeUp_, folder_, the descriptors
    std::thread thread_;
};

} // namespace kernel_bus
