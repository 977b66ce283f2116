// Device files that come and go, adapters, and bus resets.
#include "KernelTest.h"

#include <cerrno>

#include <linux/firewire-constants.h>

using namespace testing_support;

namespace {

constexpr std::uint32_t CHANGE = TWL1394_NOTICE_DEVICE_CHANGE, RESET = TWL1394_NOTICE_BUS_RESET;
constexpr std::int32_t ABSENT = TWL1394_NODE_DID_NOT_RESPOND, NO_BUS = TWL1394_NO_RESPONSE;

TEST_F(KernelTest, ANewDeviceIsAnnouncedAgainWhenItsFileComes) {
    Start();
    ASSERT_EQ(ReadTopology(), 0);
    EXPECT_EQ(Read(3), ABSENT);
    kernel.PutFile("fw3"); // of a device that the kernel doesn't have yet
    EXPECT_EQ(NoticesNow(), Notices{});
    kernel.Add("fw3", {.number = 3});
    kernel.Chmod("fw3");
    EXPECT_EQ(NoticesNow(), (Notices{CHANGE, RESET}));
    EXPECT_EQ(Read(3), 1);
    kernel.Add("fw4", {.number = 4});
    EXPECT_EQ(NoticesNow(), Notices{CHANGE}) << "nobody has asked for it";

    kernel.Reset(0, {{"fw0", 1}, {"fw2", 0}}); // the target leaves
    kernel.Reset(0, {{"fw0", 2}, {"fw2", 1}}); // and comes back
    EXPECT_EQ(NoticesNow(), (Notices{RESET, RESET}));
    ASSERT_EQ(ReadTopology(), 0);
    EXPECT_EQ(Read(0), ABSENT);
    kernel.Update("fw1", 0); // its driver has recognised it
    EXPECT_EQ(NoticesNow(), Notices{RESET});
    EXPECT_EQ(Read(0), 1);
    kernel.Update("fw1", 0);
    EXPECT_EQ(NoticesNow(), Notices{});
}

TEST_F(KernelTest, AFileThatMayNotBeOpenedYetIsOpenedWhenItsModeIsSet) {
    kernel.Add("fw0", {.number = ADAPTER, .local = true, .openError = EACCES});
    kernel.Add("fw1", {.number = TARGET, .openError = EACCES});
    Register();
    EXPECT_NE(client.TakeText().find("no adapter"), std::string::npos);
    for (const char* file : {"fw0", "fw1"})
        kernel.SetErrors(file, 0);
    kernel.Chmod("fw0");
    EXPECT_EQ(NoticesNow(), (Notices{CHANGE, RESET}));
    EXPECT_EQ(Read(TARGET), ABSENT);
    kernel.Chmod("fw1");
    EXPECT_EQ(NoticesNow(), (Notices{CHANGE, RESET}));
}

TEST_F(KernelTest, AKernelThatIsTooOldIsNotUsed) {
    kernel.version = 3;
    kernel.Add("fw0", {.number = 0, .local = true});
    Register();
    EXPECT_EQ(Devices(), 0U);
}

TEST_F(KernelTest, AnAdapterThatIsPulledOutAndPutBackGoesOnWithItsRanges) {
    Start();
    std::uint32_t handle = 0;
    ASSERT_EQ(Allocate(0xFFFFC8029000, 8, handle), 0);
    EXPECT_EQ(ReadDuring(TARGET,
                         [&] {
                             for (const char* file : {"fw1", "fw2", "fw0"})
                                 kernel.Remove(file);
                         }),
              ABSENT);
    EXPECT_EQ(NoticesNow(), (Notices{CHANGE, CHANGE, CHANGE, RESET}));
    EXPECT_EQ(Devices(), 0U);
    EXPECT_EQ(Read(TARGET), NO_BUS);
    EXPECT_EQ(library.AddVirtualDriver(client.Get(), nullptr, 0), -1);

    kernel.Add("fw0", {.number = ADAPTER, .local = true});
    kernel.Add("fw1", {.number = TARGET});
    EXPECT_EQ(NoticesNow(), (Notices{CHANGE, RESET, CHANGE}));
    EXPECT_EQ(Read(TARGET), TWL1394_BUS_RESET) << "the topology isn't known";
    ASSERT_EQ(ReadTopology(), 0);
    EXPECT_EQ(Read(TARGET), 1);
    kernel.SendRequest("fw0", TCODE_WRITE_BLOCK_REQUEST, 0xFFFFC8029000, 8, Bytes(8));
    EXPECT_EQ(NoticesNow(), Notices{TWL1394_NOTICE_INCOMING_DATA});
}

TEST_F(KernelTest, ALostPermissionIsLikeALostDevice) {
    Start();
    kernel.SetErrors("fw0", EACCES);
    kernel.RemoveFile("fw0"); // its file is made anew, for another user
    kernel.PutFile("fw0");
    EXPECT_EQ(NoticesNow(), (Notices{CHANGE, RESET}));
    EXPECT_EQ(Devices(), 0U);
    EXPECT_EQ(Read(TARGET), NO_BUS);
    kernel.SetErrors("fw0", 0);
    const Twl1394VirtualDevice record{1, 0, 0, device};
    EXPECT_EQ(library.AddVirtualDriver(client.Get(), &record, 0), 0) << "it looks again";
    EXPECT_EQ(NoticesNow(), (Notices{CHANGE, RESET}));
}

TEST_F(KernelTest, AnAdapterThatCannotBeReadIsADriverErrorOnce) {
    Start();
    kernel.readError = EIO;
    kernel.Reset(0);
    const Notices notices = NoticesNow();
    EXPECT_EQ(std::ranges::count(notices, std::uint32_t{TWL1394_NOTICE_DRIVER_ERROR}), 1);
    EXPECT_EQ(Devices(), 0U);
}

TEST_F(KernelTest, OfSeveralAdaptersOneIsChosen) {
    constexpr std::uint32_t NONE = 99;
    const struct {
        const char* choice;
        bool targetOn0, targetOn1;
        std::uint32_t card;
    } rows[] = {{"", false, false, 0}, {"", true, false, 0},  {"", false, true, 1},    {"", true, true, 0},
                {"1", true, false, 1}, {"0", false, true, 0}, {"2", true, true, NONE}, {"1x", true, true, NONE}};
    for (const auto& row : rows) {
        SCOPED_TRACE(testing::Message() << row.choice << " " << row.targetOn0 << row.targetOn1);
        setenv(TWL1394_BUS_VARIABLE, row.choice, 1);
        kernel.Add("fw0", {.card = 0, .number = 5, .local = true});
        kernel.Add("fw1", {.card = 0, .number = 4, .vendor = row.targetOn0 ? 0x0F1Bu : 1u});
        kernel.Add("fw10", {.card = 1, .number = 3, .local = true});
        kernel.Add("fw9", {.card = 1, .number = 2, .vendor = row.targetOn1 ? 0x0F1Bu : 1u});
        Register();
        Twl1394NodeAddressRequest address{1, 0};
        const std::int32_t result = library.Get1394AddressFromDeviceObject(client.Get(), device, &address);
        EXPECT_EQ(Devices(), row.card == NONE ? 0U : 1U);
        EXPECT_EQ(result == 0, row.card != NONE);
        EXPECT_EQ(address.NodeAddress, row.card == NONE ? 0 : row.card == 0 ? 0xFFC5 : 0xFFC3);
        library.DeRegisterClient(client.Get());
        EXPECT_EQ(client.TakeText().empty(), row.card != NONE);
    }
}

TEST_F(KernelTest, TheBusFollowsTheFirstTargetAndStaysWithIt) {
    Start();
    kernel.Add("fw5", {.card = 1, .number = 1, .local = true});
    kernel.Add("fw6", {.card = 1, .number = 0});
    EXPECT_EQ(NoticesNow(), (Notices{CHANGE, CHANGE}));
    kernel.Remove("fw1"); // restarts; the other bus has a target as well
    kernel.Add("fw7", {.number = 3, .vendor = 1});
    EXPECT_EQ(NoticesNow(), (Notices{CHANGE, CHANGE}));
    EXPECT_EQ(Read(CAMERA), 1);
    EXPECT_EQ(kernel.sent.back().file, "fw2");

    library.DeRegisterClient(client.Get());
    kernel.Remove("fw6");
    Register();
    std::uint32_t handle = 0;
    ASSERT_EQ(Allocate(0xFFFFC8029000, 8, handle), 0);
    kernel.Add("fw6", {.card = 1, .number = 0}); // the first target at all
    EXPECT_EQ(NoticesNow(), (Notices{CHANGE, RESET}));
    EXPECT_EQ(Read(0), TWL1394_BUS_RESET) << "the numbers are those of another bus";
    ASSERT_EQ(ReadTopology(), 0);
    EXPECT_EQ(Read(0), 1);
    EXPECT_EQ(kernel.sent.back().file, "fw6");
    EXPECT_EQ(kernel.closures.size(), 2U);
    EXPECT_EQ(kernel.closures[0], 0U) << "freed on the first adapter";
}

TEST_F(KernelTest, ClosingAFileThatOwesAnAnswerStopsNothingElse) {
    Start();
    kernel.answer = [](const SentRequest&) { return std::nullopt; };
    EXPECT_EQ(Read(TARGET, 1), TWL1394_TIMED_OUT);
    kernel.answer = nullptr;
    std::promise<void> closing, ended;
    kernel.closing = [&, once = std::make_shared<std::once_flag>()] {
        std::call_once(*once, [&] {
            closing.set_value();
            ended.get_future().wait();
        });
    };
    kernel.Remove("fw1");
    closing.get_future().wait();
    EXPECT_EQ(NoticesNow(), Notices{CHANGE});
    EXPECT_EQ(Read(CAMERA), 1);
    kernel.Add("fw3", {.number = 3});
    EXPECT_EQ(NoticesNow(), Notices{CHANGE});
    ended.set_value();
    library.DeRegisterClient(client.Get()); // while what is called here exists
}

TEST_F(KernelTest, AnIdleThreadSleeps) {
    Start();
    const std::size_t before = kernel.polls;
    for (int i = 0; i < 10; ++i)
        EXPECT_EQ(Read(TARGET), 1);
    Idle();
    EXPECT_EQ(kernel.polls, before + 10) << "woken by the answers alone";
}

} // namespace
