// Launches into the user's session: which token, which arguments, what each failing call leaves and logs;
// and where the USB-C application is looked for.
#include "hotkey/KeyBoardBridge.h"

#include "tests/harness/ImportHook.h"
#include "tests/harness/LogCapture.h"
#include "tests/unit/hotkey/HandlerMachine.h"
#include "tests/unit/hotkey/LaunchMachine.h"
#include "tests/unit/hotkey/ProbeBridge.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <shlobj.h>

#include <string>
#include <vector>

using testing::ElementsAre;

namespace
{

constexpr char kLaunch[] = "RpcServer::CKeyBoardBridge::LaunchProcess";
constexpr char kElevated[] = "Utils::GetElevatedUserToken";
constexpr char kPath[] = "RpcServer::CKeyBoardBridge::GetUsbCAppPath";

class LaunchProcess : public testing::Test
{
  protected:
    BOOL Launch(DWORD mode)
    {
        wchar_t commandLine[] = L" /some thing";
        return bridge.LaunchProcess(L"C:\\Apps\\app.exe", commandLine, mode);
    }

    HandlerMachine handlerMachine;
    ProbeBridge bridge;
    LaunchMachine machine;
    LogCapture log;
};

} // namespace

TEST_F(LaunchProcess, ForTheUserMakesItsCallsAndCleansUpInOrder)
{
    EXPECT_EQ(TRUE, Launch(0));

    EXPECT_THAT(machine.calls,
                ElementsAre(L"OpenProcessToken", L"LookupPrivilegeValueW", L"AdjustTokenPrivileges",
                            L"DuplicateTokenEx", L"SetTokenInformation", L"CreateEnvironmentBlock",
                            L"CreateProcessAsUserW", L"close thread", L"close process", L"close environment",
                            L"close new token", L"close user token", L"restore privilege", L"close process token"));
    EXPECT_THAT(log.LinesOf(kLaunch), ElementsAre(L"TraceIn|", L"Information|Process to launch = C:\\Apps\\app.exe",
                                                  L"Verbose|Current Session ID = 1", L"TraceOut|Return: 0x00000001"));
}

TEST_F(LaunchProcess, EnablesAndRestoresTheTcbPrivilege)
{
    Launch(0);

    EXPECT_EQ(DWORD{TOKEN_ADJUST_PRIVILEGES | TOKEN_QUERY}, machine.processTokenAccess);
    EXPECT_EQ(L"SeTcbPrivilege", machine.privilegeName);
    EXPECT_EQ(1u, machine.enabled.PrivilegeCount);
    EXPECT_EQ(7u, machine.enabled.Privileges[0].Luid.LowPart);
    EXPECT_EQ(DWORD{SE_PRIVILEGE_ENABLED}, machine.enabled.Privileges[0].Attributes);
    EXPECT_EQ(sizeof(TOKEN_PRIVILEGES), machine.enabledSize);
    EXPECT_EQ(1u, machine.restored.PrivilegeCount);
    EXPECT_EQ(0u, machine.restored.Privileges[0].Attributes);
    EXPECT_EQ(sizeof(TOKEN_PRIVILEGES), machine.restoredSize);
}

TEST_F(LaunchProcess, GivesAPrimaryCopyOfTheTokenUiAccess)
{
    Launch(0);

    EXPECT_EQ(LaunchMachine::Handle(0xB1), machine.duplicated);
    EXPECT_EQ(DWORD{MAXIMUM_ALLOWED}, machine.duplicateAccess);
    EXPECT_EQ(SecurityIdentification, machine.duplicateLevel);
    EXPECT_EQ(TokenPrimary, machine.duplicateType);
    EXPECT_EQ(1u, machine.uiAccess);
    EXPECT_EQ(4u, machine.uiAccessSize);
}

TEST_F(LaunchProcess, CreatesTheProcessOnTheUsersDesktopWithoutInheritance)
{
    Launch(0);

    EXPECT_EQ(LaunchMachine::Handle(0xC1), machine.processUser);
    EXPECT_EQ(L"C:\\Apps\\app.exe", machine.application);
    EXPECT_EQ(L" /some thing", machine.commandLine);
    EXPECT_TRUE(machine.plainSecurity);
    EXPECT_EQ(FALSE, machine.inheritHandles);
    EXPECT_EQ(0x420u, machine.flags);
    EXPECT_NE(nullptr, machine.environment);
    EXPECT_EQ(TRUE, machine.environmentInherits);
    EXPECT_FALSE(machine.folderGiven);
    EXPECT_EQ(104u, machine.startupSize);
    EXPECT_EQ(L"winsta0\\default", machine.desktop);
}

