// Programs that the service starts for the companion app: which, as whom, where, and what happens when that fails.
#include "client/HotKeyClient.h"
#include "testbed/Text.h"
#include "testbed/machine/Processes.h"
#include "tests/e2e/Pc.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using namespace E2e;
using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::StartsWith;

namespace
{

constexpr wchar_t kSystemInformation[] = L"C:\\windows\\system32\\msinfo32.exe";
constexpr wchar_t kImage[] = L"msinfo32.exe";

// The part of a launch record before the process id.
Lines LaunchesOf(const Pc& pc)
{
    Lines launches = pc.Records(L"CreateProcessAsUserW");
    for (std::wstring& launch : launches)
    {
        launch.resize(launch.find(L" -> "));
    }
    return launches;
}

bool IsRunning(DWORD id)
{
    return testing::Value(Testbed::ProcessIds(kImage), Contains(id));
}

// The log is written a moment after the answer.
bool LogGets(const Pc& pc, const std::wstring& record)
{
    return Eventually([&] { return testing::Value(pc.Log(), Contains(record)); });
}

void ExpectTaken(const HotKey::CResult<HotKey::CNothing>& answer)
{
    EXPECT_TRUE(answer) << (answer ? "" : Testbed::Utf8FromWide(answer.Error().strText));
}

void AskForSystemInformation()
{
    HotKey::CHotKeyClient client;
    ExpectTaken(client.LaunchSystemInformation());
}

void AskForUsbCApp()
{
    HotKey::CHotKeyClient client;
    ExpectTaken(client.LaunchUsbCApp());
}

} // namespace

TEST(LaunchSystemInformation, StartsAsTheUserOnTheUsersDesktopWithUiAccess)
{
    Pc pc;
    pc.InstallAndStart();

    AskForSystemInformation();

    EXPECT_THAT(LaunchesOf(pc), ElementsAre(L"application=\"C:\\Windows\\System32\\msinfo32.exe\" command-line=\"\" "
                                            L"desktop=\"winsta0\\default\" flags=0x420 inherit=no environment=block "
                                            L"user=user session=1 elevation=limited ui-access=yes"));
    EXPECT_EQ(1u, Testbed::ProcessIds(kImage).size());
}

TEST(LaunchSystemInformation, EndsTheRunningInstanceFirst)
{
    Pc pc;
    pc.InstallAndStart();
    const DWORD before = Testbed::StartDetached(kSystemInformation);
    ASSERT_TRUE(IsRunning(before));

    AskForSystemInformation();

    EXPECT_FALSE(IsRunning(before));
    EXPECT_EQ(1u, Testbed::ProcessIds(kImage).size());
    EXPECT_TRUE(LogGets(pc, L"Information|RpcServer::CKeyBoardBridge::ProcessCommand|"
                            L"KillProcessByName (msinfo32.exe) - HRESULT = 0x0"));
}

TEST(LaunchSystemInformation, EndsOnlyTheFirstOfSeveralInstances)
{
    Pc pc;
    pc.InstallAndStart();
    Testbed::StartDetached(kSystemInformation);
    Testbed::StartDetached(kSystemInformation);
    ASSERT_TRUE(Eventually([] { return Testbed::ProcessIds(kImage).size() == 2; }));

    AskForSystemInformation();

    EXPECT_EQ(2u, Testbed::ProcessIds(kImage).size());
}

TEST(LaunchSystemInformation, GoesToTheActiveUserOfSeveral)
{
    Pc pc{L"two-users"};
    pc.InstallAndStart();

    AskForSystemInformation();

    EXPECT_THAT(LaunchesOf(pc), ElementsAre(HasSubstr(L" user=second session=2 elevation=default ui-access=yes")));
}

TEST(LaunchSystemInformation, StartsNothingWhenNobodyIsLoggedOn)
{
    Pc pc{L"nobody-logged-on"};
    pc.InstallAndStart();

    AskForSystemInformation();

    EXPECT_TRUE(LogGets(pc, L"Error|RpcServer::CKeyBoardBridge::ProcessCommand|LaunchProcess failed for - MSInfo"));
    EXPECT_THAT(pc.Log(), Contains(L"Error|RpcServer::CKeyBoardBridge::LaunchProcess|"
                                   L"WTSGetActiveConsoleSessionId failed. Error: 0x00000000"));
    EXPECT_THAT(pc.Records(L"CreateProcessAsUserW"), IsEmpty());
}

