/// \file
/// The client of the hotkey service: connects on demand, asks, and says what went wrong.
///
///     HotKey::CHotKeyClient client;
///     if (const auto answer = client.ReadSysInfo())
///         use(answer.Value()->strProductName);
///     else
///         report(answer.Error().strText);
///
/// Any thread may call; calls run side by side. Each call runs on a thread of its own, so that it ends after the time
/// allowed even when the service does not answer; what is left of it is cleaned up when the service answers after all.
/// After a restart of the service the next call connects again. A call that may already have had its effect is not
/// repeated. Throws std::bad_alloc only.
#pragma once

#include "client/ClientResult.h"
#include "client/SysInfoFields.h"
#include "client/UsbTypeCFields.h"

#include <windows.h>

#include <chrono>
#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <string>

/// The client library and hotkeyctl.
namespace HotKey
{

/// What there is of the device framework.
struct CPresence
{
    bool bFennixService; ///< its service is installed
    bool bFennixNode;    ///< its device node is present
};

/// A client with one connection. An answer that the service does not give is ErrorKind::NotUnderstood.
class CHotKeyClient
{
  public:
    /// The service itself waits up to 25 s for the system information, and some seconds for the device framework.
    static constexpr std::chrono::milliseconds kDefaultTimeout{40000};

    /// timeout: for each call, its connection included. Calls nobody.
    explicit CHotKeyClient(std::chrono::milliseconds timeout = kDefaultTimeout);
    /// Disconnects. Calls on other threads must have ended.
    ~CHotKeyClient();
    CHotKeyClient(const CHotKeyClient&) = delete;
    CHotKeyClient& operator=(const CHotKeyClient&) = delete;

    /// Not needed before a call; tells whether the service answers.
    CResult<CNothing> Connect();
    /// Takes the connection back, waiting for the service up to the time-out; the next call makes a new one.
    void Disconnect();

    /// Empty when the service has no system information.
    CResult<std::wstring> ReadSysInfoText();
    /// ReadSysInfoText as a record; nothing when the text is empty.
    CResult<std::optional<CSysInfo>> ReadSysInfo();

    /// Empty when the service has no USB Type-C information.
    CResult<std::wstring> ReadUsbTypeCText();
    /// ReadUsbTypeCText as a record; nothing when the text is empty.
    CResult<std::optional<CUsbTypeC>> ReadUsbTypeC();

    /// True when the device framework's service is installed; one that the service cannot open counts.
    CResult<bool> IsFennixServiceInstalled();
    /// True when the device framework's node is present and has a driver.
    CResult<bool> IsFennixNodePresent();
    /// The two answers above, in two calls.
    CResult<CPresence> ReadPresence();

    /// Has the system information tool started on the user's desktop. The service does not tell whether it started.
    CResult<CNothing> LaunchSystemInformation();
    /// Has the USB-C configuration application started likewise.
    CResult<CNothing> LaunchUsbCApp();

  private:
    class CConnection;
    struct CWork;
    struct CAnswer;
    class CDeadline;

    static DWORD WINAPI WorkThread(void* parameter);
    static std::optional<std::uint32_t> Run(const std::shared_ptr<CWork>& work, const CDeadline& deadline);
    CError TimedOut() const;
    std::shared_ptr<CConnection> CurrentConnection();
    CResult<std::shared_ptr<CConnection>> TakeConnection(const CDeadline& deadline);
    void Drop(const CConnection* connection);
    CResult<CAnswer> Call(int operation, bool repeatable);
    CResult<std::wstring> ReadText(int operation);
    CResult<bool> ReadYesNo(int operation);
    CResult<CNothing> Launch(int operation);

    const std::chrono::milliseconds m_timeout;
    std::mutex m_mutex;                         // guards m_pConnection; never held over a call
    std::shared_ptr<CConnection> m_pConnection; // shared with the calls in progress
};

} // namespace HotKey
