// Acting as the logged-on user: results, state, records, and the handles that stay open.
#include "utils/AppActivationHandler.h"

#include "tests/harness/ImportHook.h"
#include "tests/harness/LogCapture.h"

#include <gtest/gtest.h>

#include <windows.h>

#include <wtsapi32.h>

#include <string>
#include <type_traits>
#include <vector>

using RpcServer::AppSection::CAppActivationHandler;

namespace
{
const HANDLE kUserToken = reinterpret_cast<HANDLE>(0x71710);
constexpr char kImpersonate[] = "RpcServer::AppSection::CAppActivationHandler::ImpersonateUserLogOnSession";

// Answers for a machine where a user is logged on in session 4.
auto NoSessions()
{
    return [](auto...) { return FALSE; };
}
auto ConsoleSession(DWORD session)
{
    return [session] { return session; };
}
auto UserToken()
{
    return [](ULONG, HANDLE* token) {
        *token = kUserToken;
        return TRUE;
    };
}

// Whether the calling thread has a token of its own, asked as the process.
bool ThreadImpersonates()
{
    HANDLE token = nullptr;
    if (!OpenThreadToken(GetCurrentThread(), TOKEN_QUERY, TRUE, &token))
    {
        return false;
    }
    CloseHandle(token);
    return true;
}

// An impersonation token of the process's own user.
HANDLE OwnUserToken()
{
    HANDLE processToken = nullptr;
    HANDLE token = nullptr;
    OpenProcessToken(GetCurrentProcess(), TOKEN_DUPLICATE | TOKEN_QUERY, &processToken);
    DuplicateTokenEx(processToken, MAXIMUM_ALLOWED, nullptr, SecurityImpersonation, TokenPrimary, &token);
    CloseHandle(processToken);
    return token;
}
} // namespace

TEST(CAppActivationHandler, HoldsOneFlagAndHasNoVirtualOperations)
{
    EXPECT_EQ(1u, sizeof(CAppActivationHandler));
    EXPECT_FALSE(std::is_polymorphic_v<CAppActivationHandler>);
}

TEST(CAppActivationHandler, DoesNotImpersonateAfterConstruction)
{
    LogCapture log;
    const CAppActivationHandler handler;

    EXPECT_FALSE(handler.IsImpersonating());

    EXPECT_RECORDS(log, L"TraceIn|RpcServer::AppSection::CAppActivationHandler::CAppActivationHandler|",
                   L"TraceOut|RpcServer::AppSection::CAppActivationHandler::CAppActivationHandler|");
}

TEST(CAppActivationHandler, AlwaysRemovesTheImpersonationAtItsEnd)
{
    LogCapture log;
    IMPORT_HOOK(RevertToSelf)([] { return TRUE; });
    {
        const CAppActivationHandler handler;
        log.Clear();
    }

    EXPECT_EQ(1, hook_RevertToSelf.Calls());
    EXPECT_RECORDS(log, L"TraceIn|RpcServer::AppSection::CAppActivationHandler::~CAppActivationHandler|",
                   L"TraceIn|RpcServer::AppSection::CAppActivationHandler::RemoveImpersonation|",
                   L"TraceOut|RpcServer::AppSection::CAppActivationHandler::RemoveImpersonation|",
                   L"TraceOut|RpcServer::AppSection::CAppActivationHandler::~CAppActivationHandler|");
}

TEST(ImpersonateUserLogOnSession, WithNobodyLoggedOnSucceedsWithoutImpersonating)
{
    LogCapture log;
    IMPORT_HOOK(WTSEnumerateSessionsW)(NoSessions());
    IMPORT_HOOK(WTSGetActiveConsoleSessionId)(ConsoleSession(0xFFFFFFFF));
    IMPORT_HOOK(WTSQueryUserToken)(UserToken());
    IMPORT_HOOK(ImpersonateLoggedOnUser)([](HANDLE) { return TRUE; });
    CAppActivationHandler handler;

    EXPECT_TRUE(handler.ImpersonateUserLogOnSession());

    EXPECT_FALSE(handler.IsImpersonating());
    EXPECT_EQ(0, hook_WTSQueryUserToken.Calls());
    EXPECT_EQ(0, hook_ImpersonateLoggedOnUser.Calls());
    EXPECT_THAT(log.LinesOf(kImpersonate),
                testing::ElementsAre(L"TraceIn|", L"Information|Inside ImpersonateUserLogOnSession",
                                     L"Error|Error : No Active sessions found."));
}

