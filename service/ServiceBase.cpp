#include "service/ServiceBase.h"

#include "service/ServiceNames.h"
#include "shared/TraceScope.h"
#include "shared/UniqueHandle.h"

#include <cstdarg>
#include <iterator>

using Quil::Shared::CLogFormat;
using Quil::Shared::CTraceScope;
using Quil::Shared::CUniqueEventSource;

namespace
{

constexpr WORD kEventCategory = 2;

// Customer bit, the severity in the top two bits, code 0: no message file is registered, viewers show the text itself.
constexpr DWORD EventId(WORD type) noexcept
{
    switch (type)
    {
    case EVENTLOG_SUCCESS:
        return 0x20000000;
    case EVENTLOG_ERROR_TYPE:
        return 0xE0000000;
    case EVENTLOG_WARNING_TYPE:
        return 0xA0000000;
    default:
        return 0x60000000;
    }
}

constexpr DWORD AcceptedControls(bool canStop, bool canShutdown, bool canPauseContinue) noexcept
{
    DWORD accepted = SERVICE_ACCEPT_POWEREVENT | SERVICE_ACCEPT_SESSIONCHANGE;
    if (canStop)
    {
        accepted |= SERVICE_ACCEPT_STOP;
    }
    if (canShutdown)
    {
        accepted |= SERVICE_ACCEPT_SHUTDOWN | SERVICE_ACCEPT_PRESHUTDOWN;
    }
    if (canPauseContinue)
    {
        accepted |= SERVICE_ACCEPT_PAUSE_CONTINUE;
    }
    return accepted;
}

} // namespace

CServiceBase* CServiceBase::s_pService = nullptr;
DWORD CServiceBase::s_dwCheckPoint = 1;

CServiceBase::CServiceBase(const wchar_t* serviceName, bool canStop, bool canShutdown, bool canPauseContinue) noexcept
    : m_pServiceName{serviceName != nullptr ? serviceName : L""}, m_status{}, m_hStatus{nullptr}
{
    m_status.dwServiceType = SERVICE_WIN32_OWN_PROCESS;
    m_status.dwCurrentState = SERVICE_START_PENDING;
    m_status.dwControlsAccepted = AcceptedControls(canStop, canShutdown, canPauseContinue);
}

BOOL CServiceBase::Run(CServiceBase& service)
{
    s_pService = &service;

    const SERVICE_TABLE_ENTRYW table[] = {{const_cast<wchar_t*>(service.m_pServiceName), &CServiceBase::ServiceMain},
                                          {nullptr, nullptr}};
    return StartServiceCtrlDispatcherW(table);
}

void WINAPI CServiceBase::ServiceMain(DWORD argc, wchar_t** argv)
{
    s_pService->m_hStatus =
        RegisterServiceCtrlHandlerExW(s_pService->m_pServiceName, &CServiceBase::ServiceCtrlHandlerEx, nullptr);
    if (s_pService->m_hStatus == nullptr)
    {
        // Deliberate: nothing catches it. Without a handler no state can be reported, so the process ends.
        throw GetLastError();
    }
    s_pService->Start(argc, argv);
}

// Deliberate: NO_ERROR for every control, known or not; an interrogation sends no status.
DWORD WINAPI CServiceBase::ServiceCtrlHandlerEx(DWORD control, DWORD eventType, void* eventData, void*)
{
    switch (control)
    {
    case SERVICE_CONTROL_STOP:
        s_pService->Stop();
        break;
    case SERVICE_CONTROL_PAUSE:
        s_pService->Pause();
        break;
    case SERVICE_CONTROL_CONTINUE:
        s_pService->Continue();
        break;
    case SERVICE_CONTROL_SHUTDOWN:
        s_pService->Shutdown();
        break;
    case SERVICE_CONTROL_POWEREVENT:
        s_pService->PowerEvent(eventType, eventData);
        break;
    case SERVICE_CONTROL_SESSIONCHANGE:
        s_pService->SessionChange(eventType, eventData);
        break;
    case SERVICE_CONTROL_PRESHUTDOWN:
        s_pService->PreShutdown();
        break;
    default:
        break;
    }
    return NO_ERROR;
}

template <typename Operation>
std::optional<DWORD> CServiceBase::Guard(CLogFormat<DWORD> win32Text, CLogFormat<DWORD> otherText, Operation operation)
{
    try
    {
        operation();
        return std::nullopt;
    }
    catch (DWORD error)
    {
        WriteEventLogEntry(EVENTLOG_ERROR_TYPE, win32Text, error);
        return error;
    }
    catch (...)
    {
        const DWORD error = GetLastError();
        WriteEventLogEntry(EVENTLOG_ERROR_TYPE, otherText, error);
        return NO_ERROR;
    }
}

