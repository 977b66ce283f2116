#include "SingleInstance.h"

#include "Handles.h"

namespace platform {

namespace {

struct Globals {
    Handle claim = 0; // the mutex that this process holds as the only instance
} globals;

} // namespace

bool ClaimSingleInstance(const std::string& name) {
    if (globals.claim != 0)
        return true;
    const Handle mutex = CreateMutexA(false, "instance-" + name);
    if (mutex == 0)
        return true; // no place for a lock: better a second instance than none
    if (WaitForSingleObject(mutex, 0) != WAIT_OBJECT_0) {
        CloseHandle(mutex);
        return false;
    }
    globals.claim = mutex;
    return true;
}

void ReleaseSingleInstance() {
    if (globals.claim == 0)
        return;
    ReleaseMutex(globals.claim);
    CloseHandle(globals.claim);
    globals.claim = 0;
}

} // namespace platform