TEST(ImpersonateUserLogOnSession, ImpersonatesTheUserOfTheSession)
{
    LogCapture log;
    HANDLE impersonated = nullptr;
    DWORD asked = 0;
    IMPORT_HOOK(WTSEnumerateSessionsW)(NoSessions());
    IMPORT_HOOK(WTSGetActiveConsoleSessionId)(ConsoleSession(4));
    IMPORT_HOOK(WTSQueryUserToken)
    ([&](ULONG session, HANDLE* token) {
        asked = session;
        *token = kUserToken;
        return TRUE;
    });
    IMPORT_HOOK(ImpersonateLoggedOnUser)
    ([&](HANDLE token) {
        impersonated = token;
        return TRUE;
    });
    CAppActivationHandler handler;

    EXPECT_TRUE(handler.ImpersonateUserLogOnSession());

    EXPECT_TRUE(handler.IsImpersonating());
    EXPECT_EQ(4u, asked);
    EXPECT_EQ(kUserToken, impersonated);
    EXPECT_THAT(log.LinesOf(kImpersonate),
                testing::ElementsAre(L"TraceIn|", L"Information|Inside ImpersonateUserLogOnSession",
                                     L"Information|Exiting ImpersonateUserLogOnSession Successfully"));
}

TEST(ImpersonateUserLogOnSession, WithoutATokenFails)
{
    LogCapture log;
    IMPORT_HOOK(WTSEnumerateSessionsW)(NoSessions());
    IMPORT_HOOK(WTSGetActiveConsoleSessionId)(ConsoleSession(4));
    IMPORT_HOOK(WTSQueryUserToken)([](auto...) { return FALSE; });
    IMPORT_HOOK(WTSEnumerateProcessesW)([](auto...) { return FALSE; });
    IMPORT_HOOK(OpenProcess)
    ([](auto...) {
        SetLastError(87);
        return nullptr;
    });
    IMPORT_HOOK(LookupPrivilegeValueW)([](auto...) { return TRUE; });
    CAppActivationHandler handler;

    EXPECT_FALSE(handler.ImpersonateUserLogOnSession());
    const DWORD error = GetLastError();

    EXPECT_EQ(87u, error);
    EXPECT_FALSE(handler.IsImpersonating());
    EXPECT_EQ(0, hook_LookupPrivilegeValueW.Calls());
    EXPECT_THAT(log.LinesOf(kImpersonate),
                testing::ElementsAre(L"TraceIn|", L"Information|Inside ImpersonateUserLogOnSession",
                                     L"Error|GetActiveSessionToken failed"));
}

TEST(ImpersonateUserLogOnSession, LooksUpTheDebugPrivilegeOnTheLocalMachine)
{
    const wchar_t* system = L"?";
    std::wstring name;
    IMPORT_HOOK(WTSEnumerateSessionsW)(NoSessions());
    IMPORT_HOOK(WTSGetActiveConsoleSessionId)(ConsoleSession(4));
    IMPORT_HOOK(WTSQueryUserToken)(UserToken());
    IMPORT_HOOK(ImpersonateLoggedOnUser)([](HANDLE) { return TRUE; });
    IMPORT_HOOK(LookupPrivilegeValueW)
    ([&](const wchar_t* systemName, const wchar_t* privilege, LUID*) {
        system = systemName;
        name = privilege;
        return TRUE;
    });
    CAppActivationHandler handler;

    EXPECT_TRUE(handler.ImpersonateUserLogOnSession());

    EXPECT_EQ(nullptr, system);
    EXPECT_EQ(L"SeDebugPrivilege", name);
}

