// What the soak and its client processes share: one block of memory with a slot for each client.
//
// A client says "inside" before it asks whether it may call, so once the board is paused and no slot is inside, no call
// is in progress and none begins.
#pragma once

#include <windows.h>

#include <atomic>
#include <cstdint>

namespace Soak
{

inline constexpr unsigned kClients = 32;

enum Phase : std::uint32_t
{
    kRunning,
    kPaused,
    kEnding,
};

enum Operation : std::uint32_t
{
    kReadSysInfo,
    kReadUsbTypeC,
    kIsServiceInstalled,
    kIsNodePresent,
    kReadPresence,
    kReconnect,
    kLaunchSystemInformation,
    kLaunchUsbCApp,
    kOperations,
};

struct Slot
{
    std::atomic<std::uint32_t> ready; // connected at least once
    std::atomic<std::uint32_t> inside;
    std::atomic<std::uint32_t> held; // begins no further call
    std::atomic<std::uint32_t> calls;
    std::atomic<std::uint32_t> slowestMicroseconds; // since it was last taken
    std::atomic<std::uint32_t> operations[kOperations];
    std::atomic<std::uint32_t> lost;     // calls without the answer that they must have
    std::atomic<wchar_t> complaint[200]; // the first of them
};

struct Board
{
    std::atomic<std::uint32_t> phase;
    Slot slots[kClients];
};
static_assert(std::atomic<std::uint32_t>::is_always_lock_free && std::atomic<wchar_t>::is_always_lock_free);

// The board of that name, made when it is not there yet; null on failure. It stays mapped to the end of the process.
inline Board* OpenBoard(const wchar_t* name)
{
    const HANDLE section = CreateFileMappingW(INVALID_HANDLE_VALUE, nullptr, PAGE_READWRITE, 0, sizeof(Board), name);
    return section == nullptr ? nullptr
                              : static_cast<Board*>(MapViewOfFile(section, FILE_MAP_ALL_ACCESS, 0, 0, sizeof(Board)));
}

inline constexpr wchar_t kBoardName[] = L"Local\\HotKeySoakBoard";

} // namespace Soak
