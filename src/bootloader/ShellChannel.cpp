// The characters of a target's console, fetched by polling. Each generation of the protocol has its
// own way, which is known to this file only.
#include "CodePage.h"
#include "Handles.h"
#include "ShellWire.h"
#include "basBootloader.h"
#include "basUtils.h"

#include <algorithm>

namespace basBootloader {

namespace {

constexpr std::int32_t READ_SHELL_CHARACTERS = 8, WRITE_SHELL_CHARACTERS = 9;
constexpr std::size_t LONGEST_CHUNK = 128;
constexpr std::int32_t NO_SUCH_TARGET = 0;
constexpr std::int32_t LONGEST_TEXT_IN_CHUNKS = 65536; // takes some five seconds, without turns for the windows
constexpr float PAUSE_BETWEEN_DIRECT_WRITES = 20.0F;   // ms; a target doesn't acknowledge one

void SetToNothing(ByteArray& data) {
    data.assign(1, 0);
}

bool IsNothing(const ByteArray& data) {
    return data.empty() || (data.size() == 1 && data[0] == 0);
}

void TellLost(std::int32_t handle, std::int32_t count) {
    if (count > 0)
        basApp::CurrentFrontEnd().ShellCharactersLost(handle, count);
}

// `steps` with the TargetList mutex held.
template <class Steps>
std::int32_t WithTargetListMutex(const char* procedure, std::int32_t timedOutLevel, Steps&& steps) {
    StatusDisplay(LEVEL_MUTEX, "{} is taking the TargetList mutex", procedure);
    const std::uint32_t waitResult =
        platform::WaitForSingleObject(globals.TargetListMutex, Bits(globals.MutexWaitTime));
    if (waitResult != platform::WAIT_OBJECT_0) {
        StatusDisplay(timedOutLevel, "{} failed: Timed out waiting for TargetList mutex, code {}", procedure,
                      waitResult);
        return LIST_MUTEX_TIMED_OUT;
    }
    return platform::Finally(steps, [procedure] {
        if (platform::ReleaseMutex(globals.TargetListMutex))
            StatusDisplay(LEVEL_MUTEX, "{} released the TargetList Mutex.", procedure);
        else
            StatusDisplay(LEVEL_ERROR, "{} failed to release the TargetList Mutex.", procedure);
    });
}

const BootloaderTarget* FindTarget(std::int32_t handle) {
    const std::int32_t index = GetDeviceIndex(handle);
    return index < 0 ? nullptr : &globals.TargetList[static_cast<std::size_t>(index)];
}

// --- Reading by command 8 ---

// The exchange. False when there is nothing to fetch; then `result` is the result of the reading.
bool AskForCharacters(std::int32_t handle, BootloaderResponse& response, std::int32_t& result) {
    BootloaderRequest request;
    request.CommandCode = READ_SHELL_CHARACTERS;
    result = SessionLayerTransaction(handle, request, response);
    if (result != SUCCESS) {
        StatusDisplay(LEVEL_WARNING, "ReadShellCharacters failed: Transaction failed, code {}", result);
        return false;
    }
    if (response.NumQuadlets == 0)
        StatusDisplay(LEVEL_TRACE, "ReadShellCharacters failed: no byte indicating size of Uart buffer");
    return response.NumQuadlets > 0;
}

// The waiting characters, which the Response Buffer holds only until the next request.
std::int32_t FetchCharacters(std::int32_t handle, std::int32_t received, ByteArray& characters) {
    if (received < 0 || received > BULK_BUFFER_BYTES) {
        StatusDisplay(LEVEL_WARNING, "ReadShellCharacters failed: the target announces {} characters, it can have {}",
                      received, BULK_BUFFER_BYTES);
        return FAILED;
    }
    const std::int32_t result = ReadResponseBuffer(handle, received, characters);
    if (result == SUCCESS)
        characters.resize(static_cast<std::size_t>(received));
    else
        TellLost(handle, received);
    return result;
}

void LogAnswer(const ShellAnswer& answer, std::size_t size) {
    StatusDisplay(LEVEL_DETAIL, "ReadShellCharacters: received={} status={} charsLost={}", answer.Received,
                  answer.Status, answer.CharactersLost);
    if (size > 19)
        StatusDisplay(LEVEL_DETAIL,
                      "ReadShellCharacters: head=0x{:X}  tail=0x{:X}  bufferStart=0x{:X}  sizeOfPayload=0x{:X}",
                      answer.Head, answer.Tail, answer.BufferStart, answer.SizeOfPayload);
    if (size > 27)
        StatusDisplay(LEVEL_DETAIL,
                      "ReadShellCharacters:  maxPayload=0x{:X}  numBytesCopied=0x{:X}  txCharCount=0x{:X}",
                      Bits(answer.MaxPayload), answer.NumBytesCopied, answer.TxCharCount);
}

std::int32_t FetchAfterNotice(std::int32_t handle, const ShellAnswer& answer, ByteArray& data) {
    ByteArray characters;
    const std::int32_t result = FetchCharacters(handle, answer.Received, characters);
    if (result != SUCCESS) {
        StatusDisplay(LEVEL_TRACE, "Failed to read characters from the Response Buffer.");
        return result;
    }
    data = platform::AnsiFromText(ShellOverflowNotice(answer.CharactersLost));
    data.insert(data.end(), characters.begin(), characters.end());
    return result;
}

std::int32_t FetchAll(std::int32_t handle, const ShellAnswer& answer, ByteArray& data) {
    const std::int32_t result = FetchCharacters(handle, answer.Received, data);
    if (result != SUCCESS)
        StatusDisplay(LEVEL_WARNING, "Failed to read characters from the Response Buffer, code {}(0x{:X}).", result,
                      Bits(result));
    return result;
}

std::int32_t ReadByBriefAnswer(std::int32_t handle, ByteArray& data) {
    BootloaderResponse response;
    std::int32_t result = FAILED;
    if (!AskForCharacters(handle, response, result))
        return result;
    const std::int32_t received = basUtils::ByteArrayToLong(response.Operands);
    if (response.Operands[0] != 0)
        return FetchCharacters(handle, received, data);
    if (received > 0 && received <= BULK_BUFFER_BYTES) {
        StatusDisplay(LEVEL_WARNING,
                      "ReadShellCharacters: {} characters are lost, a count with a low byte of 0 "
                      "reads as no data",
                      received);
        TellLost(handle, received);
    }
    return result;
}

// --- Reading the ring ---

// The present header, with the ring unless `ringSize` is 0.
std::int32_t ReadRing(std::int32_t handle, bool bigEndian, std::int32_t ringSize, ByteArray& block,
                      ShellRingHeader& header) {
    const std::int32_t result = ReadResponseBuffer(handle, SHELL_RING_HEADER_BYTES + ringSize, block);
    if (result == SUCCESS)
        header = DecodeShellRingHeader(block, bigEndian);
    return result;
}

bool IsUsable(const ShellRingHeader& header, std::int32_t mask) {
    if (header.IsSound() && header.Mask == mask)
        return true;
    StatusDisplay(LEVEL_WARNING, "ReadShellCharacters failed: no usable ring (mask={}, head={})", header.Mask,
                  header.Head);
    return false;
}

void TellNews(std::int32_t handle, const ShellRingHeader& header, const ShellNews& news) {
    if (news.Overflow)
        StatusDisplay(LEVEL_ERROR, "ReadShellCharacters error: Overflow: loss of {} bytes", news.Lost);
    TellLost(handle, news.Lost);
    if (news.NumNewBytes < 1)
        return;
    StatusDisplay(LEVEL_TRACE, "ReadShellCharacters: response buffer header (status=0x{:X}, head={}, mask={})",
                  Bits(header.Status), header.Head, header.Mask);
    StatusDisplay(LEVEL_TRACE, "ReadShellCharacters: NumNewBytes={}", news.NumNewBytes);
}

std::int32_t ReadByGeneration(std::int32_t handle, ByteArray& data, bool wrapNotices) {
    const BootloaderTarget* target = FindTarget(handle);
    if (!target) {
        StatusDisplay(LEVEL_WATCH, "WARNING: no bootloader device with handle 0x{:X}", Bits(handle));
        return NO_SUCH_TARGET;
    }
    switch (target->Info.ProtocolVersion) {
    case 1:
        return ReadShellCharacters_Ver1(handle, data);
    case 2:
    case BIG_ENDIAN_PROTOCOL:
        return ReadShellCharacters_Ver2(handle, data, wrapNotices);
    case 3:
        return ReadByBriefAnswer(handle, data);
    default:
        StatusDisplay(LEVEL_WATCH, "ReadShellCharacters failed: invalid protocol version: {}",
                      target->Info.ProtocolVersion);
        return FAILED;
    }
}

// --- Writing ---

std::int32_t WriteChunk(std::int32_t handle, ByteArray chunk, std::size_t textLength) {
    std::int32_t result = WriteRequestBuffer(handle, static_cast<std::int32_t>(chunk.size()), chunk);
    if (result != SUCCESS) {
        StatusDisplay(LEVEL_TRACE, "WriteShellCharacters failed: WriteRequestBuffer failed, code {}", result);
        return result;
    }
    BootloaderRequest request{.CommandCode = WRITE_SHELL_CHARACTERS, .NumQuadlets = 1, .Operands = ByteArray(4)};
    basUtils::LongToByteArray(static_cast<std::int32_t>(textLength), request.Operands, 0);
    BootloaderResponse response;
    result = SessionLayerTransaction(handle, request, response);
    if (result != SUCCESS)
        StatusDisplay(LEVEL_TRACE, "WriteShellCharacters failed: Transaction failed, code {}", result);
    return result;
}

std::int32_t WriteInChunks(std::int32_t handle, const ByteArray& data) {
    std::int32_t result = SUCCESS;
    for (std::size_t from = 0; from < data.size() && result == SUCCESS; from += LONGEST_CHUNK) {
        const auto chunk = data.begin() + static_cast<std::ptrdiff_t>(from);
        const auto size = static_cast<std::ptrdiff_t>(std::min(LONGEST_CHUNK, data.size() - from));
        result = WriteChunk(handle, {chunk, chunk + size}, data.size());
    }
    return result;
}

// A text that comes too early overwrites the one before it: an arrow key is three writes in a row.
void LetTheLastTextBeTaken() {
    if (globals.LastDirectWrite == 0)
        return;
    const float left = PAUSE_BETWEEN_DIRECT_WRITES - basApp::ElapsedMilliseconds(globals.LastDirectWrite);
    if (left > 0)
        platform::Sleep(static_cast<std::uint32_t>(std::min(left, PAUSE_BETWEEN_DIRECT_WRITES)));
}

std::int32_t WriteDirectly(std::int32_t handle, const ByteArray& data, bool bigEndian) {
    ByteArray block = EncodeDirectWrite(data, bigEndian);
    LetTheLastTextBeTaken();
    const std::int32_t result = WriteRequestBuffer(handle, static_cast<std::int32_t>(block.size()), block);
    globals.LastDirectWrite = platform::QueryPerformanceCounter();
    return result;
}

std::int32_t LongestTextFor(std::int32_t protocolVersion) {
    const bool direct = protocolVersion == 2 || protocolVersion == BIG_ENDIAN_PROTOCOL;
    return direct ? LONGEST_DIRECT_TEXT : LONGEST_TEXT_IN_CHUNKS;
}

bool IsShortEnough(const ByteArray& data, std::int32_t protocolVersion) {
    const std::int32_t longest = LongestTextFor(protocolVersion);
    if (data.size() <= static_cast<std::size_t>(longest))
        return true;
    StatusDisplay(LEVEL_WARNING, "WriteShellCharacters failed: {} characters, this target takes {} at once",
                  data.size(), longest);
    return false;
}

std::int32_t WriteByGeneration(std::int32_t handle, const ByteArray& data) {
    if (IsNothing(data)) {
        StatusDisplay(LEVEL_WARNING, "Warning: WriteShellCharacters fail: no data to send");
        return FAILED;
    }
    const BootloaderTarget* target = FindTarget(handle);
    if (!target)
        return NO_SUCH_TARGET;
    if (!IsShortEnough(data, target->Info.ProtocolVersion))
        return FAILED;
    switch (target->Info.ProtocolVersion) {
    case 1:
    case 3:
        return WriteInChunks(handle, data);
    case 2:
    case BIG_ENDIAN_PROTOCOL:
        return WriteDirectly(handle, data, target->Info.ProtocolVersion == BIG_ENDIAN_PROTOCOL);
    default:
        StatusDisplay(LEVEL_WATCH, "WriteShellCharacters failed: invalid protocol version: {}",
                      target->Info.ProtocolVersion);
        return FAILED;
    }
}

} // namespace

std::int32_t ReadShellCharacters(std::int32_t handle, ByteArray& data, bool wrapNotices) {
    SetToNothing(data);
    if (handle == 0 || handle == INVALID_HANDLE_ERROR) {
        StatusDisplay(LEVEL_ERROR, "ReadShellCharacters failed, INVALID_HANDLE_ERROR");
        return INVALID_HANDLE_ERROR;
    }
    const std::int32_t result = platform::ResultOf(
        [&] {
            return WithTargetListMutex("ReadShellCharacters", LEVEL_ERROR,
                                       [&] { return ReadByGeneration(handle, data, wrapNotices); });
        },
        LogFailure("ReadShellCharacters"));
    if (result != SUCCESS)
        SetToNothing(data);
    return result;
}

std::int32_t ReadShellCharacters_Ver1(std::int32_t handle, ByteArray& data) {
    return platform::ResultOf(
        [&] {
            if (!FindTarget(handle))
                return NO_SUCH_TARGET;
            BootloaderResponse response;
            std::int32_t result = FAILED;
            if (!AskForCharacters(handle, response, result))
                return result;
            const ShellAnswer answer = DecodeShellAnswer(response.Operands);
            TellLost(handle, answer.CharactersLost);
            if (response.Operands.size() < 4)
                StatusDisplay(LEVEL_WARNING,
                              "ReadShellCharacters: the target indicates that there is {} quadlets returned but the "
                              "payload is empty.",
                              response.NumQuadlets);
            if (answer.Received <= 0)
                return result;
            LogAnswer(answer, response.Operands.size());
            return answer.CharactersLost > 0 ? FetchAfterNotice(handle, answer, data) : FetchAll(handle, answer, data);
        },
        LogFailure("ReadShellCharacters_Ver1"));
}

std::int32_t ReadShellCharacters_Ver2(std::int32_t handle, ByteArray& data, bool wrapNotices) {
    return platform::ResultOf(
        [&] {
            const BootloaderTarget* target = FindTarget(handle);
            if (!target)
                return FAILED;
            const bool bigEndian = target->Info.ProtocolVersion == BIG_ENDIAN_PROTOCOL;
            ByteArray block;
            ShellRingHeader header;
            std::int32_t result = ReadRing(handle, bigEndian, 0, block, header);
            if (result != SUCCESS || header.Head == globals.OldHead)
                return result;
            const std::int32_t mask = header.Mask;
            if (!IsUsable(header, mask))
                return FAILED;
            result = ReadRing(handle, bigEndian, header.RingSize(), block, header);
            if (result != SUCCESS)
                return result;
            if (!IsUsable(header, mask))
                return FAILED;
            ShellNews news = TakeShellNews(block, header, globals.OldHead, wrapNotices);
            globals.OldHead = header.Head;
            TellNews(handle, header, news);
            if (news.NumNewBytes > 0) {
                data = std::move(news.Characters);
                UnpadCharacter(data, bigEndian);
            }
            return SUCCESS;
        },
        LogFailure("ReadShellCharacters_Ver2"));
}

std::int32_t LongestShellText(std::int32_t handle) {
    const BootloaderTarget* target = FindTarget(handle);
    return target ? LongestTextFor(target->Info.ProtocolVersion) : 0;
}

std::int32_t WriteShellCharacters(std::int32_t handle, const ByteArray& data) {
    if (handle == 0) {
        StatusDisplay(LEVEL_ERROR, "WriteShellCharacters failed, INVALID_HANDLE_ERROR");
        return INVALID_HANDLE_ERROR;
    }
    return platform::ResultOf(
        [&] {
            return WithTargetListMutex("WriteShellCharacters", LEVEL_TRACE,
                                       [&] { return WriteByGeneration(handle, data); });
        },
        LogFailure("WriteShellCharacters"));
}

} // namespace basBootloader
