/// \file
/// The process-wide object through which the RPC operations and the service reach the hotkey functions.
/// It owns the one handler. Any thread may call; only creation of the bridge and of its handler are serialised. An
/// operation holds a counted reference to the handler while it is inside, so a release frees nothing under it.
#pragma once

#include "hotkey/GuardedText.h"
#include "shared/WideText.h"

#include <windows.h>

#include <atomic>
#include <memory>
#include <mutex>
#include <string>

namespace Quil::Shared
{
class CLogName;
} // namespace Quil::Shared

/// What the RPC operations do: the bridge and the system-information reader.
namespace RpcServer
{

class WMIData;

namespace SysInfo
{
class CHotKeyHandler;
} // namespace SysInfo

/// The one entry to the hotkey functions; lives as long as the process.
class CKeyBoardBridge
{
  public:
    static constexpr DWORD kLaunchAsUser = 0;   ///< with the user's own token
    static constexpr DWORD kLaunchElevated = 1; ///< with the full token of a user whose own is limited

    /// The bridge, made with its handler on the first call; null when memory ran out. Only the first caller's reader
    /// counts. Throws std::system_error when a mutex cannot be locked.
    static CKeyBoardBridge* getInstance(WMIData* wmiData);
    CKeyBoardBridge(const CKeyBoardBridge&) = delete;
    CKeyBoardBridge& operator=(const CKeyBoardBridge&) = delete;

    /// Puts a new handler in place of the live one, which is released first. Takes seconds without the framework. Out
    /// of memory leaves none.
    void CreateHotKeyHandlerInstance();
    /// Gives the handler up; operations that are inside keep it until they end.
    void ReleaseHotKeyHandlerInstance();

    /// 0: system information tool (a running one is ended first), 2: hotkey notification app, 3: power options; others
    /// do nothing. Failures are logged only.
    void ProcessCommand(unsigned command);
    /// Starts the USB-C configuration application, whose path is looked for until it is found. Failures are logged
    /// only.
    void LaunchUsbCApp();

    /// As the handler's; empty without one. May wait up to 25 s.
    CStringW GetSysInfo();
    /// As the handler's; empty without one.
    std::wstring GetUSBTypeCInfoAsWString();

    /// Renews the handler's impersonation helper; false without a handler.
    bool RecreateAppActivationHandler();

    /// Full path of the USB-C configuration application; empty when it is not installed.
    std::wstring GetUsbCAppPath();

    /// Starts a program on the logged-on user's desktop, with UI access. launchMode is kLaunchAsUser or
    /// kLaunchElevated, any other value launches nothing; commandLine is the caller's writable memory. FALSE when
    /// nothing was started, else the result of giving the privilege back that it took. A failure leaves its handles
    /// open.
    BOOL LaunchProcess(const wchar_t* applicationPath, wchar_t* commandLine, const DWORD& launchMode);

    /// The live handler; empty after its release.
    std::shared_ptr<SysInfo::CHotKeyHandler> GetHotKeyHandler() const;

  protected:
    /// Makes the handler as well. wmiData stays the caller's.
    explicit CKeyBoardBridge(WMIData* wmiData);
    ~CKeyBoardBridge() = default;

    static CKeyBoardBridge* s_pInstance; ///< never deleted; guarded by s_instanceMutex

  private:
    // The commands; their lines stand under the name of ProcessCommand.
    void LaunchSystemInformation(const Quil::Shared::CLogName& log);
    void LaunchHotkeyNotification(const Quil::Shared::CLogName& log);
    void LaunchPowerOptions(const Quil::Shared::CLogName& log);

    CGuardedText m_strUsbCAppPath; // empty until the application is found, never cleared
    std::atomic<std::shared_ptr<SysInfo::CHotKeyHandler>> m_pHotKeyHandler;
    WMIData* const m_pWMIData; // not owned, handed to every handler; may be null

    static unsigned s_nCallCount;      // guarded by s_instanceMutex; nothing reads it
    static std::mutex s_instanceMutex; // creation of the bridge
    static std::mutex s_handlerMutex;  // creation of the handler
};

} // namespace RpcServer
