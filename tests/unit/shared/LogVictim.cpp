// A process that logs and ends itself in the middle: log_victim <path> <direct|queued> <call> <witness>
// Its last act is the return of the given file or mutex call, counted from 1; 0 lets it live. Record n reads
// "victim <n> " and eighty letters, so that fourteen of them rotate a log of one kilobyte twice.
#include "shared/LogLevel.h"
#include "shared/LogListenerFile.h"
#include "shared/Logger.h"
#include "tests/harness/ImportHook.h"
#include "tests/harness/RegistryScope.h"
#include "tests/unit/shared/LogWitness.h"

#include <windows.h>

#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>

using namespace Quil::Shared;

namespace
{

LogWitness* s_witness;
LONG s_lastCall;

// The call has returned; if it is the last one, nothing of this process runs on.
void Returned()
{
    if (InterlockedIncrement(&s_witness->calls) == s_lastCall)
    {
        TerminateProcess(GetCurrentProcess(), 1);
        SuspendThread(GetCurrentThread());
    }
}

void Keep(const void* bytes, DWORD count)
{
    const LONG place = InterlockedExchangeAdd(&s_witness->written, static_cast<LONG>(count));
    if (static_cast<std::size_t>(place) + count <= sizeof(s_witness->bytes))
    {
        std::memcpy(s_witness->bytes + place, bytes, count);
    }
}

// Calls the system, then perhaps ends. The system's error stays what it was.
#define ENDS_AFTER(function)                                                                                           \
    IMPORT_HOOK(function)                                                                                              \
    {                                                                                                                  \
        [](auto... arguments) {                                                                                        \
            const auto result = decltype(hook_##function)::RealOfCurrent()(arguments...);                              \
            const DWORD error = GetLastError();                                                                        \
            Returned();                                                                                                \
            SetLastError(error);                                                                                       \
            return result;                                                                                             \
        }                                                                                                              \
    }

void Log(bool queued, const wchar_t* path)
{
    std::unique_ptr<CqlLogListenerFile> listener;
    {
        RegistryScope registry;
        registry.SetNumber(L"Software\\Policies\\Quil\\Tests in Windows characters", L"MaxLogSize", 1);
        ENDS_AFTER(CreateFileW);
        ENDS_AFTER(CreateMutexW);
        ENDS_AFTER(ReadFile);
        ENDS_AFTER(ReleaseMutex);
        ENDS_AFTER(WaitForSingleObject);
        listener = std::make_unique<CqlLogListenerFile>(queued, TraceIn, path);
    }
    ENDS_AFTER(CloseHandle);
    ENDS_AFTER(CreateFileW);
    ENDS_AFTER(DeleteFileW);
    ENDS_AFTER(FindClose);
    ENDS_AFTER(FindFirstFileW);
    ENDS_AFTER(FindNextFileW);
    ENDS_AFTER(GetFileAttributesExW);
    ENDS_AFTER(GetFileSizeEx);
    ENDS_AFTER(GetFullPathNameW);
    ENDS_AFTER(GetTempFileNameW);
    ENDS_AFTER(MoveFileW);
    ENDS_AFTER(ReadFile);
    ENDS_AFTER(ReleaseMutex);
    ENDS_AFTER(WaitForSingleObject);
    IMPORT_HOOK(WriteFile){[](HANDLE file, LPCVOID bytes, DWORD size, LPDWORD count, LPOVERLAPPED place) {
        const BOOL result = decltype(hook_WriteFile)::RealOfCurrent()(file, bytes, size, count, place);
        const DWORD error = GetLastError();
        Keep(bytes, result ? *count : 0);
        Returned();
        SetLastError(error);
        return result;
    }};
    CqlLogger logger;
    logger.AddListener(std::move(listener));
    const std::wstring letters(80, L'x');
    for (int record = 0; record < LogWitness::kRecords; ++record)
    {
        logger.Log(Information, "Victim", L"victim %d %s", record, letters.c_str());
        InterlockedIncrement(&s_witness->returned);
    }
    // What waits in the queue at the end is lost by design: the worker gets the time to write it.
    const LONG all = LogWitness::kRecords * 100;
    for (int attempt = 0; queued && s_witness->written < all && attempt < 2000; ++attempt)
    {
        Sleep(5);
    }
}

} // namespace

int wmain(int argc, wchar_t** argv)
{
    HANDLE section = nullptr;
    if (argc != 5 || (s_witness = LogWitness::Open(argv[4], &section)) == nullptr)
    {
        return 2;
    }
    s_lastCall = _wtoi(argv[3]);
    Log(std::wstring_view{argv[2]} == L"queued", argv[1]);
    return 0;
}
