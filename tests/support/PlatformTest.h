// Small things that tests of every layer need.
#pragma once

#include "Bytes.h"
#include "Failure.h"

#include <string>

inline ByteArray TextBytes(const std::string& text) {
    return {text.begin(), text.end()};
}

// The number of the failure that `statement` raises, 0 when it raises none.
template <class Statement> std::int32_t FailureOf(Statement statement) {
    std::int32_t number = 0;
    platform::Attempt(statement, [&](const platform::Failure& failure) { number = failure.Number; });
    return number;
}
