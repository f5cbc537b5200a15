// The one handler behind all hotkey requests: it holds the device-information framework, the helper that impersonates
// the logged-on user, and the event that brackets a system-information request.
// CKeyBoardBridge makes it (the constructor does the whole set-up) and destroys it when the service stops; RPC threads
// call in at any time and hold a counted reference meanwhile. The handler takes no lock while it calls out.
#pragma once

#include "hotkey/Fennix.h"
#include "hotkey/GuardedText.h"
#include "hotkey/OverlappedIO.h"
#include "hotkey/UsbCText.h"
#include "shared/UniqueHandle.h"
#include "shared/WideText.h"

#include <windows.h>

#include <atomic>
#include <memory>
#include <string>

namespace Quil::Shared
{
class CLogName;
} // namespace Quil::Shared

namespace RpcServer
{
class WMIData;
} // namespace RpcServer

namespace RpcServer::AppSection
{
class CAppActivationHandler;
} // namespace RpcServer::AppSection

namespace RpcServer::SysInfo
{

struct ActivationContextPolicy : Quil::Shared::KernelHandlePolicy
{
    static void Close(HANDLE value) noexcept { ReleaseActCtx(value); }
};
using CUniqueActivationContext = Quil::Shared::CUnique<ActivationContextPolicy>;

class CHotKeyHandler
{
  public:
    static constexpr int kOverlappedCount = 7;
    static constexpr int kFrameworkAttempts = 6;
    static constexpr DWORD kReadSysInfoTimeout = 25000;

    // Sets everything up; a step that fails leaves its member null. Waits between the attempts to reach the framework.
    explicit CHotKeyHandler(WMIData* wmiData);
    ~CHotKeyHandler();
    CHotKeyHandler(const CHotKeyHandler&) = delete;
    CHotKeyHandler& operator=(const CHotKeyHandler&) = delete;

    // TRUE when both the event and the impersonation helper exist.
    BOOL AllocateHandler();
    // Looks for the framework through the manifests beside the program.
    void Initialize();
    // Gives up helpers and handles; the framework stays until the destructor.
    void Release();

    bool CreateAppActivationHandler();
    void ReleaseAppActivationHandler();

    // Activates the context of a manifest in the program's folder for the calling thread.
    BOOL EnableActivationContext(const wchar_t* manifestName);
    void DisableActivationContext();

    // The wait's result; 0 for a null handle.
    DWORD WaitForHandleToComplete(HANDLE handle, DWORD milliseconds);

    // The system-information text and the USB-C support field; empty when there is no text. Starts the reading when it
    // must, and waits for it.
    CStringW GetSysInfo();
    void CheckAndAddUsbTypeCSupport();
    // Language and country of the logged-on user, for example "en_US"; empty on failure.
    std::wstring GetLocale();

    // The record stays zero from the first getter that fails.
    void GetUSBTypeCInfoUsingFennix(USBC_BIOS_INFO& info);
    std::wstring GenerateUSBTypeCInfo(const USBC_BIOS_INFO& info);
    // Made once per handler; empty without the framework.
    std::wstring GetUSBTypeCInfoAsWString();
    bool IsUSBCSupported();

  protected:
    HANDLE m_hReserved{INVALID_HANDLE_VALUE};
    BOOL m_bStop{FALSE}; // ends the attempts to reach the framework
    CUniqueActivationContext m_hActCtx;
    ULONG_PTR m_ulActCtxCookie{0};
    Quil::Shared::CUniqueCom<IFennix> m_pFennix; // set in the constructor only, so requests read it freely
    // Renewed by the service while requests run: each takes a reference of its own.
    std::atomic<std::shared_ptr<AppSection::CAppActivationHandler>> m_pAppActivationHandler;
    std::atomic<WMIData*> m_pWMIData; // not owned unless m_bOwnWMIData
    BOOL m_bOwnWMIData{FALSE};
    CGuardedText m_strUSBTypeCSupport;
    Quil::Shared::CUniqueHandle m_hSecondReserved;
    Quil::Shared::CUniqueHandle m_hWaitAndSetSingleScancodeThread;
    Quil::Shared::CUniqueHandle m_hWaitForSysInfoReadCompleteEvent; // signalled while no request is being answered
    std::unique_ptr<COverlappedIO[]> m_pOverlappedIO;
    CGuardedText m_strUSBTypeCInfo;

  private:
    // Tries the manifests in their order; S_OK once the framework is there, else the last result.
    HRESULT TryManifests(const Quil::Shared::CLogName& log, HRESULT lastResult);
    // Asks for the framework inside the active context and keeps it in m_pFennix.
    HRESULT CreateFennix(DWORD& lastError);
    // The text of a reading that was started; empty when it does not finish in time.
    CStringW AwaitSysInfoText(const Quil::Shared::CLogName& log);
};

} // namespace RpcServer::SysInfo
