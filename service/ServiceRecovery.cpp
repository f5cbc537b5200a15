#include "service/ServiceRecovery.h"

#include "shared/TraceScope.h"
#include "shared/UniqueHandle.h"
#include "utils/ServiceQuery.h"

#include <windows.h>

#include <iterator>

using Quil::Shared::CTraceScope;
using Quil::Shared::CUniqueService;

namespace Utils
{
namespace
{

constexpr int kActionsFailed = 1;
constexpr int kFlagFailed = 16;
constexpr DWORD kResetPeriodSeconds = 3600;

} // namespace

int SetServiceRestartRecoveryOnFailure(const wchar_t* serviceName)
{
    CTraceScope trace{"Utils::SetServiceRestartRecoveryOnFailure", L"Service Name = %s", serviceName};

    // In this order, so that the manager is closed first.
    CUniqueService service;
    CUniqueService manager;
    int result = GetService(serviceName, manager.Put(), service.Put(), SC_MANAGER_ALL_ACCESS);
    if (result == 0)
    {
        SC_ACTION restarts[] = {{SC_ACTION_RESTART, 120000}, {SC_ACTION_RESTART, 240000}, {SC_ACTION_RESTART, 360000}};
        SERVICE_FAILURE_ACTIONSW actions{};
        actions.dwResetPeriod = kResetPeriodSeconds;
        actions.cActions = static_cast<DWORD>(std::size(restarts));
        actions.lpsaActions = restarts;
        if (!ChangeServiceConfig2W(service.Get(), SERVICE_CONFIG_FAILURE_ACTIONS, &actions))
        {
            const DWORD error = GetLastError();
            // Deliberate: both texts end in a line feed.
            trace.Error(L"ChangeServiceConfig2 (SERVICE_CONFIG_FAILURE_ACTIONS) failed w/err 0x%08lx\n", error);
            result = kActionsFailed;
        }

        // A service that stops itself with an exit code is restarted too.
        SERVICE_FAILURE_ACTIONS_FLAG flag{};
        flag.fFailureActionsOnNonCrashFailures = TRUE;
        if (!ChangeServiceConfig2W(service.Get(), SERVICE_CONFIG_FAILURE_ACTIONS_FLAG, &flag))
        {
            const DWORD error = GetLastError();
            trace.Error(L"ChangeServiceConfig2 (SERVICE_CONFIG_FAILURE_ACTIONS_FLAG) failed w/err 0x%08lx\n", error);
            result += kFlagFailed;
        }
    }
    return trace.ExitValue(result, L"Return Value = %d");
}

} // namespace Utils
