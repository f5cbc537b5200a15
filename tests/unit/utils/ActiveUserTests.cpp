// The active session, a token of its user and a process in it: what the caller gets, which calls are made, what the
// log says.
#include "utils/ActiveUser.h"

#include "tests/harness/ChildProcess.h"
#include "tests/harness/ImportHook.h"
#include "tests/harness/LogCapture.h"

#include <gtest/gtest.h>

#include <wtsapi32.h>

#include <memory>
#include <string>
#include <vector>

namespace
{
const HANDLE kUserToken = reinterpret_cast<HANDLE>(0x71710);
const HANDLE kShellProcess = reinterpret_cast<HANDLE>(0x72720);
const HANDLE kShellToken = reinterpret_cast<HANDLE>(0x73730);

wchar_t g_services[] = L"Services";
wchar_t g_console[] = L"Console";
wchar_t g_remote[] = L"RDP-Tcp#1";

wchar_t g_explorer[] = L"explorer.exe";
wchar_t g_explorerUpper[] = L"EXPLORER.EXE";
wchar_t g_explorerOld[] = L"explorer.exe.old";
wchar_t g_explore[] = L"explore.exe";
wchar_t g_other[] = L"svchost.exe";

// Answers for WTSEnumerateSessionsW and WTSEnumerateProcessesW that hand out a list of the test.
template <typename Record> auto HandsOut(std::vector<Record>& records)
{
    return [&records](HANDLE, DWORD, DWORD, Record** list, DWORD* count) {
        *list = records.data();
        *count = static_cast<DWORD>(records.size());
        return TRUE;
    };
}

WTS_PROCESS_INFOW Process(DWORD session, DWORD id, wchar_t* name)
{
    return {session, id, name, nullptr};
}
} // namespace

TEST(GetCurrentSessionID, GivesTheFirstActiveSessionAndLogsTheRecordsUpToIt)
{
    LogCapture log;
    std::vector<WTS_SESSION_INFOW> sessions{
        {0, g_services, WTSDisconnected}, {3, g_console, WTSActive}, {5, g_remote, WTSActive}};
    IMPORT_HOOK(WTSEnumerateSessionsW)(HandsOut(sessions));
    IMPORT_HOOK(WTSFreeMemory)([](void*) {});
    IMPORT_HOOK(WTSGetActiveConsoleSessionId)([] { return DWORD{9}; });

    EXPECT_EQ(3u, Utils::GetCurrentSessionID());

    EXPECT_RECORDS(log, L"TraceIn|Utils::GetCurrentSessionID|",
                   L"Information|Utils::GetCurrentSessionID|Session Count = 3",
                   L"Information|Utils::GetCurrentSessionID|pWinStationName = Services, State = 4, SessionId = 0",
                   L"Information|Utils::GetCurrentSessionID|pWinStationName = Console, State = 0, SessionId = 3",
                   L"Information|Utils::GetCurrentSessionID|Session 3 is the Active session",
                   L"TraceOut|Utils::GetCurrentSessionID|Session Id = 3");
    EXPECT_EQ(0, hook_WTSGetActiveConsoleSessionId.Calls());
}

TEST(GetCurrentSessionID, AsksTheLocalServerForVersionOneRecordsAndFreesThem)
{
    std::vector<WTS_SESSION_INFOW> sessions{{3, g_console, WTSActive}};
    HANDLE server = INVALID_HANDLE_VALUE;
    DWORD reserved = 99;
    DWORD version = 0;
    std::vector<void*> freed;
    IMPORT_HOOK(WTSEnumerateSessionsW)
    ([&](HANDLE serverHandle, DWORD reservedValue, DWORD recordVersion, WTS_SESSION_INFOW** list, DWORD* count) {
        server = serverHandle;
        reserved = reservedValue;
        version = recordVersion;
        return HandsOut(sessions)(serverHandle, reservedValue, recordVersion, list, count);
    });
    IMPORT_HOOK(WTSFreeMemory)([&](void* list) { freed.push_back(list); });

    Utils::GetCurrentSessionID();

    EXPECT_EQ(nullptr, server);
    EXPECT_EQ(0u, reserved);
    EXPECT_EQ(1u, version);
    EXPECT_EQ(std::vector<void*>{sessions.data()}, freed);
}

