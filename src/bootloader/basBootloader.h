// The bootloader protocol: one exchange with a target, its identification, the list of targets and
// their handles, and the commands. Result codes are 1 for success, a code below, or one of the 1394 layer's.
#pragma once

#include "BootloaderRecords.h"
#include "BootloaderStatus.h"
#include "DeviceLock.h"
#include "TwdPackage.h"
#include "bas1394.h"

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace basBootloader {

inline constexpr std::int32_t SUCCESS = 1;
inline constexpr std::int32_t FAILED = -1;
inline constexpr std::int32_t GIVE_UP = -2; // ends a poll loop at once
inline constexpr std::int32_t LIST_MUTEX_TIMED_OUT = -100;
inline constexpr std::int32_t INVALID_HANDLE_ERROR = -101;
inline constexpr std::int32_t WRONG_BLOCK = -102; // the answer names another block

inline constexpr std::int32_t BIG_ENDIAN_PROTOCOL = 0x2000000; // protocol 2 stored big-endian

inline constexpr std::int32_t IMAGE_APPLICATION = 0, IMAGE_CONFIG = 1, IMAGE_DEBUGGER = 2, IMAGE_BOOTLOADER = 3;
// "Application", "Config", "Debugger", "Bootloader", else "Invalid".
const char* FirmwareImageTypeLookup(std::int32_t imageType);

// The load that has begun to change its device, with the bytes that went through so far.
struct LoadUnderWay {
    const char* image = nullptr; // its name; null without a load
    std::int64_t sent = 0, length = 0;
};

struct Globals {
    bas1394::Address1394 RegisterBase{0xFFFF, 0xC8020000};
    std::int32_t LastCommandID = 0;           // shared by all targets; 1 to 32766 on the wire
    platform::Handle TransactionMutex = 0;    // "ShellTransactionMutex", system-wide
    platform::Handle TargetListMutex = 0;     // unnamed
    std::int32_t MutexWaitTime = 2000;        // ms
    std::vector<std::int32_t> AwaitedHandles; // whose answers are awaited during a turn
    std::vector<BootloaderTarget> TargetList = std::vector<BootloaderTarget>(1); // never shrinks
    std::vector<CompatibleNode> CompatibleNodes;                                 // of the last discovery
    std::int32_t NextHandle = 63;
    std::vector<Device> DebuggerList = std::vector<Device>(1); // one blank record when empty
    bool DiscoveryInterrupted = false;                         // another bus reset arrived
    bool DiscoveryComplete = false;
    bool DiscoveryOwed = false;                  // it left out a target that couldn't be spoken to
    std::array<std::uint8_t, 8> GeneratedGuid{}; // last made-up debug GUID, zero before the first
    std::int32_t OldHead = 0;                    // of a console's ring, as last read; one for all targets, never reset
    std::int64_t LastDirectWrite = 0;            // to a console, by the performance counter; 0 before the first
    LoadUnderWay Load;
    std::shared_ptr<platform::LockFile> DeviceLocks;    // of all processes; null until needed
    std::vector<std::weak_ptr<HeldDevice>> HeldDevices; // of this process
};
extern Globals globals;

// Progress of a polled command, in steps of 100 ms of its time-out.
struct CommandProgress {
    std::function<void(std::int32_t maximum)> start; // minimum is 0
    std::function<void(std::int32_t value)> value;
    std::function<void()> repaint;        // after each value
    std::function<bool()> abandoned = {}; // asked between two polls; true ends the waiting
    // The request has gone out; `result` is the code of its write. Not called when nothing reached the bus.
    std::function<void(std::int32_t result)> sent = {};
};

// --- Session (Session.cpp) ---

// One exchange: request out, response polled for `timeOutMs` (0: once). Handle 0 is a broadcast.
[[nodiscard]] std::int32_t SessionLayerTransaction(std::int32_t handle, BootloaderRequest& request,
                                                   BootloaderResponse& response, std::int32_t timeOutMs = 0,
                                                   const CommandProgress* progress = nullptr);
// With the Transaction mutex held. The write's code, or -1.
[[nodiscard]] std::int32_t SendRequest(std::int32_t handle, BootloaderRequest& request);
[[nodiscard]] std::int32_t GetResponse(std::int32_t handle, BootloaderResponse& response);
[[nodiscard]] std::int32_t ValidateResponse(const BootloaderRequest& request,
                                            const BootloaderResponse& response); // 1 or -1
// Runs a turn of the window system in the middle of an exchange. Meanwhile nothing can be sent to that target, nor to
// all: the mutex doesn't exclude its own thread, and a target has room for one request and one answer.
void TurnInExchange(std::int32_t handle, const std::function<void()>& turn);
[[nodiscard]] bool AnswerAwaited();                    // by any exchange: nothing can be sent to all nodes now
[[nodiscard]] bool AnswerAwaited(std::int32_t handle); // from this target; 0: from any
// One block write of the whole array (padded to a quadlet) to the Request Buffer.
[[nodiscard]] std::int32_t WriteRequestBuffer(std::int32_t handle, std::int32_t numBytes, ByteArray& data);
// `data` gets numBytes rounded up to a quadlet.
[[nodiscard]] std::int32_t ReadResponseBuffer(std::int32_t handle, std::int32_t numBytes, ByteArray& data);

// --- Identification (Identification.cpp) ---

inline constexpr std::int32_t INFO_BYTES = 104; // of the info registers, from Globals::RegisterBase on
[[nodiscard]] std::int32_t ReadInfoRegisters(const Device& device, BootloaderInfoRegisters& info);
[[nodiscard]] bool VerifyCompatibility(const BootloaderInfoRegisters& info);
[[nodiscard]] bool CheckForDebugSupport(const Device& device, std::int32_t timeOutMs = 0);
[[nodiscard]] bool CheckForDebugger(const Device& device); // adds the device to DebuggerList
// The 104 bytes as fields. Pure.
[[nodiscard]] BootloaderInfoRegisters DecodeInfoRegisters(const ByteArray& bytes, bool bigEndian);

// --- Target list (TargetList.cpp) ---

void InitializeTargetList(); // opens or creates both mutexes
void TerminateTargetList();
std::int32_t BusResetHandler(); // 1 or -100
// True, once, when a discovery left out a target that can be spoken to again.
[[nodiscard]] bool TakeOwedDiscovery();
[[nodiscard]] std::int32_t BuildBootloaderDeviceList(); // compatible nodes; 0 interrupted, -1 empty node table
[[nodiscard]] std::int32_t FindBootloaderDevice(const Device& device,
                                                const BootloaderInfoRegisters& info); // index or -1
[[nodiscard]] std::int32_t CreateBootloaderDevice(const Device& device,
                                                  const BootloaderInfoRegisters& info); // index or -1
[[nodiscard]] std::int32_t ConnectToBootloaderDevice(BootloaderTarget& target);         // 1 or -1
[[nodiscard]] std::int32_t SynchronizeGUIDs();
[[nodiscard]] std::int32_t HandleNullGUIDs();
[[nodiscard]] std::int32_t HandleDuplicateGUIDs();

// --- Targets and handles (Targets.cpp) ---

std::int32_t OpenBootloaderDevice(const Device& device); // handle, or -101
std::int32_t CloseBootloaderDevice(std::int32_t handle); // 1 or -1
// The target's node record, or NullDevice. Valid until the window system's next turn.
const Device& GetNodeNum(std::int32_t handle);
[[nodiscard]] std::int32_t GetDeviceHandle(const Device& device); // of the target with this node number, or 0
[[nodiscard]] std::int32_t GetDeviceHandleFromGuid(const std::array<std::uint8_t, 8>& guid,
                                                   const std::optional<std::string>& excludeHandle = {}); // or 0
[[nodiscard]] std::int32_t GetDeviceIndex(std::int32_t handle);                                           // or -1

// --- Commands (Commands.cpp). 8-byte values as they go over the wire. ---

std::int32_t HaltBootloader(std::int32_t handle);
inline constexpr std::int32_t RESET_INTO_APPLICATION = 0, RESET_INTO_BOOTLOADER = 1;
[[nodiscard]] std::int32_t ResetDevice(std::int32_t handle, std::int32_t mode);
[[nodiscard]] std::int32_t ReadImageCRC(std::int32_t handle, std::int32_t imageType, std::int32_t& crc,
                                        std::int32_t& crcValidity);
[[nodiscard]] std::int32_t SwitchTo1394Shell(std::int32_t handle, std::int32_t arg1, std::int32_t arg2);
[[nodiscard]] std::int32_t ProgramGUID(std::int32_t handle, ByteArray& guid); // target order, as after ChangeEndian
[[nodiscard]] std::int32_t ProgramMAC(std::int32_t handle, ByteArray& mac);   // the same; left in natural order
[[nodiscard]] std::int32_t InitializePersistentParams(std::int32_t handle);
[[nodiscard]] std::int32_t InitializeConfigToFactoryDefaults(std::int32_t handle);
[[nodiscard]] std::int32_t SetDebugGUID(std::int32_t handle, const ByteArray& guid);
[[nodiscard]] std::int32_t GetDebugGUID(std::int32_t handle, ByteArray& guid);
[[nodiscard]] std::int32_t StartImage(std::int32_t handle, std::int32_t imageType, std::int32_t& crcFlag);

// --- Download commands (DownloadCommands.cpp) ---

struct DownloadAnnouncement {
    std::int32_t ImageType = 0;
    std::array<std::uint8_t, 8> ImageDate{}, ImageTime{};
    std::int32_t SoftwareID = 0, SoftwareVersion = 0, StartAddress = 0, Length = 0, Crc = 0;
};
[[nodiscard]] std::int32_t DownloadStart(std::int32_t handle, const DownloadAnnouncement& announcement,
                                         std::int32_t& maxBlockSize, std::int32_t timeOutMs = 0,
                                         const CommandProgress* progress = nullptr);
// `data` holds the payload (padded in place). 1, -1, -2, -101, -102, or the target's status.
[[nodiscard]] std::int32_t DownloadBlock(std::int32_t handle, std::int32_t blockNumber, std::int32_t address,
                                         std::int32_t numBytes, ByteArray& data);
[[nodiscard]] std::int32_t DownloadEnd(std::int32_t handle, std::int32_t& crc, std::int32_t& crcValidity,
                                       std::int32_t timeOutMs = 3000, const CommandProgress* progress = nullptr);

// --- The characters of a target's console (ShellChannel.cpp). Both take the TargetList mutex. ---

// `data` gets the new characters, or one byte 0 after a failure or without new ones. With `wrapNotices` a line of text
// marks where the target's ring wraps. 1, 0 (no such target), -1, -100, -101, or the code of the failed step.
[[nodiscard]] std::int32_t ReadShellCharacters(std::int32_t handle, ByteArray& data, bool wrapNotices);
// The most bytes that one WriteShellCharacters takes for this target; 0 without such a target. A longer text is
// refused: the second of two writes could overwrite the first before the target has read it.
[[nodiscard]] std::int32_t LongestShellText(std::int32_t handle);
// 1, 0 (no such target), -1 (a single 0 or too long a text can't be sent), -100, -101, or the code of the failed step.
[[nodiscard]] std::int32_t WriteShellCharacters(std::int32_t handle, const ByteArray& data);
// One for each generation, for ReadShellCharacters only.
[[nodiscard]] std::int32_t ReadShellCharacters_Ver1(std::int32_t handle, ByteArray& data);
[[nodiscard]] std::int32_t ReadShellCharacters_Ver2(std::int32_t handle, ByteArray& data, bool wrapNotices);

// --- The named items of a target's persistent store (Keys.cpp) ---

inline constexpr std::int32_t LARGEST_KEY_DATA = 65536; // bytes; a longer value is neither accepted nor sent
// `data` gets the value and one spare byte 0 after it; after a failure, the part that was read. 1, -1, -101, or the
// code of the failed step.
[[nodiscard]] std::int32_t ReadKey(std::int32_t handle, const std::string& keyName, ByteArray& data);
// 1, -1, -101, or the code of the failed step; a value that was half written stays so.
[[nodiscard]] std::int32_t WriteKey(std::int32_t handle, const std::string& keyName, const ByteArray& data);

} // namespace basBootloader
