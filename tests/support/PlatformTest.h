// Helpers for the tests of every layer.
#pragma once

#include "Bytes.h"
#include "Failure.h"
#include "Files.h"
#include "TestFolder.h"

#include <gtest/gtest.h>

#include <cstdlib>

inline ByteArray TextBytes(const std::string& text) {
    return {text.begin(), text.end()};
}

// An environment variable, set while this exists.
class Variable {
public:
    Variable(const char* name, const std::string& value) : name_(name), before_(getenv(name) ? getenv(name) : "") {
        setenv(name, value.c_str(), 1);
    }
    ~Variable() { before_.empty() ? unsetenv(name_) : setenv(name_, before_.c_str(), 1); }

private:
    const char* const name_;
    const std::string before_;
};

// The number of the failure that `statement` raises, 0 when it raises none.
template <class Statement> std::int32_t FailureOf(Statement statement) {
    std::int32_t number = 0;
    platform::Attempt(statement, [&](const platform::Failure& failure) { number = failure.Number; });
    return number;
}
