// Faults under the functions of utils/.
#include "tests/faults/FaultTests.h"
#include "tests/unit/hotkey/HandlerMachine.h"
#include "tests/unit/hotkey/SessionStandIn.h"

#include "utils/ActiveUser.h"
#include "utils/AppActivationHandler.h"
#include "utils/ComSecurity.h"
#include "utils/FileVersion.h"
#include "utils/HardwareNode.h"
#include "utils/ServiceQuery.h"

#include <setupapi.h>

#include <cwchar>

using Faults::FaultRun;

namespace
{

const auto kHandle = reinterpret_cast<HANDLE>(std::uintptr_t{0x9001});

// A device with a driver.
struct Devices
{
    IMPORT_HOOK(SetupDiGetClassDevsW){[](auto...) { return kHandle; }};
    IMPORT_HOOK(SetupDiDestroyDeviceInfoList){[](auto...) { return TRUE; }};
    IMPORT_HOOK(SetupDiEnumDeviceInfo){[](auto...) { return TRUE; }};
    IMPORT_HOOK(SetupDiBuildDriverInfoList){[](auto...) { return TRUE; }};
    IMPORT_HOOK(SetupDiEnumDriverInfoW){[](auto...) { return TRUE; }};
};

// The shell of session 1, whose token stands for that of the session.
struct Shell
{
    Shell() { session.queryResult = FALSE; }

