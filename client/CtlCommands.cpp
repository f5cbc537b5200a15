#include "client/CtlCommands.h"

#include "client/CtlText.h"
#include "client/InstalledService.h"
#include "client/LogFiles.h"
#include "client/PolicyValues.h"

#include <chrono>
#include <cwchar>

namespace HotKey
{

std::wstring ErrorLine(const CError& error)
{
    return error.ulStatus == 0 ? error.strText
                               : error.strText + L" (RPC status " + std::to_wstring(error.ulStatus) + L")";
}

int ExitCodeOf(ErrorKind kind) noexcept
{
    switch (kind)
    {
    case ErrorKind::Unreachable:
        return ExitUnreachable;
    case ErrorKind::TimedOut:
        return ExitTimedOut;
    case ErrorKind::NotUnderstood:
        return ExitNotUnderstood;
    case ErrorKind::Refused:
        break;
    }
    return ExitRefused;
}

int CCtlCommands::Fail(const CError& error)
{
    m_output.Complain(ErrorLine(error));
    return ExitCodeOf(error.eKind);
}

template <typename Record>
int CCtlCommands::PrintText(const CResult<std::wstring>& text, Form form, const wchar_t* subject,
                            CResult<Record> (*parse)(std::wstring_view), std::wstring (*table)(const Record&),
                            std::wstring (*json)(const Record&))
{
    if (!text)
    {
        return Fail(text.Error());
    }
    if (text.Value().empty())
    {
        if (form == Form::Json)
        {
            m_output.Print(L"{}\n");
        }
        m_output.Complain(std::wstring{L"the service has no "} + subject);
        return ExitEmpty;
    }
    if (form == Form::Raw)
    {
        m_output.Print(text.Value() + L"\n");
        return ExitAnswered;
    }
    const CResult<Record> record = parse(text.Value());
    if (!record)
    {
        return Fail(record.Error());
    }
    m_output.Print(form == Form::Json ? json(record.Value()) : table(record.Value()));
    return ExitAnswered;
}

int CCtlCommands::SysInfo(Form form)
{
    return PrintText(m_client.ReadSysInfoText(), form, L"system information", &ParseSysInfo, &SysInfoTable,
                     &SysInfoJson);
}

int CCtlCommands::UsbTypeC(Form form)
{
    return PrintText(m_client.ReadUsbTypeCText(), form, L"USB Type-C information", &ParseUsbTypeC, &UsbTypeCTable,
                     &UsbTypeCJson);
}

int CCtlCommands::Presence(Form form)
{
    const CResult<CPresence> presence = m_client.ReadPresence();
    if (!presence)
    {
        return Fail(presence.Error());
    }
    m_output.Print(form == Form::Json ? PresenceJson(presence.Value()) : PresenceTable(presence.Value()));
    return ExitAnswered;
}

int CCtlCommands::Launched(const CResult<CNothing>& result)
{
    if (!result)
    {
        return Fail(result.Error());
    }
    m_output.Print(L"The service took the request; it does not tell whether the program started.\n");
    return ExitAnswered;
}

int CCtlCommands::LaunchSystemInformation()
{
    return Launched(m_client.LaunchSystemInformation());
}

int CCtlCommands::LaunchUsbCApp()
{
    return Launched(m_client.LaunchUsbCApp());
}

int CCtlCommands::Status(Form form, const std::wstring& clientVersion)
{
    CStatus status{clientVersion,    QueryInstalledService(),          false, 0, {},
                   ServiceLogPath(), PolicyInForce(ReadPolicyValues())};
    const auto start = std::chrono::steady_clock::now();
    const CResult<CNothing> connected = m_client.Connect();
    const std::chrono::duration<double, std::milli> taken = std::chrono::steady_clock::now() - start;
    int exitCode = ExitAnswered;
    if (connected)
    {
        status.bAnswers = true;
        status.dMilliseconds = taken.count();
    }
    else
    {
        status.strTrouble = ErrorLine(connected.Error());
        exitCode = ExitCodeOf(connected.Error().eKind);
    }
    m_output.Print(form == Form::Json ? StatusJson(status) : StatusTable(status));
    return exitCode;
}

int CCtlCommands::Watch(DWORD intervalMs, unsigned count)
{
    std::wstring last;
    for (unsigned asked = 1;; ++asked)
    {
        const CResult<CPresence> presence = m_client.ReadPresence();
        std::wstring state;
        if (presence)
        {
            state = std::wstring{L"answers; Fennix service "} +
                    (presence.Value().bFennixService ? L"installed" : L"not installed") + L", node " +
                    (presence.Value().bFennixNode ? L"present" : L"not present");
        }
        else
        {
            state = ErrorLine(presence.Error());
        }
        if (state != last)
        {
            SYSTEMTIME now{};
            GetLocalTime(&now);
            const auto two = [](WORD value) { return (value < 10 ? L"0" : L"") + std::to_wstring(value); };
            m_output.Print(two(now.wHour) + L":" + two(now.wMinute) + L":" + two(now.wSecond) + L"  " + state + L"\n");
            last = state;
        }
        if (asked == count)
        {
            return presence ? ExitAnswered : ExitCodeOf(presence.Error().eKind);
        }
        Sleep(intervalMs);
    }
}

} // namespace HotKey
