// The file descriptors that a window system watches.
#pragma once

#include "WindowSystem.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <vector>

namespace platform {

class DescriptorWatches {
public:
    // As WindowSystem::WatchDescriptor; the watch may outlive this object.
    [[nodiscard]] std::unique_ptr<DescriptorWatch> Watch(int descriptor, DescriptorEvent event,
                                                         std::function<void()> call);
    void RunReady();
    // Until a watched descriptor is ready, a signal arrives or the nanoseconds have passed; without them no limit.
    void Wait(std::optional<std::int64_t> nanoseconds) const;

    struct Entry;

private:
    std::vector<std::weak_ptr<Entry>> entries_; // each is owned by its watch
};

} // namespace platform
