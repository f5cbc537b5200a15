// Stands in for the Service Control Manager as a program that only asks sees it: one service, running, registered in
// quotation marks, with three failure actions, unless a test says otherwise.
//
//   InstalledServiceStandIn manager;
//   manager.dwOpenError = ERROR_SERVICE_DOES_NOT_EXIST;
#pragma once

#include "tests/harness/ImportHook.h"

#include <gtest/gtest.h>

#include <windows.h>

#include <cwchar>
#include <optional>
#include <string>

class InstalledServiceStandIn
{
  public:
    InstalledServiceStandIn() = default;
    ~InstalledServiceStandIn() { EXPECT_EQ(m_opened, m_closed); }
    InstalledServiceStandIn(const InstalledServiceStandIn&) = delete;
    InstalledServiceStandIn& operator=(const InstalledServiceStandIn&) = delete;

    // Errors of the calls, 0 when they succeed.
    DWORD dwManagerError{0};
    DWORD dwOpenError{0};
    DWORD dwStatusError{0};
    DWORD dwConfigError{0};
    DWORD dwActionsError{0};

    DWORD dwState{SERVICE_RUNNING};
    DWORD dwProcessId{42};
    std::optional<std::wstring> strCommandLine{L"\"C:\\Program Files\\Quil\\HotKeyServiceTLY.exe\" -x"};
    bool bConfigKnown{true}; // false: even its size is not told
    DWORD dwActions{3};

  private:
    static inline const auto kManager = reinterpret_cast<SC_HANDLE>(std::uintptr_t{0x5C01});
    static inline const auto kService = reinterpret_cast<SC_HANDLE>(std::uintptr_t{0x5C02});

    static bool Admit(DWORD error)
    {
        SetLastError(error != 0 ? error : 0xDEAD); // a caller that reads the error of a success shows up
        return error == 0;
    }
    SC_HANDLE Open(SC_HANDLE handle, DWORD error)
    {
        const bool admitted = Admit(error);
        m_opened += admitted ? 1 : 0;
        return admitted ? handle : nullptr;
    }
    BOOL Configuration(QUERY_SERVICE_CONFIGW* config, DWORD size, DWORD* needed) const
    {
        const DWORD textSize =
            strCommandLine ? static_cast<DWORD>((strCommandLine->size() + 1) * sizeof(wchar_t)) : DWORD{0};
        *needed = bConfigKnown ? DWORD{sizeof *config} + textSize : 0;
        if (size < *needed || !bConfigKnown)
        {
            return Admit(ERROR_INSUFFICIENT_BUFFER);
        }
        *config = {};
        if (strCommandLine)
        {
            config->lpBinaryPathName = reinterpret_cast<wchar_t*>(config + 1);
            std::wmemcpy(config->lpBinaryPathName, strCommandLine->c_str(), strCommandLine->size() + 1);
        }
        return Admit(dwConfigError);
    }

    int m_opened{0};
    int m_closed{0};

    IMPORT_HOOK(OpenSCManagerW){[this](LPCWSTR, LPCWSTR, DWORD access) -> SC_HANDLE {
        EXPECT_EQ(DWORD{SC_MANAGER_CONNECT}, access);
        return Open(kManager, dwManagerError);
    }};
    IMPORT_HOOK(OpenServiceW){[this](SC_HANDLE, LPCWSTR name, DWORD) -> SC_HANDLE {
        EXPECT_STREQ(L"HotKeyServiceTLY", name);
        return Open(kService, dwOpenError);
    }};
    IMPORT_HOOK(CloseServiceHandle){[this](SC_HANDLE) -> BOOL {
        ++m_closed;
        return TRUE;
    }};
    IMPORT_HOOK(QueryServiceStatusEx){[this](SC_HANDLE, SC_STATUS_TYPE, LPBYTE buffer, DWORD, LPDWORD needed) -> BOOL {
        auto* const status = reinterpret_cast<SERVICE_STATUS_PROCESS*>(buffer);
        status->dwCurrentState = dwState;
        status->dwProcessId = dwProcessId;
        *needed = sizeof *status;
        return Admit(dwStatusError);
    }};
    IMPORT_HOOK(QueryServiceConfigW){[this](SC_HANDLE, QUERY_SERVICE_CONFIGW* config, DWORD size,
                                            LPDWORD needed) -> BOOL { return Configuration(config, size, needed); }};
    IMPORT_HOOK(QueryServiceConfig2W){[this](SC_HANDLE, DWORD level, LPBYTE buffer, DWORD, LPDWORD needed) -> BOOL {
        EXPECT_EQ(DWORD{SERVICE_CONFIG_FAILURE_ACTIONS}, level);
        auto* const actions = reinterpret_cast<SERVICE_FAILURE_ACTIONSW*>(buffer);
        *actions = {};
        actions->cActions = dwActions;
        *needed = sizeof *actions;
        return Admit(dwActionsError);
    }};
};
