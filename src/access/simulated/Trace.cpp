#include "Trace.h"
#include "FileBytes.h"
#include "Twl1394api.h"

#include <fmt/format.h>

namespace simulator {

Trace::Trace(const std::string& path) {
    if (!path.empty()) {
        file_.reset(OpenToWrite(path));
        failed_ = file_ == nullptr;
    }
}

void Trace::Write(double milliseconds, const Transaction& transaction, std::int32_t result) {
    if (file_ == nullptr)
        return;
    const bool hasData = transaction.isWrite || result == TWL1394_SUCCESS;
    WriteLine(fmt::format(R"({{"ms":{:.3f},"operation":"{}","node":{},"address":"0x{:012x}","size":{},)"
                          R"("timeout":{},"data":"{}","result":{}}})",
                          milliseconds, transaction.isWrite ? "write" : "read", transaction.nodeNumber,
                          transaction.address, transaction.data.size(), transaction.timeoutMs,
                          hasData ? ToHex(transaction.data) : "", static_cast<std::uint32_t>(result)));
}

void Trace::WriteReset(double milliseconds) {
    if (file_ != nullptr)
        WriteLine(fmt::format(R"({{"ms":{:.3f},"operation":"reset","result":1}})", milliseconds));
}

void Trace::WriteNotice(double milliseconds, std::uint32_t number) {
    if (file_ != nullptr)
        WriteLine(fmt::format(R"({{"ms":{:.3f},"operation":"notice","result":{}}})", milliseconds, number));
}

void Trace::WriteLine(const std::string& line) {
    std::fprintf(file_.get(), "%s\n", line.c_str());
    std::fflush(file_.get()); // so that it is complete whenever the process ends
}

} // namespace simulator
