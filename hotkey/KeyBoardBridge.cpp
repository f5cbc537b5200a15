#include "hotkey/KeyBoardBridge.h"

#include "hotkey/CountedObject.h"
#include "hotkey/HotKeyHandler.h"
#include "shared/Process.h"
#include "shared/TraceScope.h"

#include <new>

using namespace Quil::Shared;

namespace RpcServer
{

CKeyBoardBridge* CKeyBoardBridge::s_pInstance = nullptr;
unsigned CKeyBoardBridge::s_nCallCount = 0;
std::mutex CKeyBoardBridge::s_instanceMutex;
std::mutex CKeyBoardBridge::s_handlerMutex;

CKeyBoardBridge* CKeyBoardBridge::getInstance(WMIData* wmiData)
{
    CTraceScope trace{"RpcServer::CKeyBoardBridge::getInstance"};

    const std::lock_guard lock{s_instanceMutex};
    if (s_pInstance == nullptr)
    {
        s_pInstance = new (std::nothrow) CKeyBoardBridge{wmiData};
    }
    ++s_nCallCount;
    return s_pInstance;
}

CKeyBoardBridge::CKeyBoardBridge(WMIData* wmiData) : m_pWMIData{wmiData}
{
    CTraceScope trace{"RpcServer::CKeyBoardBridge::CKeyBoardBridge"};

    trace.Information(L"Calling CreateHotKeyHandlerInstance() from CKeyBoardBridge::CKeyBoardBridge() ");
    CreateHotKeyHandlerInstance();
}

void CKeyBoardBridge::CreateHotKeyHandlerInstance()
{
    CTraceScope trace{"RpcServer::CKeyBoardBridge::CreateHotKeyHandlerInstance"};

    const std::lock_guard lock{s_handlerMutex};
    trace.Information(L"Calling ReleaseHotKeyHandlerInstance() from CKeyBoardBridge::CreateHotKeyHandlerInstance() ");
    ReleaseHotKeyHandlerInstance();
    trace.Information(L"Released the existing HotKeyHandler Instance...Constructing new CHotKeyHandler instance");
    const std::shared_ptr<SysInfo::CHotKeyHandler> handler = TryMakeCounted<SysInfo::CHotKeyHandler>(m_pWMIData);
    if (handler == nullptr)
    {
        trace.Error(L"CHotKeyHandler allocation failed");
    }
    m_pHotKeyHandler.store(handler);
}

void CKeyBoardBridge::ReleaseHotKeyHandlerInstance()
{
    CTraceScope trace{"RpcServer::CKeyBoardBridge::ReleaseHotKeyHandlerInstance"};

    m_pHotKeyHandler.store(nullptr);
}

void CKeyBoardBridge::ProcessCommand(unsigned command)
{
    CTraceScope trace{"RpcServer::CKeyBoardBridge::ProcessCommand"};

    switch (command)
    {
    case 0:
        LaunchSystemInformation(trace);
        break;
    case 1: // Deliberate: accepted and ignored.
        break;
    case 2:
        LaunchHotkeyNotification(trace);
        break;
    case 3:
        LaunchPowerOptions(trace);
        break;
    default:
        break;
    }
}

void CKeyBoardBridge::LaunchSystemInformation(const CLogName& log)
{
    const HRESULT result = CqlProcess{}.KillProcessByName(L"msinfo32.exe");
    log.Information(L"KillProcessByName (msinfo32.exe) - HRESULT = 0x%x", result);
    log.Information(L"Launching MSINFO ");
    wchar_t commandLine[] = L"";
    if (!LaunchProcess(L"C:\\Windows\\System32\\msinfo32.exe", commandLine, kLaunchAsUser))
    {
        log.Error(L"LaunchProcess failed for - MSInfo");
    }
}

void CKeyBoardBridge::LaunchHotkeyNotification(const CLogName& log)
{
    log.Information(L"Launching HotkeyNotification ");
    // Deliberate: this default is never launched.
    std::wstring path{L"C:\\Windows\\System32\\QuilHotkeyNotification.exe"};
    wchar_t modulePath[MAX_PATH]{};
    if (GetModuleFileNameW(nullptr, modulePath, MAX_PATH) == 0)
    {
        log.Error(L"Could not find Service file executable .Error: 0x%08X", GetLastError());
        return;
    }
    path = DirectoryOf(modulePath) + L"\\" + L"QuilHotkeyNotification.exe";
    log.Information(L"QuilHotkeyNotification complete path : %s", path);
    wchar_t commandLine[] = L"";
    if (!LaunchProcess(path.c_str(), commandLine, kLaunchElevated))
    {
        log.Error(L"LaunchProcess With ElevatedPrivilege failed for - HotkeyNotification");
    }
}

void CKeyBoardBridge::LaunchPowerOptions(const CLogName& log)
{
    const wchar_t* const path = L"C:\\Windows\\System32\\control.exe";
    wchar_t commandLine[] = L" /name Microsoft.PowerOptions";
    log.Information(L"Launching Windows Power Options");
    log.Information(L"Windows Power Options complete path : %s%s", path, commandLine);
    if (!LaunchProcess(path, commandLine, kLaunchAsUser))
    {
        log.Error(L"LaunchProcess failed for Windows Power Options");
    }
}

void CKeyBoardBridge::LaunchUsbCApp()
{
    CTraceScope trace{"RpcServer::CKeyBoardBridge::LaunchUsbCApp"};

    std::wstring path = m_strUsbCAppPath.Get();
    if (path.empty())
    {
        path = GetUsbCAppPath();
        if (!path.empty())
        {
            m_strUsbCAppPath.Set(path);
        }
    }
    if (!path.empty())
    {
        trace.Verbose(L"USBC App Path =%s", path);
        wchar_t commandLine[] = L"";
        static_cast<void>(LaunchProcess(path.c_str(), commandLine, kLaunchAsUser)); // it has logged its own failure
    }
}

CStringW CKeyBoardBridge::GetSysInfo()
{
    CTraceScope trace{"RpcServer::CKeyBoardBridge::GetSysInfo"};

    const std::shared_ptr<SysInfo::CHotKeyHandler> handler = GetHotKeyHandler();
    const CStringW text = handler != nullptr ? handler->GetSysInfo() : CStringW{};
    return trace.Exit(text, L"strSysInfo = %s", text);
}

std::wstring CKeyBoardBridge::GetUSBTypeCInfoAsWString()
{
    CTraceScope trace{"RpcServer::CKeyBoardBridge::GetUSBTypeCInfoAsWString"};

    const std::shared_ptr<SysInfo::CHotKeyHandler> handler = GetHotKeyHandler();
    if (handler == nullptr)
    {
        return {};
    }
    std::wstring text = handler->GetUSBTypeCInfoAsWString();
    trace.Information(L"USB Type C Info returned = %s , length = %d", text, Low32(text.length()));
    return text;
}

bool CKeyBoardBridge::RecreateAppActivationHandler()
{
    const std::shared_ptr<SysInfo::CHotKeyHandler> handler = GetHotKeyHandler();
    if (handler == nullptr)
    {
        return false;
    }
    handler->ReleaseAppActivationHandler();
    return handler->CreateAppActivationHandler();
}

std::shared_ptr<SysInfo::CHotKeyHandler> CKeyBoardBridge::GetHotKeyHandler() const
{
    return m_pHotKeyHandler.load();
}

} // namespace RpcServer
