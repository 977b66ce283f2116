// The single-shot commands: each encodes its operands, runs with its row of the table, and decodes the
// response.
#include "CommandNames.h"
#include "basBootloader.h"
#include "basUtils.h"

#include <algorithm>

namespace basBootloader {

namespace {

constexpr std::int32_t NOT_LOOKED_AT = -1;
constexpr std::size_t IDENTITY_BYTES = 8; // of a GUID, and of a MAC address with its two zero bytes
constexpr std::int32_t BAD_CRC = -1;

struct Command {
    const char* name; // of the procedure
    std::int32_t code;
    std::uint8_t quadlets; // announced
    std::int32_t timeOutMs;
    std::int32_t level; // of both texts
    const char* failure;
    std::int32_t expectedQuadlets;
    const char* wrongCount = ""; // in front of the count
    bool wrongCountFails = false;
    bool answers = true; // without an answer a failed exchange counts as done
};

// clang-format off
constexpr Command HALT{NameOfCommand(1), 1, 0, 0, LEVEL_WARNING,
    "Haltbootloader failed: Transaction failed, code {code}", NOT_LOOKED_AT};
constexpr Command RESET{NameOfCommand(2), 2, 1, 0, LEVEL_TRACE,
    "ResetDevice failed: Transaction failed, code {code}", NOT_LOOKED_AT};
constexpr Command READ_IMAGE_CRC{NameOfCommand(3), 3, 1, 2000, LEVEL_WARNING,
    "ReadImageCRC failed: Transaction failed, code {code}",
    2, "ReadImageCRC failure: expected 2 operands, received ", true};
constexpr Command SWITCH_TO_SHELL{NameOfCommand(7), 7, 2, 0, LEVEL_TRACE,
    "SwitchTo1394Shell failed: Transaction failed, code {code}",
    0, "SwitchTo1394Shell failure: expected 0 operands, received "};
constexpr Command PROGRAM_GUID{NameOfCommand(10), 10, 2, 0, LEVEL_TRACE,
    "ProgramGUID failed: Transaction failed, code {code}",
    0, "ProgramGUID failure: expected 0 operands, received "};
constexpr Command PROGRAM_MAC{NameOfCommand(11), 11, 2, 0, LEVEL_TRACE,
    "ProgramMAC failed: Transaction failed, code {code}",
    0, "ProgramMAC failure: expected 0 operands, received "};
constexpr Command INITIALIZE_PARAMS{NameOfCommand(12), 12, 0, 10000, LEVEL_WARNING,
    "InitializePersistentParams failed: Transaction failed, code {code}",
    0, "InitializePersistentParams warning: expected 0 operands, received "};
constexpr Command FACTORY_DEFAULTS{NameOfCommand(13), 13, 0, 0, LEVEL_USER,
    "InitializeConfigToFactoryDefaults: bootloader does not respond to this command, "
    "assuming success, transaction code {code}",
    0, "InitializeConfigToFactoryDefaults warning: expected 0 operands, received ", false, false};
constexpr Command SET_DEBUG_GUID{NameOfCommand(14), 14, 2, 0, LEVEL_ERROR,
    "SetDebugGUID (node #{node}) failed: Transaction failed, code {code}",
    0, "SetDebugGUID failure: expected 0 operands, received "};
constexpr Command GET_DEBUG_GUID{NameOfCommand(15), 15, 0, 0, LEVEL_WARNING,
    "GetDebugGUID failed: Transaction failed, code {code}",
    2, "GetDebugGUID failure: expected 2 operands, received ", true};
constexpr Command START_IMAGE{NameOfCommand(17), 17, 1, 0, LEVEL_WARNING,
    "StartImage failed: Transaction failed (this is probably due to the fact that the "
    "bootloader is no longer running), code {code}",
    1, "StartImage warning: expected 4 operands, received "};
// clang-format on

void TellFailure(const Command& command, std::int32_t handle, std::int32_t code) {
    if (StatusWanted(command.level))
        StatusDisplay(command.level, "{}",
                      fmt::format(fmt::runtime(command.failure), fmt::arg("code", code),
                                  fmt::arg("node", GetNodeNum(handle).NodeNum)));
}

// Only a halt may go to all nodes at once; any other command with handle 0 would program them all.
std::int32_t Exchange(const Command& command, std::int32_t handle, ByteArray&& operands, BootloaderResponse& response) {
    if (handle == 0 && command.code != HALT.code)
        return INVALID_HANDLE_ERROR;
    BootloaderRequest request;
    request.CommandCode = command.code;
    request.NumQuadlets = command.quadlets;
    request.Operands = std::move(operands);
    return SessionLayerTransaction(handle, request, response, command.timeOutMs);
}

std::int32_t Run(const Command& command, std::int32_t handle, ByteArray&& operands, BootloaderResponse& response) {
    const std::int32_t result = Exchange(command, handle, std::move(operands), response);
    if (result != SUCCESS) {
        TellFailure(command, handle, result);
        return command.answers ? result : SUCCESS;
    }
    if (command.expectedQuadlets == NOT_LOOKED_AT || command.expectedQuadlets == response.NumQuadlets)
        return SUCCESS;
    StatusDisplay(command.level, "{}{}", command.wrongCount, response.NumQuadlets);
    return command.wrongCountFails ? FAILED : SUCCESS;
}

std::int32_t Run(const Command& command, std::int32_t handle, ByteArray&& operands = {}) {
    BootloaderResponse response;
    return Run(command, handle, std::move(operands), response);
}

// A device must never get half an identity.
bool IsIdentity(const Command& command, const ByteArray& bytes) {
    if (bytes.size() == IDENTITY_BYTES)
        return true;
    StatusDisplay(LEVEL_ERROR, "{} failed: the value has {} bytes in place of 8", command.name, bytes.size());
    return false;
}

bool StaysLocked(std::int32_t handle, const ByteArray& newGuid) {
    DeviceGuid guid{};
    std::ranges::copy(newGuid, guid.begin());
    const bool locked = KeepLockOver(handle, guid);
    if (!locked)
        StatusDisplay(LEVEL_ERROR, "ProgramGUID failed: another program is loading a device of this GUID.");
    return locked;
}

// A good exchange with the expected count.
bool Programmed(std::int32_t result, const BootloaderResponse& response) {
    return result == SUCCESS && response.NumQuadlets == 0;
}

} // namespace

std::int32_t HaltBootloader(std::int32_t handle) {
    return platform::ResultOf(
        [&] {
            const std::int32_t result = Run(HALT, handle);
            if (result == SUCCESS && handle == 0)
                StatusDisplay(LEVEL_WATCH, "Broadcasted halt command.");
            else if (result == SUCCESS)
                StatusDisplay(LEVEL_TRACE, "Sent halt command to node #{}", GetNodeNum(handle).NodeNum);
            return result;
        },
        LogFailure(HALT.name));
}

std::int32_t ResetDevice(std::int32_t handle, std::int32_t mode) {
    return platform::ResultOf(
        [&] {
            StatusDisplay(LEVEL_TRACE, "Resetting bootloader device 0x{}", handle);
            return Run(RESET, handle, {static_cast<std::uint8_t>(mode)}); // the bus pads it to its quadlet
        },
        LogFailure(RESET.name));
}

std::int32_t ReadImageCRC(std::int32_t handle, std::int32_t imageType, std::int32_t& crc, std::int32_t& crcValidity) {
    return platform::ResultOf(
        [&] {
            if (handle <= 0) {
                StatusDisplay(LEVEL_ERROR, "ReadImageCRC failed, INVALID_HANDLE_ERROR");
                return INVALID_HANDLE_ERROR;
            }
            BootloaderResponse response;
            const std::int32_t result =
                Run(READ_IMAGE_CRC, handle, {static_cast<std::uint8_t>(imageType), 0, 0, 0}, response);
            if (result != SUCCESS)
                return result;
            crc = basUtils::ByteArrayToLong(response.Operands, 0);
            crcValidity = basUtils::ByteArrayToLong(response.Operands, 4);
            if (crcValidity != 0)
                StatusDisplay(LEVEL_TRACE, "ReadImageCRC warning: target indicates invalid CRC value: 0x{:X}",
                              Bits(crcValidity));
            return result;
        },
        LogFailure(READ_IMAGE_CRC.name));
}

std::int32_t SwitchTo1394Shell(std::int32_t handle, std::int32_t arg1, std::int32_t arg2) {
    return platform::ResultOf(
        [&] {
            ByteArray operands(8);
            basUtils::LongToByteArray(arg1, operands, 0, true);
            basUtils::LongToByteArray(arg2, operands, 4, true);
            return Run(SWITCH_TO_SHELL, handle, std::move(operands));
        },
        LogFailure(SWITCH_TO_SHELL.name));
}

std::int32_t ProgramGUID(std::int32_t handle, ByteArray& guid) {
    return platform::ResultOf(
        [&] {
            if (!IsIdentity(PROGRAM_GUID, guid))
                return FAILED;
            basUtils::ChangeEndian(guid);
            StatusDisplay(LEVEL_WATCH, "Setting GUID to {}...", basUtils::ByteArrayToHexString(guid));
            const bool locked = StaysLocked(handle, guid);
            basUtils::ChangeEndian(guid);
            if (!locked)
                return FAILED;
            BootloaderResponse response;
            const std::int32_t result = Run(PROGRAM_GUID, handle, ByteArray(guid), response);
            if (Programmed(result, response))
                StatusDisplay(LEVEL_TRACE, "Successfully set the GUID to the new value.");
            return result;
        },
        LogFailure(PROGRAM_GUID.name));
}

std::int32_t ProgramMAC(std::int32_t handle, ByteArray& mac) {
    return platform::ResultOf(
        [&] {
            if (!IsIdentity(PROGRAM_MAC, mac))
                return FAILED;
            ByteArray operands = mac;
            basUtils::ChangeEndian(mac);
            StatusDisplay(LEVEL_USER, "Setting MAC address to {}...",
                          basUtils::ByteArrayToHexString(mac.data() + 2, mac.size() - 2));
            BootloaderResponse response;
            const std::int32_t result = Run(PROGRAM_MAC, handle, std::move(operands), response);
            if (Programmed(result, response))
                StatusDisplay(LEVEL_USER, "Successfully set MAC address to the new value.");
            return result;
        },
        LogFailure(PROGRAM_MAC.name));
}

std::int32_t InitializePersistentParams(std::int32_t handle) {
    return platform::ResultOf(
        [&] {
            StatusDisplay(LEVEL_TRACE, "InitializePersistentParams called");
            const std::int32_t result = Run(INITIALIZE_PARAMS, handle);
            if (result == SUCCESS)
                StatusDisplay(LEVEL_TRACE, "InitializePersistentParams succeeded");
            return result;
        },
        LogFailure(INITIALIZE_PARAMS.name));
}

std::int32_t InitializeConfigToFactoryDefaults(std::int32_t handle) {
    return platform::ResultOf([&] { return Run(FACTORY_DEFAULTS, handle); }, LogFailure(FACTORY_DEFAULTS.name));
}

std::int32_t SetDebugGUID(std::int32_t handle, const ByteArray& guid) {
    return platform::ResultOf(
        [&] { return IsIdentity(SET_DEBUG_GUID, guid) ? Run(SET_DEBUG_GUID, handle, ByteArray(guid)) : FAILED; },
        LogFailure(SET_DEBUG_GUID.name));
}

std::int32_t GetDebugGUID(std::int32_t handle, ByteArray& guid) {
    return platform::ResultOf(
        [&] {
            if (handle <= 0) {
                StatusDisplay(LEVEL_TRACE, "GetDebugGUID failed: invalid device handle: {}", handle);
                return std::int32_t{0};
            }
            BootloaderResponse response;
            const std::int32_t result = Run(GET_DEBUG_GUID, handle, {}, response);
            if (result == SUCCESS)
                guid = std::move(response.Operands);
            return result;
        },
        LogFailure(GET_DEBUG_GUID.name));
}

std::int32_t StartImage(std::int32_t handle, std::int32_t imageType, std::int32_t& crcFlag) {
    return platform::ResultOf(
        [&] {
            ByteArray operands(4);
            basUtils::LongToByteArray(imageType, operands, 0);
            BootloaderResponse response;
            const std::int32_t result = Run(START_IMAGE, handle, std::move(operands), response);
            if (result != SUCCESS || response.NumQuadlets != START_IMAGE.expectedQuadlets)
                return result;
            crcFlag = basUtils::ByteArrayToLong(response.Operands);
            if (crcFlag == BAD_CRC)
                StatusDisplay(LEVEL_ERROR, "StartImage Failed: bad CRC of debugger image on embedded target!");
            return result;
        },
        LogFailure(START_IMAGE.name));
}

} // namespace basBootloader
