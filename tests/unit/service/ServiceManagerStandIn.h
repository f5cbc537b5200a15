// Stands in for the service manager: starts the service on the calling thread and sends it controls.
//
//   Journal journal;
//   ServiceManagerStandIn manager{journal};
//   manager.Run(service, [&] { manager.Send(SERVICE_CONTROL_STOP); });
//   EXPECT_THAT(journal.Lines(), ElementsAre(L"status 2, check point +0", L"OnStart", L"status 4", ...));
//
// A check point is written as its distance from the first one seen, since the counter is the process's.
#pragma once

#include "tests/unit/service/EventLogRecorder.h"

#include "service/ServiceBase.h"
#include "shared/WideText.h"

#include <functional>
#include <optional>
#include <string>
#include <vector>

// What happened, in order, whoever did it.
class Journal
{
  public:
    void Add(std::wstring line) { m_lines.push_back(std::move(line)); }
    void Clear() { m_lines.clear(); }
    const std::vector<std::wstring>& Lines() const { return m_lines; }

  private:
    std::vector<std::wstring> m_lines;
};

class ServiceManagerStandIn
{
  public:
    explicit ServiceManagerStandIn(Journal& journal) : m_journal{journal} {}
    ServiceManagerStandIn(const ServiceManagerStandIn&) = delete;
    ServiceManagerStandIn& operator=(const ServiceManagerStandIn&) = delete;

    // Starts the service, then runs the session; returns what Run returned.
    BOOL Run(
        CServiceBase& service, std::function<void()> session = [] {})
    {
        m_session = std::move(session);
        return CServiceBase::Run(service);
    }
    // Sends a control to the running service.
    DWORD Send(DWORD control, DWORD eventType = 0, void* eventData = nullptr)
    {
        return m_handler(control, eventType, eventData, m_context);
    }
    // The last status that the service reported.
    const SERVICE_STATUS& Status() const { return m_status; }

    std::wstring serviceName;      // as the dispatcher got it
    std::wstring handlerName;      // as the registration got it
    bool registrationFails{false}; // with error 5

  private:
    static inline const auto kStatusHandle = reinterpret_cast<SERVICE_STATUS_HANDLE>(std::uintptr_t{0x5151});

    void Record(const SERVICE_STATUS& status)
    {
        m_status = status;
        std::wstring line = L"status " + std::to_wstring(status.dwCurrentState);
        if (status.dwCheckPoint != 0)
        {
            m_firstCheckPoint = m_firstCheckPoint.value_or(status.dwCheckPoint);
            line += L", check point +" + std::to_wstring(status.dwCheckPoint - *m_firstCheckPoint);
        }
        if (status.dwWin32ExitCode != 0)
        {
            line += L", exit code " + std::to_wstring(status.dwWin32ExitCode);
        }
        m_journal.Add(line);
    }

    Journal& m_journal;
    std::function<void()> m_session;
    LPHANDLER_FUNCTION_EX m_handler{nullptr};
    void* m_context{nullptr};
    SERVICE_STATUS m_status{};
    std::optional<DWORD> m_firstCheckPoint;
    EventLogRecorder m_events{[this](const std::wstring& entry) { m_journal.Add(L"event " + entry); }};

    IMPORT_HOOK(StartServiceCtrlDispatcherW){[this](const SERVICE_TABLE_ENTRYW* table) {
        EXPECT_EQ(nullptr, table[1].lpServiceName);
        EXPECT_EQ(nullptr, table[1].lpServiceProc);
        serviceName = table[0].lpServiceName;
        wchar_t* arguments[] = {table[0].lpServiceName};
        table[0].lpServiceProc(1, arguments);
        m_session();
        return TRUE;
    }};
    IMPORT_HOOK(RegisterServiceCtrlHandlerExW){
        [this](LPCWSTR name, LPHANDLER_FUNCTION_EX handler, LPVOID context) -> SERVICE_STATUS_HANDLE {
            EXPECT_EQ(nullptr, context);
            handlerName = name;
            m_handler = handler;
            m_context = context;
            if (registrationFails)
            {
                SetLastError(ERROR_ACCESS_DENIED);
                return nullptr;
            }
            return kStatusHandle;
        }};
    IMPORT_HOOK(SetServiceStatus){[this](SERVICE_STATUS_HANDLE handle, LPSERVICE_STATUS status) {
        EXPECT_EQ(kStatusHandle, handle);
        EXPECT_EQ(0u, status->dwWaitHint);
        EXPECT_EQ(0u, status->dwServiceSpecificExitCode);
        Record(*status);
        SetLastError(ERROR_INVALID_HANDLE);
        return FALSE; // nobody may care
    }};
};
