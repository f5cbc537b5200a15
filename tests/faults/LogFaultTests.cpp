// Faults under the queue of the log and its worker, and under the log that
// policy gives the program.
#include "tests/faults/FaultTests.h"
#include "tests/faults/ThreadsOfTheRun.h"
#include "tests/unit/shared/LogFolder.h"

#include "shared/LogLevel.h"
#include "shared/LogListenerFile.h"
#include "shared/LogPolicy.h"
#include "shared/Logger.h"
#include "tests/harness/ImportHook.h"
#include "tests/harness/RegistryScope.h"

#include <shlobj.h>

#include <algorithm>
#include <cwchar>

using Faults::FaultRun;
using Faults::ThreadsOfTheRun;
using Faults::ThreadStart;
using namespace Quil::Shared;

namespace
{

using LogData = CqlLogListener::LogData;

// Nothing waits, so that nothing depends on time: gathering ends at once, and a
// mutex that somebody owns is not had.
struct NoWaiting
{
    IMPORT_HOOK(SleepConditionVariableCS){[](auto...) {
        SetLastError(ERROR_TIMEOUT);
        return FALSE;
    }};
    IMPORT_HOOK(WaitForSingleObject){
        [this](HANDLE handle, DWORD) { return hook_WaitForSingleObject.Real()(handle, 0); }};
};

void Queued(FaultRun& run)
{
    LogFolder folder;
    const std::wstring path = folder.File(L"App.log");
    NoWaiting noWaiting;
    ThreadsOfTheRun workers{ThreadStart::WhenAwaited};
    run.Try([&] {
        CqlLogListenerFile listener{true, 0, path};
        // Long enough to be allocated when the worker takes them.
        for (const wchar_t* const message : {L"the first of two messages", L"the second of two messages"})
        {
            listener.Write(LogData{Error, "A::B", message});
            workers.AwaitAll();
        }
        return std::wstring{};
    });
    EXPECT_EQ(0, workers.Thrown());
    run.Append(folder.LineCountText(L"App.log") + L", " + std::to_wstring(workers.Count()) + L" workers");
}

// The queue ends before its worker has begun, and does not wait for it any
// longer than prescribed.
void QueuedEnd(FaultRun& run)
{
    LogFolder folder;
    NoWaiting noWaiting;
    ThreadsOfTheRun workers{ThreadStart::WhenAwaited};
    int pauses = 0;
    IMPORT_HOOK(Sleep)([&](DWORD) { ++pauses; });
    run.Try([&] {
        {
            CqlLogListenerFile listener{true, 0, folder.File(L"App.log")};
            listener.Write(LogData{Error, "A::B", L"lost"});
        }
        workers.AwaitAll();
        return std::wstring{};
    });
    EXPECT_EQ(0, workers.Thrown());
    run.Append(folder.LineCountText(L"App.log") + L", " + std::to_wstring(pauses) + L" pauses");
}

// A program with the product's name, whose policy asks for a file of its own.
struct PolicyOfTheProgram
{
    PolicyOfTheProgram()
    {
        const std::wstring key = L"Software\\Policies\\Quil\\Product";
        registry.SetText(key, L"LoggingType", L"File");
        registry.SetText(key, L"MinLogLevel", L"Error");
        registry.SetNumber(key + L"\\" + ProgramBaseName(), L"MaxLogSize", 7);
    }

    ~PolicyOfTheProgram()
    {
        const std::wstring folder = appData.File(L"quilLog\\");
        WIN32_FIND_DATAW found{};
        const HANDLE search = FindFirstFileW((folder + L"*.log").c_str(), &found);
        for (BOOL more = search != INVALID_HANDLE_VALUE; more; more = FindNextFileW(search, &found))
        {
            DeleteFileW((folder + found.cFileName).c_str());
        }
        FindClose(search);
        RemoveDirectoryW(folder.c_str());
    }
    PolicyOfTheProgram(const PolicyOfTheProgram&) = delete;
    PolicyOfTheProgram& operator=(const PolicyOfTheProgram&) = delete;

