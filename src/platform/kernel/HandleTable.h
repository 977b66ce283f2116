// The objects behind the handles; shared by Handles.cpp and Processes.cpp.
#pragma once

#include "Handles.h"

#include <memory>

namespace platform {

class KernelObject {
public:
    virtual ~KernelObject() = default;
    // True when the wait is over; the waiting thread then has the object.
    virtual bool TryWait() = 0;
};

Handle AddHandle(std::shared_ptr<KernelObject> object);
std::shared_ptr<KernelObject> ObjectOf(Handle handle); // null for an invalid handle

} // namespace platform