TEST_F(LaunchProcess, HandlesThatTheNewProcessDoesNotGiveAreNotClosed)
{
    machine.threadHandle = nullptr;
    machine.processHandle = nullptr;

    EXPECT_EQ(TRUE, Launch(0));

    EXPECT_THAT(machine.calls, testing::Not(testing::Contains(L"close thread")));
    EXPECT_THAT(machine.calls, testing::Not(testing::Contains(L"close process")));
}

TEST_F(LaunchProcess, AFailingRestoreIsTheResultAlthoughTheProgramRuns)
{
    machine.failures[L"restore privilege"] = 6;

    EXPECT_EQ(FALSE, Launch(0));

    EXPECT_EQ(1, machine.Launches());
    EXPECT_TRUE(machine.LeftOpen().empty());
    EXPECT_EQ(L"TraceOut|Return: 0x00000000", log.LinesOf(kLaunch).back());
}

TEST_F(LaunchProcess, APrivilegeThatIsNotHeldIsAWarningOnly)
{
    machine.adjustLastError = ERROR_NOT_ALL_ASSIGNED;

    EXPECT_EQ(TRUE, Launch(0));

    EXPECT_EQ(L"Warning|AdjustTokenPrivileges failed with a warning. No problem in executing other codes. Error: "
              L"0x00000514",
              log.LinesOf(kLaunch).at(2));
}

TEST_F(LaunchProcess, WithNobodyLoggedOnNothingIsLaunched)
{
    machine.session.sessionId = 0;

    EXPECT_EQ(FALSE, Launch(0));

    EXPECT_EQ(0, machine.Launches());
    EXPECT_THAT(log.LinesOf(kLaunch),
                ElementsAre(L"TraceIn|", L"Information|Process to launch = C:\\Apps\\app.exe",
                            L"Error|WTSGetActiveConsoleSessionId failed. Error: 0x00000000", L"TraceOut|"));
    EXPECT_THAT(machine.LeftOpen(), ElementsAre(L"process token"));
    EXPECT_THAT(machine.calls, testing::Not(testing::Contains(L"restore privilege")));
}

TEST_F(LaunchProcess, ASessionWithoutATokenLaunchesNothing)
{
    machine.session.queryResult = FALSE;
    machine.session.queryError = 1008;

    EXPECT_EQ(FALSE, Launch(0));

    EXPECT_EQ(0, machine.Launches());
    EXPECT_THAT(log.LinesOf(kLaunch),
                ElementsAre(L"TraceIn|", L"Information|Process to launch = C:\\Apps\\app.exe",
                            L"Verbose|Current Session ID = 1", L"Error|GetActiveSessionToken failed", L"TraceOut|"));
}

TEST_F(LaunchProcess, ANullTokenEndsItSilently)
{
    machine.session.userToken = nullptr;

    EXPECT_EQ(FALSE, Launch(0));

    EXPECT_EQ(0, machine.Launches());
    EXPECT_THAT(log.LinesOf(kLaunch), ElementsAre(L"TraceIn|", L"Information|Process to launch = C:\\Apps\\app.exe",
                                                  L"Verbose|Current Session ID = 1", L"TraceOut|"));
}

TEST_F(LaunchProcess, AnotherModeEndsItSilentlyAfterThePrivilege)
{
    EXPECT_EQ(FALSE, Launch(2));

    EXPECT_THAT(machine.calls, ElementsAre(L"OpenProcessToken", L"LookupPrivilegeValueW", L"AdjustTokenPrivileges"));
    EXPECT_THAT(log.LinesOf(kLaunch),
                ElementsAre(L"TraceIn|", L"Information|Process to launch = C:\\Apps\\app.exe", L"TraceOut|"));
}

// --- each failing call: its record, what stays open, that nothing after it runs

struct FailureRow
{
    const wchar_t* call;
    const wchar_t* record;
    std::vector<std::wstring> leftOpen;
};

class FailingLaunch : public LaunchProcess, public testing::WithParamInterface<FailureRow>
{
};

TEST_P(FailingLaunch, SaysSoReturns0AndLeavesEverythingOpen)
{
    machine.failures[GetParam().call] = 0x57;

    EXPECT_EQ(FALSE, Launch(0));

    EXPECT_EQ(GetParam().call, machine.calls.back());
    EXPECT_THAT(machine.LeftOpen(), testing::ElementsAreArray(GetParam().leftOpen));
    const std::vector<std::wstring> lines = log.LinesOf(kLaunch);
    EXPECT_EQ(GetParam().record, lines.at(lines.size() - 2));
    EXPECT_EQ(L"TraceOut|", lines.back());
}