    RegistryScope registry;
    LogFolder appData;
    IMPORT_HOOK(SHGetFolderPathW){[this](HWND, int, HANDLE, DWORD, LPWSTR path) {
        std::wcscpy(path, appData.Path().c_str());
        return S_OK;
    }};
    IMPORT_HOOK(GetFileVersionInfoSizeW){[](LPCWSTR, LPDWORD) -> DWORD { return 32; }};
    IMPORT_HOOK(GetFileVersionInfoW){[](auto...) { return TRUE; }};
    IMPORT_HOOK(VerQueryValueW){[](LPCVOID, LPCWSTR name, LPVOID* value, PUINT length) {
        static wchar_t product[] = L"Product";
        *value = product;
        *length = 8;
        return std::wcsstr(name, L"040904B0") != nullptr ? TRUE : FALSE;
    }};
};

void ProgramLog(FaultRun& run)
{
    PolicyOfTheProgram program;
    NoWaiting noWaiting;
    ThreadsOfTheRun workers{ThreadStart::WhenAwaited};
    run.Try([&] {
        CqlLogger logger{TraceIn, CqlLogListener::FileQueued};
        logger.Log(Information, "A::B", L"below the level");
        workers.AwaitAll();
        logger.Log(Error, "A::B", L"first");
        workers.AwaitAll();
        const UnobservedAllocations own;
        return std::wstring{logger.IsEnabled(Information) ? L"all levels" : L"errors only"};
    });
    EXPECT_EQ(0, workers.Thrown());
    const std::string text = program.appData.Read(L"quilLog\\" + ProgramBaseName() + L".log");
    run.Append(L", " + std::to_wstring(std::count(text.begin(), text.end(), '\n')) + L" lines, " +
               std::to_wstring(workers.Count()) + L" workers");
}

const Faults::Operation kOperations[] = {
    {"Queued", &Queued, LR"(
untouched ; GetModuleFileNameW 1, 2; GetFileVersionInfoSizeW 1, 2; WaitForSingleObject 1; CreateFileW 1; ReadFile 1; WriteFile 1; CloseHandle 1, 2, 3, 4; worker's SleepConditionVariableCS 1, 2; worker's WaitForSingleObject 1; worker's CreateFileW 1; worker's GetFileAttributesExW 1; worker's CloseHandle 1, 2; worker's ReleaseMutex 1, 2 => 2 lines, 2 workers | holds nothing
SHCreateDirectoryExW 1; CreateMutexW 1; CreateThread 1+; allocation 1, 2+ => 0 lines, 0 workers | holds nothing
ReleaseMutex 1; worker's WaitForSingleObject 1+; worker's CreateFileW 1+; worker's WriteFile 1+ => 0 lines, 2 workers | holds nothing
CreateThread 1; allocation 2 => 2 lines, 1 workers | holds nothing
CreateThread 2; allocation 3 => 1 lines, 1 workers | holds nothing
worker's WaitForSingleObject 2; worker's CreateFileW 2; worker's WriteFile 1, 2 => 1 lines, 2 workers | holds nothing
)"},
    {"QueuedEnd", &QueuedEnd, LR"(
untouched ; GetModuleFileNameW 1, 2; GetFileVersionInfoSizeW 1, 2; WaitForSingleObject 1, 3; CreateFileW 1; ReadFile 1; WriteFile 1; CloseHandle 1, 2; ReleaseMutex 1; worker's SleepConditionVariableCS 1; worker's WaitForSingleObject 1; worker's CreateFileW 1; worker's CloseHandle 1, 2; worker's ReleaseMutex 1 => 0 lines, 2 pauses | holds nothing
SHCreateDirectoryExW 1; CreateMutexW 1; CreateThread 1; allocation 1, 2 => 0 lines, 0 pauses | holds nothing
WaitForSingleObject 1+, 2 => 0 lines, 1 pauses | holds nothing
)"},
    {"ProgramLog", &ProgramLog, LR"(
untouched ; GetModuleFileNameW 1, 2, 3, 4, 6, 7; GetFileVersionInfoSizeW 3; GetFileVersionInfoW 3; VerQueryValueW 1, 3, 5, 6; RegOpenKeyExW 2, 4, 5, 6; RegQueryValueExW 1, 3, 5, 6, 7, 8, 9; RegCloseKey 1, 2, 3, 4, 5, 6; WaitForSingleObject 1; CreateFileW 1; ReadFile 1; WriteFile 1; CloseHandle 1, 2, 3; ReleaseMutex 1, 2; GetFileAttributesExW 1; allocation 4 => errors only, 1 lines, 0 workers | holds nothing
GetModuleFileNameW 1+, 2+, 3+, 4+, 5; SHGetFolderPathW 1; CreateDirectoryW 1; CreateMutexW 1; WaitForSingleObject 1+, 2; CreateFileW 1+, 2; WriteFile 1+, 2; allocation 1+, 2, 4+, 5 => errors only, 0 lines, 0 workers | holds nothing
GetFileVersionInfoSizeW 1; GetFileVersionInfoW 1; VerQueryValueW 2; RegOpenKeyExW 1; RegQueryValueExW 2; allocation 1 => errors only, 1 lines, 1 workers | holds nothing
GetFileVersionInfoSizeW 1+; GetFileVersionInfoW 1+; VerQueryValueW 1+, 2+; RegOpenKeyExW 1+; RegQueryValueExW 1+, 2+ => all levels, 2 lines, 2 workers | holds nothing
GetFileVersionInfoSizeW 2; GetFileVersionInfoW 2; VerQueryValueW 3+, 4; RegOpenKeyExW 2+, 3; RegQueryValueExW 3+, 4; allocation 3 => all levels, 2 lines, 0 workers | holds nothing
allocation 3+ => all levels, 0 lines, 0 workers | holds nothing
)"},
};

INSTANTIATE_TEST_SUITE_P(Log, Operations, testing::ValuesIn(kOperations), Faults::NameOf);

} // namespace