    SessionStandIn session;
    wchar_t name[13]{L"explorer.exe"};
    WTS_PROCESS_INFOW record{1, 44, name, nullptr};
    IMPORT_HOOK(WTSEnumerateProcessesW){[this](HANDLE, DWORD, DWORD, PWTS_PROCESS_INFOW* list, DWORD* count) {
        *list = &record;
        *count = 1;
        return TRUE;
    }};
    IMPORT_HOOK(OpenProcess){[](auto...) { return kHandle; }};
    IMPORT_HOOK(OpenProcessToken){[](HANDLE, DWORD, PHANDLE token) {
        *token = kHandle;
        return TRUE;
    }};
    IMPORT_HOOK(CloseHandle){[](HANDLE) { return TRUE; }};
};

std::wstring TokenText(HANDLE token)
{
    return token == INVALID_HANDLE_VALUE ? L"invalid" : token == nullptr ? L"null" : L"token";
}

void IsServicePresent(FaultRun& run)
{
    HandlerMachine machine;
    run.Try([] {
        VS_FIXEDFILEINFO version{};
        return std::to_wstring(Utils::IsServicePresent(L"QuilSysInfoCap", version, true, true, SC_MANAGER_ALL_ACCESS)) +
               L" version " + std::to_wstring(version.dwFileVersionMS);
    });
}

void IsHardwareNodePresent(FaultRun& run)
{
    Devices devices;
    run.Try([] { return std::to_wstring(Utils::IsHardwareNodePresent(L"ACPI\\QUIL000C")); });
}

void GetCurrentSessionID(FaultRun& run)
{
    SessionStandIn session;
    run.Try([] { return std::to_wstring(Utils::GetCurrentSessionID()); });
}

void GetActiveSessionToken(FaultRun& run)
{
    SessionStandIn session;
    run.Try([] { return TokenText(Utils::GetActiveSessionToken(1)); });
}

void GetActiveSessionTokenOfTheShell(FaultRun& run)
{
    Shell shell;
    run.Try([] { return TokenText(Utils::GetActiveSessionToken(1)); });
}

void Impersonate(FaultRun& run)
{
    SessionStandIn session;
    IMPORT_HOOK(LookupPrivilegeValueW)([](auto...) { return TRUE; });
    IMPORT_HOOK(ImpersonateLoggedOnUser)([](auto...) { return TRUE; });
    run.Try([] {
        RpcServer::AppSection::CAppActivationHandler helper;
        const bool done = helper.ImpersonateUserLogOnSession();
        const bool impersonating = helper.IsImpersonating();
        helper.RemoveImpersonation();
        return std::wstring{done ? L"done" : L"failed"} + (impersonating ? L", impersonating" : L"");
    });
}

void GetVersionValue(FaultRun& run)
{
    HandlerMachine machine;
    run.Try([] { return std::to_wstring(Utils::GetVersionValue(L"C:\\Cap\\cap.exe").dwFileVersionMS); });
}

void GetBinaryVersion(FaultRun& run)
{
    HandlerMachine machine;
    run.Try([] {
        std::wstring version;
        return Utils::GetBinaryVersion(version);
    });
}

void InitializeSecurity(FaultRun& run)
{
    IMPORT_HOOK(CoInitializeEx)([](auto...) { return S_OK; });
    IMPORT_HOOK(CoInitializeSecurity)([](auto...) { return S_OK; });
    IMPORT_HOOK(CoUninitialize)([] {});
    run.Try([] { return Quil::Shared::FormatText(L"%x", Utils::InitializeSecurity(1)); });
}

const Faults::Operation kOperations[] = {
    {"IsServicePresent", &IsServicePresent, LR"(
untouched ; QueryServiceStatusEx 1; CloseServiceHandle 1, 2 => 0 version 0 | holds nothing
OpenSCManagerW 1 => -3 version 0 | holds nothing
  Error|Utils::GetService|OpenSCManager failed w/err 0x{8x}
OpenServiceW 1 => -2 version 0 | holds nothing
  Error|Utils::GetService|OpenService failed w/err 0x{8x}
QueryServiceConfigW 1, 2; LocalAlloc 1 => 2 version 0 | holds nothing
  Error|Utils::IsServicePresent|QueryServiceConfig failed w/err 0x{8x}
GetFileVersionInfoSizeW 1 => 0 version 0 | holds nothing
  Error|Utils::GetVersionValue|GetFileVersionInfoSize Return Value  = 0 Error Code = 
GetFileVersionInfoW 1 => 0 version 0 | holds nothing
  Error|Utils::GetVersionValue|GetFileVersionInfo failed with error {d}
VerQueryValueW 1 => 0 version 0 | holds nothing
  Error|Utils::GetVersionValue|VerQueryValue failed with error {d}
allocation 1 => 0 version 0 | holds nothing
  Error|Utils::GetVersionValue|Version String Allocation failed
)"},
    {"IsHardwareNodePresent", &IsHardwareNodePresent, LR"(
untouched ; SetupDiDestroyDeviceInfoList 1 => 1 | holds nothing
SetupDiGetClassDevsW 1 => 0 | holds nothing
  Error|Utils::IsHardwareNodePresent|SetupDiGetClassDevs failed (may due to non-availability of node) with error: {x}
SetupDiEnumDeviceInfo 1 => 0 | holds nothing
  Error|Utils::IsHardwareNodePresent|SetupDiEnumDeviceInfo failed (may due to non-availability of node) with error: {x}
SetupDiBuildDriverInfoList 1 => 0 | holds nothing
  Warning|Utils::IsHardwareNodePresent|SetupDiBuildDriverInfoList failed (may due to non-availability of driver in Node - ACPI\QUIL000C) with error: {x}
SetupDiEnumDriverInfoW 1 => 0 | holds nothing
  Error|Utils::IsHardwareNodePresent|SetupDiEnumDriverInfo failed with error {d}
)"},
    {"GetCurrentSessionID", &GetCurrentSessionID, LR"(
untouched  => 1 | holds nothing
WTSEnumerateSessionsW 1 => 0 | holds nothing
  Error|Utils::GetCurrentSessionID|WTSGetActiveConsoleSessionId failed with Error: {d}
)"},
    {"GetActiveSessionToken", &GetActiveSessionToken, LR"(
untouched  => token | holds handle 1
RevertToSelf 1 => token | holds handle 1
  Error|Utils::GetActiveSessionToken|RevertToSelf() failed with error: {d}
WTSQueryUserToken 1 => invalid | holds nothing
  Error|Utils::GetActiveSessionToken|WTSQueryUserToken failed with error: {d}. Bypassing to other winlogon method
  Error|Utils::GetProcessIDInCurrentLogOn|Could not find the correct process id in the given session
  Error|Utils::GetActiveSessionToken|OpenProcess with Pid 0 failed with error : 87
)"},
    {"GetActiveSessionTokenOfTheShell", &GetActiveSessionTokenOfTheShell, LR"(
untouched ; CloseHandle 1 => token | holds handle 1
RevertToSelf 1 => token | holds handle 1
  Error|Utils::GetActiveSessionToken|RevertToSelf() failed with error: {d}
WTSQueryUserToken 1 => token | holds handle 1
  Error|Utils::GetActiveSessionToken|WTSQueryUserToken failed with error: {d}. Bypassing to other winlogon method
WTSEnumerateProcessesW 1 => token | holds handle 1
  Error|Utils::GetProcessIDInCurrentLogOn|Could not find the correct process id in the given session
OpenProcess 1 => invalid | holds nothing
  Error|Utils::GetActiveSessionToken|OpenProcess with Pid 44 failed with error : {d}
OpenProcessToken 1 => invalid | holds nothing
  Error|Utils::GetActiveSessionToken|Process token open Error: {d}
)"},
    {"Impersonate", &Impersonate, LR"(
untouched ; RevertToSelf 2, 3 => done, impersonating | holds handle 1, impersonation 1
WTSEnumerateSessionsW 1 => done | holds nothing
  Error|Utils::GetCurrentSessionID|WTSGetActiveConsoleSessionId failed with Error: {d}
  Error|RpcServer::AppSection::CAppActivationHandler::ImpersonateUserLogOnSession|Error : No Active sessions found.
RevertToSelf 1 => done, impersonating | holds handle 1, impersonation 1
  Error|Utils::GetActiveSessionToken|RevertToSelf() failed with error: {d}
WTSQueryUserToken 1 => failed | holds nothing
  Error|Utils::GetActiveSessionToken|WTSQueryUserToken failed with error: {d}. Bypassing to other winlogon method
  Error|Utils::GetProcessIDInCurrentLogOn|Could not find the correct process id in the given session
  Error|Utils::GetActiveSessionToken|OpenProcess with Pid 0 failed with error : 87
  Error|RpcServer::AppSection::CAppActivationHandler::ImpersonateUserLogOnSession|GetActiveSessionToken failed
LookupPrivilegeValueW 1 => failed | holds handle 1
  Error|RpcServer::AppSection::CAppActivationHandler::ImpersonateUserLogOnSession|Lookup Privilege value Error: {d}
ImpersonateLoggedOnUser 1 => failed | holds handle 1
  Error|RpcServer::AppSection::CAppActivationHandler::ImpersonateUserLogOnSession|ImpersonateLoggedOnUser Failure
)"},
    {"GetVersionValue", &GetVersionValue, LR"(
untouched  => 65538 | holds nothing
GetFileVersionInfoSizeW 1 => 0 | holds nothing
  Error|Utils::GetVersionValue|GetFileVersionInfoSize Return Value  = 0 Error Code = 
GetFileVersionInfoW 1 => 0 | holds nothing
  Error|Utils::GetVersionValue|GetFileVersionInfo failed with error {d}
VerQueryValueW 1 => 0 | holds nothing
  Error|Utils::GetVersionValue|VerQueryValue failed with error {d}
allocation 1 => 0 | holds nothing
  Error|Utils::GetVersionValue|Version String Allocation failed
)"},
    {"GetBinaryVersion", &GetBinaryVersion, LR"(
untouched ; GetModuleFileNameW 1 => 1.2.30.4 | holds nothing
GetFileVersionInfoSizeW 1 => 0.0.0.0 | holds nothing
  Error|Utils::GetBinaryVersion|GetFileVersionInfoSize Return Value  = 0, Error Code = {d} 
GetFileVersionInfoW 1 => 0.0.0.0 | holds nothing
  Error|Utils::GetBinaryVersion|GetFileVersionInfo failed with error {d}
VerQueryValueW 1 => 0.0.0.0 | holds nothing
  Error|Utils::GetBinaryVersion|VerQueryValue failed with error {d}
allocation 1 => 0.0.0.0 | holds nothing
  Error|Utils::GetBinaryVersion|Version String Allocation failed
)"},
    {"InitializeSecurity", &InitializeSecurity, LR"(
untouched ; InitializeSecurityDescriptor 1; OpenThreadToken 1; OpenProcessToken 1; GetTokenInformation 1, 2, 3, 4; IsValidSid 1, 2, 3, 4, 5; CopySid 1, 2; SetSecurityDescriptorOwner 1; SetSecurityDescriptorGroup 1; CloseHandle 1; InitializeAcl 1, 2, 3; AddAccessAllowedAce 1, 2, 3; SetSecurityDescriptorDacl 1, 2, 3; GetAce 1, 2, 3; AddAce 1, 2, 3; allocation 1, 2, 3, 4, 5, 6, 7 => 0 | holds nothing
LocalAlloc 1 => 80004005 | holds nothing
  Error|Utils::InitializeSecurity|LocalAlloc failed for PSID
CreateWellKnownSid 1 => 0 | holds nothing
  Error|Utils::InitializeSecurity|CreateWellKnownSid with WinLocalSystemSid failed. Error: 0x{8X}
CreateWellKnownSid 1+ => 0 | holds nothing
  Error|Utils::InitializeSecurity|CreateWellKnownSid with WinLocalSystemSid failed. Error: 0x{8X}
  Error|Utils::InitializeSecurity|CreateWellKnownSid with WinBuiltinAdministratorsSid failed.  Error: 0x{8X}
  Error|Utils::InitializeSecurity|CreateWellKnownSid with WinBuiltinUsersSid failed.  Error: 0x{8X}
CreateWellKnownSid 2 => 0 | holds nothing
  Error|Utils::InitializeSecurity|CreateWellKnownSid with WinBuiltinAdministratorsSid failed.  Error: 0x{8X}
CreateWellKnownSid 2+ => 0 | holds nothing
  Error|Utils::InitializeSecurity|CreateWellKnownSid with WinBuiltinAdministratorsSid failed.  Error: 0x{8X}
  Error|Utils::InitializeSecurity|CreateWellKnownSid with WinBuiltinUsersSid failed.  Error: 0x{8X}
CreateWellKnownSid 3 => 0 | holds nothing
  Error|Utils::InitializeSecurity|CreateWellKnownSid with WinBuiltinUsersSid failed.  Error: 0x{8X}
CoInitializeEx 1 => {hx} | holds COM -1
  Error|Utils::InitializeSecurity|CoInitializeEx failed. Error: 0x{hX}
CoInitializeSecurity 1 => {hx} | holds nothing
  Error|Utils::InitializeSecurity|CoInitializeSecurity failed. Error: 0x{hX}
)"},
};

INSTANTIATE_TEST_SUITE_P(Utils, Operations, testing::ValuesIn(kOperations), Faults::NameOf);

} // namespace
