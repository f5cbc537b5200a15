// What a log_victim tells the test that watches it, in memory that outlives it.
#pragma once

#include <windows.h>

#include <cstddef>

struct LogWitness
{
    static constexpr int kRecords = 14; // of a victim: two rotations with a maximum of one kilobyte

    volatile LONG calls;    // file and mutex calls that have returned
    volatile LONG returned; // records whose Log call has returned
    volatile LONG written;  // bytes whose WriteFile call has returned
    char bytes[16384];

    // Made by the test, opened by the victim; null on failure. Mapped to the end of the process.
    static LogWitness* Open(const wchar_t* name, HANDLE* section)
    {
        *section = CreateFileMappingW(INVALID_HANDLE_VALUE, nullptr, PAGE_READWRITE, 0, sizeof(LogWitness), name);
        return *section == nullptr
                   ? nullptr
                   : static_cast<LogWitness*>(MapViewOfFile(*section, FILE_MAP_ALL_ACCESS, 0, 0, sizeof(LogWitness)));
    }
};
