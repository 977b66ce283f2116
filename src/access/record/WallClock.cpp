#include "WallClock.h"

#include <ctime>

namespace recorder {

std::string MachineTime() {
    timespec now{};
    clock_gettime(CLOCK_REALTIME, &now);
    std::tm utc{};
    char text[sizeof "2026-11-25T20:15:00Z"];
    gmtime_r(&now.tv_sec, &utc);
    return std::string(text, std::strftime(text, sizeof text, "%FT%TZ", &utc));
}

} // namespace recorder
