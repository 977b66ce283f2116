// A record of what happened on the bus, one JSON object per line.
#pragma once

#include "Transaction.h"

#include <cstdio>
#include <memory>
#include <string>

namespace simulator {

class Trace {
public:
    // An empty path writes nothing. An existing file is replaced.
    explicit Trace(const std::string& path);
    bool Failed() const { return failed_; }

    // `milliseconds` since the bus was described; data as read or written.
    void Write(double milliseconds, const Transaction& transaction, std::int32_t result);
    void WriteReset(double milliseconds);
    void WriteNotice(double milliseconds, std::uint32_t number);

private:
    void WriteLine(const std::string& line);

    struct Close {
        void operator()(std::FILE* file) const { std::fclose(file); }
    };
    std::unique_ptr<std::FILE, Close> file_;
    bool failed_ = false;
};

} // namespace simulator