TEST(GetCurrentSessionID, TakesAFailedEnumerationForNoSessionsAndAsksForTheConsole)
{
    LogCapture log;
    IMPORT_HOOK(WTSEnumerateSessionsW)([](auto...) { return FALSE; });
    IMPORT_HOOK(WTSFreeMemory)([](void*) {});
    IMPORT_HOOK(WTSGetActiveConsoleSessionId)([] { return DWORD{2}; });

    EXPECT_EQ(2u, Utils::GetCurrentSessionID());

    EXPECT_LINES(log, L"TraceIn|", L"Information|Session Count = 0", L"TraceOut|Session Id = 2");
    EXPECT_EQ(0, hook_WTSFreeMemory.Calls());
}

TEST(GetCurrentSessionID, WithoutAnActiveSessionGivesTheConsoleSession)
{
    std::vector<WTS_SESSION_INFOW> sessions{{4, g_console, WTSDisconnected}, {6, g_remote, WTSConnected}};
    std::vector<const char*> order;
    IMPORT_HOOK(WTSEnumerateSessionsW)(HandsOut(sessions));
    IMPORT_HOOK(WTSFreeMemory)([&](void*) { order.push_back("free"); });
    IMPORT_HOOK(WTSGetActiveConsoleSessionId)
    ([&] {
        order.push_back("console");
        return DWORD{7};
    });

    EXPECT_EQ(7u, Utils::GetCurrentSessionID());

    EXPECT_EQ((std::vector<const char*>{"free", "console"}), order);
}

TEST(GetCurrentSessionID, WithSessionZeroActiveGivesTheConsoleSession)
{
    LogCapture log;
    std::vector<WTS_SESSION_INFOW> sessions{{0, g_services, WTSActive}, {5, g_remote, WTSActive}};
    IMPORT_HOOK(WTSEnumerateSessionsW)(HandsOut(sessions));
    IMPORT_HOOK(WTSFreeMemory)([](void*) {});
    IMPORT_HOOK(WTSGetActiveConsoleSessionId)([] { return DWORD{8}; });

    EXPECT_EQ(8u, Utils::GetCurrentSessionID());

    EXPECT_LINES(log, L"TraceIn|", L"Information|Session Count = 2",
                 L"Information|pWinStationName = Services, State = 0, SessionId = 0",
                 L"Information|Session 0 is the Active session", L"TraceOut|Session Id = 8");
}

TEST(GetCurrentSessionID, WithOnlySessionZeroAndNoConsoleGivesZeroAndLogsTheError)
{
    LogCapture log;
    std::vector<WTS_SESSION_INFOW> sessions{{0, g_services, WTSDisconnected}};
    IMPORT_HOOK(WTSEnumerateSessionsW)(HandsOut(sessions));
    IMPORT_HOOK(WTSFreeMemory)([](void*) {});
    IMPORT_HOOK(WTSGetActiveConsoleSessionId)
    ([] {
        SetLastError(7022);
        return DWORD{0xFFFFFFFF};
    });

    EXPECT_EQ(0u, Utils::GetCurrentSessionID());

    EXPECT_LINES(log, L"TraceIn|", L"Information|Session Count = 1",
                 L"Information|pWinStationName = Services, State = 4, SessionId = 0",
                 L"Error|WTSGetActiveConsoleSessionId failed with Error: 7022", L"TraceOut|Session Id = 0");
}

TEST(GetCurrentSessionID, WithTheConsoleInSessionZeroGivesZeroWithoutAnError)
{
    LogCapture log;
    IMPORT_HOOK(WTSEnumerateSessionsW)([](auto...) { return FALSE; });
    IMPORT_HOOK(WTSGetActiveConsoleSessionId)([] { return DWORD{0}; });

    EXPECT_EQ(0u, Utils::GetCurrentSessionID());

    EXPECT_LINES(log, L"TraceIn|", L"Information|Session Count = 0", L"TraceOut|Session Id = 0");
}

