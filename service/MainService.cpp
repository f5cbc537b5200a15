#include "service/MainService.h"

#include "hotkey/HotKeyHandler.h"
#include "hotkey/KeyBoardBridge.h"
#include "hotkey/SysInfoSource.h"
#include "rpc/RpcEndpoint.h"
#include "service/ServiceNames.h"
#include "service/ServiceRecovery.h"
#include "shared/TraceScope.h"
#include "shared/WideText.h"
#include "sysinfo/WmiData.h"
#include "utils/ActiveUser.h"
#include "utils/FileVersion.h"

#include <wtsapi32.h>

#include <cstdlib>
#include <iterator>
#include <memory>
#include <new>
#include <string>

using Quil::Shared::CRuntimeFormat;
using Quil::Shared::CTraceScope;
using RpcServer::CKeyBoardBridge;
using RpcServer::WMIData;
using RpcServer::SysInfo::CHotKeyHandler;
using RpcServer::SysInfo::g_sysInfoSource;

namespace
{

// Gives the handler a new impersonation of the user who is logged on now. The reader counts only for the first caller
// of the process, which creates the bridge. Null when memory ran out for the bridge.
CKeyBoardBridge* RenewImpersonation(WMIData* reader)
{
    CKeyBoardBridge* const bridge = CKeyBoardBridge::getInstance(reader);
    if (bridge != nullptr)
    {
        // The handler has logged a failure; the next logon tries again.
        static_cast<void>(bridge->RecreateAppActivationHandler());
    }
    return bridge;
}

} // namespace

WMIData* CMainService::m_pWMIData = nullptr;
std::atomic<HANDLE> CMainService::m_hReadSysInfoThread{nullptr};
std::mutex CMainService::s_readingLock;
bool CMainService::s_bReadingAllowed = false;

CMainService::CMainService(const wchar_t* serviceName, bool canStop, bool canShutdown, bool canPauseContinue)
    : CServiceBase{serviceName, canStop, canShutdown, canPauseContinue}, m_pRpcServerWork{nullptr}, m_bLoggedOff{false}
{
    CTraceScope trace{"CMainService::CMainService"};

    m_pWMIData = new (std::nothrow) WMIData;
    {
        const std::lock_guard guard{s_readingLock};
        s_bReadingAllowed = true;
    }
    g_sysInfoSource.ReadSysInfo = &CMainService::ReadSysInfo;
    g_sysInfoSource.IsReadSysInfoReadCompleted = &CMainService::IsReadSysInfoReadCompleted;
    g_sysInfoSource.GetWMIData = &CMainService::GetWMIData;
}

// Deliberate: the work item is neither waited for nor closed, the process ends right after.
CMainService::~CMainService()
{
    CTraceScope trace{"CMainService::~CMainService"};

    g_sysInfoSource = {};
    {
        const std::unique_lock guard{s_readingLock, std::try_to_lock};
        if (guard)
        {
            s_bReadingAllowed = false;
            delete m_pWMIData;
        }
        // Deliberate: a reading that still runs is not waited for; its reader is left to the end of the process.
        m_pWMIData = nullptr;
    }
    const HANDLE thread = m_hReadSysInfoThread;
    if (thread != nullptr && CloseHandle(thread))
    {
        m_hReadSysInfoThread = nullptr;
    }
    m_bLoggedOff = false;
}

void CMainService::ConsoleRun()
{
    CTraceScope trace{"CMainService::ConsoleRun"};

    const DWORD status = RpcServerConnect(false);
    if (status != NO_ERROR)
    {
        trace.Information(L"RpcServerConnect returned: 0x%x", status);
        std::exit(static_cast<int>(status));
    }
}