// The user's token is not in the lists: it is the session's, not the machine's.
INSTANTIATE_TEST_SUITE_P(
    EachCall, FailingLaunch,
    testing::Values(
        FailureRow{L"OpenProcessToken", L"Error|OpenProcessToken failed. Error: 0x00000057", {}},
        FailureRow{
            L"LookupPrivilegeValueW", L"Error|LookupPrivilegeValue failed. Error: 0x00000057", {L"process token"}},
        FailureRow{
            L"AdjustTokenPrivileges", L"Error|AdjustTokenPrivileges failed. Error: 0x00000057", {L"process token"}},
        FailureRow{L"DuplicateTokenEx", L"Error|DuplicateTokenEx failed. Error: 0x00000057", {L"process token"}},
        FailureRow{L"SetTokenInformation",
                   L"Error|SetTokenInformation (TokenUIAccess) failed. Error: 0x00000057",
                   {L"process token", L"new token"}},
        FailureRow{L"CreateEnvironmentBlock",
                   L"Error|CreateEnvironmentBlock failed. Error: 0x00000057",
                   {L"process token", L"new token"}},
        FailureRow{L"CreateProcessAsUserW",
                   L"Error|CreateProcessAsUser failed. Error: 0x00000057",
                   {L"process token", L"new token", L"environment"}}));

// --- the elevated user

TEST_F(LaunchProcess, ElevatedUsesTheUsersOwnTokenWhenItIsNotSplit)
{
    EXPECT_EQ(TRUE, Launch(1));

    EXPECT_EQ(LaunchMachine::Handle(0xB1), machine.duplicated);
    EXPECT_THAT(machine.session.queriedSessions, ElementsAre(1u));
    EXPECT_THAT(machine.calls, testing::Not(testing::Contains(L"GetTokenInformation(TokenLinkedToken)")));
    EXPECT_TRUE(log.LinesOf(kElevated).empty());
    EXPECT_THAT(log.LinesOf(kLaunch), ElementsAre(L"TraceIn|", L"Information|Process to launch = C:\\Apps\\app.exe",
                                                  L"TraceOut|Return: 0x00000001"));
}

TEST_F(LaunchProcess, ElevatedUsesTheUsersOwnTokenWhenItIsAlreadyFull)
{
    machine.elevation = TokenElevationTypeFull;

    EXPECT_EQ(TRUE, Launch(1));

    EXPECT_EQ(LaunchMachine::Handle(0xB1), machine.duplicated);
}

TEST_F(LaunchProcess, ElevatedUsesTheLinkedTokenOfALimitedOne)
{
    machine.elevation = TokenElevationTypeLimited;

    EXPECT_EQ(TRUE, Launch(1));

    EXPECT_EQ(LaunchMachine::Handle(0xB2), machine.duplicated);
    EXPECT_THAT(machine.calls,
                ElementsAre(L"OpenProcessToken", L"LookupPrivilegeValueW", L"AdjustTokenPrivileges",
                            L"GetTokenInformation(TokenElevationType)", L"GetTokenInformation(TokenLinkedToken)",
                            L"close user token", L"GetTokenInformation(TokenType) of linked token", L"DuplicateTokenEx",
                            L"SetTokenInformation", L"CreateEnvironmentBlock", L"CreateProcessAsUserW", L"close thread",
                            L"close process", L"close environment", L"close new token", L"close linked token",
                            L"restore privilege", L"close process token"));
}

TEST_F(LaunchProcess, ElevatedWithoutAUsersTokenFails)
{
    machine.session.queryResult = FALSE;
    machine.session.queryError = 1008;

    EXPECT_EQ(FALSE, Launch(1));

    EXPECT_EQ(0, machine.Launches());
    EXPECT_THAT(log.LinesOf(kLaunch), ElementsAre(L"TraceIn|", L"Information|Process to launch = C:\\Apps\\app.exe",
                                                  L"Error|GetElevatedUserToken failed", L"TraceOut|"));
}

TEST_F(LaunchProcess, ElevatedWithAQueryThatFailsWithoutAnErrorEndsSilently)
{
    machine.session.queryResult = FALSE;

    EXPECT_EQ(FALSE, Launch(1));

    EXPECT_EQ(0, machine.Launches());
    EXPECT_THAT(log.LinesOf(kLaunch),
                ElementsAre(L"TraceIn|", L"Information|Process to launch = C:\\Apps\\app.exe", L"TraceOut|"));
}

