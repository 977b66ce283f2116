// The named items of a target's persistent store. A name or a value that doesn't fit into one
// exchange goes in several passes, which carry an offset into each.
#include "CodePage.h"
#include "basBootloader.h"
#include "basUtils.h"

#include <algorithm>

namespace basBootloader {

namespace {

constexpr std::int32_t READ_KEY = 18, WRITE_KEY = 19;
constexpr std::int32_t KEY_PAYLOAD_BYTES = 128;        // of a value, in one pass
constexpr std::int32_t LONGEST_NAME_BESIDE_VALUE = 36; // a longer rest runs over into the Request Buffer

// A key's name, sent in passes.
class NamePasses {
public:
    NamePasses(const std::string& keyName, std::int32_t mostQuadlets) : bytes_(platform::AnsiFromText(keyName)) {
        const auto length = static_cast<std::int32_t>(bytes_.size());
        quadlets_ = std::min((length + 3) / 4, mostQuadlets);
        bytes_.push_back(0);
    }
    bool IsEmpty() const { return Last() == 0; }
    std::int32_t Quadlets() const { return quadlets_; }
    // Bytes still to be sent, with the terminating 0: that alone once the whole name is sent.
    std::int32_t Rest() const { return Last() + 1 - Offset(); }
    bool IsThrough() const { return offset_ > Last(); }
    void Advance() { offset_ = Offset() + quadlets_ * 4; }

    // The next pass; `valueWords` come between the name's two words and the name.
    BootloaderRequest Request(std::int32_t code, std::initializer_list<std::int32_t> valueWords) const {
        BootloaderRequest request;
        request.CommandCode = code;
        request.NumQuadlets = static_cast<std::uint8_t>(quadlets_ + 2 + static_cast<std::int32_t>(valueWords.size()));
        AppendWord(request.Operands, Last() + 1);
        AppendWord(request.Operands, Offset());
        for (const std::int32_t word : valueWords)
            AppendWord(request.Operands, word);
        request.Operands.insert(request.Operands.end(), bytes_.begin() + Offset(), bytes_.end());
        return request;
    }

private:
    static void AppendWord(ByteArray& operands, std::int32_t value) {
        operands.resize(operands.size() + 4);
        basUtils::LongToByteArray(value, operands, static_cast<std::int32_t>(operands.size()) - 4);
    }
    std::int32_t Last() const { return static_cast<std::int32_t>(bytes_.size()) - 1; }
    std::int32_t Offset() const { return std::min(offset_, Last()); }

