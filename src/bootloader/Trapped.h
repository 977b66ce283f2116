// How a procedure of the bootloader layer ends when a run-time failure strikes inside it, and how
// what it holds is given back all the same.
#pragma once

#include "Failure.h"

#include <cstdint>
#include <utility>

namespace basBootloader {

// WARNING "ERROR #... in basBootloader.<procedure>.  Exiting...".
void ReportFailure(const char* procedure, const platform::Failure& failure);

// The result of `steps`. After a run-time failure it is -1: an exchange that broke off is never
// taken for one that worked.
template <class Steps> std::int32_t Trapped(const char* procedure, Steps&& steps) {
    std::int32_t result = -1;
    platform::Attempt([&] { result = steps(); },
                      [&](const platform::Failure& failure) { ReportFailure(procedure, failure); });
    return result;
}

// The result of `steps`; `giveBack` runs behind it on every path.
template <class Steps, class GiveBack> std::int32_t Finally(Steps&& steps, GiveBack&& giveBack) {
    std::int32_t result = -1;
    try {
        result = steps();
    } catch (...) {
        giveBack();
        throw;
    }
    giveBack();
    return result;
}

} // namespace basBootloader
