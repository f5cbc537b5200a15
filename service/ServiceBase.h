/// \file
/// Connects one service object to the service manager: runs the dispatcher, turns each control into a call of a virtual
/// operation, reports every change of state and writes failures to the event log.
/// Controls arrive on the dispatcher's thread, OnStart runs on the service-main thread. Exactly one object per process.
/// An operation reports a Win32 error by throwing it as a DWORD; whatever it throws ends in this class.
#pragma once

#include "shared/WideText.h"

#include <windows.h>

#include <optional>
#include <type_traits>

/// A service of its own process. Derived classes override the operations that they need; the others do nothing.
class CServiceBase
{
  public:
    /// serviceName is not copied and must outlive the object; null stands for an empty name. The flags say which
    /// controls are accepted; power and session events always are.
    CServiceBase(const wchar_t* serviceName, bool canStop, bool canShutdown, bool canPauseContinue) noexcept;
    virtual ~CServiceBase() = default;
    CServiceBase(const CServiceBase&) = delete;
    CServiceBase& operator=(const CServiceBase&) = delete;

    /// Blocks until the service has stopped. FALSE with the last error set when the dispatcher could not run.
    static BOOL Run(CServiceBase& service);

    /// Does what the stop control does, on the calling thread. Also called from the RPC work item when the RPC server
    /// cannot start.
    void Stop();

    /// One event of this type (EVENTLOG_...), at most 1023 characters, under the service's name. Reports no errors.
    template <typename... Args>
    static void WriteEventLogEntry(WORD type, Quil::Shared::CLogFormat<std::type_identity_t<Args>...> format,
                                   const Args&... args)
    {
        ReportEventText(type, format.Text(), Quil::Shared::ToVariadic(args)...);
    }

  protected:
    /// Between START_PENDING and RUNNING, on the service-main thread. A thrown error is the exit code of the stopped
    /// service.
    virtual void OnStart(DWORD argc, wchar_t** argv);
    /// Between STOP_PENDING and STOPPED. After a failure the state is what it was before.
    virtual void OnStop();
    /// Between PAUSE_PENDING and PAUSED. After a failure the service runs on.
    virtual void OnPause();
    /// Between CONTINUE_PENDING and RUNNING. After a failure the service stays paused.
    virtual void OnContinue();
    /// Before the system shuts down, earlier than OnShutdown. After a failure no state follows.
    virtual void OnPreShutdown();
    /// When the system shuts down. After a failure no state follows.
    virtual void OnShutdown();
    /// eventType is one of PBT_...; eventData belongs to the system and to the call.
    virtual void OnPowerEvent(DWORD eventType, void* eventData);
    /// eventType is one of WTS_...; eventData, a WTSSESSION_NOTIFICATION, belongs to the system and to the call.
    virtual void OnSessionChange(DWORD eventType, void* eventData);

  private:
    static void WINAPI ServiceMain(DWORD argc, wchar_t** argv);
    static DWORD WINAPI ServiceCtrlHandlerEx(DWORD control, DWORD eventType, void* eventData, void* context);

    void Start(DWORD argc, wchar_t** argv);
    void Pause();
    void Continue();
    void Shutdown();
    void PreShutdown();
    void PowerEvent(DWORD eventType, void* eventData);
    void SessionChange(DWORD eventType, void* eventData);

    // Runs an operation and writes what it throws to the event log. Nothing when it succeeded, else the exit code that
    // the failure stands for: the thrown Win32 error, 0 for any other exception.
    template <typename Operation>
    std::optional<DWORD> Guard(Quil::Shared::CLogFormat<DWORD> win32Text, Quil::Shared::CLogFormat<DWORD> otherText,
                               Operation operation);
    void ReportStatus(DWORD state, DWORD win32ExitCode = NO_ERROR);
    static void ReportEventText(WORD type, const wchar_t* format, ...);

    // The status is not locked: controls come one after another. Deliberate: a Stop from the RPC work item may overlap.
    const wchar_t* m_pServiceName;
    SERVICE_STATUS m_status;
    SERVICE_STATUS_HANDLE m_hStatus;

    static CServiceBase* s_pService;
    static DWORD s_dwCheckPoint; // shared by all reports of the process
};