    ByteArray bytes_;
    std::int32_t quadlets_ = 0, offset_ = 0;
};

// A pass for a name without a character would be like the one before it, for ever.
bool HasName(const char* procedure, const NamePasses& name) {
    if (name.IsEmpty())
        StatusDisplay(LEVEL_ERROR, "{} failed: the key has no name", procedure);
    return !name.IsEmpty();
}

// The exchange of one pass, answered with so many words.
std::int32_t Exchange(const char* procedure, std::int32_t handle, BootloaderRequest&& request,
                      BootloaderResponse& response, std::int32_t expected) {
    const std::int32_t result = SessionLayerTransaction(handle, request, response);
    if (result != SUCCESS) {
        StatusDisplay(LEVEL_ERROR, "{} failed: Transaction failed, code {}", procedure, result);
        return result;
    }
    if (response.NumQuadlets == expected)
        return SUCCESS;
    StatusDisplay(LEVEL_ERROR, "{} failure: expected {} operands, received {}", procedure, expected,
                  response.NumQuadlets);
    return FAILED;
}

// --- Reading ---

struct ReadKeyAnswer {
    std::int32_t Status, SizeOfKeyData, ResponseBufferSize, StartByteOfKeyData;
};

ReadKeyAnswer DecodeReadKeyAnswer(const ByteArray& operands) {
    return {basUtils::ByteArrayToLong(operands, 0), basUtils::ByteArrayToLong(operands, 4),
            basUtils::ByteArrayToLong(operands, 8), basUtils::ByteArrayToLong(operands, 12)};
}

// Nothing is allocated or read for impossible sizes.
bool IsSound(const ReadKeyAnswer& answer, const std::string& keyName, std::int32_t sizeBefore) {
    if (answer.SizeOfKeyData < 1)
        StatusDisplay(LEVEL_ERROR, "ReadKey: size of key data for key '{}' is 0!", keyName);
    else if (answer.SizeOfKeyData > LARGEST_KEY_DATA)
        StatusDisplay(LEVEL_ERROR, "ReadKey failure: key '{}' has {} bytes by the target, more than {} aren't believed",
                      keyName, answer.SizeOfKeyData, LARGEST_KEY_DATA);
    else if (sizeBefore != 0 && answer.SizeOfKeyData != sizeBefore)
        StatusDisplay(LEVEL_ERROR, "ReadKey failure: the size of key '{}' changed from {} to {} while it was read",
                      keyName, sizeBefore, answer.SizeOfKeyData);
    else
        return true;
    return false;
}

std::int32_t FetchPart(std::int32_t handle, std::int32_t size, ByteArray& part) {
    const std::int32_t result = ReadResponseBuffer(handle, size, part);
    if (result != SUCCESS) {
        StatusDisplay(LEVEL_WARNING, "ReadKey: Failed to read key from the Response Buffer, code {}(0x{:X}).", result,
                      Bits(result));
        return FAILED;
    }
    part.resize(static_cast<std::size_t>(size));
    return SUCCESS;
}

// A target that hasn't the whole name yet sends bytes beyond the value's end; they are dropped.
void Place(const ByteArray& part, std::int32_t offset, std::int32_t sizeOfKeyData, ByteArray& data) {
    data.resize(static_cast<std::size_t>(sizeOfKeyData) + 1);
    const std::int32_t fits = std::min(static_cast<std::int32_t>(part.size()), sizeOfKeyData - offset);
    basUtils::CopyByteArray(part, 0, fits, data, offset);
}

std::int32_t ReadInPasses(std::int32_t handle, const std::string& keyName, ByteArray& data) {
    NamePasses name(keyName, 10);
    if (!HasName("ReadKey", name))
        return FAILED;
    data.clear();
    std::int32_t offset = 0, size = 0;
    while (!name.IsThrough() || offset < size) { // each pass brings a byte at least
        BootloaderResponse response;
        const std::int32_t result = Exchange("ReadKey", handle, name.Request(READ_KEY, {offset}), response, 4);
        if (result != SUCCESS)
            return result;
        const ReadKeyAnswer answer = DecodeReadKeyAnswer(response.Operands);
        StatusDisplay(LEVEL_TRACE, "ReadKey: status={}, SizeOfKeyData={}, ResponseBufferSize={}, StartByteOfKeyData={}",
                      answer.Status, answer.SizeOfKeyData, answer.ResponseBufferSize, answer.StartByteOfKeyData);
        ByteArray part;
        if (!IsSound(answer, keyName, size) || FetchPart(handle, answer.ResponseBufferSize, part) != SUCCESS)
            return FAILED;
        size = answer.SizeOfKeyData;
        Place(part, offset, size, data);
        if (StatusWanted(LEVEL_TRACE))
            StatusDisplay(LEVEL_TRACE, "ReadKey ({}): returned '{}", keyName, platform::TextFromAnsi(part));
        offset += answer.ResponseBufferSize;
        name.Advance();
    }
    return SUCCESS;
}

// --- Writing ---

struct WriteKeyAnswer {
    std::int32_t Status, SizeOfKeyData, ThirdWord;
};

WriteKeyAnswer DecodeWriteKeyAnswer(const ByteArray& operands) {
    return {basUtils::ByteArrayToLong(operands, 0), basUtils::ByteArrayToLong(operands, 4),
            basUtils::ByteArrayToLong(operands, 8)};
}

// The next part of the value to the Request Buffer, its quadlets turned.
std::int32_t SendPart(std::int32_t handle, const ByteArray& data, std::int32_t offset, std::int32_t size) {
    ByteArray payload(data.begin() + offset, data.begin() + offset + size);
    payload.resize(KEY_PAYLOAD_BYTES);
    basUtils::ChangeEndian(payload);
    const std::int32_t result = WriteRequestBuffer(handle, KEY_PAYLOAD_BYTES, payload);
    if (result != SUCCESS)
        StatusDisplay(LEVEL_ERROR, "WriteKey Error: WriteRequestBuffer failed, code 0x{:X}", Bits(result));
    return result;
}

std::int32_t WriteInPasses(std::int32_t handle, const std::string& keyName, const ByteArray& data) {
    NamePasses name(keyName, 9);
    if (!HasName("WriteKey", name))
        return FAILED;
    if (data.size() > static_cast<std::size_t>(LARGEST_KEY_DATA)) {
        StatusDisplay(LEVEL_ERROR, "WriteKey failed: the value of key '{}' has {} bytes, a key can have {}", keyName,
                      data.size(), LARGEST_KEY_DATA);
        return FAILED;
    }
    const auto length = static_cast<std::int32_t>(data.size());
    std::int32_t offset = 0;
    WriteKeyAnswer answer{};
    while (!name.IsThrough() || offset < length) {
        const bool withValue = name.Rest() <= LONGEST_NAME_BESIDE_VALUE;
        const std::int32_t size = withValue ? std::min(KEY_PAYLOAD_BYTES, length - offset) : 0;
        std::int32_t result = withValue ? SendPart(handle, data, offset, size) : SUCCESS;
        BootloaderResponse response;
        if (result == SUCCESS)
            result = Exchange("WriteKey", handle, name.Request(WRITE_KEY, {length, offset}), response, 3);
        if (result != SUCCESS)
            return result;
        answer = DecodeWriteKeyAnswer(response.Operands);
        if (answer.Status != 0) {
            StatusDisplay(LEVEL_ERROR, "WriteKey failure: target indicates error code 0x{:X}", Bits(answer.Status));
            return FAILED;
        }
        offset += size;
        name.Advance();
    }
    if (answer.SizeOfKeyData >= 0 && answer.SizeOfKeyData <= length)
        return SUCCESS;
    // Further passes have nothing to send.
    StatusDisplay(LEVEL_ERROR, "WriteKey failure: the target holds {} bytes of key '{}', {} were sent",
                  answer.SizeOfKeyData, keyName, length);
    return FAILED;
}

bool IsTarget(const char* procedure, std::int32_t handle) {
    if (handle == 0)
        StatusDisplay(LEVEL_ERROR, "{} failed, INVALID_HANDLE_ERROR", procedure);
    return handle != 0;
}

} // namespace

std::int32_t ReadKey(std::int32_t handle, const std::string& keyName, ByteArray& data) {
    return IsTarget("ReadKey", handle)
               ? platform::ResultOf([&] { return ReadInPasses(handle, keyName, data); }, LogFailure("ReadKey"))
               : INVALID_HANDLE_ERROR;
}

std::int32_t WriteKey(std::int32_t handle, const std::string& keyName, const ByteArray& data) {
    return IsTarget("WriteKey", handle)
               ? platform::ResultOf([&] { return WriteInPasses(handle, keyName, data); }, LogFailure("WriteKey"))
               : INVALID_HANDLE_ERROR;
}

} // namespace basBootloader
