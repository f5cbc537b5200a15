// The service's talk with the service manager. Wine's sends no session, power or shutdown control, so user-defined
// controls stand for them: 128 + type a session change, 160 + type a power event, 220 pre-shutdown, 221 shutdown.
// 128 and 160 themselves (type 0 does not exist), and everything above 221, reach the program as they are.
#include "testbed/Outcome.h"
#include "testbed/Recorder.h"
#include "testbed/Text.h"
#include "testbed/windows/ImportTable.h"
#include "testbed/windows/Sessions.h"
#include "testbed/windows/StandIns.h"

#include <windows.h>

#include <string>

namespace Testbed
{
namespace
{

constexpr DWORD kSessionChangeBase = 128;
constexpr DWORD kPowerEventBase = 160;
constexpr DWORD kPowerEventEnd = 200;
constexpr DWORD kPreShutdownCode = 220;
constexpr DWORD kShutdownCode = 221;

// One service in one process; written before the service manager can send anything.
LPHANDLER_FUNCTION_EX programHandler;

DWORD Deliver(DWORD control, DWORD type, void* data, void* context)
{
    const DWORD result = programHandler(control, type, data, context);
    Record(L"control",
           std::to_wstring(control) + L" type=" + std::to_wstring(type) + L" -> " + std::to_wstring(result));
    return result;
}

DWORD WINAPI TranslateControl(DWORD control, DWORD type, void* data, void* context)
{
    if (control > kSessionChangeBase && control < kPowerEventBase)
    {
        WTSSESSION_NOTIFICATION notification{sizeof(notification), ConsoleSession()};
        return Deliver(SERVICE_CONTROL_SESSIONCHANGE, control - kSessionChangeBase, &notification, context);
    }
    if (control > kPowerEventBase && control < kPowerEventEnd)
    {
        return Deliver(SERVICE_CONTROL_POWEREVENT, control - kPowerEventBase, nullptr, context);
    }
    if (control == kPreShutdownCode)
    {
        return Deliver(SERVICE_CONTROL_PRESHUTDOWN, 0, nullptr, context);
    }
    if (control == kShutdownCode)
    {
        return Deliver(SERVICE_CONTROL_SHUTDOWN, 0, nullptr, context);
    }
    return Deliver(control, type, data, context);
}

SERVICE_STATUS_HANDLE WINAPI RegisterHandler(LPCWSTR service, LPHANDLER_FUNCTION_EX handler, LPVOID context)
{
    Record(L"RegisterServiceCtrlHandlerExW", service);
    programHandler = handler;
    return RegisterServiceCtrlHandlerExW(service, TranslateControl, context);
}

std::wstring StateName(DWORD state)
{
    static constexpr const wchar_t* names[] = {L"0",       L"STOPPED",          L"START_PENDING", L"STOP_PENDING",
                                               L"RUNNING", L"CONTINUE_PENDING", L"PAUSE_PENDING", L"PAUSED"};
    return state < std::size(names) ? names[state] : std::to_wstring(state);
}

BOOL WINAPI ReportStatus(SERVICE_STATUS_HANDLE handle, LPSERVICE_STATUS status)
{
    // Recorded first: once STOPPED is reported the process may end at any moment.
    Record(L"SetServiceStatus",
           StateName(status->dwCurrentState) + L" type=" + Hex(status->dwServiceType) + L" accepted=" +
               Hex(status->dwControlsAccepted) + L" exit=" + std::to_wstring(status->dwWin32ExitCode) + L" specific=" +
               std::to_wstring(status->dwServiceSpecificExitCode) + L" check-point=" +
               std::to_wstring(status->dwCheckPoint) + L" wait-hint=" + std::to_wstring(status->dwWaitHint));
    return SetServiceStatus(handle, status);
}

std::wstring DescribeActions(const SERVICE_FAILURE_ACTIONSW& settings)
{
    std::wstring text = L"failure actions: reset=" + std::to_wstring(settings.dwResetPeriod) + L" reboot-message=" +
                        (settings.lpRebootMsg != nullptr ? settings.lpRebootMsg : L"null") + L" command=" +
                        (settings.lpCommand != nullptr ? settings.lpCommand : L"null") + L" actions=";
    for (DWORD index = 0; index < settings.cActions; ++index)
    {
        text += (index == 0 ? L"" : L",") + std::to_wstring(settings.lpsaActions[index].Type) + L"/" +
                std::to_wstring(settings.lpsaActions[index].Delay);
    }
    return text;
}

// Wine forgets failure actions and refuses their flag; this PC takes both, or fails as its profile says.
BOOL WINAPI ChangeConfig(SC_HANDLE service, DWORD level, LPVOID settings)
{
    switch (level)
    {
    case SERVICE_CONFIG_FAILURE_ACTIONS:
        Record(L"ChangeServiceConfig2W", DescribeActions(*static_cast<const SERVICE_FAILURE_ACTIONSW*>(settings)));
        return !PrescribedFailure(L"recovery", L"actions");
    case SERVICE_CONFIG_FAILURE_ACTIONS_FLAG:
        Record(L"ChangeServiceConfig2W",
               L"failure actions on other failures: " +
                   std::to_wstring(
                       static_cast<const SERVICE_FAILURE_ACTIONS_FLAG*>(settings)->fFailureActionsOnNonCrashFailures));
        return !PrescribedFailure(L"recovery", L"flag");
    case SERVICE_CONFIG_DESCRIPTION:
        Record(L"ChangeServiceConfig2W",
               L"description: " + std::wstring{static_cast<const SERVICE_DESCRIPTIONW*>(settings)->lpDescription});
        return !PrescribedFailure(L"install", L"description") && ChangeServiceConfig2W(service, level, settings);
    default:
        Record(L"ChangeServiceConfig2W", L"level " + std::to_wstring(level));
        return ChangeServiceConfig2W(service, level, settings);
    }
}

} // namespace

void InstallControlStandIns()
{
    TESTBED_REPLACE(RegisterServiceCtrlHandlerExW, RegisterHandler);
    TESTBED_REPLACE(SetServiceStatus, ReportStatus);
    TESTBED_REPLACE(ChangeServiceConfig2W, ChangeConfig);
}

} // namespace Testbed
