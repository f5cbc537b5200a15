// Faults under the queue of the log and its worker.
#include "tests/faults/FaultTests.h"
#include "tests/faults/ThreadsOfTheRun.h"
#include "tests/unit/shared/LogFolder.h"

#include "shared/LogLevel.h"
#include "shared/LogListenerFile.h"
#include "tests/harness/ImportHook.h"

using Faults::FaultRun;
using Faults::ThreadsOfTheRun;
using Faults::ThreadStart;
using namespace Quil::Shared;

namespace
{

using LogData = CqlLogListener::LogData;

std::wstring LinesText(const LogFolder& folder)
{
    return std::to_wstring(folder.Read(L"App.log") == "(missing)" ? 0 : folder.Lines(L"App.log").size()) + L" lines";
}

// Nothing waits, so that nothing depends on time: gathering ends at once, and a mutex that somebody owns is not had.
struct NoWaiting
{
    IMPORT_HOOK(SleepConditionVariableCS){[](auto...) {
        SetLastError(ERROR_TIMEOUT);
        return FALSE;
    }};
    IMPORT_HOOK(WaitForSingleObject){
        [this](HANDLE handle, DWORD) { return hook_WaitForSingleObject.Real()(handle, 0); }};
};

// The queue ends before its worker has begun, and does not wait for it any longer than prescribed.
void QueuedEnd(FaultRun& run)
{
    LogFolder folder;
    NoWaiting noWaiting;
    ThreadsOfTheRun workers{run, ThreadStart::WhenAwaited};
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
    run.Append(LinesText(folder) + L", " + std::to_wstring(pauses) + L" pauses");
}

const Faults::Operation kOperations[] = {
    {"QueuedEnd", &QueuedEnd, LR"(
untouched ; GetModuleFileNameW 1, 2; GetFileVersionInfoSizeW 1, 2; WaitForSingleObject 1, 3; CreateFileW 1; ReadFile 1; WriteFile 1; CloseHandle 1, 2; ReleaseMutex 1; worker's SleepConditionVariableCS 1; worker's WaitForSingleObject 1; worker's CreateFileW 1; worker's CloseHandle 1, 2; worker's ReleaseMutex 1 => 0 lines, 2 pauses | holds nothing
SHCreateDirectoryExW 1; CreateMutexW 1; CreateThread 1; allocation 1, 2 => 0 lines, 0 pauses | holds nothing
WaitForSingleObject 1+, 2 => 0 lines, 1 pauses | holds nothing
)"},
};

INSTANTIATE_TEST_SUITE_P(Log, Operations, testing::ValuesIn(kOperations), Faults::NameOf);

} // namespace
