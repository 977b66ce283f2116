// The three commands of a load. Nothing is kept in the host between them.
#include "Handles.h"
#include "WindowSystem.h"
#include "basBootloader.h"
#include "basUtils.h"

#include <algorithm>
#include <iterator>

namespace basBootloader {

namespace {

constexpr std::int32_t DOWNLOAD_START = 4, DOWNLOAD_BLOCK = 5, DOWNLOAD_END = 6;
constexpr std::int32_t LARGEST_BLOCK_SIZE = 4096;
constexpr int BLOCK_POLLS = 4;
constexpr std::uint32_t PAUSE_BETWEEN_BLOCK_POLLS = 20; // ms

void Append(ByteArray& bytes, std::int32_t value) {
    bytes.resize(bytes.size() + 4);
    basUtils::LongToByteArray(value, bytes, static_cast<std::int32_t>(bytes.size()) - 4);
}

BootloaderRequest StartRequest(const DownloadAnnouncement& announcement) {
    BootloaderRequest request;
    request.CommandCode = DOWNLOAD_START;
    request.NumQuadlets = 10;
    ByteArray& operands = request.Operands;
    operands = {static_cast<std::uint8_t>(announcement.ImageType), 0, 0, 0};
    std::copy(announcement.ImageDate.begin(), announcement.ImageDate.end(), std::back_inserter(operands));
    std::copy(announcement.ImageTime.begin(), announcement.ImageTime.end(), std::back_inserter(operands));
    for (const std::int32_t value : {announcement.SoftwareID, announcement.SoftwareVersion, announcement.StartAddress,
                                     announcement.Length, announcement.Crc})
        Append(operands, value);
    return request;
}

void TellInvalidBlockSize(const BootloaderResponse& response) {
    const ByteArray& bytes = response.Operands;
    if (bytes.size() < 4)
        StatusDisplay(LEVEL_ERROR,
                      "Program Error in DownloadStart.  Packet indicates 1 quadlet returned but only {} bytes are "
                      "available.",
                      bytes.size());
    else
        StatusDisplay(LEVEL_ERROR,
                      "Bootloader returned invalid parameter to DownloadStart command!  MAX BLOCK SIZE = 0x 0x{:X} "
                      "0x{:X} 0x{:X} 0x{:X}!",
                      bytes[0], bytes[1], bytes[2], bytes[3]);
}

std::int32_t TakeMaxBlockSize(const BootloaderResponse& response, std::int32_t& maxBlockSize) {
    maxBlockSize = response.Operands.size() < 4 ? 0 : basUtils::ByteArrayToLong(response.Operands);
    if (maxBlockSize < 1) {
        TellInvalidBlockSize(response);
        return FAILED;
    }
    if (maxBlockSize > LARGEST_BLOCK_SIZE) {
        StatusDisplay(LEVEL_USER, "Download start: Max Block size is {}.  This seems awefully large.  Setting to {}",
                      maxBlockSize, LARGEST_BLOCK_SIZE);
        maxBlockSize = LARGEST_BLOCK_SIZE;
    }
    return SUCCESS;
}

// --- One block ---

struct BlockAnswer {
    std::int32_t echo = 0;   // block number
    std::int32_t status = 0; // of the target, 0 for good
};

std::int32_t PollBlock(std::int32_t handle, const BootloaderRequest& request, std::int32_t blockNumber,
                       BootloaderResponse& response, BlockAnswer& answer) {
    answer = {};
    std::int32_t result = GetResponse(handle, response);
    if (result != SUCCESS) {
        StatusDisplay(LEVEL_ERROR, "DownloadBlock failed: GetResponse returned error code {}", result);
        return result;
    }
    result = ValidateResponse(request, response);
    if (result != SUCCESS) {
        StatusDisplay(LEVEL_ERROR, "DownloadBlock failed: Validate response failed, code {}", result);
        return result;
    }
    if (response.NumQuadlets != 2) {
        StatusDisplay(LEVEL_ERROR, "DownloadBlock failure: expected 2 operands, received {}", response.NumQuadlets);
        return FAILED;
    }
    answer.echo = basUtils::ByteArrayToLong(response.Operands, 0);
    answer.status = basUtils::ByteArrayToLong(response.Operands, 4);
    if (answer.status != 0) {
        StatusDisplay(LEVEL_ERROR, "DownloadBlock failure: Target returned error code {} (0x{:X})", answer.status,
                      Bits(answer.status));
        return GIVE_UP;
    }
    return answer.echo == blockNumber ? SUCCESS : WRONG_BLOCK;
}

// The result for a block that was given up: the target's status takes precedence over a wrong echo.
std::int32_t ReasonForGivingUp(const BlockAnswer& answer, std::int32_t blockNumber) {
    if (answer.status == SUCCESS) // a status of 1 must not look like a success
        return INVALID_HANDLE_ERROR;
    if (answer.status != 0)
        return answer.status;
    return answer.echo == blockNumber ? GIVE_UP : WRONG_BLOCK;
}

std::int32_t PollForBlock(std::int32_t handle, const BootloaderRequest& request, std::int32_t blockNumber) {
    BootloaderResponse response;
    BlockAnswer answer;
    for (int pass = 1;; ++pass) {
        const std::int32_t result = PollBlock(handle, request, blockNumber, response, answer);
        if (result == SUCCESS)
            return SUCCESS;
        if (result == GIVE_UP || pass >= BLOCK_POLLS)
            return ReasonForGivingUp(answer, blockNumber);
        TurnInExchange(handle, platform::DoEvents);
        platform::Sleep(PAUSE_BETWEEN_BLOCK_POLLS);
    }
}

std::int32_t SendBlock(std::int32_t handle, std::int32_t blockNumber, std::int32_t address, std::int32_t numBytes,
                       ByteArray& data) {
    const std::int32_t written = WriteRequestBuffer(handle, numBytes, data);
    if (written != SUCCESS) {
        StatusDisplay(LEVEL_ERROR, "DownloadBlock failed, WriteRequestBuffer returned code {}", written);
        return FAILED;
    }
    BootloaderRequest request;
    request.CommandCode = DOWNLOAD_BLOCK;
    request.NumQuadlets = 3;
    request.Operands.reserve(12);
    for (const std::int32_t value : {blockNumber, address, numBytes})
        Append(request.Operands, value);
    const std::int32_t sent = SendRequest(handle, request);
    if (sent != SUCCESS) {
        StatusDisplay(LEVEL_ERROR, "DownloadBlock failed: SendRequest failed, code {}", sent);
        return sent;
    }
    return PollForBlock(handle, request, blockNumber);
}

// A load continues without the mutex: half a flash is worse than a shell that loses an answer.
void TakeTransactionMutex() {
    StatusDisplay(LEVEL_MUTEX, "DownloadBlock taking the Transaction Mutex...");
    const std::uint32_t waitResult =
        platform::WaitForSingleObject(globals.TransactionMutex, Bits(globals.MutexWaitTime));
    if (waitResult != platform::WAIT_OBJECT_0)
        StatusDisplay(
            LEVEL_WATCH,
            "DownloadBlock failed to take the Transaction Mutex, code %#x (%s).  Continuing anyway.  code = {}",
            waitResult);
}

void ReleaseTransactionMutex() {
    if (platform::ReleaseMutex(globals.TransactionMutex))
        StatusDisplay(LEVEL_MUTEX, "DownloadBlock released the Transaction Mutex.");
    else
        StatusDisplay(LEVEL_ERROR, "DownloadBlock failed to release the Transaction Mutex.");
}

} // namespace

std::int32_t DownloadStart(std::int32_t handle, const DownloadAnnouncement& announcement, std::int32_t& maxBlockSize,
                           std::int32_t timeOutMs, const CommandProgress* progress) {
    return platform::ResultOf(
        [&] {
            BootloaderRequest request = StartRequest(announcement);
            BootloaderResponse response;
            // Under handle 0 every target on the bus would erase its flash.
            const std::int32_t result = handle == 0
                                            ? INVALID_HANDLE_ERROR
                                            : SessionLayerTransaction(handle, request, response, timeOutMs, progress);
            if (result != SUCCESS) {
                StatusDisplay(LEVEL_TRACE, "DownloadStart failed: Transaction failed, code {}", result);
                return result;
            }
            if (response.NumQuadlets != 1) {
                StatusDisplay(LEVEL_TRACE, "DownloadStart failure: expected 4 operands, received {}",
                              response.NumQuadlets);
                return FAILED;
            }
            return TakeMaxBlockSize(response, maxBlockSize);
        },
        LogFailure("DownloadStart"));
}

std::int32_t DownloadBlock(std::int32_t handle, std::int32_t blockNumber, std::int32_t address, std::int32_t numBytes,
                           ByteArray& data) {
    return platform::ResultOf(
        [&] {
            if (handle <= 0) {
                StatusDisplay(LEVEL_ERROR, "DownloadBlock failed, INVALID_HANDLE_ERROR");
                return INVALID_HANDLE_ERROR;
            }
            TakeTransactionMutex();
            return platform::Finally([&] { return SendBlock(handle, blockNumber, address, numBytes, data); },
                                     ReleaseTransactionMutex);
        },
        LogFailure("DownloadBlock"));
}

std::int32_t DownloadEnd(std::int32_t handle, std::int32_t& crc, std::int32_t& crcValidity, std::int32_t timeOutMs,
                         const CommandProgress* progress) {
    return platform::ResultOf(
        [&] {
            BootloaderRequest request;
            request.CommandCode = DOWNLOAD_END;
            BootloaderResponse response;
            const std::int32_t result = handle == 0
                                            ? INVALID_HANDLE_ERROR
                                            : SessionLayerTransaction(handle, request, response, timeOutMs, progress);
            if (result != SUCCESS) {
                StatusDisplay(LEVEL_TRACE, "DownloadEnd failed: Transaction failed, code {}", result);
                return result;
            }
            if (response.NumQuadlets != 2) {
                StatusDisplay(LEVEL_TRACE, "DownloadEnd failure: expected 8 operands, received {}",
                              response.NumQuadlets);
                return FAILED;
            }
            crc = basUtils::ByteArrayToLong(response.Operands, 0);
            crcValidity = basUtils::ByteArrayToLong(response.Operands, 4);
            return SUCCESS;
        },
        LogFailure("DownloadEnd"));
}

} // namespace basBootloader
