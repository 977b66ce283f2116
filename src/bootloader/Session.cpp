// One exchange: the request goes out as one block write, the response is polled with block reads
// and distinguished from an earlier one by its command ID. All words of both headers are little-endian on
// every target.
#include "Handles.h"
#include "basBootloader.h"
#include "basUtils.h"

#include <algorithm>
#include <cmath>
#include <optional>

namespace basBootloader {

namespace {

constexpr std::uint32_t REQUEST = 0x1000, REQUEST_BUFFER = 0x1040, RESPONSE = 0x9000, RESPONSE_BUFFER = 0x9040;
constexpr std::int32_t HEADER_BYTES = 8, RESPONSE_BYTES = 40, MAX_RESPONSE_QUADLETS = 14;
constexpr std::int32_t RESET_DEVICE = 2;                                  // the only command that needs no answer
constexpr std::int32_t READ_SHELL = 8;                                    // asked for many times a second
constexpr std::int32_t COMMAND_ID_LIMIT = 32767;                          // neither this nor 0 is ever sent
constexpr std::uint32_t PAUSE_AFTER_READ = 10, PAUSE_BETWEEN_POLLS = 100; // ms

bas1394::Address1394 RegisterAddress(std::uint32_t offset) {
    return {globals.RegisterBase.AddressHigh, globals.RegisterBase.AddressLow + offset};
}

bool IsNode(const Device& device) {
    return device.NodeNum >= 0 && device.NodeNum <= LAST_NODE;
}

// A record for all nodes at once, on the driver of this computer's own entry. After a bus reset there may be no such
// entry yet; then it is the driver that carries transactions.
Device BroadcastDevice() {
    Device broadcast;
    broadcast.Driver = "vdev";
    for (const Device& device : bas1394::globals.DeviceTable)
        if (device.NodeNum == bas1394::globals.LocalHostNode && device.NodeNum != NO_NODE) {
            broadcast.Driver = device.Driver;
            broadcast.DeviceName = device.DeviceName;
        }
    broadcast.NodeNum = BROADCAST_NODE;
    broadcast.SelfId.PhysId = static_cast<std::uint8_t>(BROADCAST_NODE);
    broadcast.SelfId.LinkActive = 1;
    return broadcast;
}

// False when the handle isn't in the list.
bool ProtocolVersionFor(std::int32_t handle, std::int32_t& version) {
    version = 1;
    if (handle != 0) {
        const std::int32_t index = GetDeviceIndex(handle);
        if (index < 0) {
            StatusDisplay(LEVEL_WARNING, "SendRequest failed: invalid device index ({})for device handle {}", index,
                          handle);
            return false;
        }
        version = globals.TargetList[static_cast<std::size_t>(index)].Info.ProtocolVersion;
    }
    if (version > 255) {
        StatusDisplay(LEVEL_ERROR,
                      "Invalid protocol version determined in SendRequest: {}(0x{:X})!  Setting protocol version to 1.",
                      version, Bits(version));
        version = 1;
    }
    return true;
}

std::int16_t NextCommandID() {
    if (++globals.LastCommandID >= COMMAND_ID_LIMIT)
        globals.LastCommandID = 1;
    return static_cast<std::int16_t>(globals.LastCommandID);
}

ByteArray EncodeRequest(const BootloaderRequest& request) {
    ByteArray bytes(HEADER_BYTES);
    basUtils::LongToByteArray(request.ProtocolVersion, bytes, 0);
    bytes[4] = static_cast<std::uint8_t>(request.CommandID & 0xFF);
    bytes[5] = static_cast<std::uint8_t>(request.CommandID >> 8);
    bytes[6] = static_cast<std::uint8_t>(request.CommandCode);
    bytes[7] = request.NumQuadlets;
    if (request.NumQuadlets > 0)
        bytes.insert(bytes.end(), request.Operands.begin(), request.Operands.end());
    return bytes;
}

std::int32_t WriteRequest(const Device& device, const BootloaderRequest& request) {
    ByteArray bytes = EncodeRequest(request);
    const std::int32_t result = bas1394::AsyncWriteWrapperVB(device, RegisterAddress(REQUEST), false, 0, bytes);
    if (result != SUCCESS)
        StatusDisplay(LEVEL_TRACE, "SendRequest failed: AsyncWriteWrapper failed, code {}", result);
    return result;
}

// A target may announce more operands than one read brings; those read as zero.
void DecodeOperands(const ByteArray& bytes, BootloaderResponse& response) {
    response.Operands.assign(std::size_t{response.NumQuadlets} * 4, 0);
    const std::size_t onHand = std::min(response.Operands.size(), bytes.size() - HEADER_BYTES);
    std::copy_n(bytes.begin() + HEADER_BYTES, onHand, response.Operands.begin());
}

void ReportMismatch(const char* what, std::int32_t request, std::int32_t response) {
    StatusDisplay(LEVEL_WARNING, "ValidateResponse failed{} (request = {} (0x{:X}), response = {} (0x{:X})", what,
                  request, Bits(request), response, Bits(response));
}

bool TakeTransactionMutex(const BootloaderRequest& request) {
    StatusDisplay(LEVEL_MUTEX,
                  "Transaction taking the Transaction Mutex (command code {}, command ID {}, Mutex handle {}, "
                  "CurrentThreadId={})...",
                  request.CommandCode, request.CommandID, globals.TransactionMutex, platform::GetCurrentThreadId());
    const std::uint32_t waitResult =
        platform::WaitForSingleObject(globals.TransactionMutex, Bits(globals.MutexWaitTime));
    if (waitResult != platform::WAIT_OBJECT_0) {
        StatusDisplay(LEVEL_ERROR, "Function SessionLayerTransaction failed to take the Transaction Mutex, code={}",
                      waitResult);
        return false;
    }
    StatusDisplay(LEVEL_MUTEX,
                  "Transaction took the Transaction Mutex (command code {}, command ID {}, Mutex handle {}, "
                  "CurrentThreadId={}, WaitResult={})...",
                  request.CommandCode, request.CommandID, globals.TransactionMutex, platform::GetCurrentThreadId(),
                  waitResult);
    return true;
}

void ReleaseTransactionMutex(const BootloaderRequest& request) {
    if (platform::ReleaseMutex(globals.TransactionMutex))
        StatusDisplay(LEVEL_MUTEX,
                      "Transaction released the Transaction Mutex (command code {}, command ID {}, Mutex handle {})...",
                      request.CommandCode, request.CommandID, globals.TransactionMutex);
    else
        StatusDisplay(LEVEL_ERROR, "Transaction failed to release the Transaction Mutex.");
}

std::int32_t PollOnce(std::int32_t handle, const BootloaderRequest& request, BootloaderResponse& response) {
    std::int32_t result = GetResponse(handle, response);
    if (result == SUCCESS) {
        result = ValidateResponse(request, response);
        if (result != SUCCESS)
            StatusDisplay(LEVEL_WARNING, "Transaction failed: Validate response failed, code {} (0x{:X})", result,
                          Bits(result));
    } else if (result == TWL1394_NODE_DID_NOT_RESPOND) {
        StatusDisplay(LEVEL_WARNING,
                      "Transaction failed (likely a timout error): GetResponse returned error code {} (0x{:X})", result,
                      Bits(result));
    } else {
        StatusDisplay(LEVEL_WARNING, "Transaction failed: GetResponse returned error code {} (0x{:X})", result,
                      Bits(result));
    }
    // A target that is resetting need not answer, and a reset isn't repeated.
    return request.CommandCode == RESET_DEVICE ? SUCCESS : result;
}

void ShowProgress(std::int32_t handle, const CommandProgress& progress, float elapsed, std::int32_t maximum) {
    const float value = std::clamp(std::nearbyint(elapsed / 100.0F), 0.0F, static_cast<float>(maximum));
    if (progress.value)
        progress.value(static_cast<std::int32_t>(value));
    if (progress.repaint)
        TurnInExchange(handle, progress.repaint);
}

bool Refused(const char* procedure, std::int32_t handle, std::int32_t level) {
    if (AnswerAwaited(handle)) {
        StatusDisplay(LEVEL_TRACE, "{} failed: another exchange with the target awaits its answer", procedure);
        return true;
    }
    const bool loaded = LoadedByAnother(handle);
    if (loaded && StatusWanted(level))
        StatusDisplay(level, "{} failed: {}  Nothing was sent.", procedure, LoadedByAnotherText(handle));
    return loaded;
}

std::int32_t PollForResponse(std::int32_t handle, const BootloaderRequest& request, BootloaderResponse& response,
                             std::int64_t startCount, std::int32_t timeOutMs, const CommandProgress* progress) {
    for (;;) {
        const std::int32_t result = PollOnce(handle, request, response);
        if (result == SUCCESS || result == GIVE_UP)
            return result;
        const float elapsed = basApp::ElapsedMilliseconds(startCount);
        platform::Sleep(PAUSE_BETWEEN_POLLS);
        // Measured before the turn: a box may stay open in it for any time, and the answer is there by then.
        const bool timeIsUp = basApp::ElapsedMilliseconds(startCount) >= static_cast<float>(timeOutMs);
        const bool abandoned = progress && progress->abandoned && progress->abandoned();
        if (progress)
            ShowProgress(handle, *progress, elapsed, timeOutMs / 100);
        if (timeIsUp || abandoned)
            return result;
    }
}

} // namespace

void TurnInExchange(std::int32_t handle, const std::function<void()>& turn) {
    globals.AwaitedHandles.push_back(handle);
    platform::Finally(
        [&] {
            turn();
            return SUCCESS;
        },
        [] { globals.AwaitedHandles.pop_back(); });
}

bool AnswerAwaited() {
    return !globals.AwaitedHandles.empty();
}

bool AnswerAwaited(std::int32_t handle) {
    return handle == 0 ? AnswerAwaited() : std::ranges::count(globals.AwaitedHandles, handle) > 0;
}

std::int32_t SendRequest(std::int32_t handle, BootloaderRequest& request) {
    return platform::ResultOf(
        [&] {
            if (handle < 0) {
                StatusDisplay(LEVEL_WARNING, "SendRequest failed: invalid device handle: {}", handle);
                return FAILED;
            }
            if (Refused("SendRequest", handle, request.CommandCode == READ_SHELL ? LEVEL_TRACE : LEVEL_ERROR))
                return FAILED;
            std::optional<Device> broadcast;
            const Device& device = handle == 0 ? broadcast.emplace(BroadcastDevice()) : GetNodeNum(handle);
            if (handle != 0 && !IsNode(device)) {
                StatusDisplay(LEVEL_WARNING, "SendRequest failed: invalid nodenum ({}) for device handle {}",
                              device.NodeNum, handle);
                return FAILED;
            }
            if (!ProtocolVersionFor(handle, request.ProtocolVersion))
                return FAILED;
            request.CommandID = NextCommandID();
            return WriteRequest(device, request);
        },
        LogFailure("SendRequest"));
}

std::int32_t GetResponse(std::int32_t handle, BootloaderResponse& response) {
    const Device& device = GetNodeNum(handle);
    if (!IsNode(device))
        StatusDisplay(LEVEL_TRACE, "GetResponse failed: invalid nodenum ({} for device handle {}", device.NodeNum,
                      handle);
    ByteArray bytes;
    const std::int32_t result =
        bas1394::AsyncReadWrapperVB(device, RegisterAddress(RESPONSE), RESPONSE_BYTES, false, 0, bytes);
    platform::Sleep(PAUSE_AFTER_READ);
    if (result != SUCCESS) {
        StatusDisplay(LEVEL_WARNING, "GetResponse failed in AsyncReadWrapper, code {}", result);
        return result;
    }
    response.ProtocolVersion = basUtils::ByteArrayToLong(bytes);
    response.CommandID = basUtils::ByteArrayToInt(bytes, 4);
    response.CommandCode = bytes[6];
    response.NumQuadlets = bytes[7];
    if (response.NumQuadlets > MAX_RESPONSE_QUADLETS) {
        StatusDisplay(LEVEL_ERROR, "GetResponse Error: invalid number of quadlets returned: {}", response.NumQuadlets);
        return FAILED;
    }
    if (response.NumQuadlets > 0)
        DecodeOperands(bytes, response);
    return SUCCESS;
}

std::int32_t ValidateResponse(const BootloaderRequest& request, const BootloaderResponse& response) {
    std::int32_t result = SUCCESS;
    if (request.CommandCode != response.CommandCode) {
        ReportMismatch(", invalid command code", request.CommandCode, response.CommandCode);
        result = FAILED;
    }
    if (request.ProtocolVersion != response.ProtocolVersion) {
        ReportMismatch(", invalid protocol version", request.ProtocolVersion, response.ProtocolVersion);
        result = FAILED;
    }
    if (request.ProtocolVersion == 2) {
        StatusDisplay(LEVEL_WARNING, "ValidateResponse failed: Protocol Version 2 is not yet implemented");
        result = FAILED;
    } else if (request.ProtocolVersion != 1 && request.ProtocolVersion != 3) {
        StatusDisplay(LEVEL_WARNING, "ValidateResponse failed: invalid protocol version of request ({})",
                      request.ProtocolVersion);
        result = FAILED;
    }
    if (request.CommandID != response.CommandID) {
        ReportMismatch(": invalid command ID", request.CommandID, response.CommandID);
        result = FAILED;
    }
    return result;
}

std::int32_t SessionLayerTransaction(std::int32_t handle, BootloaderRequest& request, BootloaderResponse& response,
                                     std::int32_t timeOutMs, const CommandProgress* progress) {
    if (handle < 0) {
        StatusDisplay(LEVEL_WATCH, "Transaction failed: invalid device handle: {}", handle);
        return FAILED;
    }
    const std::int64_t startCount = platform::QueryPerformanceCounter();
    if (progress && progress->start)
        progress->start(timeOutMs / 100);
    if (!TakeTransactionMutex(request))
        return FAILED;
    return platform::Finally(
        [&] {
            const std::int32_t lastCommand = globals.LastCommandID;
            const std::int32_t result = SendRequest(handle, request);
            if (progress && progress->sent && globals.LastCommandID != lastCommand)
                progress->sent(result);
            if (result != SUCCESS)
                StatusDisplay(LEVEL_WARNING, "Transaction failed: SendRequest failed, code {}", result);
            if (result != SUCCESS || handle == 0) // nobody answers a broadcast
                return result;
            return PollForResponse(handle, request, response, startCount, timeOutMs, progress);
        },
        [&] { ReleaseTransactionMutex(request); });
}

std::int32_t WriteRequestBuffer(std::int32_t handle, std::int32_t /*numBytes*/, ByteArray& data) {
    if (handle == 0) {
        StatusDisplay(LEVEL_ERROR, "WriteRequestBuffer failed, INVALID_HANDLE_ERROR");
        return INVALID_HANDLE_ERROR;
    }
    if (Refused("WriteRequestBuffer", handle, LEVEL_ERROR))
        return FAILED;
    const Device& device = GetNodeNum(handle);
    if (!IsNode(device))
        StatusDisplay(LEVEL_TRACE, "WriteRequestBuffer failed: invalid nodenum ({} for device handle {}",
                      device.NodeNum, handle);
    const std::int32_t result = bas1394::AsyncWriteWrapperVB(device, RegisterAddress(REQUEST_BUFFER), false, 0, data);
    if (result != SUCCESS)
        StatusDisplay(LEVEL_TRACE,
                      "bas1394.WriteRequestBuffer failed: AsyncWriteWrapper failed, code {}  params: NodeNum={}",
                      result, device.NodeNum);
    return result;
}

std::int32_t ReadResponseBuffer(std::int32_t handle, std::int32_t numBytes, ByteArray& data) {
    if (handle == 0) {
        StatusDisplay(LEVEL_ERROR, "ReadResponseBuffer failed, INVALID_HANDLE_ERROR");
        return INVALID_HANDLE_ERROR;
    }
    const Device& device = GetNodeNum(handle);
    if (!IsNode(device))
        StatusDisplay(LEVEL_TRACE, "ReadResponseBuffer failed: invalid nodenum ({} for device handle {}",
                      device.NodeNum, handle);
    const bas1394::Address1394 address = RegisterAddress(RESPONSE_BUFFER);
    const std::int32_t result = bas1394::AsyncReadWrapperVB(device, address, numBytes, false, -1, data);
    if (result != SUCCESS)
        StatusDisplay(LEVEL_TRACE, "bas1394.AsyncReadWrapper failed, code {}  params: NodeNum={} addr={} numbytes={}",
                      result, device.NodeNum, bas1394::AddressText(address), numBytes);
    return result;
}

} // namespace basBootloader
