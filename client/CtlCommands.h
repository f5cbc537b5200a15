/// \file
/// The commands of hotkeyctl. Each asks the service, writes the answer and returns the program's exit code.
#pragma once

#include "client/CtlOutput.h"
#include "client/HotKeyClient.h"

#include <string>

namespace HotKey
{

/// What the program exits with.
enum ExitCode : int
{
    ExitAnswered = 0,      ///< done
    ExitEmpty = 1,         ///< there is nothing to show
    ExitUsage = 2,         ///< the command line is wrong
    ExitUnreachable = 3,   ///< ErrorKind::Unreachable
    ExitRefused = 4,       ///< ErrorKind::Refused
    ExitTimedOut = 5,      ///< ErrorKind::TimedOut
    ExitNotUnderstood = 6, ///< ErrorKind::NotUnderstood
    ExitProblem = 7        ///< doctor found one
};

/// How an answer is written.
enum class Form
{
    Fields, ///< a table of labelled fields
    Raw,    ///< the service's own text
    Json    ///< one JSON object
};

/// One command of each kind on one client and one output. One thread uses it.
class CCtlCommands
{
  public:
    /// Client and output outlive the object.
    CCtlCommands(CHotKeyClient& client, const CCtlOutput& output) noexcept : m_client{client}, m_output{output} {}

    /// Writes the system information; ExitEmpty without any.
    int SysInfo(Form form);
    /// Writes the USB Type-C information; ExitEmpty without any.
    int UsbTypeC(Form form);
    /// Writes whether the device framework's service and node are there. Raw is as Fields.
    int Presence(Form form);
    /// Has the system information tool started; ExitAnswered when the service took the request.
    int LaunchSystemInformation();
    /// Has the USB-C configuration application started; ExitAnswered when the service took the request.
    int LaunchUsbCApp();
    /// Writes what is known of service, endpoint, log and policy. Raw is as Fields. The exit code is the connection's.
    int Status(Form form, const std::wstring& clientVersion);
    /// Asks every interval and writes a line when the answer changes. count 0: until the program is ended.
    int Watch(DWORD intervalMs, unsigned count);

  private:
    template <typename Record>
    int PrintText(const CResult<std::wstring>& text, Form form, const wchar_t* subject,
                  CResult<Record> (*parse)(std::wstring_view), std::wstring (*table)(const Record&),
                  std::wstring (*json)(const Record&));
    int Launched(const CResult<CNothing>& result);
    int Fail(const CError& error);

    CHotKeyClient& m_client;
    const CCtlOutput& m_output;
};

/// For example "the service is not running (RPC status 1722)".
std::wstring ErrorLine(const CError& error);

/// The exit code of a call that failed.
int ExitCodeOf(ErrorKind kind) noexcept;

} // namespace HotKey
