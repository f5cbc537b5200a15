// Faults under what comes from outside, through all layers: the requests of a
// client, the first reading that one of them starts, the logon of a user; and
// under a handler for which there is no framework.
#include "tests/faults/FaultTests.h"
#include "tests/faults/ThreadsOfTheRun.h"
#include "tests/unit/hotkey/HandlerMachine.h"
#include "tests/unit/hotkey/LaunchMachine.h"
#include "tests/unit/rpc/StubText.h"
#include "tests/unit/service/MainServiceFixture.h"
#include "tests/unit/service/ProcessListStandIn.h"
#include "tests/unit/sysinfo/FakeWmi.h"

#include <setupapi.h>
#include <shlobj.h>

#include <cwchar>
#include <utility>

using Faults::FaultRun;
using Faults::ThreadsOfTheRun;
using Faults::ThreadStart;

namespace
{

// What the client gets instead of an answer. Here the routine goes on after it.
struct RaisedFault
{
    IMPORT_HOOK(RpcRaiseException){[](RPC_STATUS) {}};
    std::wstring Text() const { return hook_RpcRaiseException.Calls() != 0 ? L", fault" : L""; }
};

// The bridge that requests find, with nothing in it of an earlier run.
class Bridge : public RpcServer::CKeyBoardBridge
{
  public:
    Bridge() : CKeyBoardBridge{nullptr}, m_former{std::exchange(s_pInstance, this)} {}
    ~Bridge()
    {
        ReleaseHotKeyHandlerInstance();
        s_pInstance = m_former;
    }
    Bridge(const Bridge&) = delete;
    Bridge& operator=(const Bridge&) = delete;

