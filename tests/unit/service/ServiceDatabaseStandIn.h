// Stands in for the service database: keeps every call with its arguments, and lets one of them fail.
//
//   ServiceDatabaseStandIn database;
//   database.Fail(L"CreateService", ERROR_SERVICE_EXISTS);
//   ...
//   EXPECT_THAT(database.Calls(), ElementsAre(L"OpenSCManager 0x3", ...));
#pragma once

#include "tests/harness/ImportHook.h"

#include "shared/WideText.h"

#include <gtest/gtest.h>

#include <windows.h>

#include <deque>
#include <map>
#include <string>
#include <vector>

class ServiceDatabaseStandIn
{
  public:
    ServiceDatabaseStandIn() = default;
    ServiceDatabaseStandIn(const ServiceDatabaseStandIn&) = delete;
    ServiceDatabaseStandIn& operator=(const ServiceDatabaseStandIn&) = delete;

    void Fail(const std::wstring& call, DWORD error) { m_failures[call] = error; }
    const std::vector<std::wstring>& Calls() const { return m_calls; }

    // The state that the stop control and then each query answers; the last one stays.
    std::deque<DWORD> states{SERVICE_STOPPED};

  private:
    static inline const auto kManager = reinterpret_cast<SC_HANDLE>(std::uintptr_t{0x5C01});
    static inline const auto kService = reinterpret_cast<SC_HANDLE>(std::uintptr_t{0x5C02});

    static std::wstring OrNull(const wchar_t* text) { return text != nullptr ? text : L"(null)"; }

    // Notes a call; false when it shall fail.
    bool Admit(const std::wstring& call, const std::wstring& arguments)
    {
        m_calls.push_back(call + (arguments.empty() ? L"" : L" ") + arguments);
        const auto failure = m_failures.find(call);
        if (failure != m_failures.end())
        {
            SetLastError(failure->second);
            return false;
        }
        SetLastError(0xDEAD); // a caller that reads the error of a success shows up
        return true;
    }
    DWORD NextState()
    {
        const DWORD state = states.front();
        if (states.size() > 1)
        {
            states.pop_front();
        }
        return state;
    }

    std::vector<std::wstring> m_calls;
    std::map<std::wstring, DWORD> m_failures;

    IMPORT_HOOK(OpenSCManagerW){[this](LPCWSTR machine, LPCWSTR database, DWORD access) -> SC_HANDLE {
        EXPECT_EQ(nullptr, machine);
        EXPECT_EQ(nullptr, database);
        return Admit(L"OpenSCManager", Quil::Shared::FormatText(L"0x%x", access)) ? kManager : nullptr;
    }};
    IMPORT_HOOK(OpenServiceW){[this](SC_HANDLE manager, LPCWSTR name, DWORD access) -> SC_HANDLE {
        EXPECT_EQ(kManager, manager);
        return Admit(L"OpenService", Quil::Shared::FormatText(L"%s 0x%x", name, access)) ? kService : nullptr;
    }};
    IMPORT_HOOK(CreateServiceW){[this](SC_HANDLE manager, LPCWSTR name, LPCWSTR display, DWORD access, DWORD type,
                                       DWORD start, DWORD control, LPCWSTR path, LPCWSTR group, LPDWORD tag,
                                       LPCWSTR dependencies, LPCWSTR account, LPCWSTR password) -> SC_HANDLE {
        EXPECT_EQ(kManager, manager);
        EXPECT_EQ(nullptr, tag);
        const std::wstring arguments = Quil::Shared::FormatText(
            L"%s|%s|0x%x|0x%x|%d|%d|%s|%s|%s|%s|%s", name, display, access, type, start, control, path, OrNull(group),
            OrNull(dependencies), OrNull(account), OrNull(password));
        return Admit(L"CreateService", arguments) ? kService : nullptr;
    }};
    IMPORT_HOOK(ChangeServiceConfig2W){[this](SC_HANDLE service, DWORD level, LPVOID settings) -> BOOL {
        EXPECT_EQ(kService, service);
        return Admit(L"ChangeServiceConfig2 " + std::to_wstring(level), Describe(level, settings));
    }};
    IMPORT_HOOK(ControlService){[this](SC_HANDLE service, DWORD control, LPSERVICE_STATUS status) -> BOOL {
        EXPECT_EQ(kService, service);
        if (!Admit(L"ControlService", std::to_wstring(control)))
        {
            return FALSE;
        }
        status->dwCurrentState = NextState();
        return TRUE;
    }};
    IMPORT_HOOK(QueryServiceStatus){[this](SC_HANDLE service, LPSERVICE_STATUS status) -> BOOL {
        EXPECT_EQ(kService, service);
        if (!Admit(L"QueryServiceStatus", L""))
        {
            return FALSE;
        }
        status->dwCurrentState = NextState();
        return TRUE;
    }};
    IMPORT_HOOK(Sleep){[this](DWORD milliseconds) { Admit(L"Sleep", std::to_wstring(milliseconds)); }};
    IMPORT_HOOK(DeleteService){[this](SC_HANDLE service) -> BOOL {
        EXPECT_EQ(kService, service);
        return Admit(L"DeleteService", L"");
    }};
    IMPORT_HOOK(CloseServiceHandle){[this](SC_HANDLE handle) -> BOOL {
        EXPECT_TRUE(handle == kManager || handle == kService);
        m_calls.push_back(handle == kManager ? L"close manager" : L"close service");
        return TRUE;
    }};

    static std::wstring Describe(DWORD level, const void* settings)
    {
        if (level == SERVICE_CONFIG_DESCRIPTION)
        {
            return static_cast<const SERVICE_DESCRIPTIONW*>(settings)->lpDescription;
        }
        if (level == SERVICE_CONFIG_FAILURE_ACTIONS_FLAG)
        {
            return std::to_wstring(
                static_cast<const SERVICE_FAILURE_ACTIONS_FLAG*>(settings)->fFailureActionsOnNonCrashFailures);
        }
        const auto& actions = *static_cast<const SERVICE_FAILURE_ACTIONSW*>(settings);
        std::wstring text = Quil::Shared::FormatText(L"reset %d|%s|%s", actions.dwResetPeriod,
                                                     OrNull(actions.lpRebootMsg), OrNull(actions.lpCommand));
        for (DWORD index = 0; index < actions.cActions; ++index)
        {
            text += Quil::Shared::FormatText(L"|type %d after %d", actions.lpsaActions[index].Type,
                                             actions.lpsaActions[index].Delay);
        }
        return text;
    }
};