TEST(ImpersonateUserLogOnSession, WithoutTheDebugPrivilegeFailsAndKeepsTheTokenOpen)
{
    LogCapture log;
    IMPORT_HOOK(WTSEnumerateSessionsW)(NoSessions());
    IMPORT_HOOK(WTSGetActiveConsoleSessionId)(ConsoleSession(4));
    IMPORT_HOOK(WTSQueryUserToken)(UserToken());
    IMPORT_HOOK(CloseHandle)([](HANDLE) { return TRUE; });
    IMPORT_HOOK(ImpersonateLoggedOnUser)([](HANDLE) { return TRUE; });
    IMPORT_HOOK(LookupPrivilegeValueW)
    ([](auto...) {
        SetLastError(1313);
        return FALSE;
    });
    CAppActivationHandler handler;

    EXPECT_FALSE(handler.ImpersonateUserLogOnSession());

    EXPECT_FALSE(handler.IsImpersonating());
    EXPECT_EQ(0, hook_ImpersonateLoggedOnUser.Calls());
    EXPECT_EQ(0, hook_CloseHandle.Calls());
    EXPECT_THAT(log.LinesOf(kImpersonate),
                testing::ElementsAre(L"TraceIn|", L"Information|Inside ImpersonateUserLogOnSession",
                                     L"Error|Lookup Privilege value Error: 1313"));
}

TEST(ImpersonateUserLogOnSession, ThatIsRefusedFailsKeepsTheTokenOpenAndLeavesTheLastError)
{
    LogCapture log;
    IMPORT_HOOK(WTSEnumerateSessionsW)(NoSessions());
    IMPORT_HOOK(WTSGetActiveConsoleSessionId)(ConsoleSession(4));
    IMPORT_HOOK(WTSQueryUserToken)(UserToken());
    IMPORT_HOOK(CloseHandle)([](HANDLE) { return TRUE; });
    IMPORT_HOOK(ImpersonateLoggedOnUser)
    ([](HANDLE) {
        SetLastError(1368);
        return FALSE;
    });
    CAppActivationHandler handler;

    EXPECT_FALSE(handler.ImpersonateUserLogOnSession());
    const DWORD error = GetLastError();

    EXPECT_EQ(1368u, error);
    EXPECT_FALSE(handler.IsImpersonating());
    EXPECT_EQ(0, hook_CloseHandle.Calls());
    EXPECT_THAT(log.LinesOf(kImpersonate),
                testing::ElementsAre(L"TraceIn|", L"Information|Inside ImpersonateUserLogOnSession",
                                     L"Error|ImpersonateLoggedOnUser Failure"));
}

TEST(ImpersonateUserLogOnSession, TakesOnlyTheInvalidHandleForAMissingToken)
{
    HANDLE impersonated = INVALID_HANDLE_VALUE;
    IMPORT_HOOK(WTSEnumerateSessionsW)(NoSessions());
    IMPORT_HOOK(WTSGetActiveConsoleSessionId)(ConsoleSession(4));
    IMPORT_HOOK(WTSQueryUserToken)
    ([](ULONG, HANDLE* token) {
        *token = nullptr;
        return TRUE;
    });
    IMPORT_HOOK(ImpersonateLoggedOnUser)
    ([&](HANDLE token) {
        impersonated = token;
        return FALSE;
    });
    CAppActivationHandler handler;

    EXPECT_FALSE(handler.ImpersonateUserLogOnSession());

    EXPECT_EQ(nullptr, impersonated);
}