  private:
    CKeyBoardBridge* m_former;
};

void CommandRequest(FaultRun& run)
{
    HandlerMachine handlerMachine;
    Bridge bridge;
    RaisedFault fault;
    LaunchMachine machine;
    ProcessListStandIn processes{{L"msinfo32.exe"}}; // behind the machine, whose
                                                     // processes cannot be opened
    run.Try([&] {
        ProcessCommand(SomeContext());
        const UnobservedAllocations own;
        return std::to_wstring(machine.Launches()) + L" launched";
    });
    run.Append(L", " + std::to_wstring(processes.Names().size()) + L" left" + fault.Text());
}

void UsbCAppRequest(FaultRun& run)
{
    HandlerMachine handlerMachine;
    Bridge bridge;
    RaisedFault fault;
    LaunchMachine machine;
    IMPORT_HOOK(SHGetFolderPathW)
    ([](HWND, int, HANDLE, DWORD, LPWSTR path) {
        std::wcscpy(path, L"C:\\Programs");
        return S_OK;
    });
    IMPORT_HOOK(FindFirstFileW)
    ([&](LPCWSTR, LPWIN32_FIND_DATAW data) { return hook_FindFirstFileW.Real()(L"C:\\windows\\*", data); });
    run.Try([&] {
        LaunchUsbCApp(SomeContext());
        const UnobservedAllocations own;
        return std::to_wstring(machine.Launches()) + L" launched " + machine.application;
    });
    run.Append(fault.Text());
}

// The second of the two nodes is there.
void NodeRequest(FaultRun& run)
{
    HandlerMachine handlerMachine;
    Bridge bridge;
    RaisedFault fault;
    const auto handle = reinterpret_cast<HANDLE>(std::uintptr_t{0x9001});
    IMPORT_HOOK(SetupDiGetClassDevsW)
    ([&](const GUID*, LPCWSTR node, HWND, DWORD) -> HDEVINFO {
        SetLastError(ERROR_NO_SUCH_DEVINST);
        return std::wstring{node} == L"ACPI\\QUIL0003" ? handle : INVALID_HANDLE_VALUE;
    });
    IMPORT_HOOK(SetupDiDestroyDeviceInfoList)([](auto...) { return TRUE; });
    IMPORT_HOOK(SetupDiEnumDeviceInfo)([](auto...) { return TRUE; });
    IMPORT_HOOK(SetupDiBuildDriverInfoList)([](auto...) { return TRUE; });
    IMPORT_HOOK(SetupDiEnumDriverInfoW)([](auto...) { return TRUE; });
    run.Try([] {
        const long present = IsFennixNodePresent(SomeContext());
        const UnobservedAllocations own;
        return std::to_wstring(present);
    });
    run.Append(fault.Text());
}

// The machine's own checks of the event sources fit no run in which one stays
// closed.
struct QuietEvents
{
    IMPORT_HOOK(RegisterEventSourceW){[](auto...) { return reinterpret_cast<HANDLE>(std::uintptr_t{0x5150}); }};
    IMPORT_HOOK(DeregisterEventSource){[](auto...) { return TRUE; }};
    IMPORT_HOOK(ReportEventW){[](auto...) { return TRUE; }};
};

// A user logs on, in a session whose token can be had.
void Logon(FaultRun& run)
{
    ServiceMachine machine;
    QuietEvents events;
    SessionStandIn session;
    IMPORT_HOOK(LookupPrivilegeValueW)([](auto...) { return TRUE; });
    IMPORT_HOOK(ImpersonateLoggedOnUser)([](auto...) { return TRUE; });
    IMPORT_HOOK(GetLocaleInfoW)
    ([](LCID, LCTYPE kind, LPWSTR text, int) {
        std::wcscpy(text, kind == LOCALE_SISO639LANGNAME ? L"en" : L"GB");
        return 3;
    });
    Bridge bridge;
    ExposedService service;
    run.Try([&] {
        service.OnSessionChange(WTS_SESSION_LOGON, nullptr);
        return Faults::Returned();
    });
}

// The first request for the system information: the service reads on a thread
// of its own, the handler waits for it.
void FirstReading(FaultRun& run)
{
    ServiceMachine machine;
    QuietEvents events;
    FakeWmi wmi; // its methods fail in the reader's own operations
    wmi.Healthy();
    Bridge bridge;
    ExposedService service;
    ThreadsOfTheRun threads{ThreadStart::WhenMade};
    run.Try([&] {
        const std::wstring text = bridge.GetSysInfo();
        const UnobservedAllocations own;
        return text.empty() ? text : text.substr(0, text.find(L"<.^.>")) + text.substr(text.rfind(L"<.^.>"));
    });
    run.Append(L", " + std::to_wstring(threads.Count()) + L" threads" + (threads.Thrown() != 0 ? L", thrown" : L""));
}

void HandlerWithoutFramework(FaultRun& run)
{
    HandlerMachine machine;
    machine.servicePresent = false;
    run.Try([] {
        const ProbeHandler handler{nullptr};
        const UnobservedAllocations own;
        return std::wstring{handler.m_pFennix ? L"framework" : L"no framework"};
    });
    run.Append(L", " + std::to_wstring(machine.Sleeps()) + L" pauses");
}

const Faults::Operation kOperations[] = {
    {"CommandRequest", &CommandRequest, LR"(
untouched ; CloseHandle 1, 2, 3, 4, 5, 6; DestroyEnvironmentBlock 1 => 1 launched, 0 left | holds handle 1
CreateToolhelp32Snapshot 1; Process32FirstW 1; OpenProcess 1 => 1 launched, 1 left | holds nothing
TerminateProcess 1 => 1 launched, 1 left | holds handle 1
OpenProcessToken 1 => 0 launched, 0 left | holds handle 1
  Error|RpcServer::CKeyBoardBridge::LaunchProcess|OpenProcessToken failed. Error: 0x{8X}
  Error|RpcServer::CKeyBoardBridge::ProcessCommand|LaunchProcess failed for - MSInfo
LookupPrivilegeValueW 1 => 0 launched, 0 left | holds handle 2
  Error|RpcServer::CKeyBoardBridge::LaunchProcess|LookupPrivilegeValue failed. Error: 0x{8X}
  Error|RpcServer::CKeyBoardBridge::ProcessCommand|LaunchProcess failed for - MSInfo
AdjustTokenPrivileges 1 => 0 launched, 0 left | holds handle 2
  Error|RpcServer::CKeyBoardBridge::LaunchProcess|AdjustTokenPrivileges failed. Error: 0x{8X}
  Error|RpcServer::CKeyBoardBridge::ProcessCommand|LaunchProcess failed for - MSInfo
AdjustTokenPrivileges 2 => 1 launched, 0 left | holds handle 1
  Error|RpcServer::CKeyBoardBridge::ProcessCommand|LaunchProcess failed for - MSInfo
WTSEnumerateSessionsW 1 => 0 launched, 0 left | holds handle 2
  Error|Utils::GetCurrentSessionID|WTSGetActiveConsoleSessionId failed with Error: {d}
  Error|RpcServer::CKeyBoardBridge::LaunchProcess|WTSGetActiveConsoleSessionId failed. Error: 0x00000000
  Error|RpcServer::CKeyBoardBridge::ProcessCommand|LaunchProcess failed for - MSInfo
RevertToSelf 1 => 1 launched, 0 left | holds handle 1
  Error|Utils::GetActiveSessionToken|RevertToSelf() failed with error: {d}
WTSQueryUserToken 1 => 0 launched, 0 left | holds handle 2
  Error|Utils::GetActiveSessionToken|WTSQueryUserToken failed with error: {d}. Bypassing to other winlogon method
  Error|Utils::GetProcessIDInCurrentLogOn|Could not find the correct process id in the given session
  Error|Utils::GetActiveSessionToken|OpenProcess with Pid 0 failed with error : {d}
  Error|RpcServer::CKeyBoardBridge::LaunchProcess|GetActiveSessionToken failed
  Error|RpcServer::CKeyBoardBridge::ProcessCommand|LaunchProcess failed for - MSInfo
DuplicateTokenEx 1 => 0 launched, 0 left | holds handle 3
  Error|RpcServer::CKeyBoardBridge::LaunchProcess|DuplicateTokenEx failed. Error: 0x{8X}
  Error|RpcServer::CKeyBoardBridge::ProcessCommand|LaunchProcess failed for - MSInfo
SetTokenInformation 1 => 0 launched, 0 left | holds handle 4
  Error|RpcServer::CKeyBoardBridge::LaunchProcess|SetTokenInformation (TokenUIAccess) failed. Error: 0x{8X}
  Error|RpcServer::CKeyBoardBridge::ProcessCommand|LaunchProcess failed for - MSInfo
CreateEnvironmentBlock 1 => 0 launched, 0 left | holds handle 4
  Error|RpcServer::CKeyBoardBridge::LaunchProcess|CreateEnvironmentBlock failed. Error: 0x{8X}
  Error|RpcServer::CKeyBoardBridge::ProcessCommand|LaunchProcess failed for - MSInfo
CreateProcessAsUserW 1 => 0 launched, 0 left | holds environment 1, handle 4
  Error|RpcServer::CKeyBoardBridge::LaunchProcess|CreateProcessAsUser failed. Error: 0x{8X}
  Error|RpcServer::CKeyBoardBridge::ProcessCommand|LaunchProcess failed for - MSInfo
)",
     true},
    {"UsbCAppRequest", &UsbCAppRequest, LR"(
untouched ; FindClose 1; AdjustTokenPrivileges 2; CloseHandle 1, 2, 3, 4, 5; DestroyEnvironmentBlock 1 => 1 launched C:\Programs\Quil\Quil Notifications\QuilUsbCConfiguration.exe | holds nothing
SHGetFolderPathW 1 => 0 launched  | holds nothing
  Error|RpcServer::CKeyBoardBridge::GetUsbCAppPath|SHGetFolderPathW failed.  Error: 0x{hX}
FindFirstFileW 1 => 1 launched C:\Programs\Quilmark\Quil Notifications\QuilUsbCConfiguration.exe | holds nothing
FindFirstFileW 1+ => 0 launched  | holds nothing
OpenProcessToken 1 => 0 launched  | holds nothing
  Error|RpcServer::CKeyBoardBridge::LaunchProcess|OpenProcessToken failed. Error: 0x{8X}
LookupPrivilegeValueW 1 => 0 launched  | holds handle 1
  Error|RpcServer::CKeyBoardBridge::LaunchProcess|LookupPrivilegeValue failed. Error: 0x{8X}
AdjustTokenPrivileges 1 => 0 launched  | holds handle 1
  Error|RpcServer::CKeyBoardBridge::LaunchProcess|AdjustTokenPrivileges failed. Error: 0x{8X}
WTSEnumerateSessionsW 1 => 0 launched  | holds handle 1
  Error|Utils::GetCurrentSessionID|WTSGetActiveConsoleSessionId failed with Error: {d}
  Error|RpcServer::CKeyBoardBridge::LaunchProcess|WTSGetActiveConsoleSessionId failed. Error: 0x00000000
RevertToSelf 1 => 1 launched C:\Programs\Quil\Quil Notifications\QuilUsbCConfiguration.exe | holds nothing
  Error|Utils::GetActiveSessionToken|RevertToSelf() failed with error: {d}
WTSQueryUserToken 1 => 0 launched  | holds handle 1
  Error|Utils::GetActiveSessionToken|WTSQueryUserToken failed with error: {d}. Bypassing to other winlogon method
  Error|Utils::GetProcessIDInCurrentLogOn|Could not find the correct process id in the given session
  Error|Utils::GetActiveSessionToken|OpenProcess with Pid 0 failed with error : 87
  Error|RpcServer::CKeyBoardBridge::LaunchProcess|GetActiveSessionToken failed
DuplicateTokenEx 1 => 0 launched  | holds handle 2
  Error|RpcServer::CKeyBoardBridge::LaunchProcess|DuplicateTokenEx failed. Error: 0x{8X}
SetTokenInformation 1 => 0 launched  | holds handle 3
  Error|RpcServer::CKeyBoardBridge::LaunchProcess|SetTokenInformation (TokenUIAccess) failed. Error: 0x{8X}
CreateEnvironmentBlock 1 => 0 launched  | holds handle 3
  Error|RpcServer::CKeyBoardBridge::LaunchProcess|CreateEnvironmentBlock failed. Error: 0x{8X}
CreateProcessAsUserW 1 => 0 launched  | holds environment 1, handle 3
  Error|RpcServer::CKeyBoardBridge::LaunchProcess|CreateProcessAsUser failed. Error: 0x{8X}
)",
     true},
    {"NodeRequest", &NodeRequest, LR"(
untouched ; SetupDiDestroyDeviceInfoList 1 => 1 | holds nothing
SetupDiGetClassDevsW 1 => 1 | holds nothing
  Error|Utils::IsHardwareNodePresent|SetupDiGetClassDevs failed (may due to non-availability of node) with error: {x}
SetupDiGetClassDevsW 1+ => 0 | holds nothing
  Error|Utils::IsHardwareNodePresent|SetupDiGetClassDevs failed (may due to non-availability of node) with error: {x} (2 times)
SetupDiGetClassDevsW 2 => 0 | holds nothing
  Error|Utils::IsHardwareNodePresent|SetupDiGetClassDevs failed (may due to non-availability of node) with error: {x}
SetupDiEnumDeviceInfo 1 => 0 | holds nothing
  Error|Utils::IsHardwareNodePresent|SetupDiEnumDeviceInfo failed (may due to non-availability of node) with error: {x}
SetupDiBuildDriverInfoList 1 => 0 | holds nothing
  Warning|Utils::IsHardwareNodePresent|SetupDiBuildDriverInfoList failed (may due to non-availability of driver in Node - ACPI\QUIL0003) with error: {x}
SetupDiEnumDriverInfoW 1 => 0 | holds nothing
  Error|Utils::IsHardwareNodePresent|SetupDiEnumDriverInfo failed with error {d}
)",
     true},
    {"FirstReading", &FirstReading, LR"(
untouched ; worker's VariantClear 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15; worker's SafeArrayGetDim 1; worker's SafeArrayAccessData 1; worker's SafeArrayUnaccessData 1; worker's GetEnvironmentVariableW 1 => Laptop 14 Model A<.^.>0x0, 1 threads | holds handle 1
ResetEvent 1 => Laptop 14 Model A<.^.>0x0, 1 threads | holds handle 1
  Error|RpcServer::SysInfo::CHotKeyHandler::GetSysInfo|Reset Event for m_hWaitForSysInfoReadCompleteEvent failed with error {d}
CreateThread 1 => , 0 threads | holds nothing
  Error|CMainService::ReadSysInfo|Failed to create ReadSysInfo thread : {d}
  Error|RpcServer::SysInfo::CHotKeyHandler::GetSysInfo|ReadSysInfo thread launch failed
  Error|RpcServer::SysInfo::CHotKeyHandler::GetSysInfo|System Info String is empty
worker's CoCreateInstance 1 => , 1 threads | holds handle 1
  Error|RpcServer::WMIData::ReadSysInfo|Failed to create IWbemLocator object. [hr:0x{hX}]
  Error|RpcServer::SysInfo::CHotKeyHandler::GetSysInfo|System Info String is empty
worker's SysAllocString 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16, 17, 18, 19 => , 1 threads, thrown | holds handle 1
  Error|RpcServer::SysInfo::CHotKeyHandler::GetSysInfo|System Info String is empty
worker's CoSetProxyBlanket 1 => , 1 threads | holds handle 1
  Error|RpcServer::WMIData::ReadSysInfo|Could not set proxy blanket [hr:0x{hX}]
  Error|RpcServer::SysInfo::CHotKeyHandler::GetSysInfo|System Info String is empty
worker's CoSetProxyBlanket 2, 3 => , 1 threads | holds handle 1
  Error|RpcServer::WMIData::ReadSysInfo|Could not set proxy blanket. [hr:0x{hX}]
  Error|RpcServer::SysInfo::CHotKeyHandler::GetSysInfo|System Info String is empty
WaitForSingleObject 1 => , 1 threads | holds handle 1
  Warning|CMainService::IsReadSysInfoReadCompleted|Reading System information from BIOS is not completed.
  Warning|RpcServer::SysInfo::CHotKeyHandler::GetSysInfo|Reading System information from BIOS is not completed.
  Error|RpcServer::SysInfo::CHotKeyHandler::GetSysInfo|System Info String is empty
SetEvent 1 => Laptop 14 Model A<.^.>0x0, 1 threads | holds handle 1
  Error|RpcServer::SysInfo::CHotKeyHandler::GetSysInfo|SetEvent for m_hWaitForSysInfoReadCompleteEvent failed with error {d}
allocation 1 => Laptop 14 Model A<.^.>0x0, 1 threads | holds handle 1
  Error|RpcServer::WMIData::ReadBuildFromFile|Memory Allocation failed : Out of memory
)"},
    {"Logon", &Logon, LR"(
untouched ; RegisterEventSourceW 1; ReportEventW 1; DeregisterEventSource 1; RevertToSelf 1, 3 => returned | holds handle 1, impersonation 1
RevertToSelf 1+, 2 => returned | holds handle 1, impersonation 1
  Error|Utils::GetActiveSessionToken|RevertToSelf() failed with error: {d}
WTSEnumerateSessionsW 1 => returned | holds nothing
  Error|Utils::GetCurrentSessionID|WTSGetActiveConsoleSessionId failed with Error: {d}
  Error|RpcServer::AppSection::CAppActivationHandler::ImpersonateUserLogOnSession|Error : No Active sessions found.
WTSQueryUserToken 1 => returned | holds nothing
  Error|Utils::GetActiveSessionToken|WTSQueryUserToken failed with error: {d}. Bypassing to other winlogon method
  Error|Utils::GetProcessIDInCurrentLogOn|Could not find the correct process id in the given session
  Error|Utils::GetActiveSessionToken|OpenProcess with Pid 0 failed with error : 87
  Error|RpcServer::AppSection::CAppActivationHandler::ImpersonateUserLogOnSession|GetActiveSessionToken failed
  Error|RpcServer::SysInfo::CHotKeyHandler::GetLocale|ImpersonateUserLogOnSession failed with error = 87
LookupPrivilegeValueW 1 => returned | holds handle 1
  Error|RpcServer::AppSection::CAppActivationHandler::ImpersonateUserLogOnSession|Lookup Privilege value Error: {d}
  Error|RpcServer::SysInfo::CHotKeyHandler::GetLocale|ImpersonateUserLogOnSession failed with error = {d}
ImpersonateLoggedOnUser 1 => returned | holds handle 1
  Error|RpcServer::AppSection::CAppActivationHandler::ImpersonateUserLogOnSession|ImpersonateLoggedOnUser Failure
  Error|RpcServer::SysInfo::CHotKeyHandler::GetLocale|ImpersonateUserLogOnSession failed with error = {d}
GetLocaleInfoW 1 => returned | holds handle 1, impersonation 1
  Error|RpcServer::SysInfo::CHotKeyHandler::GetLocale|GetLocaleInfo: UserDefaultLanguage failed with error : {d}
GetLocaleInfoW 2 => returned | holds handle 1, impersonation 1
  Error|RpcServer::SysInfo::CHotKeyHandler::GetLocale|GetLocaleInfo: UserDefaultCountryCode failed with error : {d}
allocation 1 => returned | holds nothing
  Error|RpcServer::SysInfo::CHotKeyHandler::CreateAppActivationHandler|CAppActivationHandler creation failed
)"},
    {"HandlerWithoutFramework", &HandlerWithoutFramework, LR"(
untouched ; CloseServiceHandle 1; RevertToSelf 1; CloseHandle 1, 2, 3, 4, 5, 6, 7, 8; SetEvent 1, 2, 3, 4, 5, 6, 7 => no framework, 6 pauses | holds nothing
CreateEventW 1 => no framework, 6 pauses | holds nothing
  Error|RpcServer::SysInfo::CHotKeyHandler::AllocateHandler|CreateEvent(m_hWaitForSysInfoReadCompleteEvent) failed to create : Error = {d}
CreateEventW 1+ => no framework, 6 pauses | holds nothing
  Error|RpcServer::SysInfo::CHotKeyHandler::AllocateHandler|CreateEvent(m_hWaitForSysInfoReadCompleteEvent) failed to create : Error = {d}
  Error|RpcServer::SysInfo::COverlappedIO::COverlappedIO|CreateEvent  failed with Error : {d} (7 times)
CreateEventW 2, 3, 4, 5, 6, 7, 8 => no framework, 6 pauses | holds nothing
  Error|RpcServer::SysInfo::COverlappedIO::COverlappedIO|CreateEvent  failed with Error : {d}
CreateEventW 2+ => no framework, 6 pauses | holds nothing
  Error|RpcServer::SysInfo::COverlappedIO::COverlappedIO|CreateEvent  failed with Error : {d} (7 times)
CreateEventW 3+ => no framework, 6 pauses | holds nothing
  Error|RpcServer::SysInfo::COverlappedIO::COverlappedIO|CreateEvent  failed with Error : {d} (6 times)
CreateEventW 4+ => no framework, 6 pauses | holds nothing
  Error|RpcServer::SysInfo::COverlappedIO::COverlappedIO|CreateEvent  failed with Error : {d} (5 times)
CreateEventW 5+ => no framework, 6 pauses | holds nothing
  Error|RpcServer::SysInfo::COverlappedIO::COverlappedIO|CreateEvent  failed with Error : {d} (4 times)
CreateEventW 6+ => no framework, 6 pauses | holds nothing
  Error|RpcServer::SysInfo::COverlappedIO::COverlappedIO|CreateEvent  failed with Error : {d} (3 times)
CreateEventW 7+ => no framework, 6 pauses | holds nothing
  Error|RpcServer::SysInfo::COverlappedIO::COverlappedIO|CreateEvent  failed with Error : {d} (2 times)
CoInitializeEx 1 => no framework, 0 pauses | holds nothing
  Error|RpcServer::SysInfo::CHotKeyHandler::Initialize|Failed to initialize COM library failed with Error: {d}
OpenSCManagerW 1 => no framework, 6 pauses | holds nothing
  Error|Utils::GetService|OpenSCManager failed w/err 0x{8x}
  Error|RpcServer::SysInfo::CHotKeyHandler::Initialize|Failed to CreateInstance of Fennix Error: {d}, HRESULT : 0x80004005
OpenServiceW 1 => no framework, 6 pauses | holds nothing
  Error|Utils::GetService|OpenService failed w/err 0x{8x}
  Error|RpcServer::SysInfo::CHotKeyHandler::Initialize|Failed to CreateInstance of Fennix Error: {d}, HRESULT : 0x80004005
allocation 1 => no framework, 6 pauses | holds nothing
  Error|RpcServer::SysInfo::CHotKeyHandler::CreateAppActivationHandler|CAppActivationHandler creation failed
  Error|RpcServer::SysInfo::CHotKeyHandler::AllocateHandler|CreateAppActivationHandler failed
allocation 1+ => no framework, 6 pauses | holds nothing
  Error|RpcServer::SysInfo::CHotKeyHandler::CreateAppActivationHandler|CAppActivationHandler creation failed
  Error|RpcServer::SysInfo::CHotKeyHandler::AllocateHandler|CreateAppActivationHandler failed
  Error|RpcServer::SysInfo::CHotKeyHandler::AllocateHandler|COverlappedIO creation failed
allocation 2, 3, 4, 5, 6, 7, 8, 9 => no framework, 6 pauses | holds nothing
  Error|RpcServer::SysInfo::CHotKeyHandler::AllocateHandler|COverlappedIO creation failed
)"},
};

INSTANTIATE_TEST_SUITE_P(Request, Operations, testing::ValuesIn(kOperations), Faults::NameOf);

} // namespace
