#include "WindowSystem.h"

#include <gtest/gtest.h>

#include <stdexcept>
#include <string>

namespace {

TEST(PostedCalls, RunInOrderAtTheNextTurnEvenAcrossNestedTurnsAndFailures) {
    std::string order;
    platform::Post([&] {
        order += 'a';
        platform::Post([&] { order += 'd'; });
        platform::DoEvents();
    });
    platform::Post([&] { order += 'b'; });
    platform::Post([&] {
        order += 'c';
        throw std::runtime_error("failed");
    });
    EXPECT_EQ(order, "");
    EXPECT_THROW(platform::DoEvents(), std::runtime_error);
    platform::DoEvents();
    EXPECT_EQ(order, "abcd");
}

} // namespace
