// The commands of hotkeyctl. Each asks the service, writes the answer and returns the program's exit code.
#pragma once

#include "client/CtlOutput.h"
#include "client/HotKeyClient.h"

#include <string>

namespace HotKey
{

enum ExitCode : int
{
    ExitAnswered = 0,
    ExitEmpty = 1,
    ExitUsage = 2,
    ExitUnreachable = 3,
    ExitRefused = 4,
    ExitTimedOut = 5,
    ExitNotUnderstood = 6,
    ExitProblem = 7 // doctor found one
};

enum class Form
{
    Fields,
    Raw,
    Json
};

class CCtlCommands
{
  public:
    CCtlCommands(CHotKeyClient& client, const CCtlOutput& output) noexcept : m_client{client}, m_output{output} {}

    int SysInfo(Form form);
    int UsbTypeC(Form form);
    int Presence(Form form);
    int LaunchSystemInformation();
    int LaunchUsbCApp();
    int Status(Form form, const std::wstring& clientVersion);
    // Asks every interval and writes a line when the answer changes. count 0: until the program is ended.
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

// "the service is not running (RPC status 1722)"
std::wstring ErrorLine(const CError& error);

int ExitCodeOf(ErrorKind kind) noexcept;

} // namespace HotKey
