/// \file
/// The service object: what happens at start, stop, shutdown, and at power and session events.
/// Owns the process's one system-information reader and the thread that fills it once, at the first request for it.
/// OnStart runs on the service-main thread, the other events on the dispatcher's; ReadSysInfo and
/// IsReadSysInfoReadCompleted are called by the hotkey handler on RPC call threads.
#pragma once

#include "service/ServiceBase.h"

#include <windows.h>

#include <atomic>
#include <mutex>

namespace RpcServer
{
class WMIData;
}

/// The hotkey service as the service manager sees it. One per process, on the main thread's stack.
class CMainService : public CServiceBase
{
  public:
    /// Makes the reader and fills RpcServer::SysInfo::g_sysInfoSource. The arguments are those of CServiceBase.
    CMainService(const wchar_t* serviceName, bool canStop, bool canShutdown, bool canPauseContinue);
    /// Empties RpcServer::SysInfo::g_sysInfoSource. A reading that still runs is not waited for and keeps its reader.
    ~CMainService() override;

    /// Serves RPC on this thread, without the service manager. Ends the process when the server cannot start.
    void ConsoleRun();

    /// Starts the reading thread unless it was started before. False when it cannot be made.
    static bool ReadSysInfo();
    /// Waits for the reading thread. False when it still runs after that time; true also when it was never started.
    static bool IsReadSysInfoReadCompleted(DWORD timeoutMs);

  protected:
    /// Sets the recovery, makes the bridge when a user is logged on, hands RPC to the thread pool. Failures are logged
    /// only: the service reports RUNNING all the same.
    void OnStart(DWORD argc, wchar_t** argv) override;
    /// Releases the handler, then stops RPC and waits for the calls in progress.
    void OnStop() override;
    /// Does what OnStop does.
    void OnPreShutdown() override;
    /// Does what OnStop does.
    void OnShutdown() override;
    /// A resume of the system (PBT_APMRESUMEAUTOMATIC) renews the impersonation helper.
    void OnPowerEvent(DWORD eventType, void* eventData) override;
    /// A logon, and the first unlock after a logoff, renew the impersonation helper.
    void OnSessionChange(DWORD eventType, void* eventData) override;

  private:
    static void CALLBACK RpcServerMonitoringThread(PTP_CALLBACK_INSTANCE instance, void* context, PTP_WORK work);
    static DWORD WINAPI ReadSysInfoThread(void* param);
    static RpcServer::WMIData* GetWMIData();

    PTP_WORK m_pRpcServerWork;
    bool m_bLoggedOff; // dispatcher's thread only

    static RpcServer::WMIData* m_pWMIData; // owned; null only when memory ran out
    static std::atomic<HANDLE> m_hReadSysInfoThread;
    // Held during the reading. Deliberate: two first requests at once may both start a thread; the lock makes the later
    // one wait for the reading of the other, and keeps the reader alive under both.
    static std::mutex s_readingLock;
    static bool s_bReadingAllowed; // guarded by s_readingLock; until the reading, or the end of the reader
};
