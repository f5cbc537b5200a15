#include "utils/ActiveUser.h"

#include "shared/TraceScope.h"
#include "shared/UniqueHandle.h"

#include <wtsapi32.h>

#include <cwchar>

using Quil::Shared::CTraceScope;
using Quil::Shared::CUniqueHandle;
using Quil::Shared::CUniqueWtsList;

namespace Utils
{

namespace
{

constexpr DWORD kNoConsoleSession = 0xFFFFFFFF;
constexpr DWORD kTokenAccess = READ_CONTROL | TOKEN_ADJUST_SESSIONID | TOKEN_ADJUST_DEFAULT | TOKEN_ADJUST_GROUPS |
                               TOKEN_ADJUST_PRIVILEGES | TOKEN_QUERY | TOKEN_DUPLICATE | TOKEN_ASSIGN_PRIMARY;

} // namespace

DWORD GetCurrentSessionID()
{
    CTraceScope trace{"Utils::GetCurrentSessionID"};

    CUniqueWtsList<WTS_SESSION_INFOW> sessions;
    DWORD count = 0;
    // A failed call leaves no records, which is treated like a machine without sessions.
    static_cast<void>(WTSEnumerateSessionsW(WTS_CURRENT_SERVER_HANDLE, 0, 1, sessions.Put(), &count));
    trace.Information(L"Session Count = %d", count);

    DWORD sessionId = 0;
    for (DWORD i = 0; i < count; ++i)
    {
        const WTS_SESSION_INFOW& session = sessions.Get()[i];
        trace.Information(L"pWinStationName = %s, State = %d, SessionId = %d", session.pWinStationName, session.State,
                          session.SessionId);
        if (session.State == WTSActive)
        {
            sessionId = session.SessionId;
            trace.Information(L"Session %d is the Active session", sessionId);
            break;
        }
    }
    sessions.Reset();

    if (sessionId == 0)
    {
        sessionId = WTSGetActiveConsoleSessionId();
        if (sessionId == kNoConsoleSession)
        {
            trace.Error(L"WTSGetActiveConsoleSessionId failed with Error: %u", GetLastError());
            sessionId = 0;
        }
    }
    return trace.Exit(sessionId, L"Session Id = %d", sessionId);
}

HANDLE GetActiveSessionToken(DWORD sessionId)
{
    CTraceScope trace{"Utils::GetActiveSessionToken"};

    if (sessionId == 0)
    {
        // Deliberate: this line takes the place of the exit record.
        trace.Error(L"Error : No Active sessions found.");
        trace.NoExit();
        return INVALID_HANDLE_VALUE;
    }

    // The query needs the service's own identity.
    if (!RevertToSelf())
    {
        trace.Error(L"RevertToSelf() failed with error: %u", GetLastError());
    }
    HANDLE sessionToken = INVALID_HANDLE_VALUE;
    if (WTSQueryUserToken(sessionId, &sessionToken))
    {
        return sessionToken;
    }
    trace.Error(L"WTSQueryUserToken failed with error: %u. Bypassing to other winlogon method", GetLastError());

    const DWORD processId = GetProcessIDInCurrentLogOn(&sessionId, L"explorer.exe");
    const CUniqueHandle process{OpenProcess(MAXIMUM_ALLOWED, FALSE, processId)};
    if (!process)
    {
        trace.Error(L"OpenProcess with Pid %u failed with error : %u", processId, GetLastError());
        // Deliberate: no exit record on this path.
        trace.NoExit();
        return INVALID_HANDLE_VALUE;
    }
    // Deliberate: a failed call decides what comes back; it may be null instead of INVALID_HANDLE_VALUE.
    HANDLE shellToken = INVALID_HANDLE_VALUE;
    if (!OpenProcessToken(process.Get(), kTokenAccess, &shellToken))
    {
        trace.Error(L"Process token open Error: %u", GetLastError());
    }
    return shellToken;
}

DWORD GetProcessIDInCurrentLogOn(const DWORD* sessionId, const wchar_t* processName)
{
    CTraceScope trace{"Utils::GetProcessIDInCurrentLogOn", L"ProcessName = %s", processName};

    CUniqueWtsList<WTS_PROCESS_INFOW> processes;
    DWORD count = 0;
    if (WTSEnumerateProcessesW(WTS_CURRENT_SERVER_HANDLE, 0, 1, processes.Put(), &count))
    {
        // Deliberate: a prefix is enough, so explorer.exe.old counts as explorer.exe.
        const std::size_t length = std::wcslen(processName);
        for (DWORD i = 0; i < count; ++i)
        {
            const WTS_PROCESS_INFOW& process = processes.Get()[i];
            if (process.pProcessName == nullptr || _wcsnicmp(process.pProcessName, processName, length) != 0)
            {
                continue;
            }
            trace.Verbose(L"Process Id: %ld, Session Id: %ld", process.ProcessId, process.SessionId);
            if (process.SessionId == *sessionId)
            {
                return trace.ExitValue(process.ProcessId, L"Process Id = %d");
            }
        }
        processes.Reset();
    }
    trace.Error(L"Could not find the correct process id in the given session");
    return trace.ExitValue(DWORD{0}, L"Process Id = %d");
}

} // namespace Utils
