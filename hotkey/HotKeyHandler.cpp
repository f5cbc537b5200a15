#include "hotkey/HotKeyHandler.h"

#include "hotkey/CountedObject.h"
#include "shared/TraceScope.h"
#include "sysinfo/WmiData.h"
#include "utils/AppActivationHandler.h"
#include "utils/FileVersion.h"
#include "utils/ServiceQuery.h"

#include <ole2.h>

#include <new>
#include <utility>

using namespace Quil::Shared;

namespace RpcServer::SysInfo
{

namespace
{

// Ends COM on this thread, with an exception as well.
struct CComEnd
{
    CComEnd() = default;
    ~CComEnd() { CoUninitialize(); }
    CComEnd(const CComEnd&) = delete;
    CComEnd& operator=(const CComEnd&) = delete;
};

} // namespace

CHotKeyHandler::CHotKeyHandler(WMIData* wmiData) : m_pWMIData{wmiData}
{
    CTraceScope trace{"RpcServer::SysInfo::CHotKeyHandler::CHotKeyHandler"};

    static_cast<void>(AllocateHandler()); // a handler without some of its parts still answers
    Initialize();
}

CHotKeyHandler::~CHotKeyHandler()
{
    CTraceScope trace{"RpcServer::SysInfo::CHotKeyHandler::~CHotKeyHandler"};

    Release();
    DisableActivationContext();
    m_pFennix.Reset();
}

BOOL CHotKeyHandler::AllocateHandler()
{
    CTraceScope trace{"RpcServer::SysInfo::CHotKeyHandler::AllocateHandler"};

    const bool helperCreated = CreateAppActivationHandler();
    if (!helperCreated)
    {
        trace.Error(L"CreateAppActivationHandler failed");
    }

    m_hWaitForSysInfoReadCompleteEvent.Reset(CreateEventW(nullptr, TRUE, TRUE, L"SysInfoReadComplete.Event"));
    if (!m_hWaitForSysInfoReadCompleteEvent)
    {
        trace.Error(L"CreateEvent(m_hWaitForSysInfoReadCompleteEvent) failed to create : Error = %d", GetLastError());
    }

    try
    {
        m_pOverlappedIO.reset(new (std::nothrow) COverlappedIO[kOverlappedCount]);
    }
    catch (DWORD)
    {
        m_pOverlappedIO.reset();
    }
    if (m_pOverlappedIO == nullptr)
    {
        trace.Error(L"COverlappedIO creation failed");
    }
    return m_hWaitForSysInfoReadCompleteEvent && helperCreated ? TRUE : FALSE;
}

bool CHotKeyHandler::CreateAppActivationHandler()
{
    CTraceScope trace{"RpcServer::SysInfo::CHotKeyHandler::CreateAppActivationHandler"};

    using Helper = std::shared_ptr<AppSection::CAppActivationHandler>;
    const Helper helper = TryMakeCounted<AppSection::CAppActivationHandler>();
    Helper former = m_pAppActivationHandler.exchange(helper);
    if (former != nullptr)
    {
        // Deliberate: a helper that is already there is forgotten, not freed.
        static_cast<void>(new (std::nothrow) Helper{std::move(former)});
    }
    if (helper == nullptr)
    {
        trace.Error(L"CAppActivationHandler creation failed");
        return false;
    }
    return true;
}

void CHotKeyHandler::ReleaseAppActivationHandler()
{
    m_pAppActivationHandler.store(nullptr);
}

void CHotKeyHandler::Initialize()
{
    CTraceScope trace{"RpcServer::SysInfo::CHotKeyHandler::Initialize"};

    m_hReserved = INVALID_HANDLE_VALUE;
    const HRESULT comResult = CoInitializeEx(nullptr, COINIT_MULTITHREADED);
    if (FAILED(comResult) && comResult != RPC_E_CHANGED_MODE)
    {
        trace.Error(L"Failed to initialize COM library failed with Error: %u", GetLastError());
        return;
    }
    // Deliberate: m_pFennix is kept and used past this, and the call is made in the changed-mode case too.
    const CComEnd comEnd;

    VS_FIXEDFILEINFO version{};
    const long status = Utils::IsServicePresent(L"QuilSysInfoCap", version, true, true, SC_MANAGER_ALL_ACCESS);
    const bool servicePresent = status >= 0;
    if (servicePresent)
    {
        trace.Verbose(L"Quil System Info KMT Service Version Installed = %s with Running Status = %d",
                      Utils::FileVersionText(version.dwFileVersionMS, version.dwFileVersionLS), status);
    }

    // Deliberate: without the framework's service the attempts still run and fail.
    HRESULT result = E_FAIL;
    for (int attempt = 0; attempt < kFrameworkAttempts && !m_bStop; ++attempt)
    {
        if (servicePresent)
        {
            trace.Verbose(L"Quil System Info KMT Service is installed. Trying to initialize with Fennix");
            result = TryManifests(trace, result);
            if (SUCCEEDED(result))
            {
                break;
            }
        }
        Sleep(1000);
    }
    if (FAILED(result))
    {
        trace.Error(L"Failed to CreateInstance of Fennix Error: %u, HRESULT : 0x%08X", GetLastError(), result);
    }

    DisableActivationContext();
}

HRESULT CHotKeyHandler::TryManifests(const CLogName& log, HRESULT lastResult)
{
    HRESULT result = lastResult;
    for (const wchar_t* const manifest :
         {L"HotkeyServiceTLY.exe.manifest", L"QuilFennixManager.manifest", L"HotkeyServiceTLY_amd64.xml"})
    {
        if (!EnableActivationContext(manifest))
        {
            log.Error(L"EnableActivationContext. So there is a chance of 'Class Not Registered' Error");
            continue;
        }
        log.Verbose(L"Trying to initialize with Fennix using the manifest %s", manifest);
        DWORD error = ERROR_SUCCESS;
        result = CreateFennix(error);
        if (SUCCEEDED(result))
        {
            log.Information(L"Fennix initialization is success");
            break;
        }
        log.Error(L"Failed to Create Instance of Fennix (%s) Error: %u, HRESULT : 0x%08X", manifest, error, result);
        DisableActivationContext();
    }
    return result;
}

HRESULT CHotKeyHandler::CreateFennix(DWORD& lastError)
{
    m_pFennix.Reset();
    CUniqueCom<IUnknown> unknown;
    HRESULT result =
        CoCreateInstance(kFennixClass, nullptr,
                         CLSCTX_INPROC_SERVER | CLSCTX_INPROC_HANDLER | CLSCTX_LOCAL_SERVER | CLSCTX_REMOTE_SERVER,
                         IID_IUnknown, reinterpret_cast<void**>(unknown.Put()));
    if (SUCCEEDED(result))
    {
        result = OleRun(unknown.Get());
    }
    void* fennix = nullptr;
    if (SUCCEEDED(result))
    {
        result = unknown.Get()->QueryInterface(kFennixInterface, &fennix);
    }
    lastError = GetLastError();
    if (SUCCEEDED(result))
    {
        m_pFennix.Reset(static_cast<IFennix*>(fennix));
    }
    return result;
}

BOOL CHotKeyHandler::EnableActivationContext(const wchar_t* manifestName)
{
    CTraceScope trace{"RpcServer::SysInfo::CHotKeyHandler::EnableActivationContext"};

    wchar_t modulePath[MAX_PATH]{};
    if (GetModuleFileNameW(nullptr, modulePath, MAX_PATH) == 0)
    {
        trace.Error(L"Could not find Executable file path.");
        return FALSE;
    }
    trace.Information(L"Executable file complete name is: %s", modulePath);
    const std::wstring directory = DirectoryOf(modulePath);
    trace.Information(L"Executable file complete path is: %s", directory);

    ACTCTXW context{};
    context.cbSize = sizeof(context);
    context.dwFlags = ACTCTX_FLAG_ASSEMBLY_DIRECTORY_VALID;
    context.lpSource = manifestName;
    context.lpAssemblyDirectory = directory.c_str();
    HANDLE created = CreateActCtxW(&context);
    if (created == INVALID_HANDLE_VALUE)
    {
        trace.Error(L"CreateActCtx failed with Error: %u", GetLastError());
        return FALSE;
    }
    m_hActCtx.Reset(created);
    if (!ActivateActCtx(m_hActCtx.Get(), &m_ulActCtxCookie))
    {
        trace.Error(L"ActivateActCtx failed with Error: %u,", GetLastError());
        return FALSE;
    }
    return TRUE;
}

void CHotKeyHandler::DisableActivationContext()
{
    CTraceScope trace{"RpcServer::SysInfo::CHotKeyHandler::DisableActivationContext"};

    if (m_ulActCtxCookie != 0 && DeactivateActCtx(0, m_ulActCtxCookie))
    {
        m_ulActCtxCookie = 0;
    }
    m_hActCtx.Reset();
}

void CHotKeyHandler::Release()
{
    CTraceScope trace{"RpcServer::SysInfo::CHotKeyHandler::Release"};

    ReleaseAppActivationHandler();

    WMIData* const wmiData = m_pWMIData.exchange(nullptr);
    if (m_bOwnWMIData)
    {
        delete wmiData;
        m_bOwnWMIData = FALSE;
    }

    m_hSecondReserved.Reset();

    const DWORD waitResult = WaitForHandleToComplete(m_hWaitAndSetSingleScancodeThread.Get(), 8000);
    trace.Verbose(L"WaitForSingleObject(m_hWaitAndSetSingleScancodeThread) returns %d", waitResult);
    if (waitResult == WAIT_OBJECT_0)
    {
        m_hWaitAndSetSingleScancodeThread.Reset();
    }
    // Deliberate: the handle of a thread that still runs stays open.
    static_cast<void>(m_hWaitAndSetSingleScancodeThread.Release());

    m_hWaitForSysInfoReadCompleteEvent.Reset();
    m_pOverlappedIO.reset();
}

DWORD CHotKeyHandler::WaitForHandleToComplete(HANDLE handle, DWORD milliseconds)
{
    CTraceScope trace{"RpcServer::SysInfo::CHotKeyHandler::WaitForHandleToComplete", L"Handle = 0x%x, WaitTime = %d",
                      Low32(handle), milliseconds};

    DWORD result = WAIT_OBJECT_0;
    if (handle != nullptr)
    {
        result = WaitForSingleObject(handle, milliseconds);
        const DWORD error = GetLastError();
        switch (result)
        {
        case WAIT_OBJECT_0:
            trace.Verbose(L"(WAIT_OBJECT_0) The state of the handle is signaled.");
            break;
        case WAIT_ABANDONED:
            trace.Error(L"(WAIT_ABANDONED) The specified object is a mutex object that was not released by the thread "
                        L"that owned the mutex object before the owning thread terminated.");
            break;
        case WAIT_TIMEOUT:
            trace.Error(L"(WAIT_TIMEOUT) The time-out interval elapsed, and the handle state is non-signaled.");
            break;
        case WAIT_FAILED:
            trace.Error(L"(WAIT_FAILED) The function has failed with error %d.", error);
            break;
        default:
            trace.Error(L"Unknown Option");
            break;
        }
    }
    return trace.ExitValue(result, L"Return = %d");
}

} // namespace RpcServer::SysInfo