TEST(GetCurrentSessionID, IsTimedAfterItsExitRecordWhenDiagnosticsAreOn)
{
    const auto log = LogCapture::Diagnostics();
    IMPORT_HOOK(WTSEnumerateSessionsW)([](auto...) { return FALSE; });
    IMPORT_HOOK(WTSGetActiveConsoleSessionId)([] { return DWORD{2}; });

    Utils::GetCurrentSessionID();

    const auto lines = log->LinesOf("Utils::GetCurrentSessionID");
    ASSERT_EQ(4u, lines.size());
    EXPECT_EQ(L"TraceOut|Session Id = 2", lines[2]);
    EXPECT_EQ(0u, lines[3].find(L"Diag|Elapsed time = "));
}

TEST(GetActiveSessionToken, OfSessionZeroIsInvalidAndTheErrorTakesThePlaceOfTheExitRecord)
{
    LogCapture log;
    IMPORT_HOOK(RevertToSelf)([] { return TRUE; });
    IMPORT_HOOK(WTSQueryUserToken)([](auto...) { return TRUE; });

    EXPECT_EQ(INVALID_HANDLE_VALUE, Utils::GetActiveSessionToken(0));

    EXPECT_RECORDS(log, L"TraceIn|Utils::GetActiveSessionToken|",
                   L"Error|Utils::GetActiveSessionToken|Error : No Active sessions found.");
    EXPECT_EQ(0, hook_RevertToSelf.Calls());
    EXPECT_EQ(0, hook_WTSQueryUserToken.Calls());
}

TEST(GetActiveSessionToken, IsTheTokenOfTheSessionAndStaysOpen)
{
    LogCapture log;
    DWORD asked = 0;
    IMPORT_HOOK(RevertToSelf)([] { return TRUE; });
    IMPORT_HOOK(WTSQueryUserToken)
    ([&](ULONG session, HANDLE* token) {
        asked = session;
        *token = kUserToken;
        return TRUE;
    });
    IMPORT_HOOK(CloseHandle)([](HANDLE) { return TRUE; });

    EXPECT_EQ(kUserToken, Utils::GetActiveSessionToken(4));

    EXPECT_EQ(4u, asked);
    EXPECT_EQ(0, hook_CloseHandle.Calls());
    EXPECT_LINES(log, L"TraceIn|", L"TraceOut|");
}

TEST(GetActiveSessionToken, EndsAnImpersonationBeforeItAsks)
{
    bool impersonatingWhenAsked = true;
    ASSERT_TRUE(ImpersonateSelf(SecurityImpersonation));
    IMPORT_HOOK(WTSQueryUserToken)
    ([&](ULONG, HANDLE* token) {
        HANDLE threadToken = nullptr;
        impersonatingWhenAsked = OpenThreadToken(GetCurrentThread(), TOKEN_QUERY, TRUE, &threadToken) != FALSE;
        *token = kUserToken;
        return TRUE;
    });

    Utils::GetActiveSessionToken(4);
    RevertToSelf();

    EXPECT_FALSE(impersonatingWhenAsked);
}

TEST(GetActiveSessionToken, GoesOnWhenTheThreadCannotRevert)
{
    LogCapture log;
    IMPORT_HOOK(RevertToSelf)
    ([] {
        SetLastError(5);
        return FALSE;
    });
    IMPORT_HOOK(WTSQueryUserToken)
    ([](ULONG, HANDLE* token) {
        *token = kUserToken;
        return TRUE;
    });

    EXPECT_EQ(kUserToken, Utils::GetActiveSessionToken(4));

    EXPECT_LINES(log, L"TraceIn|", L"Error|RevertToSelf() failed with error: 5", L"TraceOut|");
}