struct LaunchFailure
{
    const char* title;
    const wchar_t* key;
    const wchar_t* record;
};

void PrintTo(const LaunchFailure& failure, std::ostream* stream)
{
    *stream << failure.title;
}

class LaunchFailures : public testing::TestWithParam<LaunchFailure>
{
};

TEST_P(LaunchFailures, AreLoggedWithTheirErrorAndTheServiceGoesOn)
{
    Pc pc;
    pc.InstallAndStart();
    pc.SetProfile(L"launch", GetParam().key, L"1314");

    AskForSystemInformation();

    EXPECT_TRUE(LogGets(pc, L"Error|RpcServer::CKeyBoardBridge::ProcessCommand|LaunchProcess failed for - MSInfo"));
    EXPECT_THAT(pc.Log(),
                Contains(std::wstring{L"Error|RpcServer::CKeyBoardBridge::LaunchProcess|"} + GetParam().record));
    EXPECT_THAT(Testbed::ProcessIds(kImage), IsEmpty());
    EXPECT_EQ(static_cast<DWORD>(SERVICE_RUNNING), pc.Status().dwCurrentState);
}

INSTANTIATE_TEST_SUITE_P(
    , LaunchFailures,
    testing::Values(
        LaunchFailure{"DuplicateToken", L"duplicate token", L"DuplicateTokenEx failed. Error: 0x00000522"},
        LaunchFailure{"UiAccess", L"ui access", L"SetTokenInformation (TokenUIAccess) failed. Error: 0x00000522"},
        LaunchFailure{"Environment", L"environment", L"CreateEnvironmentBlock failed. Error: 0x00000522"},
        LaunchFailure{"CreateProcess", L"create process", L"CreateProcessAsUser failed. Error: 0x00000522"}),
    [](const auto& each) { return each.param.title; });

TEST(LaunchUsbCApp, StartsTheAppInItsFirstFolder)
{
    Pc pc;
    pc.InstallAndStart();

    AskForUsbCApp();

    EXPECT_THAT(LaunchesOf(pc),
                ElementsAre(StartsWith(L"application=\"C:\\Program Files (x86)\\Quil\\Quil Notifications\\"
                                       L"QuilUsbCConfiguration.exe\" command-line=\"\" ")));
}

TEST(LaunchUsbCApp, FindsTheAppInItsSecondFolder)
{
    Pc pc{L"older-laptop"};
    pc.InstallAndStart();

    AskForUsbCApp();

    EXPECT_THAT(LaunchesOf(pc),
                ElementsAre(StartsWith(L"application=\"C:\\Program Files (x86)\\Quilmark\\Quil Notifications\\"
                                       L"QuilUsbCConfiguration.exe\" command-line=\"\" ")));
}

TEST(LaunchUsbCApp, LaunchesNothingWithoutTheApp)
{
    Pc pc;
    DeleteFileW(L"C:\\Program Files (x86)\\Quil\\Quil Notifications\\QuilUsbCConfiguration.exe");
    pc.InstallAndStart();

    AskForUsbCApp();

    EXPECT_TRUE(LogGets(pc, L"TraceOut|RpcServer::CKeyBoardBridge::GetUsbCAppPath|csExeName = "));
    EXPECT_THAT(pc.Records(L"CreateProcessAsUserW"), IsEmpty());
}

TEST(LaunchUsbCApp, KeepsThePathThatItFoundOnce)
{
    Pc pc;
    pc.InstallAndStart();
    AskForUsbCApp();
    ASSERT_TRUE(Eventually([] { return Testbed::ProcessIds(L"QuilUsbCConfiguration.exe").empty(); }));
    DeleteFileW(L"C:\\Program Files (x86)\\Quil\\Quil Notifications\\QuilUsbCConfiguration.exe");

    AskForUsbCApp();

    EXPECT_TRUE(LogGets(pc, L"Error|RpcServer::CKeyBoardBridge::LaunchProcess|"
                            L"CreateProcessAsUser failed. Error: 0x00000002"));
}
