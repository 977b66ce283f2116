// What a handle stands for; shared by Handles.cpp and Processes.cpp.
#pragma once

#include "Handles.h"

#include <memory>

namespace platform {

class KernelObject {
public:
    virtual ~KernelObject() = default;
    // True when the wait is over, and what a wait takes is taken.
    virtual bool TryWait() = 0;
};

Handle AddHandle(std::shared_ptr<KernelObject> object);
std::shared_ptr<KernelObject> ObjectOf(Handle handle); // null for a handle that isn't one

} // namespace platform
