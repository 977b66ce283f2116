// The transaction wrappers: they check arguments against the node's record, choose the path for its
// driver, and log each kind of failure with its own text.

#include "Failure.h"
#include "LibraryCalls.h"
#include "WindowSystem.h"
#include "bas1394.h"

#include <fmt/format.h>

namespace bas1394 {

namespace {

constexpr std::int32_t MAX_PAYLOAD = 2048;
constexpr std::size_t QUADLET = 4;

struct FailureText {
    std::int32_t code;
    const char* text; // {addr} padded address, {plain} its low half unpadded, {node}, {code}, {time}
};

constexpr FailureText READ_FAILURES[] = {
    {TWL1394_NODE_DID_NOT_RESPOND, "AsyncRead of 0x{addr}, node {node} failed, code 0x{code}: Node did not respond.  "
                                   "function call time={time}ms. Exiting abnormally"},
    {TWL1394_TIMED_OUT,
     "AsyncRead of 0x{plain}, node {node} timed out. function call time={time}ms.  Exiting abnormally"},
    {TWL1394_SHUTTING_DOWN,
     "AsyncRead failure: the Application Shutdown Event has somehow become set in the Twl1394api.dll.  No "
     "multithreaded transactions can complete.  function call time={time}ms.  Exiting abnormally"},
    {TWL1394_BUS_RESET, "AsyncRead failure: a bus reset has interrupted the transaction in progress from within the "
                        "DLL layer.  function call time={time}ms.  Exiting abnormally"},
    {TWL1394_NO_RESPONSE,
     "AsyncRead failure (addr 0x{addr}, node {node}): common unknown error, code 0x{code} .  TODO: determine if this "
     "is caused by an error response packet or no response.  function call time={time}ms.  Exiting abnormally"},
    {TWL1394_ADDRESS_ERROR,
     "AsyncRead failure (addr 0x{addr}, node {node}): 1394 response error, code 0x{code} .  This is caused by an "
     "address error rcode and possibly by other error conditions.  function call time={time}ms.  Exiting abnormally"},
};
constexpr const char* OTHER_READ_FAILURE =
    "AsyncRead of 0x{plain}, node {node} failed, code 0x{code} function call time={time}ms. Exiting abnormally";

const char* ReadFailureText(std::int32_t code) {
    for (const FailureText& failure : READ_FAILURES)
        if (failure.code == code)
            return failure.text;
    return OTHER_READ_FAILURE;
}

enum class Family { None, Vdev, Vhpd };

Family FamilyOf(const Device& device) {
    if (device.Driver == "vdev")
        return Family::Vdev;
    return device.Driver == "vhpd" ? Family::Vhpd : Family::None;
}

std::size_t WholeQuadlets(std::size_t bytes) {
    return (bytes + QUADLET - 1) / QUADLET * QUADLET;
}

void LogReadSuccess(std::int16_t node, Address1394 address, std::int64_t startCount) {
    if (StatusDisplayWanted(LEVEL_DETAIL))
        StatusDisplay(LEVEL_DETAIL,
                      "AsyncRead of 0x{}, node {} succeeded.   function call time={}ms. Exiting normally.",
                      AddressText(address), node, basApp::ElapsedMilliseconds(startCount));
}

void LogReadFailure(std::int16_t node, Address1394 address, std::int32_t code, std::int64_t startCount) {
    if (!StatusDisplayWanted(LEVEL_WARNING))
        return;
    StatusDisplay(LEVEL_WARNING, "{}",
                  fmt::format(fmt::runtime(ReadFailureText(code)), fmt::arg("addr", AddressText(address)),
                              fmt::arg("plain", fmt::format("{:04X}{:X}", address.AddressHigh, address.AddressLow)),
                              fmt::arg("node", node),
                              fmt::arg("code", fmt::format("{:X}", static_cast<std::uint32_t>(code))),
                              fmt::arg("time", basApp::ElapsedMilliseconds(startCount))));
}

std::int32_t Read(const Device& device, Address1394 address, std::int32_t size, bool quadletMode, std::int32_t timeout,
                  ByteArray& buffer) {
    // Taken now: the record may be replaced during a turn.
    const std::int16_t node = device.NodeNum;
    const Family family = FamilyOf(device);
    buffer.assign(WholeQuadlets(static_cast<std::size_t>(size)), 0);
    if (family == Family::None) {
        // Refused as a write is: there is no path, so no code of a transaction either.
        StatusDisplay(LEVEL_ERROR, "AsyncReadWrapperVB: Unknown Driver error.  Exiting abnormally.");
        return RESULT_FAILED;
    }
    const std::size_t step = quadletMode ? QUADLET : buffer.size();
    std::int32_t code = RESULT_FAILED;
    Address1394 at = address;
    std::int64_t startCount = 0;
    for (std::size_t offset = 0; offset < buffer.size(); offset += step) {
        at.AddressLow = address.AddressLow + static_cast<std::uint32_t>(offset);
        startCount = platform::QueryPerformanceCounter();
        code = family == Family::Vhpd
                   ? NO_TRANSACTION_PATH
                   : library::AsyncRead(node, at, buffer.data() + offset, static_cast<std::uint32_t>(step), timeout);
        if (code != RESULT_SUCCESS)
            break;
        if (quadletMode)
            platform::DoEvents();
    }
    if (code == RESULT_SUCCESS) {
        LogReadSuccess(node, at, startCount);
        return code;
    }
    if (code == TWL1394_BUS_RESET)
        globals.BusResetPending = true;
    LogReadFailure(node, at, code, startCount);
    return globals.BusResetPending ? RESULT_BUS_RESET : code;
}

const char* WriteFailureTail(std::int32_t code) {
    if (code == TWL1394_ADDRESS_ERROR)
        return " indicates that a response error packet was received from the target.";
    if (code == TWL1394_NO_RESPONSE)
        return " indicates that no response packet was received from the target.  TODO: verify this.";
    return " is an unknown error response.";
}

void LogWriteFailure(std::int16_t node, Address1394 address, std::int32_t code, std::int64_t startCount) {
    if (!StatusDisplayWanted(LEVEL_TRACE))
        return;
    const auto hex = static_cast<std::uint32_t>(code);
    StatusDisplay(LEVEL_TRACE,
                  "AsyncWriteWrapperVB: call to AsyncWrite failed, code{}(0x{:X}), node {}, address 0x{}, call time = "
                  "{} ms",
                  code, hex, node, AddressText(address), basApp::ElapsedMilliseconds(startCount));
    StatusDisplay(LEVEL_TRACE, "AsyncWriteWrapperVB: code 0x{:X}{}", hex, WriteFailureTail(code));
}

std::int32_t Write(const Device& device, Address1394 address, std::int32_t timeout, const ByteArray& buffer) {
    if (buffer.empty() || buffer.size() > static_cast<std::size_t>(MAX_PAYLOAD))
        platform::Raise(platform::INDEX_OUT_OF_RANGE, "Subscript out of range");
    const Family family = FamilyOf(device);
    if (family == Family::None) {
        StatusDisplay(LEVEL_ERROR, "AsyncWriteWrapperVB: Unknown Driver error.  Exiting abnormally.");
        return RESULT_FAILED;
    }
    const std::int64_t startCount = platform::QueryPerformanceCounter();
    const std::int32_t code = family == Family::Vhpd
                                  ? NO_TRANSACTION_PATH
                                  : library::AsyncWrite(device.NodeNum, address, buffer.data(),
                                                        static_cast<std::uint32_t>(buffer.size()), timeout);
    if (code == RESULT_SUCCESS)
        return code;
    LogWriteFailure(device.NodeNum, address, code, startCount);
    return globals.BusResetPending ? RESULT_BUS_RESET : RESULT_FAILED;
}

bool HasActiveLink(const Device& device, const char* operation) {
    if (device.SelfId.LinkActive != 0)
        return true;
    StatusDisplay(LEVEL_WARNING,
                  "{} failure: node {} has an inactive LLC (according to the SelfID packet).  Exiting abnormally",
                  operation, device.NodeNum);
    return false;
}

std::int32_t OrDefault(std::int32_t timeout) {
    return timeout < 0 ? basApp::globals.Default1394TransactionTimeout : timeout;
}

} // namespace

std::int32_t AsyncReadWrapperVB(const Device& device, Address1394 address, std::int32_t size, bool quadletMode,
                                std::int32_t timeout, ByteArray& buffer) {
    const auto read = [&] {
        if (device.NodeNum < 0 || device.NodeNum > LAST_NODE)
            return RESULT_FAILED;
        if (size < 1 || size > MAX_PAYLOAD) {
            StatusDisplay(LEVEL_WARNING,
                          "AsyncRead failure: (addr 0x{}, node {}): invalid size of requested payload: {}.  The "
                          "maximum payload is 2048.  Exiting abnormally",
                          AddressText(address), device.NodeNum, size);
            return RESULT_FAILED;
        }
        if (!HasActiveLink(device, "AsyncRead"))
            return RESULT_FAILED;
        return Read(device, address, size, quadletMode, OrDefault(timeout), buffer);
    };
    return platform::ResultOf(read, LogFailure("bas1394.AsyncReadWrapperVB"));
}

std::int32_t AsyncWriteWrapperVB(const Device& device, Address1394 address, bool, std::int32_t timeout,
                                 ByteArray& buffer) {
    const auto write = [&] {
        if (device.NodeNum < 0 || device.NodeNum > BROADCAST_NODE || !HasActiveLink(device, "AsyncWrite"))
            return RESULT_FAILED;
        buffer.resize(WholeQuadlets(buffer.size()));
        return Write(device, address, OrDefault(timeout), buffer);
    };
    return platform::ResultOf(write, LogFailure("bas1394.AsyncWriteWrapperVB"));
}

} // namespace bas1394