void CMainService::OnStart(DWORD, wchar_t**)
{
    CTraceScope trace{"CMainService::OnStart"};

    wchar_t path[MAX_PATH]{};
    if (GetModuleFileNameW(nullptr, path, static_cast<DWORD>(std::size(path))) == 0)
    {
        const DWORD error = GetLastError();
        trace.Error(L"GetModuleFileName failed w/err 0x%08lx", error);
        // Deliberate: the service reports RUNNING although nothing was started.
        return;
    }
    trace.Information(CRuntimeFormat{path});
    trace.Information(L"Path: (%s)", Quil::Shared::DirectoryOf(path));

    std::wstring version;
    static_cast<void>(Utils::GetBinaryVersion(version)); // the same string
    WriteEventLogEntry(EVENTLOG_INFORMATION_TYPE, L"Quil TLY Service (%s) in OnStart", version);
    trace.Information(L"Quil TLY Service (%s) in OnStart", version);

    const int recovery = Utils::SetServiceRestartRecoveryOnFailure(kServiceName);
    trace.Information(L"Quil TLY Service Restart Recovery On Failure set status : %d", recovery);

    if (Utils::GetCurrentSessionID() != 0)
    {
        static_cast<void>(RenewImpersonation(m_pWMIData)); // a missing bridge is made at the first request
    }

    m_pRpcServerWork = CreateThreadpoolWork(&CMainService::RpcServerMonitoringThread, this, nullptr);
    if (m_pRpcServerWork == nullptr)
    {
        const DWORD error = GetLastError();
        // Deliberate: no blank after the function's name; the service reports RUNNING without an RPC server.
        WriteEventLogEntry(EVENTLOG_ERROR_TYPE, L"CreateThreadpoolWorkfailed w/err 0x%08lx", error);
        trace.Error(L"CreateThreadpoolWorkfailed w/err 0x%08lx", error);
        return;
    }
    SubmitThreadpoolWork(m_pRpcServerWork);
}

// On a thread-pool thread for the service's whole life. Not awaited by anyone.
void CALLBACK CMainService::RpcServerMonitoringThread(PTP_CALLBACK_INSTANCE, void* context, PTP_WORK)
{
    WriteEventLogEntry(EVENTLOG_INFORMATION_TYPE, L"RpcServerMonitoringThread - Entry");
    CTraceScope trace{"CMainService::RpcServerMonitoringThread", L"RpcServerMonitoringThread - Entry"};

    const DWORD status = RpcServerConnect(false);
    if (status != NO_ERROR)
    {
        trace.Information(L"RpcServerStart Failed to start with return status %d", status);
        if (context != nullptr)
        {
            // The service object may be gone after this.
            static_cast<CMainService*>(context)->Stop();
        }
    }

    WriteEventLogEntry(EVENTLOG_INFORMATION_TYPE, L"RpcServerMonitoringThread - Exit");
    trace.ExitText(L"RpcServerMonitoringThread - Exit");
}

void CMainService::OnStop()
{
    CTraceScope trace{"CMainService::OnStop"};

    WriteEventLogEntry(EVENTLOG_INFORMATION_TYPE, L"Quil TLY Service in OnStop");
    trace.Information(L"Quil TLY Service in OnStop");
    if (CKeyBoardBridge* const bridge = CKeyBoardBridge::getInstance(m_pWMIData))
    {
        bridge->ReleaseHotKeyHandlerInstance();
    }
    RpcServerDisconnect();
}

void CMainService::OnPreShutdown()
{
    CTraceScope trace{"CMainService::OnPreShutdown"};

    WriteEventLogEntry(EVENTLOG_INFORMATION_TYPE, L"CMainService in OnPreShutdown");
    trace.Information(L"Quil TLY Service in OnPreShutdown");
    OnStop();
}

void CMainService::OnShutdown()
{
    CTraceScope trace{"CMainService::OnShutdown"};

    WriteEventLogEntry(EVENTLOG_INFORMATION_TYPE, L"CMainService in OnShutdown");
    trace.Information(L"Quil TLY Service in OnShutdown");
    OnStop();
}

void CMainService::OnPowerEvent(DWORD eventType, void*)
{
    CTraceScope trace{"CMainService::OnPowerEvent"};

    trace.Information(L"PowerEvent - 0x%x", eventType);
    switch (eventType)
    {
    case PBT_APMSUSPEND:
    case PBT_APMSTANDBY:
        break;
    case PBT_APMRESUMEAUTOMATIC:
        trace.Information(L"PowerEvent - PBT_APMRESUMEAUTOMATIC.System resuming from sleep/suspend/shutdown.");
        trace.Information(L"Re-Enable Single Scan Code and Recreate App activation handler");
        static_cast<void>(RenewImpersonation(nullptr)); // a missing bridge is made at the first request
        break;
    default:
        WriteEventLogEntry(EVENTLOG_INFORMATION_TYPE, L"PowerEvent-default - 0x%x", eventType);
        break;
    }
}