TEST(GetActiveSessionToken, FallsBackToTheShellOfTheSessionWhenTheQueryFails)
{
    LogCapture log;
    std::vector<WTS_PROCESS_INFOW> processes{Process(1, 100, g_explorer), Process(4, 200, g_explorer)};
    DWORD access = 0;
    BOOL inherit = TRUE;
    DWORD openedId = 0;
    HANDLE tokenOf = nullptr;
    DWORD tokenAccess = 0;
    std::vector<HANDLE> closed;
    IMPORT_HOOK(WTSQueryUserToken)
    ([](auto...) {
        SetLastError(1314);
        return FALSE;
    });
    IMPORT_HOOK(WTSEnumerateProcessesW)(HandsOut(processes));
    IMPORT_HOOK(WTSFreeMemory)([](void*) {});
    IMPORT_HOOK(OpenProcess)
    ([&](DWORD desiredAccess, BOOL inheritHandle, DWORD processId) {
        access = desiredAccess;
        inherit = inheritHandle;
        openedId = processId;
        return kShellProcess;
    });
    IMPORT_HOOK(OpenProcessToken)
    ([&](HANDLE process, DWORD desiredAccess, HANDLE* token) {
        tokenOf = process;
        tokenAccess = desiredAccess;
        *token = kShellToken;
        return TRUE;
    });
    IMPORT_HOOK(CloseHandle)
    ([&](HANDLE handle) {
        closed.push_back(handle);
        return TRUE;
    });

    EXPECT_EQ(kShellToken, Utils::GetActiveSessionToken(4));

    EXPECT_RECORDS(log, L"TraceIn|Utils::GetActiveSessionToken|",
                   L"Error|Utils::GetActiveSessionToken|WTSQueryUserToken failed with error: 1314. Bypassing to other "
                   L"winlogon method",
                   L"TraceIn|Utils::GetProcessIDInCurrentLogOn|ProcessName = explorer.exe",
                   L"Verbose|Utils::GetProcessIDInCurrentLogOn|Process Id: 100, Session Id: 1",
                   L"Verbose|Utils::GetProcessIDInCurrentLogOn|Process Id: 200, Session Id: 4",
                   L"TraceOut|Utils::GetProcessIDInCurrentLogOn|Process Id = 200",
                   L"TraceOut|Utils::GetActiveSessionToken|");
    EXPECT_EQ(0x02000000u, access);
    EXPECT_FALSE(inherit);
    EXPECT_EQ(200u, openedId);
    EXPECT_EQ(kShellProcess, tokenOf);
    EXPECT_EQ(0x000201EBu, tokenAccess);
    EXPECT_EQ(std::vector<HANDLE>{kShellProcess}, closed);
}

TEST(GetActiveSessionToken, WithoutAShellInTheSessionIsInvalidAndWritesNoExitRecord)
{
    LogCapture log;
    std::vector<WTS_PROCESS_INFOW> processes{Process(1, 100, g_explorer)};
    IMPORT_HOOK(WTSQueryUserToken)
    ([](ULONG, HANDLE* token) {
        *token = nullptr;
        SetLastError(1008);
        return FALSE;
    });
    IMPORT_HOOK(WTSEnumerateProcessesW)(HandsOut(processes));
    IMPORT_HOOK(WTSFreeMemory)([](void*) {});
    IMPORT_HOOK(OpenProcessToken)([](auto...) { return TRUE; });

    // The system itself refuses to open process 0, with error 87.
    EXPECT_EQ(INVALID_HANDLE_VALUE, Utils::GetActiveSessionToken(4));

    EXPECT_THAT(log.LinesOf("Utils::GetActiveSessionToken"),
                testing::ElementsAre(
                    L"TraceIn|", L"Error|WTSQueryUserToken failed with error: 1008. Bypassing to other winlogon method",
                    L"Error|OpenProcess with Pid 0 failed with error : 87"));
    EXPECT_EQ(0, hook_OpenProcessToken.Calls());
}

TEST(GetActiveSessionToken, ClosesTheShellBeforeTheExitRecordWhenItsTokenCannotBeOpened)
{
    LogCapture log;
    std::vector<WTS_PROCESS_INFOW> processes{Process(4, 200, g_explorer)};
    std::size_t linesWhenClosed = 0;
    IMPORT_HOOK(WTSQueryUserToken)([](auto...) { return FALSE; });
    IMPORT_HOOK(WTSEnumerateProcessesW)(HandsOut(processes));
    IMPORT_HOOK(WTSFreeMemory)([](void*) {});
    IMPORT_HOOK(OpenProcess)([](auto...) { return kShellProcess; });
    IMPORT_HOOK(OpenProcessToken)
    ([](auto...) {
        SetLastError(5);
        return FALSE;
    });
    IMPORT_HOOK(CloseHandle)
    ([&](HANDLE handle) {
        if (handle == kShellProcess)
        {
            linesWhenClosed = log.LinesOf("Utils::GetActiveSessionToken").size();
        }
        return TRUE;
    });

    EXPECT_EQ(INVALID_HANDLE_VALUE, Utils::GetActiveSessionToken(4));

    const auto lines = log.LinesOf("Utils::GetActiveSessionToken");
    ASSERT_EQ(4u, lines.size());
    EXPECT_EQ(L"Error|Process token open Error: 5", lines[2]);
    EXPECT_EQ(L"TraceOut|", lines[3]);
    EXPECT_EQ(3u, linesWhenClosed);
}

