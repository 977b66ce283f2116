// Without a clock of the caller's a thread of the library posts what falls due.
#include "SimulatedBus.h"

#include <condition_variable>
#include <mutex>

namespace {

struct Notices {
    std::mutex mutex;
    std::condition_variable arrived;
    int resets = 0;
};

TEST(RealTime, ATargetComesBackByItselfAndNothingIsPostedAfterTheEnd) {
    Notices notices;
    const Twl1394Client client{&notices,
                               [](void* context, uint32_t) {
                                   Notices& seen = *static_cast<Notices*>(context);
                                   const std::lock_guard lock(seen.mutex);
                                   ++seen.resets;
                                   seen.arrived.notify_all();
                               },
                               [](void*, const char*) {}};
    SimulatorUseClock(nullptr);
    ASSERT_EQ(SimulatorDescribe(OneTarget(R"("rebootMs": 1)").c_str(), nullptr), 1);
    ASSERT_EQ(RegisterClient(&client), 1);
    const Twl1394Address request{0xFFFF, 0, 0xC8021000};
    const uint8_t intoBootloader[12] = {1, 0, 0, 0, 1, 0, 2, 1, 1};
    ASSERT_EQ(AsyncWriteWrapper(0, &request, 12, intoBootloader, 0), 1);
    {
        std::unique_lock lock(notices.mutex);
        EXPECT_TRUE(notices.arrived.wait_for(lock, std::chrono::seconds(10), [&] { return notices.resets == 2; }));
    }
    EXPECT_EQ(DeRegisterClient(&client), 1);
    SimulatorBusReset();
    EXPECT_EQ(notices.resets, 2);
}

} // namespace