void CMainService::OnSessionChange(DWORD eventType, void*)
{
    CTraceScope trace{"CMainService::OnSessionChange"};

    WriteEventLogEntry(EVENTLOG_INFORMATION_TYPE, L"OnSessionChange - Type = 0x%x", eventType);
    trace.Information(L"OnSessionChange - 0x%x", eventType);
    switch (eventType)
    {
    case WTS_SESSION_LOGON: {
        trace.Information(L"WTS_SESSION_LOGON");
        trace.Information(L"Calling CreateAppActivationHandler() from WTS_SESSION_LOGON ");
        CKeyBoardBridge* const bridge = RenewImpersonation(nullptr);
        const std::shared_ptr<CHotKeyHandler> handler = bridge != nullptr ? bridge->GetHotKeyHandler() : nullptr;
        if (handler)
        {
            // The handler logs the new user's locale; nothing else is done with it.
            static_cast<void>(handler->GetLocale());
        }
        break;
    }
    case WTS_SESSION_LOGOFF:
        trace.Information(L"WTS_SESSION_LOGOFF");
        m_bLoggedOff = true;
        break;
    case WTS_SESSION_LOCK:
        break;
    case WTS_SESSION_UNLOCK:
        trace.Information(L"WTS_SESSION_UNLOCK");
        if (m_bLoggedOff)
        {
            static_cast<void>(RenewImpersonation(m_pWMIData)); // a missing bridge is made at the first request
            m_bLoggedOff = false;
        }
        break;
    default:
        WriteEventLogEntry(EVENTLOG_INFORMATION_TYPE, L"OnSessionChange-default type - 0x%x", eventType);
        break;
    }
}

bool CMainService::ReadSysInfo()
{
    CTraceScope trace{"CMainService::ReadSysInfo"};

    if (m_hReadSysInfoThread == nullptr)
    {
        trace.Information(L"Starting Read SysInfo Thread ");
        DWORD threadId = 0;
        const HANDLE thread = CreateThread(nullptr, 0, &CMainService::ReadSysInfoThread, m_pWMIData, 0, &threadId);
        if (thread == nullptr)
        {
            const DWORD error = GetLastError();
            trace.Error(L"Failed to create ReadSysInfo thread : %d", error);
            return trace.ExitValue(false, L"ReadSysInfo return = %d");
        }
        HANDLE none = nullptr;
        if (!m_hReadSysInfoThread.compare_exchange_strong(none, thread))
        {
            // Another request was quicker; this thread ends with the other's reading.
            static_cast<void>(CloseHandle(thread));
        }
    }
    return trace.ExitValue(true, L"ReadSysInfo return = %d");
}

DWORD WINAPI CMainService::ReadSysInfoThread(void* param)
{
    CTraceScope trace{"CMainService::ReadSysInfoThread"};

    auto* const reader = static_cast<WMIData*>(param);
    if (reader == nullptr)
    {
        trace.Error(L"WMIData pointer is null");
        return 0;
    }
    const std::lock_guard guard{s_readingLock};
    if (s_bReadingAllowed)
    {
        s_bReadingAllowed = false;
        reader->ReadSysInfo();
    }
    return 0;
}

bool CMainService::IsReadSysInfoReadCompleted(DWORD timeoutMs)
{
    CTraceScope trace{"CMainService::IsReadSysInfoReadCompleted"};

    const HANDLE thread = m_hReadSysInfoThread;
    if (thread != nullptr)
    {
        if (WaitForSingleObject(thread, timeoutMs) != WAIT_OBJECT_0)
        {
            trace.Warning(L"Reading System information from BIOS is not completed.");
            return false;
        }
    }
    else
    {
        // Deliberate: never started counts as completed.
        trace.Information(L"m_hReadSysInfoThread is NULL.");
    }
    trace.Information(L"ReadSysInfoThread already finished.");
    return true;
}

WMIData* CMainService::GetWMIData()
{
    return m_pWMIData;
}
