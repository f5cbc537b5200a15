// What the load and its client processes share.
#pragma once

#include <windows.h>

#include <atomic>
#include <cstdint>

namespace Soak
{

struct LoadBoard
{
    std::atomic<std::uint32_t> connected;
    std::atomic<std::uint32_t> go; // the clients that wait with their connections call now
    std::atomic<std::uint32_t> answered;
    std::atomic<std::uint32_t> refused; // calls that ended with a status
    std::atomic<std::uint32_t> status;  // the last of these
    std::atomic<std::uint32_t> medianMicroseconds;
    std::atomic<std::uint32_t> slowestMicroseconds;
};

// The board of the load, made when it is not there yet; null on failure. It stays mapped to the end of the process.
inline LoadBoard* OpenLoadBoard()
{
    const HANDLE section = CreateFileMappingW(INVALID_HANDLE_VALUE, nullptr, PAGE_READWRITE, 0, sizeof(LoadBoard),
                                              L"Local\\HotKeyLoadBoard");
    return section == nullptr
               ? nullptr
               : static_cast<LoadBoard*>(MapViewOfFile(section, FILE_MAP_ALL_ACCESS, 0, 0, sizeof(LoadBoard)));
}

} // namespace Soak