TEST(GetActiveSessionToken, ComesBackAsTheFailedOpeningOfTheShellTokenLeftIt)
{
    std::vector<WTS_PROCESS_INFOW> processes{Process(4, 200, g_explorer)};
    IMPORT_HOOK(WTSQueryUserToken)([](auto...) { return FALSE; });
    IMPORT_HOOK(WTSEnumerateProcessesW)(HandsOut(processes));
    IMPORT_HOOK(WTSFreeMemory)([](void*) {});
    IMPORT_HOOK(OpenProcess)([](auto...) { return kShellProcess; });
    IMPORT_HOOK(CloseHandle)([](auto...) { return TRUE; });
    IMPORT_HOOK(OpenProcessToken)
    ([](HANDLE, DWORD, HANDLE* token) {
        *token = nullptr;
        return FALSE;
    });

    EXPECT_EQ(nullptr, Utils::GetActiveSessionToken(4));
}

TEST(GetProcessIDInCurrentLogOn, FindsTheProcessAndFreesTheList)
{
    LogCapture log;
    std::vector<WTS_PROCESS_INFOW> processes{Process(2, 10, g_other), Process(2, 20, g_explorer),
                                             Process(2, 30, g_explorer)};
    std::vector<void*> freed;
    IMPORT_HOOK(WTSEnumerateProcessesW)(HandsOut(processes));
    IMPORT_HOOK(WTSFreeMemory)([&](void* list) { freed.push_back(list); });
    const DWORD session = 2;

    EXPECT_EQ(20u, Utils::GetProcessIDInCurrentLogOn(&session, L"explorer.exe"));

    EXPECT_RECORDS(log, L"TraceIn|Utils::GetProcessIDInCurrentLogOn|ProcessName = explorer.exe",
                   L"Verbose|Utils::GetProcessIDInCurrentLogOn|Process Id: 20, Session Id: 2",
                   L"TraceOut|Utils::GetProcessIDInCurrentLogOn|Process Id = 20");
    EXPECT_EQ(std::vector<void*>{processes.data()}, freed);
}

TEST(GetProcessIDInCurrentLogOn, AsksTheLocalServerForVersionOneRecords)
{
    HANDLE server = INVALID_HANDLE_VALUE;
    DWORD reserved = 99;
    DWORD version = 0;
    IMPORT_HOOK(WTSEnumerateProcessesW)
    ([&](HANDLE serverHandle, DWORD reservedValue, DWORD recordVersion, WTS_PROCESS_INFOW**, DWORD*) {
        server = serverHandle;
        reserved = reservedValue;
        version = recordVersion;
        return FALSE;
    });
    const DWORD session = 2;

    Utils::GetProcessIDInCurrentLogOn(&session, L"explorer.exe");

    EXPECT_EQ(nullptr, server);
    EXPECT_EQ(0u, reserved);
    EXPECT_EQ(1u, version);
}

TEST(GetProcessIDInCurrentLogOn, ComparesInAnyMixOfCase)
{
    std::vector<WTS_PROCESS_INFOW> processes{Process(2, 21, g_explorerUpper)};
    IMPORT_HOOK(WTSEnumerateProcessesW)(HandsOut(processes));
    IMPORT_HOOK(WTSFreeMemory)([](void*) {});
    const DWORD session = 2;

    EXPECT_EQ(21u, Utils::GetProcessIDInCurrentLogOn(&session, L"Explorer.exe"));
}

