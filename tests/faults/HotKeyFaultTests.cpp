// Faults under the bridge and the handler: the framework, the texts, the launches.
#include "tests/faults/FaultTests.h"
#include "tests/unit/hotkey/HandlerMachine.h"
#include "tests/unit/hotkey/LaunchMachine.h"
#include "tests/unit/hotkey/ProbeBridge.h"
#include "tests/unit/hotkey/SourceStandIn.h"
#include "tests/unit/service/ProcessListStandIn.h"

#include "shared/WideText.h"

#include <shlobj.h>

using Faults::FaultRun;

namespace
{

constexpr wchar_t kProgram[] = L"C:\\Windows\\System32\\msinfo32.exe";

// A program folder in which the USB-C application is found.
struct ProgramFolder
{
    IMPORT_HOOK(SHGetFolderPathW){[](HWND, int, HANDLE, DWORD, LPWSTR path) {
        std::wcscpy(path, L"C:\\Programs");
        return S_OK;
    }};
    IMPORT_HOOK(FindFirstFileW){
        [this](LPCWSTR, LPWIN32_FIND_DATAW data) { return hook_FindFirstFileW.Real()(L"C:\\windows\\*", data); }};
};

void Handler(FaultRun& run)
{
    HandlerMachine machine;
    machine.fennix.onMethod = &Faults::MethodResult;
    run.Try([] {
        const ProbeHandler handler{nullptr};
        return Quil::Shared::FormatText(L"event %d, helper %d, framework %d, pool %d",
                                        handler.m_hWaitForSysInfoReadCompleteEvent ? 1 : 0,
                                        handler.m_pAppActivationHandler.load() != nullptr ? 1 : 0,
                                        handler.m_pFennix ? 1 : 0, handler.m_pOverlappedIO != nullptr ? 1 : 0);
    });
    EXPECT_EQ(0, machine.fennix.references);
}

void GetSysInfo(FaultRun& run)
{
    HandlerMachine machine;
    machine.fennix.onMethod = &Faults::MethodResult;
    SourceStandIn source;
    ReaderStandIn reader;
    reader.SetText(L"a;b;c");
    source.reader = &reader;
    ProbeHandler handler{nullptr};
    run.Try([&] { return handler.GetSysInfo(); });
}

void GetLocale(FaultRun& run)
{
    HandlerMachine machine;
    SessionStandIn session;
    IMPORT_HOOK(LookupPrivilegeValueW)([](auto...) { return TRUE; });
    IMPORT_HOOK(ImpersonateLoggedOnUser)([](auto...) { return TRUE; });
    IMPORT_HOOK(GetLocaleInfoW)
    ([](LCID, LCTYPE kind, LPWSTR text, int) {
        std::wcscpy(text, kind == LOCALE_SISO639LANGNAME ? L"zh" : L"TW");
        return 3;
    });
    ProbeHandler handler{nullptr};
    run.Try([&] { return handler.GetLocale(); });
}

void GetUSBTypeCInfo(FaultRun& run)
{
    HandlerMachine machine;
    machine.fennix.onMethod = &Faults::MethodResult;
    ProbeHandler handler{nullptr};
    run.Try([&] { return handler.GetUSBTypeCInfoAsWString(); });
}

void IsUSBCSupported(FaultRun& run)
{
    HandlerMachine machine;
    machine.fennix.onMethod = &Faults::MethodResult;
    ProbeHandler handler{nullptr};
    run.Try([&] { return std::wstring{handler.IsUSBCSupported() ? L"yes" : L"no"}; });
}

void Launch(FaultRun& run, DWORD mode, TOKEN_ELEVATION_TYPE elevation)
{
    HandlerMachine handlerMachine;
    ProbeBridge bridge;
    LaunchMachine machine;
    machine.elevation = elevation;
    run.Try([&] {
        wchar_t commandLine[] = L"";
        return std::to_wstring(bridge.LaunchProcess(kProgram, commandLine, mode));
    });
    bridge.ReleaseHotKeyHandlerInstance();
}

void LaunchAsUser(FaultRun& run)
{
    Launch(run, 0, TokenElevationTypeDefault);
}

void LaunchElevated(FaultRun& run)
{
    Launch(run, 1, TokenElevationTypeLimited);
}

void Command(FaultRun& run, unsigned command)
{
    HandlerMachine handlerMachine;
    ProbeBridge bridge;
    ProcessListStandIn processes{{L"msinfo32.exe"}};
    LaunchMachine machine;
    IMPORT_HOOK(GetModuleFileNameW)
    ([](HMODULE, LPWSTR path, DWORD) -> DWORD {
        std::wcscpy(path, L"C:\\Quil\\HotKeyServiceTLY.exe");
        return 28;
    });
    run.Try([&] {
        bridge.ProcessCommand(command);
        return std::to_wstring(machine.Launches()) + L" launched";
    });
    bridge.ReleaseHotKeyHandlerInstance();
}

void CommandSystemInformation(FaultRun& run)
{
    Command(run, 0);
}

void CommandHotkeyNotification(FaultRun& run)
{
    Command(run, 2);
}

void CommandPowerOptions(FaultRun& run)
{
    Command(run, 3);
}

void GetUsbCAppPath(FaultRun& run)
{
    HandlerMachine handlerMachine;
    ProbeBridge bridge;
    ProgramFolder folder;
    run.Try([&] { return bridge.GetUsbCAppPath(); });
    bridge.ReleaseHotKeyHandlerInstance();
}

void LaunchUsbCApp(FaultRun& run)
{
    HandlerMachine handlerMachine;
    ProbeBridge bridge;
    ProgramFolder folder;
    LaunchMachine machine;
    run.Try([&] {
        bridge.LaunchUsbCApp();
        return std::to_wstring(machine.Launches()) + L" launched";
    });
    bridge.ReleaseHotKeyHandlerInstance();
}

const Faults::Operation kOperations[] = {
    {"Handler", &Handler, LR"(
untouched ; QueryServiceStatusEx 1; CloseServiceHandle 1, 2; DeactivateActCtx 1; RevertToSelf 1; CloseHandle 1, 2, 3, 4, 5, 6, 7, 8; SetEvent 1, 2, 3, 4, 5, 6, 7 => event 1, helper 1, framework 1, pool 1 | holds nothing
CreateEventW 1 => event 0, helper 1, framework 1, pool 1 | holds nothing
  Error|RpcServer::SysInfo::CHotKeyHandler::AllocateHandler|CreateEvent(m_hWaitForSysInfoReadCompleteEvent) failed to create : Error = {d}
CreateEventW 1+ => event 0, helper 1, framework 1, pool 1 | holds nothing
  Error|RpcServer::SysInfo::CHotKeyHandler::AllocateHandler|CreateEvent(m_hWaitForSysInfoReadCompleteEvent) failed to create : Error = {d}
  Error|RpcServer::SysInfo::COverlappedIO::COverlappedIO|CreateEvent  failed with Error : {d} (7 times)
CreateEventW 2, 3, 4, 5, 6, 7, 8 => event 1, helper 1, framework 1, pool 1 | holds nothing
  Error|RpcServer::SysInfo::COverlappedIO::COverlappedIO|CreateEvent  failed with Error : {d}
CreateEventW 2+ => event 1, helper 1, framework 1, pool 1 | holds nothing
  Error|RpcServer::SysInfo::COverlappedIO::COverlappedIO|CreateEvent  failed with Error : {d} (7 times)
CreateEventW 3+ => event 1, helper 1, framework 1, pool 1 | holds nothing
  Error|RpcServer::SysInfo::COverlappedIO::COverlappedIO|CreateEvent  failed with Error : {d} (6 times)
CreateEventW 4+ => event 1, helper 1, framework 1, pool 1 | holds nothing
  Error|RpcServer::SysInfo::COverlappedIO::COverlappedIO|CreateEvent  failed with Error : {d} (5 times)
CreateEventW 5+ => event 1, helper 1, framework 1, pool 1 | holds nothing
  Error|RpcServer::SysInfo::COverlappedIO::COverlappedIO|CreateEvent  failed with Error : {d} (4 times)
CreateEventW 6+ => event 1, helper 1, framework 1, pool 1 | holds nothing
  Error|RpcServer::SysInfo::COverlappedIO::COverlappedIO|CreateEvent  failed with Error : {d} (3 times)
CreateEventW 7+ => event 1, helper 1, framework 1, pool 1 | holds nothing
  Error|RpcServer::SysInfo::COverlappedIO::COverlappedIO|CreateEvent  failed with Error : {d} (2 times)
CoInitializeEx 1 => event 1, helper 1, framework 0, pool 1 | holds nothing
  Error|RpcServer::SysInfo::CHotKeyHandler::Initialize|Failed to initialize COM library failed with Error: {d}
OpenSCManagerW 1 => event 1, helper 1, framework 0, pool 1 | holds nothing
  Error|Utils::GetService|OpenSCManager failed w/err 0x{8x}
  Error|RpcServer::SysInfo::CHotKeyHandler::Initialize|Failed to CreateInstance of Fennix Error: {d}, HRESULT : 0x80004005
OpenServiceW 1 => event 1, helper 1, framework 0, pool 1 | holds nothing
  Error|Utils::GetService|OpenService failed w/err 0x{8x}
  Error|RpcServer::SysInfo::CHotKeyHandler::Initialize|Failed to CreateInstance of Fennix Error: {d}, HRESULT : 0x80004005
QueryServiceConfigW 1, 2; LocalAlloc 1 => event 1, helper 1, framework 1, pool 1 | holds nothing
  Error|Utils::IsServicePresent|QueryServiceConfig failed w/err 0x{8x}
GetFileVersionInfoSizeW 1 => event 1, helper 1, framework 1, pool 1 | holds nothing
  Error|Utils::GetVersionValue|GetFileVersionInfoSize Return Value  = 0 Error Code = 
GetFileVersionInfoW 1 => event 1, helper 1, framework 1, pool 1 | holds nothing
  Error|Utils::GetVersionValue|GetFileVersionInfo failed with error {d}
VerQueryValueW 1 => event 1, helper 1, framework 1, pool 1 | holds nothing
  Error|Utils::GetVersionValue|VerQueryValue failed with error {d}
GetModuleFileNameW 1 => event 1, helper 1, framework 1, pool 1 | holds nothing
  Error|RpcServer::SysInfo::CHotKeyHandler::EnableActivationContext|Could not find Executable file path.
  Error|RpcServer::SysInfo::CHotKeyHandler::Initialize|EnableActivationContext. So there is a chance of 'Class Not Registered' Error
GetModuleFileNameW 1+ => event 1, helper 1, framework 0, pool 1 | holds nothing
  Error|RpcServer::SysInfo::CHotKeyHandler::EnableActivationContext|Could not find Executable file path. (18 times)
  Error|RpcServer::SysInfo::CHotKeyHandler::Initialize|EnableActivationContext. So there is a chance of 'Class Not Registered' Error (18 times)
  Error|RpcServer::SysInfo::CHotKeyHandler::Initialize|Failed to CreateInstance of Fennix Error: {d}, HRESULT : 0x80004005
CreateActCtxW 1 => event 1, helper 1, framework 1, pool 1 | holds nothing
  Error|RpcServer::SysInfo::CHotKeyHandler::EnableActivationContext|CreateActCtx failed with Error: {d}
  Error|RpcServer::SysInfo::CHotKeyHandler::Initialize|EnableActivationContext. So there is a chance of 'Class Not Registered' Error
CreateActCtxW 1+ => event 1, helper 1, framework 0, pool 1 | holds nothing
  Error|RpcServer::SysInfo::CHotKeyHandler::EnableActivationContext|CreateActCtx failed with Error: {d} (18 times)
  Error|RpcServer::SysInfo::CHotKeyHandler::Initialize|EnableActivationContext. So there is a chance of 'Class Not Registered' Error (18 times)
  Error|RpcServer::SysInfo::CHotKeyHandler::Initialize|Failed to CreateInstance of Fennix Error: {d}, HRESULT : 0x80004005
ActivateActCtx 1 => event 1, helper 1, framework 1, pool 1 | holds nothing
  Error|RpcServer::SysInfo::CHotKeyHandler::EnableActivationContext|ActivateActCtx failed with Error: {d},
  Error|RpcServer::SysInfo::CHotKeyHandler::Initialize|EnableActivationContext. So there is a chance of 'Class Not Registered' Error
ActivateActCtx 1+ => event 1, helper 1, framework 0, pool 1 | holds nothing
  Error|RpcServer::SysInfo::CHotKeyHandler::EnableActivationContext|ActivateActCtx failed with Error: {d}, (18 times)
  Error|RpcServer::SysInfo::CHotKeyHandler::Initialize|EnableActivationContext. So there is a chance of 'Class Not Registered' Error (18 times)
  Error|RpcServer::SysInfo::CHotKeyHandler::Initialize|Failed to CreateInstance of Fennix Error: {d}, HRESULT : 0x80004005
CoCreateInstance 1; OleRun 1 => event 1, helper 1, framework 1, pool 1 | holds nothing
  Error|RpcServer::SysInfo::CHotKeyHandler::Initialize|Failed to Create Instance of Fennix (HotkeyServiceTLY.exe.manifest) Error: {d}, HRESULT : 0x{hX}
CoCreateInstance 1+; OleRun 1+ => event 1, helper 1, framework 0, pool 1 | holds nothing
  Error|RpcServer::SysInfo::CHotKeyHandler::Initialize|Failed to Create Instance of Fennix (HotkeyServiceTLY.exe.manifest) Error: {d}, HRESULT : 0x{hX} (6 times)
  Error|RpcServer::SysInfo::CHotKeyHandler::Initialize|Failed to Create Instance of Fennix (QuilFennixManager.manifest) Error: {d}, HRESULT : 0x{hX} (6 times)
  Error|RpcServer::SysInfo::CHotKeyHandler::Initialize|Failed to Create Instance of Fennix (HotkeyServiceTLY_amd64.xml) Error: {d}, HRESULT : 0x{hX} (6 times)
  Error|RpcServer::SysInfo::CHotKeyHandler::Initialize|Failed to CreateInstance of Fennix Error: {d}, HRESULT : 0x{hX}
IFennix::QueryInterface 1 => event 1, helper 1, framework 1, pool 1 | holds nothing
  Error|RpcServer::SysInfo::CHotKeyHandler::Initialize|Failed to Create Instance of Fennix (HotkeyServiceTLY.exe.manifest) Error: 0, HRESULT : 0x{hX}
IFennix::QueryInterface 1+ => event 1, helper 1, framework 0, pool 1 | holds nothing
  Error|RpcServer::SysInfo::CHotKeyHandler::Initialize|Failed to Create Instance of Fennix (HotkeyServiceTLY.exe.manifest) Error: 0, HRESULT : 0x{hX} (6 times)
  Error|RpcServer::SysInfo::CHotKeyHandler::Initialize|Failed to Create Instance of Fennix (QuilFennixManager.manifest) Error: 0, HRESULT : 0x{hX} (6 times)
  Error|RpcServer::SysInfo::CHotKeyHandler::Initialize|Failed to Create Instance of Fennix (HotkeyServiceTLY_amd64.xml) Error: 0, HRESULT : 0x{hX} (6 times)
  Error|RpcServer::SysInfo::CHotKeyHandler::Initialize|Failed to CreateInstance of Fennix Error: 0, HRESULT : 0x{hX}
allocation 1 => event 1, helper 0, framework 1, pool 1 | holds nothing
  Error|RpcServer::SysInfo::CHotKeyHandler::CreateAppActivationHandler|CAppActivationHandler creation failed
  Error|RpcServer::SysInfo::CHotKeyHandler::AllocateHandler|CreateAppActivationHandler failed
allocation 1+ => event 1, helper 0, framework 1, pool 0 | holds nothing
  Error|RpcServer::SysInfo::CHotKeyHandler::CreateAppActivationHandler|CAppActivationHandler creation failed
  Error|RpcServer::SysInfo::CHotKeyHandler::AllocateHandler|CreateAppActivationHandler failed
  Error|RpcServer::SysInfo::CHotKeyHandler::AllocateHandler|COverlappedIO creation failed
  Error|Utils::GetVersionValue|Version String Allocation failed
allocation 2, 3, 4, 5, 6, 7, 8, 9 => event 1, helper 1, framework 1, pool 0 | holds nothing
  Error|RpcServer::SysInfo::CHotKeyHandler::AllocateHandler|COverlappedIO creation failed
allocation 2+, 3+, 4+, 5+, 6+, 7+, 8+, 9+ => event 1, helper 1, framework 1, pool 0 | holds nothing
  Error|RpcServer::SysInfo::CHotKeyHandler::AllocateHandler|COverlappedIO creation failed
  Error|Utils::GetVersionValue|Version String Allocation failed
allocation 10 => event 1, helper 1, framework 1, pool 1 | holds nothing
  Error|Utils::GetVersionValue|Version String Allocation failed
)"},
    {"GetSysInfo", &GetSysInfo, LR"(
untouched  => a;b;c<.^.>yes | holds nothing
ResetEvent 1 => a;b;c<.^.>yes | holds nothing
  Error|RpcServer::SysInfo::CHotKeyHandler::GetSysInfo|Reset Event for m_hWaitForSysInfoReadCompleteEvent failed with error {d}
IFennix 1 => a;b;c<.^.>0x0 | holds nothing
  Error|RpcServer::SysInfo::CHotKeyHandler::IsUSBCSupported|Failed to get Platform.USBC.Supported [hr:0x{hX}]
SetEvent 1 => a;b;c<.^.>yes | holds nothing
  Error|RpcServer::SysInfo::CHotKeyHandler::GetSysInfo|SetEvent for m_hWaitForSysInfoReadCompleteEvent failed with error {d}
)"},
    {"GetLocale", &GetLocale, LR"(
untouched ; RevertToSelf 2 => zh_HANT | holds handle 1, impersonation 1
WTSEnumerateSessionsW 1 => zh_HANT | holds nothing
  Error|Utils::GetCurrentSessionID|WTSGetActiveConsoleSessionId failed with Error: {d}
  Error|RpcServer::AppSection::CAppActivationHandler::ImpersonateUserLogOnSession|Error : No Active sessions found.
RevertToSelf 1 => zh_HANT | holds handle 1, impersonation 1
  Error|Utils::GetActiveSessionToken|RevertToSelf() failed with error: {d}
WTSQueryUserToken 1 => zh_HANT | holds nothing
  Error|Utils::GetActiveSessionToken|WTSQueryUserToken failed with error: {d}. Bypassing to other winlogon method
  Error|Utils::GetProcessIDInCurrentLogOn|Could not find the correct process id in the given session
  Error|Utils::GetActiveSessionToken|OpenProcess with Pid 0 failed with error : 87
  Error|RpcServer::AppSection::CAppActivationHandler::ImpersonateUserLogOnSession|GetActiveSessionToken failed
  Error|RpcServer::SysInfo::CHotKeyHandler::GetLocale|ImpersonateUserLogOnSession failed with error = 87
LookupPrivilegeValueW 1 => zh_HANT | holds handle 1
  Error|RpcServer::AppSection::CAppActivationHandler::ImpersonateUserLogOnSession|Lookup Privilege value Error: {d}
  Error|RpcServer::SysInfo::CHotKeyHandler::GetLocale|ImpersonateUserLogOnSession failed with error = {d}
ImpersonateLoggedOnUser 1 => zh_HANT | holds handle 1
  Error|RpcServer::AppSection::CAppActivationHandler::ImpersonateUserLogOnSession|ImpersonateLoggedOnUser Failure
  Error|RpcServer::SysInfo::CHotKeyHandler::GetLocale|ImpersonateUserLogOnSession failed with error = {d}
GetLocaleInfoW 1 =>  | holds handle 1, impersonation 1
  Error|RpcServer::SysInfo::CHotKeyHandler::GetLocale|GetLocaleInfo: UserDefaultLanguage failed with error : {d}
GetLocaleInfoW 2 =>  | holds handle 1, impersonation 1
  Error|RpcServer::SysInfo::CHotKeyHandler::GetLocale|GetLocaleInfo: UserDefaultCountryCode failed with error : {d}
)"},
    {"GetUSBTypeCInfo", &GetUSBTypeCInfo, LR"(
untouched  => USB 2.0|.#.$USB 3.1 Gen 2<.^.>Supported<.^.>Supported<.^.>Supported<.^.>Not Supported<.^.>65W | holds nothing
IFennix 1, 2, 3 => |.#.$USB 3.1 Gen 1<.^.>Not Supported<.^.>Not Supported<.^.>Not Supported<.^.>Not Supported<.^.>0W | holds nothing
IFennix 4 => USB 2.0|.#.$USB 3.1 Gen 1<.^.>Not Supported<.^.>Not Supported<.^.>Not Supported<.^.>Not Supported<.^.>0W | holds nothing
IFennix 5, 6 => USB 2.0|.#.$USB 3.1 Gen 2<.^.>Not Supported<.^.>Not Supported<.^.>Not Supported<.^.>Not Supported<.^.>0W | holds nothing
IFennix 7 => USB 2.0|.#.$USB 3.1 Gen 2<.^.>Not Supported<.^.>Not Supported<.^.>Supported<.^.>Not Supported<.^.>0W | holds nothing
IFennix 8 => USB 2.0|.#.$USB 3.1 Gen 2<.^.>Not Supported<.^.>Supported<.^.>Supported<.^.>Not Supported<.^.>0W | holds nothing
IFennix 9, 10, 11, 12 => USB 2.0|.#.$USB 3.1 Gen 2<.^.>Supported<.^.>Supported<.^.>Supported<.^.>Not Supported<.^.>0W | holds nothing
)"},
    {"IsUSBCSupported", &IsUSBCSupported, LR"(
untouched  => yes | holds nothing
IFennix 1 => no | holds nothing
  Error|RpcServer::SysInfo::CHotKeyHandler::IsUSBCSupported|Failed to get Platform.USBC.Supported [hr:0x{hX}]
)"},
    {"LaunchAsUser", &LaunchAsUser, LR"(
untouched ; CloseHandle 1, 2, 3, 4, 5; DestroyEnvironmentBlock 1 => 1 | holds nothing
OpenProcessToken 1 => 0 | holds nothing
  Error|RpcServer::CKeyBoardBridge::LaunchProcess|OpenProcessToken failed. Error: 0x{8X}
LookupPrivilegeValueW 1 => 0 | holds handle 1
  Error|RpcServer::CKeyBoardBridge::LaunchProcess|LookupPrivilegeValue failed. Error: 0x{8X}
AdjustTokenPrivileges 1 => 0 | holds handle 1
  Error|RpcServer::CKeyBoardBridge::LaunchProcess|AdjustTokenPrivileges failed. Error: 0x{8X}
AdjustTokenPrivileges 2 => 0 | holds nothing
WTSEnumerateSessionsW 1 => 0 | holds handle 1
  Error|Utils::GetCurrentSessionID|WTSGetActiveConsoleSessionId failed with Error: {d}
  Error|RpcServer::CKeyBoardBridge::LaunchProcess|WTSGetActiveConsoleSessionId failed. Error: 0x00000000
RevertToSelf 1 => 1 | holds nothing
  Error|Utils::GetActiveSessionToken|RevertToSelf() failed with error: {d}
WTSQueryUserToken 1 => 0 | holds handle 1
  Error|Utils::GetActiveSessionToken|WTSQueryUserToken failed with error: {d}. Bypassing to other winlogon method
  Error|Utils::GetProcessIDInCurrentLogOn|Could not find the correct process id in the given session
  Error|Utils::GetActiveSessionToken|OpenProcess with Pid 0 failed with error : 87
  Error|RpcServer::CKeyBoardBridge::LaunchProcess|GetActiveSessionToken failed
DuplicateTokenEx 1 => 0 | holds handle 2
  Error|RpcServer::CKeyBoardBridge::LaunchProcess|DuplicateTokenEx failed. Error: 0x{8X}
SetTokenInformation 1 => 0 | holds handle 3
  Error|RpcServer::CKeyBoardBridge::LaunchProcess|SetTokenInformation (TokenUIAccess) failed. Error: 0x{8X}
CreateEnvironmentBlock 1 => 0 | holds handle 3
  Error|RpcServer::CKeyBoardBridge::LaunchProcess|CreateEnvironmentBlock failed. Error: 0x{8X}
CreateProcessAsUserW 1 => 0 | holds environment 1, handle 3
  Error|RpcServer::CKeyBoardBridge::LaunchProcess|CreateProcessAsUser failed. Error: 0x{8X}
)"},
    {"LaunchElevated", &LaunchElevated, LR"(
untouched ; CloseHandle 1, 2, 3, 4, 5, 6; DestroyEnvironmentBlock 1 => 1 | holds nothing
OpenProcessToken 1 => 0 | holds nothing
  Error|RpcServer::CKeyBoardBridge::LaunchProcess|OpenProcessToken failed. Error: 0x{8X}
LookupPrivilegeValueW 1 => 0 | holds handle 1
  Error|RpcServer::CKeyBoardBridge::LaunchProcess|LookupPrivilegeValue failed. Error: 0x{8X}
AdjustTokenPrivileges 1 => 0 | holds handle 1
  Error|RpcServer::CKeyBoardBridge::LaunchProcess|AdjustTokenPrivileges failed. Error: 0x{8X}
AdjustTokenPrivileges 2 => 0 | holds nothing
WTSEnumerateSessionsW 1 => 1 | holds nothing
  Error|Utils::GetCurrentSessionID|WTSGetActiveConsoleSessionId failed with Error: {d}
WTSQueryUserToken 1 => 0 | holds handle 1
  Error|RpcServer::CKeyBoardBridge::LaunchProcess|GetElevatedUserToken failed
GetTokenInformation 1 => 0 | holds handle 2
  Error|Utils::GetElevatedUserToken|GetTokenInformation with TokenElevationType failed. Error: 0x{8X}
  Error|RpcServer::CKeyBoardBridge::LaunchProcess|GetElevatedUserToken failed
GetTokenInformation 2 => 0 | holds handle 2
  Error|Utils::GetElevatedUserToken|GetTokenInformation with TokenLinkedToken failed. Error: 0x{8X}
  Error|RpcServer::CKeyBoardBridge::LaunchProcess|GetElevatedUserToken failed
GetTokenInformation 3 => 0 | holds handle 1
  Error|Utils::GetElevatedUserToken|GetTokenInformation with TokenType failed. Error: 0x{8X}
  Error|RpcServer::CKeyBoardBridge::LaunchProcess|GetElevatedUserToken failed
DuplicateTokenEx 1 => 0 | holds handle 2
  Error|RpcServer::CKeyBoardBridge::LaunchProcess|DuplicateTokenEx failed. Error: 0x{8X}
SetTokenInformation 1 => 0 | holds handle 3
  Error|RpcServer::CKeyBoardBridge::LaunchProcess|SetTokenInformation (TokenUIAccess) failed. Error: 0x{8X}
CreateEnvironmentBlock 1 => 0 | holds handle 3
  Error|RpcServer::CKeyBoardBridge::LaunchProcess|CreateEnvironmentBlock failed. Error: 0x{8X}
CreateProcessAsUserW 1 => 0 | holds environment 1, handle 3
  Error|RpcServer::CKeyBoardBridge::LaunchProcess|CreateProcessAsUser failed. Error: 0x{8X}
)"},
    {"CommandSystemInformation", &CommandSystemInformation, LR"(
untouched ; CreateToolhelp32Snapshot 1; Process32FirstW 1; CloseHandle 1, 2, 3, 4, 5, 6; OpenProcess 1; DestroyEnvironmentBlock 1 => 1 launched | holds nothing
OpenProcessToken 1 => 0 launched | holds nothing
  Error|RpcServer::CKeyBoardBridge::LaunchProcess|OpenProcessToken failed. Error: 0x{8X}
  Error|RpcServer::CKeyBoardBridge::ProcessCommand|LaunchProcess failed for - MSInfo
LookupPrivilegeValueW 1 => 0 launched | holds handle 1
  Error|RpcServer::CKeyBoardBridge::LaunchProcess|LookupPrivilegeValue failed. Error: 0x{8X}
  Error|RpcServer::CKeyBoardBridge::ProcessCommand|LaunchProcess failed for - MSInfo
AdjustTokenPrivileges 1 => 0 launched | holds handle 1
  Error|RpcServer::CKeyBoardBridge::LaunchProcess|AdjustTokenPrivileges failed. Error: 0x{8X}
  Error|RpcServer::CKeyBoardBridge::ProcessCommand|LaunchProcess failed for - MSInfo
AdjustTokenPrivileges 2 => 1 launched | holds nothing
  Error|RpcServer::CKeyBoardBridge::ProcessCommand|LaunchProcess failed for - MSInfo
WTSEnumerateSessionsW 1 => 0 launched | holds handle 1
  Error|Utils::GetCurrentSessionID|WTSGetActiveConsoleSessionId failed with Error: {d}
  Error|RpcServer::CKeyBoardBridge::LaunchProcess|WTSGetActiveConsoleSessionId failed. Error: 0x00000000
  Error|RpcServer::CKeyBoardBridge::ProcessCommand|LaunchProcess failed for - MSInfo
RevertToSelf 1 => 1 launched | holds nothing
  Error|Utils::GetActiveSessionToken|RevertToSelf() failed with error: {d}
WTSQueryUserToken 1 => 0 launched | holds handle 1
  Error|Utils::GetActiveSessionToken|WTSQueryUserToken failed with error: {d}. Bypassing to other winlogon method
  Error|Utils::GetProcessIDInCurrentLogOn|Could not find the correct process id in the given session
  Error|Utils::GetActiveSessionToken|OpenProcess with Pid 0 failed with error : 87
  Error|RpcServer::CKeyBoardBridge::LaunchProcess|GetActiveSessionToken failed
  Error|RpcServer::CKeyBoardBridge::ProcessCommand|LaunchProcess failed for - MSInfo
DuplicateTokenEx 1 => 0 launched | holds handle 2
  Error|RpcServer::CKeyBoardBridge::LaunchProcess|DuplicateTokenEx failed. Error: 0x{8X}
  Error|RpcServer::CKeyBoardBridge::ProcessCommand|LaunchProcess failed for - MSInfo
SetTokenInformation 1 => 0 launched | holds handle 3
  Error|RpcServer::CKeyBoardBridge::LaunchProcess|SetTokenInformation (TokenUIAccess) failed. Error: 0x{8X}
  Error|RpcServer::CKeyBoardBridge::ProcessCommand|LaunchProcess failed for - MSInfo
CreateEnvironmentBlock 1 => 0 launched | holds handle 3
  Error|RpcServer::CKeyBoardBridge::LaunchProcess|CreateEnvironmentBlock failed. Error: 0x{8X}
  Error|RpcServer::CKeyBoardBridge::ProcessCommand|LaunchProcess failed for - MSInfo
CreateProcessAsUserW 1 => 0 launched | holds environment 1, handle 3
  Error|RpcServer::CKeyBoardBridge::LaunchProcess|CreateProcessAsUser failed. Error: 0x{8X}
  Error|RpcServer::CKeyBoardBridge::ProcessCommand|LaunchProcess failed for - MSInfo
)"},
    {"CommandHotkeyNotification", &CommandHotkeyNotification, LR"(
untouched ; CloseHandle 1, 2, 3, 4, 5; DestroyEnvironmentBlock 1 => 1 launched | holds nothing
GetModuleFileNameW 1 => 0 launched | holds nothing
  Error|RpcServer::CKeyBoardBridge::ProcessCommand|Could not find Service file executable .Error: 0x{8X}
OpenProcessToken 1 => 0 launched | holds nothing
  Error|RpcServer::CKeyBoardBridge::LaunchProcess|OpenProcessToken failed. Error: 0x{8X}
  Error|RpcServer::CKeyBoardBridge::ProcessCommand|LaunchProcess With ElevatedPrivilege failed for - HotkeyNotification
LookupPrivilegeValueW 1 => 0 launched | holds handle 1
  Error|RpcServer::CKeyBoardBridge::LaunchProcess|LookupPrivilegeValue failed. Error: 0x{8X}
  Error|RpcServer::CKeyBoardBridge::ProcessCommand|LaunchProcess With ElevatedPrivilege failed for - HotkeyNotification
AdjustTokenPrivileges 1 => 0 launched | holds handle 1
  Error|RpcServer::CKeyBoardBridge::LaunchProcess|AdjustTokenPrivileges failed. Error: 0x{8X}
  Error|RpcServer::CKeyBoardBridge::ProcessCommand|LaunchProcess With ElevatedPrivilege failed for - HotkeyNotification
AdjustTokenPrivileges 2 => 1 launched | holds nothing
  Error|RpcServer::CKeyBoardBridge::ProcessCommand|LaunchProcess With ElevatedPrivilege failed for - HotkeyNotification
WTSEnumerateSessionsW 1 => 1 launched | holds nothing
  Error|Utils::GetCurrentSessionID|WTSGetActiveConsoleSessionId failed with Error: {d}
WTSQueryUserToken 1 => 0 launched | holds handle 1
  Error|RpcServer::CKeyBoardBridge::LaunchProcess|GetElevatedUserToken failed
  Error|RpcServer::CKeyBoardBridge::ProcessCommand|LaunchProcess With ElevatedPrivilege failed for - HotkeyNotification
GetTokenInformation 1 => 0 launched | holds handle 2
  Error|Utils::GetElevatedUserToken|GetTokenInformation with TokenElevationType failed. Error: 0x{8X}
  Error|RpcServer::CKeyBoardBridge::LaunchProcess|GetElevatedUserToken failed
  Error|RpcServer::CKeyBoardBridge::ProcessCommand|LaunchProcess With ElevatedPrivilege failed for - HotkeyNotification
GetTokenInformation 2 => 0 launched | holds handle 1
  Error|Utils::GetElevatedUserToken|GetTokenInformation with TokenType failed. Error: 0x{8X}
  Error|RpcServer::CKeyBoardBridge::LaunchProcess|GetElevatedUserToken failed
  Error|RpcServer::CKeyBoardBridge::ProcessCommand|LaunchProcess With ElevatedPrivilege failed for - HotkeyNotification
DuplicateTokenEx 1 => 0 launched | holds handle 2
  Error|RpcServer::CKeyBoardBridge::LaunchProcess|DuplicateTokenEx failed. Error: 0x{8X}
  Error|RpcServer::CKeyBoardBridge::ProcessCommand|LaunchProcess With ElevatedPrivilege failed for - HotkeyNotification
SetTokenInformation 1 => 0 launched | holds handle 3
  Error|RpcServer::CKeyBoardBridge::LaunchProcess|SetTokenInformation (TokenUIAccess) failed. Error: 0x{8X}
  Error|RpcServer::CKeyBoardBridge::ProcessCommand|LaunchProcess With ElevatedPrivilege failed for - HotkeyNotification
CreateEnvironmentBlock 1 => 0 launched | holds handle 3
  Error|RpcServer::CKeyBoardBridge::LaunchProcess|CreateEnvironmentBlock failed. Error: 0x{8X}
  Error|RpcServer::CKeyBoardBridge::ProcessCommand|LaunchProcess With ElevatedPrivilege failed for - HotkeyNotification
CreateProcessAsUserW 1 => 0 launched | holds environment 1, handle 3
  Error|RpcServer::CKeyBoardBridge::LaunchProcess|CreateProcessAsUser failed. Error: 0x{8X}
  Error|RpcServer::CKeyBoardBridge::ProcessCommand|LaunchProcess With ElevatedPrivilege failed for - HotkeyNotification
)"},
    {"CommandPowerOptions", &CommandPowerOptions, LR"(
untouched ; CloseHandle 1, 2, 3, 4, 5; DestroyEnvironmentBlock 1 => 1 launched | holds nothing
OpenProcessToken 1 => 0 launched | holds nothing
  Error|RpcServer::CKeyBoardBridge::LaunchProcess|OpenProcessToken failed. Error: 0x{8X}
  Error|RpcServer::CKeyBoardBridge::ProcessCommand|LaunchProcess failed for Windows Power Options
LookupPrivilegeValueW 1 => 0 launched | holds handle 1
  Error|RpcServer::CKeyBoardBridge::LaunchProcess|LookupPrivilegeValue failed. Error: 0x{8X}
  Error|RpcServer::CKeyBoardBridge::ProcessCommand|LaunchProcess failed for Windows Power Options
AdjustTokenPrivileges 1 => 0 launched | holds handle 1
  Error|RpcServer::CKeyBoardBridge::LaunchProcess|AdjustTokenPrivileges failed. Error: 0x{8X}
  Error|RpcServer::CKeyBoardBridge::ProcessCommand|LaunchProcess failed for Windows Power Options
AdjustTokenPrivileges 2 => 1 launched | holds nothing
  Error|RpcServer::CKeyBoardBridge::ProcessCommand|LaunchProcess failed for Windows Power Options
WTSEnumerateSessionsW 1 => 0 launched | holds handle 1
  Error|Utils::GetCurrentSessionID|WTSGetActiveConsoleSessionId failed with Error: {d}
  Error|RpcServer::CKeyBoardBridge::LaunchProcess|WTSGetActiveConsoleSessionId failed. Error: 0x00000000
  Error|RpcServer::CKeyBoardBridge::ProcessCommand|LaunchProcess failed for Windows Power Options
RevertToSelf 1 => 1 launched | holds nothing
  Error|Utils::GetActiveSessionToken|RevertToSelf() failed with error: {d}
WTSQueryUserToken 1 => 0 launched | holds handle 1
  Error|Utils::GetActiveSessionToken|WTSQueryUserToken failed with error: {d}. Bypassing to other winlogon method
  Error|Utils::GetProcessIDInCurrentLogOn|Could not find the correct process id in the given session
  Error|Utils::GetActiveSessionToken|OpenProcess with Pid 0 failed with error : 87
  Error|RpcServer::CKeyBoardBridge::LaunchProcess|GetActiveSessionToken failed
  Error|RpcServer::CKeyBoardBridge::ProcessCommand|LaunchProcess failed for Windows Power Options
DuplicateTokenEx 1 => 0 launched | holds handle 2
  Error|RpcServer::CKeyBoardBridge::LaunchProcess|DuplicateTokenEx failed. Error: 0x{8X}
  Error|RpcServer::CKeyBoardBridge::ProcessCommand|LaunchProcess failed for Windows Power Options
SetTokenInformation 1 => 0 launched | holds handle 3
  Error|RpcServer::CKeyBoardBridge::LaunchProcess|SetTokenInformation (TokenUIAccess) failed. Error: 0x{8X}
  Error|RpcServer::CKeyBoardBridge::ProcessCommand|LaunchProcess failed for Windows Power Options
CreateEnvironmentBlock 1 => 0 launched | holds handle 3
  Error|RpcServer::CKeyBoardBridge::LaunchProcess|CreateEnvironmentBlock failed. Error: 0x{8X}
  Error|RpcServer::CKeyBoardBridge::ProcessCommand|LaunchProcess failed for Windows Power Options
CreateProcessAsUserW 1 => 0 launched | holds environment 1, handle 3
  Error|RpcServer::CKeyBoardBridge::LaunchProcess|CreateProcessAsUser failed. Error: 0x{8X}
  Error|RpcServer::CKeyBoardBridge::ProcessCommand|LaunchProcess failed for Windows Power Options
)"},
    {"GetUsbCAppPath", &GetUsbCAppPath, LR"(
untouched ; FindClose 1 => C:\Programs\Quil\Quil Notifications\QuilUsbCConfiguration.exe | holds nothing
SHGetFolderPathW 1 =>  | holds nothing
  Error|RpcServer::CKeyBoardBridge::GetUsbCAppPath|SHGetFolderPathW failed.  Error: 0x{hX}
FindFirstFileW 1 => C:\Programs\Quilmark\Quil Notifications\QuilUsbCConfiguration.exe | holds nothing
FindFirstFileW 1+ =>  | holds nothing
)"},
    {"LaunchUsbCApp", &LaunchUsbCApp, LR"(
untouched ; FindFirstFileW 1; FindClose 1; AdjustTokenPrivileges 2; CloseHandle 1, 2, 3, 4, 5; DestroyEnvironmentBlock 1 => 1 launched | holds nothing
SHGetFolderPathW 1 => 0 launched | holds nothing
  Error|RpcServer::CKeyBoardBridge::GetUsbCAppPath|SHGetFolderPathW failed.  Error: 0x{hX}
FindFirstFileW 1+ => 0 launched | holds nothing
OpenProcessToken 1 => 0 launched | holds nothing
  Error|RpcServer::CKeyBoardBridge::LaunchProcess|OpenProcessToken failed. Error: 0x{8X}
LookupPrivilegeValueW 1 => 0 launched | holds handle 1
  Error|RpcServer::CKeyBoardBridge::LaunchProcess|LookupPrivilegeValue failed. Error: 0x{8X}
AdjustTokenPrivileges 1 => 0 launched | holds handle 1
  Error|RpcServer::CKeyBoardBridge::LaunchProcess|AdjustTokenPrivileges failed. Error: 0x{8X}
WTSEnumerateSessionsW 1 => 0 launched | holds handle 1
  Error|Utils::GetCurrentSessionID|WTSGetActiveConsoleSessionId failed with Error: {d}
  Error|RpcServer::CKeyBoardBridge::LaunchProcess|WTSGetActiveConsoleSessionId failed. Error: 0x00000000
RevertToSelf 1 => 1 launched | holds nothing
  Error|Utils::GetActiveSessionToken|RevertToSelf() failed with error: {d}
WTSQueryUserToken 1 => 0 launched | holds handle 1
  Error|Utils::GetActiveSessionToken|WTSQueryUserToken failed with error: {d}. Bypassing to other winlogon method
  Error|Utils::GetProcessIDInCurrentLogOn|Could not find the correct process id in the given session
  Error|Utils::GetActiveSessionToken|OpenProcess with Pid 0 failed with error : 87
  Error|RpcServer::CKeyBoardBridge::LaunchProcess|GetActiveSessionToken failed
DuplicateTokenEx 1 => 0 launched | holds handle 2
  Error|RpcServer::CKeyBoardBridge::LaunchProcess|DuplicateTokenEx failed. Error: 0x{8X}
SetTokenInformation 1 => 0 launched | holds handle 3
  Error|RpcServer::CKeyBoardBridge::LaunchProcess|SetTokenInformation (TokenUIAccess) failed. Error: 0x{8X}
CreateEnvironmentBlock 1 => 0 launched | holds handle 3
  Error|RpcServer::CKeyBoardBridge::LaunchProcess|CreateEnvironmentBlock failed. Error: 0x{8X}
CreateProcessAsUserW 1 => 0 launched | holds environment 1, handle 3
  Error|RpcServer::CKeyBoardBridge::LaunchProcess|CreateProcessAsUser failed. Error: 0x{8X}
)"},
};

INSTANTIATE_TEST_SUITE_P(HotKey, Operations, testing::ValuesIn(kOperations), Faults::NameOf);

} // namespace