TEST_F(LaunchProcess, ElevatedAsksTheCurrentSessionEvenWhenThereIsNone)
{
    machine.session.sessionId = 0;

    Launch(1);

    EXPECT_THAT(machine.session.queriedSessions, ElementsAre(0u));
}

TEST_F(LaunchProcess, AnUnknownElevationFailsAndLeavesTheTokenOpen)
{
    machine.failures[L"GetTokenInformation(TokenElevationType)"] = 5;

    EXPECT_EQ(FALSE, Launch(1));

    EXPECT_EQ(L"GetTokenInformation(TokenElevationType)", machine.calls.back());
    EXPECT_THAT(log.LinesOf(kElevated),
                ElementsAre(L"Error|GetTokenInformation with TokenElevationType failed. Error: 0x00000005"));
    EXPECT_EQ(L"Error|GetElevatedUserToken failed", log.LinesOf(kLaunch).at(2));
}

TEST_F(LaunchProcess, AnUnknownElevationWithoutAnErrorGoesOnWithTheUsersToken)
{
    machine.failures[L"GetTokenInformation(TokenElevationType)"] = 0;
    machine.elevation = TokenElevationTypeLimited;

    EXPECT_EQ(TRUE, Launch(1));

    EXPECT_EQ(LaunchMachine::Handle(0xB1), machine.duplicated);
    EXPECT_THAT(log.LinesOf(kElevated),
                ElementsAre(L"Error|GetTokenInformation with TokenElevationType failed. Error: 0x00000000"));
}

TEST_F(LaunchProcess, AMissingLinkedTokenFailsAndLeavesTheTokenOpen)
{
    machine.elevation = TokenElevationTypeLimited;
    machine.failures[L"GetTokenInformation(TokenLinkedToken)"] = 1312;

    EXPECT_EQ(FALSE, Launch(1));

    EXPECT_EQ(L"GetTokenInformation(TokenLinkedToken)", machine.calls.back());
    EXPECT_THAT(log.LinesOf(kElevated),
                ElementsAre(L"Error|GetTokenInformation with TokenLinkedToken failed. Error: 0x00000520"));
    EXPECT_EQ(L"Error|GetElevatedUserToken failed", log.LinesOf(kLaunch).at(2));
}

TEST_F(LaunchProcess, AMissingLinkedTokenWithoutAnErrorGoesOnWithTheUsersToken)
{
    machine.elevation = TokenElevationTypeLimited;
    machine.failures[L"GetTokenInformation(TokenLinkedToken)"] = 0;

    EXPECT_EQ(TRUE, Launch(1));

    EXPECT_EQ(LaunchMachine::Handle(0xB1), machine.duplicated);
    EXPECT_THAT(machine.calls, testing::Contains(L"GetTokenInformation(TokenType) of user token"));
}

TEST_F(LaunchProcess, AnUnknownTokenTypeFailsAndClosesTheToken)
{
    machine.failures[L"GetTokenInformation(TokenType) of user token"] = 6;

    EXPECT_EQ(FALSE, Launch(1));

    EXPECT_EQ(L"close user token", machine.calls.back());
    EXPECT_THAT(log.LinesOf(kElevated),
                ElementsAre(L"Error|GetTokenInformation with TokenType failed. Error: 0x00000006"));
    EXPECT_EQ(L"Error|GetElevatedUserToken failed", log.LinesOf(kLaunch).at(2));
}

TEST_F(LaunchProcess, AnUnknownTokenTypeWithoutAnErrorUsesTheTokenAnyway)
{
    machine.failures[L"GetTokenInformation(TokenType) of user token"] = 0;
    machine.tokenType = TokenImpersonation;

    EXPECT_EQ(TRUE, Launch(1));

    EXPECT_EQ(LaunchMachine::Handle(0xB1), machine.duplicated);
    EXPECT_THAT(log.LinesOf(kElevated),
                ElementsAre(L"Error|GetTokenInformation with TokenType failed. Error: 0x00000000"));
}

TEST_F(LaunchProcess, ATokenThatIsNotPrimaryIsClosedAndRefused)
{
    machine.elevation = TokenElevationTypeLimited;
    machine.tokenType = TokenImpersonation;

    EXPECT_EQ(FALSE, Launch(1));

    EXPECT_EQ(L"close linked token", machine.calls.back());
    EXPECT_THAT(machine.LeftOpen(), ElementsAre(L"process token"));
    EXPECT_THAT(log.LinesOf(kElevated), ElementsAre(L"Error|GetTokenInformation failed , Invalid Handle"));
    EXPECT_EQ(L"Error|GetElevatedUserToken failed", log.LinesOf(kLaunch).at(2));
}

// --- the USB-C application's path

