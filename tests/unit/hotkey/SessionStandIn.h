// The logged-on user for unit tests: one active session whose user has a token, unless the test says otherwise.
#pragma once

#include "tests/harness/ImportHook.h"

#include <windows.h>

#include <wtsapi32.h>

#include <cstdint>
#include <vector>

class SessionStandIn
{
  public:
    SessionStandIn() = default;
    SessionStandIn(const SessionStandIn&) = delete;
    SessionStandIn& operator=(const SessionStandIn&) = delete;

    DWORD sessionId{1}; // 0: nobody is logged on
    HANDLE userToken{reinterpret_cast<HANDLE>(std::uintptr_t{0xB1})};
    BOOL queryResult{TRUE};
    DWORD queryError{0};
    std::vector<ULONG> queriedSessions;

  private:
    WTS_SESSION_INFOW m_record{};
    wchar_t m_name[8]{L"Console"};

    IMPORT_HOOK(WTSEnumerateSessionsW){[this](HANDLE, DWORD, DWORD, PWTS_SESSION_INFOW* list, DWORD* count) {
        m_record.SessionId = sessionId;
        m_record.pWinStationName = m_name;
        m_record.State = WTSActive;
        *list = &m_record;
        *count = sessionId != 0 ? 1 : 0;
        return TRUE;
    }};
    IMPORT_HOOK(WTSFreeMemory){[](PVOID) {}};
    IMPORT_HOOK(WTSGetActiveConsoleSessionId){[] { return DWORD{0xFFFFFFFF}; }};
    IMPORT_HOOK(WTSQueryUserToken){[this](ULONG session, PHANDLE token) {
        queriedSessions.push_back(session);
        if (queryResult)
        {
            *token = userToken;
        }
        else
        {
            SetLastError(queryError);
        }
        return queryResult;
    }};
    IMPORT_HOOK(WTSEnumerateProcessesW){[](auto...) { return FALSE; }};
    IMPORT_HOOK(OpenProcess){[](auto...) -> HANDLE {
        SetLastError(ERROR_INVALID_PARAMETER);
        return nullptr;
    }};
    IMPORT_HOOK(RevertToSelf){[] { return TRUE; }};
};