TEST(GetProcessIDInCurrentLogOn, TakesALongerNameThatBeginsWithTheWantedOne)
{
    std::vector<WTS_PROCESS_INFOW> processes{Process(2, 22, g_explorerOld)};
    IMPORT_HOOK(WTSEnumerateProcessesW)(HandsOut(processes));
    IMPORT_HOOK(WTSFreeMemory)([](void*) {});
    const DWORD session = 2;

    EXPECT_EQ(22u, Utils::GetProcessIDInCurrentLogOn(&session, L"explorer.exe"));
}

TEST(GetProcessIDInCurrentLogOn, PassesOverDifferentAndMissingNames)
{
    std::vector<WTS_PROCESS_INFOW> processes{Process(2, 23, g_explore), Process(2, 24, nullptr)};
    IMPORT_HOOK(WTSEnumerateProcessesW)(HandsOut(processes));
    IMPORT_HOOK(WTSFreeMemory)([](void*) {});
    const DWORD session = 2;

    EXPECT_EQ(0u, Utils::GetProcessIDInCurrentLogOn(&session, L"explorer.exe"));
}

TEST(GetProcessIDInCurrentLogOn, GoesOnBehindAMatchInAnotherSession)
{
    LogCapture log;
    std::vector<WTS_PROCESS_INFOW> processes{Process(1, 31, g_explorer), Process(2, 32, g_explorer)};
    IMPORT_HOOK(WTSEnumerateProcessesW)(HandsOut(processes));
    IMPORT_HOOK(WTSFreeMemory)([](void*) {});
    const DWORD session = 2;

    EXPECT_EQ(32u, Utils::GetProcessIDInCurrentLogOn(&session, L"explorer.exe"));

    EXPECT_LINES(log, L"TraceIn|ProcessName = explorer.exe", L"Verbose|Process Id: 31, Session Id: 1",
                 L"Verbose|Process Id: 32, Session Id: 2", L"TraceOut|Process Id = 32");
}

TEST(GetProcessIDInCurrentLogOn, GivesZeroAndFreesTheListWhenTheNameRunsInOtherSessionsOnly)
{
    LogCapture log;
    std::vector<WTS_PROCESS_INFOW> processes{Process(1, 31, g_explorer)};
    std::size_t linesWhenFreed = 0;
    IMPORT_HOOK(WTSEnumerateProcessesW)(HandsOut(processes));
    IMPORT_HOOK(WTSFreeMemory)([&](void*) { linesWhenFreed = log.Lines().size(); });
    const DWORD session = 2;

    EXPECT_EQ(0u, Utils::GetProcessIDInCurrentLogOn(&session, L"explorer.exe"));

    EXPECT_LINES(log, L"TraceIn|ProcessName = explorer.exe", L"Verbose|Process Id: 31, Session Id: 1",
                 L"Error|Could not find the correct process id in the given session", L"TraceOut|Process Id = 0");
    EXPECT_EQ(1, hook_WTSFreeMemory.Calls());
    EXPECT_EQ(2u, linesWhenFreed);
}

TEST(GetProcessIDInCurrentLogOn, GivesZeroWhenTheProcessesCannotBeListed)
{
    LogCapture log;
    IMPORT_HOOK(WTSEnumerateProcessesW)([](auto...) { return FALSE; });
    IMPORT_HOOK(WTSFreeMemory)([](void*) {});
    const DWORD session = 2;

    EXPECT_EQ(0u, Utils::GetProcessIDInCurrentLogOn(&session, L"explorer.exe"));

    EXPECT_LINES(log, L"TraceIn|ProcessName = explorer.exe",
                 L"Error|Could not find the correct process id in the given session", L"TraceOut|Process Id = 0");
    EXPECT_EQ(0, hook_WTSFreeMemory.Calls());
}

TEST(GetProcessIDInCurrentLogOn, FindsARealProcess)
{
    const ChildProcess child{ChildProcess::UniqueBaseName()};
    ASSERT_TRUE(child.Running());
    DWORD session = 0;
    ASSERT_TRUE(ProcessIdToSessionId(child.Id(), &session));

    EXPECT_EQ(child.Id(), Utils::GetProcessIDInCurrentLogOn(&session, child.ImageName().c_str()));
}
