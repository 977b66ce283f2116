// Kernel objects known by numbered handles: events, mutexes, processes. 0 isn't a handle.
#pragma once

#include <cstdint>
#include <string>

namespace platform {

using Handle = std::int32_t;

inline constexpr std::uint32_t WAIT_OBJECT_0 = 0;
inline constexpr std::uint32_t WAIT_TIMEOUT = 258;
inline constexpr std::uint32_t WAIT_FAILED = 0xFFFFFFFF;
inline constexpr std::uint32_t STILL_ACTIVE = 259;
inline constexpr std::uint32_t MUTEX_ALL_ACCESS = 0x1F0001;
inline constexpr std::uint32_t PROCESS_QUERY_INFORMATION = 1024;

[[nodiscard]] Handle CreateEventA(bool manualReset, bool initialState);
bool SetEvent(Handle event);

// All processes of this user on this machine share a mutex by its name, and the end of the owner's process releases it;
// a mutex without a name belongs to this process. Recursive for the owning thread. 0 on failure.
[[nodiscard]] Handle CreateMutexA(bool initialOwner, const std::string& name);
// 0 when no process has a mutex of that name open.
[[nodiscard]] Handle OpenMutexA(std::uint32_t desiredAccess, bool inheritHandle, const std::string& name);
// Why the last named mutex couldn't be opened, with the path of its lock file; empty when it could.
std::string LockTrouble();
// False when the calling thread isn't the owner.
bool ReleaseMutex(Handle mutex);

// WAIT_OBJECT_0, WAIT_TIMEOUT, or WAIT_FAILED for an invalid handle. Waits on the clock; the window system gets no turn
// meanwhile.
[[nodiscard]] std::uint32_t WaitForSingleObject(Handle handle, std::uint32_t milliseconds);
// Frees the handle; the last one of a mutex releases it. False for an invalid handle.
bool CloseHandle(Handle handle);

std::uint32_t GetCurrentThreadId();

} // namespace platform
