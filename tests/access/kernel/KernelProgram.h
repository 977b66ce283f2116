// The whole program through the kernel's library: the targets of the simulated bus behind a fake kernel.
#pragma once

#include "HeadlessProgram.h"
#include "KernelTest.h"
#include "PackageBuilder.h"
#include "SimulatedDevices.h"

#include "Levels.h"

#include <filesystem>

namespace testing_support {

struct KernelProgram {
    static inline const ByteArray IMAGE = Pattern(2500); // three blocks

    explicit KernelProgram(const std::string& bus, std::int32_t level = LEVEL_ERROR)
        : program(bus, level), kernel(program.clock), clock(program.clock, kernel) {
        UseKernel(&kernel);
        std::filesystem::remove(program.directory.file("Twl1394api.so"));
        std::filesystem::create_symlink(KERNEL_LIBRARY, program.directory.file("Twl1394api.so"));
        program.Write("app.twd", Package(IMAGE));
    }
    ~KernelProgram() {
        program.Close();
        UseKernel(nullptr);
    }
    void After(std::int64_t milliseconds, std::function<void()> call) {
        program.clock.CallAt(program.clock.Now() + milliseconds * 1'000'000, std::move(call));
    }

    HeadlessProgram program;
    SimulatedDevices kernel;
    SettlingClock clock;
};

} // namespace testing_support
