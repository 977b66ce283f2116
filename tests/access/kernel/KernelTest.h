// The kernel's library over a fake kernel: one adapter, a target and another device.
#pragma once

#include "FakeKernel.h"
#include "LibraryUnderTest.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <future>

namespace testing_support {

inline const Operations& KernelLibrary() {
    static const Operations operations = OperationsOf(KERNEL_LIBRARY);
    return operations;
}

inline void UseKernel(kernel_bus::KernelCalls* calls) {
    static void* const module = dlopen(KERNEL_LIBRARY, RTLD_NOW | RTLD_LOCAL);
    reinterpret_cast<void (*)(kernel_bus::KernelCalls*)>(dlsym(module, "KernelLibraryUseCalls"))(calls);
}

class KernelTest : public testing::Test, protected CallingClient {
protected:
    static constexpr std::uint64_t ADDRESS = 0xFFFFC8021000;
    static constexpr std::uint32_t ADAPTER = 2, TARGET = 0, CAMERA = 1; // node numbers

    KernelTest() : CallingClient(KernelLibrary()) {
        kernel.topology = TopologyOf(3);
        UseKernel(&kernel);
    }
    ~KernelTest() override {
        library.DeRegisterClient(client.Get());
        UseKernel(nullptr);
        unsetenv(TWL1394_BUS_VARIABLE);
    }

    // fw0 is the adapter, fw1 the target, fw2 the camera.
    void Start() {
        kernel.Add("fw0", {.number = ADAPTER, .local = true});
        kernel.Add("fw1", {.number = TARGET});
        kernel.Add("fw2", {.number = CAMERA, .vendor = 0x080046});
        Register();
    }
    void Register() {
        ASSERT_EQ(library.RegisterClient(client.Get()), 1);
        Idle();
        client.TakeNotices();
    }
    void Idle() { ASSERT_TRUE(kernel.WaitUntilIdle()); }
    // Those since the last call.
    Notices NoticesNow() {
        EXPECT_TRUE(kernel.WaitUntilIdle());
        return client.TakeNotices();
    }
    std::int32_t Read(std::uint32_t node, Bytes& data, std::uint32_t timeout = 5000) const {
        return ReadAt(ADDRESS, node, data, timeout);
    }
    std::int32_t Read(std::uint32_t node, std::uint32_t timeout = 5000) const {
        Bytes data(8);
        return Read(node, data, timeout);
    }
    std::int32_t Write(std::uint32_t node, const Bytes& data, std::uint32_t timeout = 5000) const {
        return WriteAt(ADDRESS, node, data, timeout);
    }
    // A read that the node leaves unanswered until `meanwhile` is done.
    std::int32_t ReadDuring(std::uint32_t node, const std::function<void()>& meanwhile) {
        kernel.answer = [](const SentRequest&) { return std::nullopt; };
        auto result = std::async(std::launch::async, [=, this] { return Read(node); });
        EXPECT_TRUE(kernel.WaitForOpen());
        meanwhile();
        kernel.answer = nullptr;
        return result.get();
    }
    // What `happens` queues, the library finds all at once: its thread is busy meanwhile, closing a file of its own.
    void HoldEvents(const std::function<void()>& happens) {
        kernel.Add("fw62", {.number = 62});
        Idle();
        std::promise<void> held, end;
        kernel.closing = [&] {
            held.set_value();
            end.get_future().wait();
        };
        kernel.Remove("fw62");
        held.get_future().wait();
        happens();
        end.set_value();
        Idle();
        kernel.closing = nullptr;
    }
    // The register of a bus of so many nodes with a packet each.
    static Bytes TopologyOf(std::uint32_t nodes) {
        Bytes map;
        const auto append = [&](std::uint32_t value) {
            for (const int shift : {24, 16, 8, 0})
                map.push_back(static_cast<std::uint8_t>(value >> shift));
        };
        append((nodes + 2) << 16);
        append(7);
        append(nodes << 16 | nodes);
        for (std::uint32_t node = 0; node < nodes; ++node)
            append(2u << 30 | node << 24 | 1u << 22 | 63u << 16 | 2u << 14);
        return map;
    }

    FakeKernel kernel;
};

} // namespace testing_support
