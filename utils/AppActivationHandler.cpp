#include "utils/AppActivationHandler.h"

#include "shared/TraceScope.h"
#include "utils/ActiveUser.h"

#include <windows.h>

using Quil::Shared::CTraceScope;

namespace RpcServer::AppSection
{

CAppActivationHandler::CAppActivationHandler() : m_bImpersonating{false}
{
    CTraceScope trace{"RpcServer::AppSection::CAppActivationHandler::CAppActivationHandler"};
}

CAppActivationHandler::~CAppActivationHandler()
{
    CTraceScope trace{"RpcServer::AppSection::CAppActivationHandler::~CAppActivationHandler"};

    RemoveImpersonation();
}

bool CAppActivationHandler::ImpersonateUserLogOnSession()
{
    CTraceScope trace{"RpcServer::AppSection::CAppActivationHandler::ImpersonateUserLogOnSession"};
    // Deliberate: no exit record on any path.
    trace.NoExit();

    trace.Information(L"Inside ImpersonateUserLogOnSession");
    const DWORD sessionId = Utils::GetCurrentSessionID();
    if (sessionId == 0)
    {
        // Deliberate: with nobody logged on the caller goes on as the service.
        trace.Error(L"Error : No Active sessions found.");
        return true;
    }

    // Deliberate: the token stays open for the life of the process.
    const HANDLE token = Utils::GetActiveSessionToken(sessionId);
    if (token == INVALID_HANDLE_VALUE)
    {
        trace.Error(L"GetActiveSessionToken failed");
        return false;
    }
    // Deliberate: the privilege is looked up and not used; only a failure counts.
    LUID unused{};
    if (!LookupPrivilegeValueW(nullptr, L"SeDebugPrivilege", &unused))
    {
        trace.Error(L"Lookup Privilege value Error: %u", GetLastError());
        return false;
    }
    if (!ImpersonateLoggedOnUser(token))
    {
        trace.Error(L"ImpersonateLoggedOnUser Failure");
        return false;
    }
    m_bImpersonating = true;
    trace.Information(L"Exiting ImpersonateUserLogOnSession Successfully");
    return true;
}

void CAppActivationHandler::RemoveImpersonation()
{
    CTraceScope trace{"RpcServer::AppSection::CAppActivationHandler::RemoveImpersonation"};

    // Nothing is left to do for a thread that cannot go back.
    static_cast<void>(RevertToSelf());
    m_bImpersonating = false;
}

} // namespace RpcServer::AppSection