TEST(ImpersonateUserLogOnSession, KeepsTheTokenOpenForTheLifeOfTheProcess)
{
    std::vector<HANDLE> closed;
    IMPORT_HOOK(WTSEnumerateSessionsW)(NoSessions());
    IMPORT_HOOK(WTSGetActiveConsoleSessionId)(ConsoleSession(4));
    IMPORT_HOOK(WTSQueryUserToken)(UserToken());
    IMPORT_HOOK(ImpersonateLoggedOnUser)([](HANDLE) { return TRUE; });
    IMPORT_HOOK(CloseHandle)
    ([&](HANDLE handle) {
        closed.push_back(handle);
        return TRUE;
    });
    {
        CAppActivationHandler handler;
        ASSERT_TRUE(handler.ImpersonateUserLogOnSession());
        handler.RemoveImpersonation();
    }

    EXPECT_TRUE(closed.empty());
}

TEST(ImpersonateUserLogOnSession, IsTimedAlthoughItWritesNoExitRecord)
{
    const auto log = LogCapture::Diagnostics();
    IMPORT_HOOK(WTSEnumerateSessionsW)(NoSessions());
    IMPORT_HOOK(WTSGetActiveConsoleSessionId)(ConsoleSession(0));
    CAppActivationHandler handler;

    handler.ImpersonateUserLogOnSession();

    const auto lines = log->LinesOf(kImpersonate);
    ASSERT_EQ(4u, lines.size());
    EXPECT_EQ(0u, lines[3].find(L"Diag|Elapsed time = "));
}

TEST(ImpersonateUserLogOnSession, GivesTheThreadTheUsersIdentityUntilItIsRemoved)
{
    IMPORT_HOOK(WTSEnumerateSessionsW)(NoSessions());
    IMPORT_HOOK(WTSGetActiveConsoleSessionId)(ConsoleSession(4));
    IMPORT_HOOK(WTSQueryUserToken)
    ([](ULONG, HANDLE* token) {
        *token = OwnUserToken();
        return TRUE;
    });
    CAppActivationHandler handler;
    ASSERT_FALSE(ThreadImpersonates());

    EXPECT_TRUE(handler.ImpersonateUserLogOnSession());
    EXPECT_TRUE(ThreadImpersonates());

    handler.RemoveImpersonation();
    EXPECT_FALSE(ThreadImpersonates());
    EXPECT_FALSE(handler.IsImpersonating());
}

TEST(CAppActivationHandler, GivesTheThreadItsIdentityBackAtItsEnd)
{
    IMPORT_HOOK(WTSEnumerateSessionsW)(NoSessions());
    IMPORT_HOOK(WTSGetActiveConsoleSessionId)(ConsoleSession(4));
    IMPORT_HOOK(WTSQueryUserToken)
    ([](ULONG, HANDLE* token) {
        *token = OwnUserToken();
        return TRUE;
    });
    {
        CAppActivationHandler handler;
        ASSERT_TRUE(handler.ImpersonateUserLogOnSession());
        ASSERT_TRUE(ThreadImpersonates());
    }

    EXPECT_FALSE(ThreadImpersonates());
}

TEST(RemoveImpersonation, ClearsTheStateAlsoWhenTheThreadCannotRevert)
{
    LogCapture log;
    IMPORT_HOOK(WTSEnumerateSessionsW)(NoSessions());
    IMPORT_HOOK(WTSGetActiveConsoleSessionId)(ConsoleSession(4));
    IMPORT_HOOK(WTSQueryUserToken)(UserToken());
    IMPORT_HOOK(ImpersonateLoggedOnUser)([](HANDLE) { return TRUE; });
    IMPORT_HOOK(RevertToSelf)([] { return FALSE; });
    CAppActivationHandler handler;
    ASSERT_TRUE(handler.ImpersonateUserLogOnSession());
    log.Clear();

    handler.RemoveImpersonation();

    EXPECT_FALSE(handler.IsImpersonating());
    EXPECT_RECORDS(log, L"TraceIn|RpcServer::AppSection::CAppActivationHandler::RemoveImpersonation|",
                   L"TraceOut|RpcServer::AppSection::CAppActivationHandler::RemoveImpersonation|");
}
