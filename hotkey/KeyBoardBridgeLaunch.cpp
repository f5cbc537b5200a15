// Starting programs on the logged-on user's desktop.
//
// Deliberate: a launch that fails leaves the privilege enabled and every handle that it took open. The handles are
// plain here for that reason; the clean-up after success has an order of its own.
#include "hotkey/KeyBoardBridge.h"
#include "shared/TraceScope.h"
#include "shared/UniqueHandle.h"
#include "utils/ActiveUser.h"

#include <windows.h>

#include <shlobj.h>
#include <userenv.h>
#include <wtsapi32.h>

using namespace Quil::Shared;

namespace RpcServer
{

namespace
{

// Lets the service act as part of the operating system, which UI access for another user's program needs.
// previousState takes what the restore gives back.
bool EnableTcbPrivilege(const CLogName& log, HANDLE processToken, TOKEN_PRIVILEGES& previousState)
{
    TOKEN_PRIVILEGES wanted{};
    wanted.PrivilegeCount = 1;
    wanted.Privileges[0].Attributes = SE_PRIVILEGE_ENABLED;
    if (!LookupPrivilegeValueW(nullptr, L"SeTcbPrivilege", &wanted.Privileges[0].Luid))
    {
        log.Error(L"LookupPrivilegeValue failed. Error: 0x%08X", GetLastError());
        return false;
    }
    DWORD length = 0;
    const BOOL adjusted =
        AdjustTokenPrivileges(processToken, FALSE, &wanted, sizeof(TOKEN_PRIVILEGES), &previousState, &length);
    const DWORD error = GetLastError();
    if (!adjusted)
    {
        log.Error(L"AdjustTokenPrivileges failed. Error: 0x%08X", error);
        return false;
    }
    if (error == ERROR_NOT_ALL_ASSIGNED)
    {
        log.Warning(L"AdjustTokenPrivileges failed with a warning. No problem in executing other codes. Error: 0x%08X",
                    error);
    }
    return true;
}

// Null when there is none; the reason is logged, except for a session without a token.
HANDLE SessionUserToken(const CLogName& log)
{
    const DWORD sessionId = Utils::GetCurrentSessionID();
    if (sessionId == 0)
    {
        log.Error(L"WTSGetActiveConsoleSessionId failed. Error: 0x%08X", sessionId);
        return nullptr;
    }
    log.Verbose(L"Current Session ID = %d", sessionId);
    const HANDLE token = Utils::GetActiveSessionToken(sessionId);
    if (token == INVALID_HANDLE_VALUE)
    {
        log.Error(L"GetActiveSessionToken failed");
        return nullptr;
    }
    return token;
}

// The full token of a user whose own token is limited; otherwise the user's own. Returns a Windows error; a query that
// fails without one gives 0 and no token.
DWORD QueryElevatedUserToken(HANDLE& token)
{
    const CLogName log{"Utils::GetElevatedUserToken"};

    token = nullptr;
    HANDLE queried = nullptr;
    if (!WTSQueryUserToken(Utils::GetCurrentSessionID(), &queried))
    {
        return GetLastError();
    }

    DWORD length = 0;
    TOKEN_ELEVATION_TYPE elevation = TokenElevationTypeDefault;
    if (!GetTokenInformation(queried, TokenElevationType, &elevation, sizeof(elevation), &length))
    {
        const DWORD error = GetLastError();
        log.Error(L"GetTokenInformation with TokenElevationType failed. Error: 0x%08X", error);
        if (error != ERROR_SUCCESS)
        {
            return error;
        }
    }
    else if (elevation == TokenElevationTypeLimited)
    {
        TOKEN_LINKED_TOKEN linked{};
        if (GetTokenInformation(queried, TokenLinkedToken, &linked, sizeof(linked), &length))
        {
            CloseHandle(queried);
            queried = linked.LinkedToken;
        }
        else
        {
            const DWORD error = GetLastError();
            log.Error(L"GetTokenInformation with TokenLinkedToken failed. Error: 0x%08X", error);
            if (error != ERROR_SUCCESS)
            {
                return error;
            }
        }
    }

    TOKEN_TYPE type = TokenPrimary;
    if (!GetTokenInformation(queried, TokenType, &type, sizeof(type), &length))
    {
        const DWORD error = GetLastError();
        log.Error(L"GetTokenInformation with TokenType failed. Error: 0x%08X", error);
        if (error != ERROR_SUCCESS)
        {
            CloseHandle(queried);
            return error;
        }
    }
    else if (type != TokenPrimary)
    {
        log.Error(L"GetTokenInformation failed , Invalid Handle");
        CloseHandle(queried);
        return ERROR_INVALID_HANDLE;
    }
    token = queried;
    return ERROR_SUCCESS;
}

HANDLE ElevatedUserToken(const CLogName& log)
{
    HANDLE token = nullptr;
    if (QueryElevatedUserToken(token) != ERROR_SUCCESS)
    {
        log.Error(L"GetElevatedUserToken failed");
    }
    return token;
}

HANDLE TokenForMode(const CLogName& log, DWORD launchMode)
{
    switch (launchMode)
    {
    case CKeyBoardBridge::kLaunchAsUser:
        return SessionUserToken(log);
    case CKeyBoardBridge::kLaunchElevated:
        return ElevatedUserToken(log);
    default:
        return nullptr;
    }
}

// A path inside the 32-bit program folder; fills path and gives the system's result.
HRESULT ProgramFilesPath(const wchar_t* tail, std::wstring& path)
{
    wchar_t folder[MAX_PATH]{};
    const HRESULT result = SHGetFolderPathW(nullptr, CSIDL_PROGRAM_FILESX86, nullptr, SHGFP_TYPE_CURRENT, folder);
    if (SUCCEEDED(result))
    {
        path = folder;
        path += tail;
        if (path.length() >= MAX_PATH)
        {
            path.resize(MAX_PATH - 1);
        }
    }
    return result;
}

bool FileExists(const std::wstring& path)
{
    WIN32_FIND_DATAW data{};
    return static_cast<bool>(CUniqueFind{FindFirstFileW(path.c_str(), &data)});
}

} // namespace

BOOL CKeyBoardBridge::LaunchProcess(const wchar_t* applicationPath, wchar_t* commandLine, const DWORD& launchMode)
{
    CTraceScope trace{"RpcServer::CKeyBoardBridge::LaunchProcess"};

    trace.Information(L"Process to launch = %s", applicationPath);
    HANDLE processToken = nullptr;
    if (!OpenProcessToken(GetCurrentProcess(), TOKEN_ADJUST_PRIVILEGES | TOKEN_QUERY, &processToken))
    {
        trace.Error(L"OpenProcessToken failed. Error: 0x%08X", GetLastError());
        return FALSE;
    }
    TOKEN_PRIVILEGES previousState{};
    if (!EnableTcbPrivilege(trace, processToken, previousState))
    {
        return FALSE;
    }
    const HANDLE userToken = TokenForMode(trace, launchMode);
    if (userToken == nullptr)
    {
        return FALSE;
    }
    HANDLE newToken = nullptr;
    if (!DuplicateTokenEx(userToken, MAXIMUM_ALLOWED, nullptr, SecurityIdentification, TokenPrimary, &newToken))
    {
        trace.Error(L"DuplicateTokenEx failed. Error: 0x%08X", GetLastError());
        return FALSE;
    }
    DWORD uiAccess = 1;
    if (!SetTokenInformation(newToken, TokenUIAccess, &uiAccess, sizeof(uiAccess)))
    {
        trace.Error(L"SetTokenInformation (TokenUIAccess) failed. Error: 0x%08X", GetLastError());
        return FALSE;
    }

    wchar_t desktop[] = L"winsta0\\default";
    STARTUPINFOW startupInfo{};
    startupInfo.cb = sizeof(startupInfo);
    startupInfo.lpDesktop = desktop;
    void* environment = nullptr;
    if (!CreateEnvironmentBlock(&environment, newToken, TRUE))
    {
        trace.Error(L"CreateEnvironmentBlock failed. Error: 0x%08X", GetLastError());
        return FALSE;
    }
    SECURITY_ATTRIBUTES processAttributes{};
    SECURITY_ATTRIBUTES threadAttributes{};
    PROCESS_INFORMATION processInformation{};
    if (!CreateProcessAsUserW(newToken, applicationPath, commandLine, &processAttributes, &threadAttributes, FALSE,
                              CREATE_UNICODE_ENVIRONMENT | NORMAL_PRIORITY_CLASS, environment, nullptr, &startupInfo,
                              &processInformation))
    {
        trace.Error(L"CreateProcessAsUser failed. Error: 0x%08X", GetLastError());
        return FALSE;
    }

    if (processInformation.hThread != nullptr)
    {
        CloseHandle(processInformation.hThread);
    }
    if (processInformation.hProcess != nullptr)
    {
        CloseHandle(processInformation.hProcess);
    }
    DestroyEnvironmentBlock(environment);
    CloseHandle(newToken);
    CloseHandle(userToken);
    // Deliberate: the restore's result is the result of the launch.
    const BOOL restored =
        AdjustTokenPrivileges(processToken, FALSE, &previousState, sizeof(TOKEN_PRIVILEGES), nullptr, nullptr);
    CloseHandle(processToken);
    return trace.ExitValue(restored, L"Return: 0x%08X");
}

std::wstring CKeyBoardBridge::GetUsbCAppPath()
{
    CTraceScope trace{"RpcServer::CKeyBoardBridge::GetUsbCAppPath"};

    std::wstring path;
    HRESULT result = ProgramFilesPath(L"\\Quil\\Quil Notifications\\QuilUsbCConfiguration.exe", path);
    if (SUCCEEDED(result))
    {
        trace.Verbose(L"search from this path = %s", path);
        if (FileExists(path))
        {
            return trace.Exit(path, L"csExeName = %s", path);
        }
        result = ProgramFilesPath(L"\\Quilmark\\Quil Notifications\\QuilUsbCConfiguration.exe", path);
    }
    if (FAILED(result))
    {
        trace.Error(L"SHGetFolderPathW failed.  Error: 0x%08X", result);
        trace.ExitText(L"[hr:0x%08lX]", result);
        return {};
    }
    trace.Verbose(L"Try again to search from this path = %s", path);
    if (!FileExists(path))
    {
        path.clear();
    }
    return trace.Exit(path, L"csExeName = %s", path);
}

} // namespace RpcServer
