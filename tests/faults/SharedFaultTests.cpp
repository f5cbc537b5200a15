// Faults under the logging library: policy, file, rotation, event log; and under the process helper.
#include "tests/faults/FaultTests.h"
#include "tests/unit/service/ProcessListStandIn.h"
#include "tests/unit/shared/LogFolder.h"

#include "shared/LogFile.h"
#include "shared/LogLevel.h"
#include "shared/LogListenerEvent.h"
#include "shared/LogListenerFile.h"
#include "shared/LogPolicy.h"
#include "shared/Process.h"
#include "shared/WideText.h"
#include "tests/harness/RegistryScope.h"

#include <shlobj.h>

#include <utility>

using Faults::FaultRun;
using namespace Quil::Shared;

namespace
{

using LogData = CqlLogListener::LogData;

// The lines of the log are counted after the run, and in files beside it.
void Direct(FaultRun& run)
{
    LogFolder folder;
    const std::wstring path = folder.File(L"App.log");
    run.Try([&] {
        CqlLogListenerFile listener{false, 0, path};
        listener.Write(LogData{Error, "A::B", L"first"});
        listener.Write(LogData{Error, "A::B", L"second"});
        return std::wstring{};
    });
    run.Append(folder.LineCountText(L"App.log"));
}

void Rotation(FaultRun& run)
{
    LogFolder folder;
    for (int number = 1; number <= 9; ++number)
    {
        const std::wstring name = L"App_000" + std::to_wstring(number) + L".log";
        folder.Write(name, std::to_string(number));
        folder.SetLastWrite(name, 100 - number);
    }
    folder.Write(L"App.log", std::string(2048, 'x'));
    run.Try([&] {
        CLogFile file{folder.File(L"App.log"), 1};
        const bool acquired = file.Acquire();
        if (acquired)
        {
            file.WriteLine(L"line");
            file.Release();
        }
        return std::wstring{acquired ? L"written" : L"not written"};
    });
    run.Append(L", " + std::to_wstring(folder.Names().size()) + L" files");
}

// The former writer was ended in the middle of a line.
void TornLine(FaultRun& run)
{
    LogFolder folder;
    folder.Write(L"App.log", "2024/03/05 14:07:09.042|00001A2C|Error|A::B|tor");
    bool abandoned = true;
    IMPORT_HOOK(WaitForSingleObject)
    ([&](HANDLE handle, DWORD milliseconds) {
        const DWORD result = decltype(hook_WaitForSingleObject)::RealOfCurrent()(handle, milliseconds);
        return std::exchange(abandoned, false) ? DWORD{WAIT_ABANDONED} : result;
    });
    run.Try([&] {
        CqlLogListenerFile listener{false, 0, folder.File(L"App.log")};
        listener.Write(LogData{Error, "A::B", L"whole"});
        return std::wstring{};
    });
    run.Append(std::to_wstring(folder.Names().size()) + L" files, " + folder.LineCountText(L"App.log"));
}

void Policy(FaultRun& run)
{
    RegistryScope registry;
    registry.SetText(L"Software\\Policies\\Quil\\Product", L"MinLogLevel", L"Error");
    registry.SetNumber(L"Software\\Policies\\Quil\\Product\\" + ProgramBaseName(), L"MaxLogSize", 7);
    registry.SetText(L"Software\\Policies\\Quil\\Product\\" + ProgramBaseName(), L"LoggingType", L"file");
    run.Try([] {
        const CLogPolicy policy{L"Product"};
        return L"level " + std::to_wstring(policy.Level(L"MinLogLevel").value_or(-1)) + L", size " +
               std::to_wstring(policy.Number(L"MaxLogSize").value_or(0)) + L", mask " +
               std::to_wstring(policy.ListenerMask());
    });
}

void ProductName(FaultRun& run)
{
    RegistryScope registry;
    run.Try([] {
        const CLogPolicy policy;
        return std::to_wstring(policy.ListenerMask());
    });
}

void EventListener(FaultRun& run)
{
    RegistryScope registry;
    IMPORT_HOOK(RegisterEventSourceW)([](auto...) { return reinterpret_cast<HANDLE>(std::uintptr_t{0x5150}); });
    IMPORT_HOOK(DeregisterEventSource)([](auto...) { return TRUE; });
    IMPORT_HOOK(ReportEventW)([](auto...) { return TRUE; });
    run.Try([] {
        CqlLogListenerEvent listener{0};
        listener.Write(LogData{Error, "A::B", L"first"});
        return Faults::Returned();
    });
}

void KillProcess(FaultRun& run)
{
    ProcessListStandIn processes{{L"other.exe", L"msinfo32.exe"}};
    run.Try([] { return FormatText(L"%x", CqlProcess{}.KillProcessByName(L"msinfo32.exe")); });
    run.Append(L", " + std::to_wstring(processes.Names().size()) + L" left");
}

const Faults::Operation kOperations[] = {
    {"Direct", &Direct, LR"(
untouched ; GetModuleFileNameW 1, 2; GetFileVersionInfoSizeW 1, 2; WaitForSingleObject 1; CreateFileW 1; ReadFile 1; WriteFile 1; CloseHandle 1, 2, 3, 4; ReleaseMutex 1, 2, 3; GetFileAttributesExW 1 => 2 lines | holds nothing
SHCreateDirectoryExW 1; CreateMutexW 1; WaitForSingleObject 1+, 2+; CreateFileW 1+, 2+; WriteFile 1+, 2+; allocation 1 => 0 lines | holds nothing
WaitForSingleObject 2, 3; CreateFileW 2, 3; WriteFile 2, 3 => 1 lines | holds nothing
)"},
    {"Rotation", &Rotation, LR"(
untouched ; GetFileAttributesExW 1; GetFullPathNameW 1; FindFirstFileW 1; FindNextFileW 9; FindClose 1; DeleteFileW 2, 3, 4, 5, 6, 7, 8, 9; MoveFileW 9, 10, 11, 12, 13, 14, 15, 16; CloseHandle 1, 2, 3; WriteFile 1; ReleaseMutex 1 => written, 10 files | holds nothing
CreateMutexW 1; WaitForSingleObject 1; CreateFileW 1; allocation 1 => not written, 10 files | holds nothing
CreateFileW 2; GetTempFileNameW 1, 2, 3, 4, 5, 6, 7, 8; MoveFileW 1, 2, 3, 4, 5, 6, 7, 8, 9+, 10+, 11+, 12+, 13+, 14+, 15+, 16+, 17 => written, 9 files | holds nothing
FindNextFileW 1, 2, 3, 4, 5, 6, 7, 8; DeleteFileW 1 => written, 11 files | holds nothing
)"},
    {"TornLine", &TornLine, LR"(
untouched ; GetModuleFileNameW 1, 2; GetFileVersionInfoSizeW 1, 2; WaitForSingleObject 1; GetFileSizeEx 2; CloseHandle 1, 2, 3; ReleaseMutex 1, 2, 3; GetFileAttributesExW 1 => 1 files, 2 lines | holds nothing
SHCreateDirectoryExW 1; CreateMutexW 1; WaitForSingleObject 1+, 2, 3; CreateFileW 1, 2; GetFileSizeEx 1; ReadFile 1; WriteFile 1, 2; allocation 1 => 1 files, 1 lines | holds nothing
ReadFile 1+, 2; MultiByteToWideChar 1 => 2 files, 1 lines | holds nothing
)"},
    {"Policy", &Policy, LR"(
untouched ; RegQueryValueExW 3; RegCloseKey 1, 2 => level 5, size 7, mask 8 | holds nothing
RegOpenKeyExW 1; RegQueryValueExW 1+ => level -1, size 0, mask 0 | holds nothing
RegOpenKeyExW 2; GetModuleFileNameW 1 => level 5, size 0, mask 0 | holds nothing
RegQueryValueExW 1 => level 5, size 7, mask 0 | holds nothing
RegQueryValueExW 2 => level 5, size 0, mask 8 | holds nothing
RegQueryValueExW 2+ => level -1, size 0, mask 8 | holds nothing
RegQueryValueExW 3+, 4 => level -1, size 7, mask 8 | holds nothing
)"},
    {"ProductName", &ProductName, LR"(
untouched ; GetModuleFileNameW 1; GetFileVersionInfoSizeW 1 => 0 | holds nothing
)"},
    {"EventListener", &EventListener, LR"(
untouched ; GetModuleFileNameW 1, 2; GetFileVersionInfoSizeW 1; RegisterEventSourceW 1; ReportEventW 1; DeregisterEventSource 1 => returned | holds nothing
)"},
    {"KillProcess", &KillProcess, LR"(
untouched ; CloseHandle 1 => 0, 1 left | holds handle 1
CreateToolhelp32Snapshot 1; Process32FirstW 1; Process32NextW 1; OpenProcess 1 => 0, 2 left | holds nothing
TerminateProcess 1 => 0, 2 left | holds handle 1
)"},
};

INSTANTIATE_TEST_SUITE_P(Shared, Operations, testing::ValuesIn(kOperations), Faults::NameOf);

} // namespace
