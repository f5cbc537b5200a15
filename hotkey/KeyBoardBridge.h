// The process-wide object through which the RPC operations and the service reach the hotkey functions.
// It owns the one handler. Any thread may call; only creation of the bridge and of its handler are serialised. An
// operation holds a counted reference to the handler while it is inside, so a release frees nothing under it.
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

namespace RpcServer
{

class WMIData;

namespace SysInfo
{
class CHotKeyHandler;
} // namespace SysInfo

class CKeyBoardBridge
{
  public:
    static constexpr DWORD kLaunchAsUser = 0;
    static constexpr DWORD kLaunchElevated = 1;

    // The bridge, made with its handler on the first call; null when memory ran out. Only the first caller's reader
    // counts. Throws std::system_error when a mutex cannot be locked.
    static CKeyBoardBridge* getInstance(WMIData* wmiData);
    CKeyBoardBridge(const CKeyBoardBridge&) = delete;
    CKeyBoardBridge& operator=(const CKeyBoardBridge&) = delete;

    void CreateHotKeyHandlerInstance();
    void ReleaseHotKeyHandlerInstance();

    // 0: system information tool, 2: hotkey notification app, 3: power options; others do nothing.
    void ProcessCommand(unsigned command);
    void LaunchUsbCApp();

    // Both are empty without a handler.
    CStringW GetSysInfo();
    std::wstring GetUSBTypeCInfoAsWString();

    // Renews the handler's impersonation helper; false without a handler.
    bool RecreateAppActivationHandler();

    // Full path of the USB-C configuration application; empty when it is not installed.
    std::wstring GetUsbCAppPath();

    // Starts a program on the logged-on user's desktop; nonzero on success. launchMode is kLaunchAsUser or
    // kLaunchElevated, any other value launches nothing.
    BOOL LaunchProcess(const wchar_t* applicationPath, wchar_t* commandLine, const DWORD& launchMode);

    // The live handler; empty after its release.
    std::shared_ptr<SysInfo::CHotKeyHandler> GetHotKeyHandler() const;

  protected:
    explicit CKeyBoardBridge(WMIData* wmiData);
    ~CKeyBoardBridge() = default;

    static CKeyBoardBridge* s_pInstance; // never deleted; guarded by s_instanceMutex

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
