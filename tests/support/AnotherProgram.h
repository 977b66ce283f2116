// Another program that loads devices, as far as the locks tell: it has opened the same lock file.
#pragma once

#include "LockFile.h"

#include <cstdint>

namespace testing_support {

class AnotherProgram {
public:
    // True when it can lock the device now, and keeps it until it releases it.
    bool Takes(std::int64_t guid) { return locks_.Lock(guid); }
    void Releases(std::int64_t guid) { locks_.Unlock(guid); }
    bool CouldTake(std::int64_t guid) const { return !locks_.OthersHave(guid); }

private:
    platform::LockFile locks_{"HoistlineDevices"};
};

} // namespace testing_support
