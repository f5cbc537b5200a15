// What the requests of sixteen clients meet: a device framework, a WMI that answers everything, no user, and a service
// manager, an RPC run time and an event log that take whatever they are given. Its answers are points of the schedule.
#pragma once

#include "tests/harness/ImportHook.h"
#include "tests/harness/LogCapture.h"
#include "tests/threads/Schedule.h"
#include "tests/unit/service/StopMachine.h"
#include "tests/unit/sysinfo/FakeWmi.h"

#include "hotkey/Fennix.h"

#include <windows.h>

#include <algorithm>
#include <cstring>
#include <cwchar>
#include <string_view>
#include <vector>

class RequestMachine
{
  public:
    // The answer of a reading that is complete.
    static constexpr wchar_t kAnswer[] =
        L"Laptop 14 Model A<.^.>7XY45AV#AKL<.^.>20WWABCD601#S001#D001<.^.>16.00 GB (15.84 GB usable)<.^.>"
        L"12th Gen Processor<.^.>A01 Ver. 01.02.03 - 05/16/2023<.^.>KBC Version 11.22.00<.^.>SN12345678<.^.>3X7"
        L"<.^.>0x1<.^.>yes";

    RequestMachine()
    {
        m_wmi.Healthy();
        m_wmi.onMethod = [](const char*) {
            Threads::Point();
            return S_OK;
        };
        m_framework.onQuestion = &Threads::Point;
    }
    RequestMachine(const RequestMachine&) = delete;
    RequestMachine& operator=(const RequestMachine&) = delete;

    // How often a function was entered since the last Clear.
    int CallsOf(std::string_view function) const
    {
        const std::vector<LogRecord> records = m_log.Records();
        return static_cast<int>(std::count_if(records.begin(), records.end(), [&](const LogRecord& record) {
            return record.level == Quil::Shared::TraceIn && record.function == function;
        }));
    }
    void Clear()
    {
        m_log.Clear();
        m_wmi.events.clear();
    }

  private:
    static inline const auto kHandle = reinterpret_cast<SC_HANDLE>(std::uintptr_t{0x51});

    LogCapture m_log{Quil::Shared::TraceIn, Quil::Shared::TraceIn};
    FrameworkOfStops m_framework;
    FakeWmi m_wmi;

    IMPORT_HOOK(CoInitializeEx){[](auto...) { return S_OK; }};
    IMPORT_HOOK(CoUninitialize){[] {}};
    IMPORT_HOOK(CoCreateInstance){[this](REFCLSID id, LPUNKNOWN outer, DWORD context, REFIID iid, LPVOID* object) {
        if (IsEqualCLSID(id, kFennixClass))
        {
            *object = static_cast<IFennix*>(&m_framework);
            return S_OK;
        }
        return hook_CoCreateInstance.Real()(id, outer, context, iid, object);
    }};
    IMPORT_HOOK(OleRun){[](auto...) { return S_OK; }};
    IMPORT_HOOK(CreateActCtxW){[](auto...) { return reinterpret_cast<HANDLE>(std::uintptr_t{0x7000}); }};
    IMPORT_HOOK(ActivateActCtx){[](HANDLE, ULONG_PTR* cookie) {
        *cookie = 1;
        return TRUE;
    }};
    IMPORT_HOOK(DeactivateActCtx){[](auto...) { return TRUE; }};
    IMPORT_HOOK(ReleaseActCtx){[](HANDLE) {}};
    IMPORT_HOOK(Sleep){[](DWORD) {}};

    IMPORT_HOOK(OpenSCManagerW){[](auto...) { return kHandle; }};
    IMPORT_HOOK(OpenServiceW){[](auto...) { return kHandle; }};
    IMPORT_HOOK(CloseServiceHandle){[](SC_HANDLE) { return TRUE; }};
    IMPORT_HOOK(QueryServiceStatusEx){[](SC_HANDLE, SC_STATUS_TYPE, LPBYTE buffer, DWORD, LPDWORD) {
        SERVICE_STATUS_PROCESS status{};
        status.dwCurrentState = SERVICE_RUNNING;
        std::memcpy(buffer, &status, sizeof(status));
        return TRUE;
    }};
    IMPORT_HOOK(QueryServiceConfigW){[](auto...) {
        SetLastError(ERROR_ACCESS_DENIED);
        return FALSE;
    }};

    IMPORT_HOOK(WTSEnumerateSessionsW){[](auto...) { return FALSE; }};
    IMPORT_HOOK(WTSGetActiveConsoleSessionId){[] { return DWORD{0}; }};
    IMPORT_HOOK(RevertToSelf){[] { return TRUE; }};
    IMPORT_HOOK(GetLocaleInfoW){[](LCID, LCTYPE type, LPWSTR text, int) {
        std::wcscpy(text, type == LOCALE_SISO639LANGNAME ? L"en" : L"US");
        return 3;
    }};

    IMPORT_HOOK(RegisterEventSourceW){[](auto...) -> HANDLE { return nullptr; }};
    IMPORT_HOOK(RpcMgmtStopServerListening){[](auto...) { return RPC_S_OK; }};
    IMPORT_HOOK(RpcServerUnregisterIf){[](auto...) { return RPC_S_OK; }};
};