namespace
{

constexpr wchar_t kFirstPath[] = L"C:\\Program Files (x86)\\Quil\\Quil Notifications\\QuilUsbCConfiguration.exe";
constexpr wchar_t kSecondPath[] = L"C:\\Program Files (x86)\\Quilmark\\Quil Notifications\\QuilUsbCConfiguration.exe";

class GetUsbCAppPath : public testing::Test
{
  protected:
    HandlerMachine handlerMachine;
    ProbeBridge bridge;
    std::wstring installed; // the path at which the application is found
    std::wstring folder{L"C:\\Program Files (x86)"};
    std::vector<HRESULT> folderResults{S_OK, S_OK}; // of the first and second query
    std::size_t folderQueries{0};
    std::vector<std::wstring> searched;
    int findsClosed{0};
    LogCapture log;

    IMPORT_HOOK(SHGetFolderPathW){[this](HWND window, int id, HANDLE token, DWORD flags, LPWSTR buffer) {
        EXPECT_EQ(nullptr, window);
        EXPECT_EQ(0x2A, id);
        EXPECT_EQ(nullptr, token);
        EXPECT_EQ(DWORD{SHGFP_TYPE_CURRENT}, flags);
        wcscpy(buffer, folder.c_str());
        return folderResults.at(folderQueries++);
    }};
    IMPORT_HOOK(FindFirstFileW){[this](LPCWSTR path, LPWIN32_FIND_DATAW) -> HANDLE {
        searched.emplace_back(path);
        return installed == path ? LaunchMachine::Handle(0xF1) : INVALID_HANDLE_VALUE;
    }};
    IMPORT_HOOK(FindClose){[this](HANDLE) {
        ++findsClosed;
        return TRUE;
    }};
};

} // namespace

TEST_F(GetUsbCAppPath, TheFirstFolderWins)
{
    installed = kFirstPath;

    EXPECT_EQ(kFirstPath, bridge.GetUsbCAppPath());

    EXPECT_THAT(searched, ElementsAre(kFirstPath));
    EXPECT_EQ(1, findsClosed);
    EXPECT_LINES(log, L"TraceIn|", std::wstring{L"Verbose|search from this path = "} + kFirstPath,
                 std::wstring{L"TraceOut|csExeName = "} + kFirstPath);
}

TEST_F(GetUsbCAppPath, TheSecondFolderIsSearchedAfterTheFirst)
{
    installed = kSecondPath;

    EXPECT_EQ(kSecondPath, bridge.GetUsbCAppPath());

    EXPECT_THAT(searched, ElementsAre(kFirstPath, kSecondPath));
    EXPECT_EQ(2u, folderQueries);
    EXPECT_EQ(1, findsClosed);
    EXPECT_LINES(log, L"TraceIn|", std::wstring{L"Verbose|search from this path = "} + kFirstPath,
                 std::wstring{L"Verbose|Try again to search from this path = "} + kSecondPath,
                 std::wstring{L"TraceOut|csExeName = "} + kSecondPath);
}

TEST_F(GetUsbCAppPath, InNeitherFolderItIsEmpty)
{
    EXPECT_EQ(L"", bridge.GetUsbCAppPath());

    EXPECT_EQ(0, findsClosed);
    EXPECT_EQ(L"TraceOut|csExeName = ", log.LinesOf(kPath).back());
}

TEST_F(GetUsbCAppPath, AnUnknownProgramFolderIsLoggedWithTwoBlanksAndItsResult)
{
    folderResults = {E_INVALIDARG};

    EXPECT_EQ(L"", bridge.GetUsbCAppPath());

    EXPECT_TRUE(searched.empty());
    EXPECT_LINES(log, L"TraceIn|", L"Error|SHGetFolderPathW failed.  Error: 0x80070057", L"TraceOut|[hr:0x80070057]");
}

TEST_F(GetUsbCAppPath, AFailureOfTheSecondQueryIsLoggedTheSameWay)
{
    folderResults = {S_OK, E_FAIL};

    EXPECT_EQ(L"", bridge.GetUsbCAppPath());

    EXPECT_THAT(searched, ElementsAre(kFirstPath));
    EXPECT_LINES(log, L"TraceIn|", std::wstring{L"Verbose|search from this path = "} + kFirstPath,
                 L"Error|SHGetFolderPathW failed.  Error: 0x80004005", L"TraceOut|[hr:0x80004005]");
}

TEST_F(GetUsbCAppPath, APathIsCutAt259Characters)
{
    folder.assign(250, L'x');

    bridge.GetUsbCAppPath();

    EXPECT_EQ(folder + L"\\Quil\\Qui", searched.at(0));
}