void CServiceBase::Start(DWORD argc, wchar_t** argv)
{
    const std::optional<DWORD> failure =
        Guard(L"Service Start failed w/err 0x%08lx", L"Service failed to start. Error = 0x%08lx", [&] {
            ReportStatus(SERVICE_START_PENDING);
            OnStart(argc, argv);
            ReportStatus(SERVICE_RUNNING);
        });
    if (failure)
    {
        ReportStatus(SERVICE_STOPPED, *failure);
    }
}

void CServiceBase::Stop()
{
    const DWORD stateBefore = m_status.dwCurrentState;
    const std::optional<DWORD> failure =
        Guard(L"Service Stop failed w/err 0x%08lx", L"Service failed to stop. Error = 0x%08lx", [&] {
            ReportStatus(SERVICE_STOP_PENDING);
            OnStop();
            ReportStatus(SERVICE_STOPPED);
        });
    if (failure)
    {
        ReportStatus(stateBefore);
    }
}

void CServiceBase::Pause()
{
    const std::optional<DWORD> failure =
        Guard(L"Service Pause failed w/err 0x%08lx", L"Service failed to pause. Error = 0x%08lx", [&] {
            ReportStatus(SERVICE_PAUSE_PENDING);
            OnPause();
            ReportStatus(SERVICE_PAUSED);
        });
    if (failure)
    {
        ReportStatus(SERVICE_RUNNING);
    }
}

void CServiceBase::Continue()
{
    const std::optional<DWORD> failure =
        Guard(L"Service Continue failed w/err 0x%08lx", L"Service failed to resume. Error = 0x%08lx", [&] {
            ReportStatus(SERVICE_CONTINUE_PENDING);
            OnContinue();
            ReportStatus(SERVICE_RUNNING);
        });
    if (failure)
    {
        ReportStatus(SERVICE_PAUSED);
    }
}

void CServiceBase::Shutdown()
{
    // Deliberate: no further status after a failure, the system goes down anyway.
    static_cast<void>(
        Guard(L"Service Shutdown failed w/err 0x%08lx", L"Service failed to shut down. Error = 0x%08lx", [&] {
            ReportStatus(SERVICE_STOP_PENDING);
            OnShutdown();
            ReportStatus(SERVICE_STOPPED);
        }));
}

void CServiceBase::PreShutdown()
{
    // Deliberate: no further status after a failure, and no blank after the full stop of the second text.
    static_cast<void>(
        Guard(L"Service Shutdown failed w/err 0x%08lx", L"Service failed to shut down.Error = 0x%08lx", [&] {
            ReportStatus(SERVICE_STOP_PENDING);
            OnPreShutdown();
            ReportStatus(SERVICE_STOPPED);
        }));
}

void CServiceBase::PowerEvent(DWORD eventType, void* eventData)
{
    // A failed power event leaves the state as it is.
    static_cast<void>(Guard(L"Service PowerEvent failed w/err 0x%08lx",
                            L"Service failed to get PowerEvent. Error = 0x%08lx",
                            [&] { OnPowerEvent(eventType, eventData); }));
}

void CServiceBase::SessionChange(DWORD eventType, void* eventData)
{
    CTraceScope trace{"CServiceBase::SessionChange"};

    try
    {
        OnSessionChange(eventType, eventData);
    }
    catch (...) // Deliberate: a thrown Win32 error has no text of its own here.
    {
        const DWORD error = GetLastError();
        WriteEventLogEntry(EVENTLOG_ERROR_TYPE, L"Service failed to get SessionChange. Error = 0x%08lx", error);
    }
}

void CServiceBase::ReportStatus(DWORD state, DWORD win32ExitCode)
{
    m_status.dwCurrentState = state;
    m_status.dwWin32ExitCode = win32ExitCode;
    m_status.dwWaitHint = 0;
    m_status.dwCheckPoint = state == SERVICE_RUNNING || state == SERVICE_STOPPED ? 0 : s_dwCheckPoint++;

    // Nobody is left to tell when the service manager does not take it.
    static_cast<void>(SetServiceStatus(m_hStatus, &m_status));
}

void CServiceBase::ReportEventText(WORD type, const wchar_t* format, ...)
{
    wchar_t message[1024];
    va_list arguments;
    va_start(arguments, format);
    static_cast<void>(Quil::Shared::FormatBuffer(message, std::size(message), format, arguments));
    va_end(arguments);

    const CUniqueEventSource source{RegisterEventSourceW(nullptr, kServiceName)};
    if (!source)
    {
        return;
    }
    const wchar_t* strings[] = {message};
    // A lost entry is not reported: the event log is itself the last place for reports.
    static_cast<void>(ReportEventW(source.Get(), type, kEventCategory, EventId(type), nullptr, 1, 0, strings, nullptr));
}

void CServiceBase::OnStart(DWORD, wchar_t**) {}

void CServiceBase::OnStop() {}

void CServiceBase::OnPause() {}

void CServiceBase::OnContinue() {}

void CServiceBase::OnPreShutdown() {}

void CServiceBase::OnShutdown() {}

void CServiceBase::OnPowerEvent(DWORD, void*) {}

void CServiceBase::OnSessionChange(DWORD, void*) {}
