/// \file
/// The one handler behind all hotkey requests: it holds the device-information framework, the helper that impersonates
/// the logged-on user, and the event that brackets a system-information request.
/// CKeyBoardBridge makes it (the constructor does the whole set-up) and destroys it when the service stops; RPC threads
/// call in at any time and hold a counted reference meanwhile. The handler takes no lock while it calls out.
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

/// From CreateActCtxW.
struct ActivationContextPolicy : Quil::Shared::KernelHandlePolicy
{
    /// By ReleaseActCtx.
    static void Close(HANDLE value) noexcept { ReleaseActCtx(value); }
};
/// An activation context, active or not.
using CUniqueActivationContext = Quil::Shared::CUnique<ActivationContextPolicy>;

/// What the hotkey requests share, from the making of the bridge to the stop of the service.
class CHotKeyHandler
{
  public:
    static constexpr int kOverlappedCount = 7;          ///< records of the pool
    static constexpr int kFrameworkAttempts = 6;        ///< with a second after each one that fails
    static constexpr DWORD kReadSysInfoTimeout = 25000; ///< milliseconds

    /// Sets everything up; a step that fails leaves its member null. Waits between the attempts to reach the framework.
    explicit CHotKeyHandler(WMIData* wmiData);
    /// Does what Release does, then gives up the framework.
    ~CHotKeyHandler();
    CHotKeyHandler(const CHotKeyHandler&) = delete;
    CHotKeyHandler& operator=(const CHotKeyHandler&) = delete;

    /// TRUE when both the event and the impersonation helper exist.
    BOOL AllocateHandler();
    /// Looks for the framework through the manifests beside the program.
    void Initialize();
    /// Gives up helpers and handles; the framework stays until the destructor.
    void Release();

    /// Puts a new impersonation helper in place; false when memory ran out. A helper that was there is never freed.
    bool CreateAppActivationHandler();
    /// Gives the impersonation helper up; a request that uses it keeps it until it is done.
    void ReleaseAppActivationHandler();

    /// Activates the context of a manifest in the program's folder for the calling thread. FALSE, with a record, on
    /// failure.
    BOOL EnableActivationContext(const wchar_t* manifestName);
    /// Ends the activation on the thread that began it, and releases the context.
    void DisableActivationContext();

    /// Waits and logs the outcome. The wait's result (WAIT_...); WAIT_OBJECT_0 at once for a null handle.
    DWORD WaitForHandleToComplete(HANDLE handle, DWORD milliseconds);

    /// The system-information text and the USB-C support field; empty when there is no text. Starts the reading when it
    /// must, and waits for it.
    CStringW GetSysInfo();
    /// Asks the framework for the USB-C support field until it has said "yes", which is kept. Without it the field is
    /// "0x0".
    void CheckAndAddUsbTypeCSupport();
    /// Language and country of the logged-on user, for example "en_US"; empty on failure.
    std::wstring GetLocale();

    /// The record stays zero from the first getter that fails.
    void GetUSBTypeCInfoUsingFennix(USBC_BIOS_INFO& info);
    /// UsbCText, with what it is made of in the log.
    std::wstring GenerateUSBTypeCInfo(const USBC_BIOS_INFO& info);
    /// Made once per handler; empty without the framework.
    std::wstring GetUSBTypeCInfoAsWString();
    /// Asks the framework; false also without it and when it fails.
    bool IsUSBCSupported();

  protected:
    HANDLE m_hReserved{INVALID_HANDLE_VALUE};    ///< nothing uses it
    BOOL m_bStop{FALSE};                         ///< ends the attempts to reach the framework
    CUniqueActivationContext m_hActCtx;          ///< the last one activated
    ULONG_PTR m_ulActCtxCookie{0};               ///< 0 while none is active
    Quil::Shared::CUniqueCom<IFennix> m_pFennix; ///< set in the constructor only, so requests read it freely
    /// Renewed by the service while requests run: each takes a reference of its own.
    std::atomic<std::shared_ptr<AppSection::CAppActivationHandler>> m_pAppActivationHandler;
    std::atomic<WMIData*> m_pWMIData;                              ///< not owned unless m_bOwnWMIData
    BOOL m_bOwnWMIData{FALSE};                                     ///< Release deletes the reader
    CGuardedText m_strUSBTypeCSupport;                             ///< "yes", "0x0", or empty before the first question
    Quil::Shared::CUniqueHandle m_hSecondReserved;                 ///< nothing opens it
    Quil::Shared::CUniqueHandle m_hWaitAndSetSingleScancodeThread; ///< nothing starts it; Release awaits it up to 8 s
    Quil::Shared::CUniqueHandle m_hWaitForSysInfoReadCompleteEvent; ///< signalled while no request is being answered
    std::unique_ptr<COverlappedIO[]> m_pOverlappedIO;               ///< kOverlappedCount records, or null
    CGuardedText m_strUSBTypeCInfo;                                 ///< empty until it is asked for

  private:
    // Tries the manifests in their order; S_OK once the framework is there, else the last result.
    HRESULT TryManifests(const Quil::Shared::CLogName& log, HRESULT lastResult);
    // Asks for the framework inside the active context and keeps it in m_pFennix.
    HRESULT CreateFennix(DWORD& lastError);
    // The text of a reading that was started; empty when it does not finish in time.
    CStringW AwaitSysInfoText(const Quil::Shared::CLogName& log);
};

} // namespace RpcServer::SysInfo
