// The seam to the access library, taken over by functions of a test's or a fuzzer's own.
#pragma once

#include "Clock.h"
#include "LibraryCalls.h"
#include "basApp.h"

namespace testing_support {

using bas1394::library::Operations;

inline std::uint64_t Offset(const Twl1394Address* address) {
    return std::uint64_t{address->AddressHigh} << 32 | address->AddressLow;
}

// A library of transactions alone, whose milliseconds are those of the current clock.
inline Operations Transactions(decltype(Operations::AsyncReadWrapper) read,
                               decltype(Operations::AsyncWriteWrapper) write) {
    Operations calls{};
    calls.InterfaceVersion = [] { return std::uint32_t{1}; };
    calls.AsyncReadWrapper = read;
    calls.AsyncWriteWrapper = write;
    calls.QueryElapsedTimeMsLongInt = [](const std::int64_t* counter) {
        return static_cast<std::uint32_t>((platform::QueryPerformanceCounter() - *counter) / 1'000'000);
    };
    return calls;
}

inline void BindLibrary(const Operations& calls) {
    std::string reason;
    bas1394::library::BindTo(calls, reason);
    basApp::hooks.queryElapsedTimeMs = bas1394::QueryElapsedTimeMs;
}

inline void MakePresent(Device& record, std::int16_t node) {
    record.Driver = "vdev";
    record.NodeNum = node;
    record.SelfId.LinkActive = 1;
}

} // namespace testing_support
