// Kernel objects behind numbered handles: events, mutexes, processes. 0 is no handle.
#pragma once

#include <cstdint>
#include <string>

namespace platform {

using Handle = std::int32_t;

inline constexpr std::uint32_t WAIT_OBJECT_0 = 0;
inline constexpr std::uint32_t WAIT_ABANDONED = 0x80;
inline constexpr std::uint32_t WAIT_TIMEOUT = 258;
inline constexpr std::uint32_t WAIT_FAILED = 0xFFFFFFFF;
inline constexpr std::uint32_t STILL_ACTIVE = 259;
inline constexpr std::uint32_t MUTEX_ALL_ACCESS = 0x1F0001;
inline constexpr std::uint32_t PROCESS_QUERY_INFORMATION = 1024;

Handle CreateEventA(bool manualReset, bool initialState);
bool SetEvent(Handle event);

// A mutex with a name is one for all processes of this user on this machine and is given back
// when its owner's process ends; without a name it is one of this process. Recursive for the
// owning thread. 0 on failure.
Handle CreateMutexA(bool initialOwner, const std::string& name);
// 0 when no process has a mutex of that name open.
Handle OpenMutexA(std::uint32_t desiredAccess, bool inheritHandle, const std::string& name);
// Why the last named mutex could not be had, with the file that it would lie in; empty when it could.
std::string LockTrouble();
// False when the calling thread isn't the owner.
bool ReleaseMutex(Handle mutex);

// WAIT_OBJECT_0, WAIT_TIMEOUT, or WAIT_FAILED for a handle that isn't one. Waits on the clock,
// gives the window system no turn.
std::uint32_t WaitForSingleObject(Handle handle, std::uint32_t milliseconds);
// Frees the handle; a mutex that it owns is given back. False for a handle that isn't one.
bool CloseHandle(Handle handle);

std::uint32_t GetCurrentThreadId();

} // namespace platform
