// The service's life under the service manager: start, controls, stop.
#include "tests/e2e/Pc.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using namespace E2e;
using testing::Contains;
using testing::ElementsAre;
using testing::EndsWith;
using testing::IsSupersetOf;
using testing::Not;
using testing::StartsWith;

namespace
{

// Times differ, states do not.
Lines StatesOf(const Lines& statuses)
{
    Lines states;
    for (const std::wstring& status : statuses)
    {
        states.push_back(status.substr(0, status.find(L' ')));
    }
    return states;
}

} // namespace

TEST(Start, ReachesRunningAndAcceptsItsControls)
{
    Pc pc;

    pc.InstallAndStart();

    const SERVICE_STATUS_PROCESS status = pc.Status();
    EXPECT_EQ(static_cast<DWORD>(SERVICE_RUNNING), status.dwCurrentState);
    EXPECT_EQ(0x1C5u, status.dwControlsAccepted);
    EXPECT_EQ(0u, status.dwWin32ExitCode);
    EXPECT_EQ(0u, status.dwCheckPoint);
    EXPECT_THAT(pc.Records(L"RegisterServiceCtrlHandlerExW"), ElementsAre(L"HotKeyServiceTLY"));
    EXPECT_THAT(pc.Records(L"SetServiceStatus"),
                ElementsAre(L"START_PENDING type=0x10 accepted=0x1c5 exit=0 specific=0 check-point=1 wait-hint=0",
                            L"RUNNING type=0x10 accepted=0x1c5 exit=0 specific=0 check-point=0 wait-hint=0"));
}

TEST(Start, WritesItsVersionToTheEventLog)
{
    Pc pc;

    pc.InstallAndStart();

    EXPECT_THAT(pc.Events(), Contains(StartsWith(L"type=4 category=2 id=0x60000000 source=HotKeyServiceTLY: "
                                                 L"Quil TLY Service (")));
    EXPECT_THAT(pc.EventTexts(), Contains(EndsWith(L") in OnStart")));
}

TEST(Start, SetsRestartAfterTwoFourAndSixMinutes)
{
    Pc pc;

    pc.InstallAndStart();

    EXPECT_THAT(pc.Records(L"ChangeServiceConfig2W"),
                ElementsAre(L"description: Quil Tessaly Service",
                            L"failure actions: reset=3600 reboot-message=null command=null "
                            L"actions=1/120000,1/240000,1/360000",
                            L"failure actions on other failures: 1"));
    EXPECT_TRUE(Eventually([&] {
        return testing::Value(pc.LogOf(L"CMainService::OnStart"),
                              Contains(L"Information|Quil TLY Service Restart Recovery On Failure set status : 0"));
    }));
}

TEST(Start, GoesOnWhenTheRecoverySettingsFail)
{
    Pc pc;
    pc.SetProfile(L"recovery", L"actions", L"5");
    pc.SetProfile(L"recovery", L"flag", L"124");

    pc.InstallAndStart();

    EXPECT_TRUE(Eventually([&] {
        return testing::Value(pc.LogOf(L"CMainService::OnStart"),
                              Contains(L"Information|Quil TLY Service Restart Recovery On Failure set status : 17"));
    }));
}

TEST(Start, OpensTheEndpointForEveryoneAndTheCompanionApp)
{
    Pc pc;

    pc.InstallAndStart();

    const std::wstring access =
        L"security=D:(A;;GA;;;WD)(A;;GA;;;S-1-15-3-1024-2306827983-2511505226-157064590-3285756981-1387144253-"
        L"3424006256-4048643945-679971713)";
    EXPECT_TRUE(Eventually([&] { return !pc.Records(L"RpcServerListen").empty(); }));
    EXPECT_THAT(pc.Records(L"DeriveCapabilitySidsFromName"), ElementsAre(L"QuilInc.hotKeyService_k3f9x2mq7tw1a"));
    EXPECT_THAT(pc.Records(L"RpcServerUseProtseqEpW"),
                ElementsAre(L"ncalrpc queue=10 endpoint=TLYRpcEndpoint " + access));
    EXPECT_THAT(pc.Records(L"RpcServerRegisterIf3"),
                ElementsAre(L"manager-type=null manager-vector=null flags=0x21 maximum-calls=1234 maximum-size=0 "
                            L"callback=null " +
                            access));
    EXPECT_THAT(pc.Records(L"RpcServerListen"), ElementsAre(L"minimum-threads=1 maximum-calls=1234 dont-wait=0"));
}

TEST(Start, StopsItselfWhenAnotherProgramHoldsTheEndpoint)
{
    Pc pc{L"endpoint-taken"};

    pc.Install();
    const ProgramResult start = RunProgram(L"sc start HotKeyServiceTLY");

    EXPECT_EQ(0u, start.exitCode);
    EXPECT_TRUE(pc.WaitForState(SERVICE_STOPPED));
    EXPECT_TRUE(
        Eventually([&] { return testing::Value(StatesOf(pc.Records(L"SetServiceStatus")), Contains(L"STOPPED")); }));
    EXPECT_THAT(pc.EventTexts(), IsSupersetOf({L"RpcServerMonitoringThread - Entry", L"Quil TLY Service in OnStop"}));
    pc.WaitForEnd();
    EXPECT_THAT(pc.Log(), Contains(EndsWith(L"|RpcServerStart Failed to start with return status 1740")));
}

TEST(Start, SecondStartAfterAStopWorks)
{
    Pc pc;
    pc.InstallAndStart();
    pc.Control(L"stop");
    pc.WaitForEnd();

    pc.Start();

    EXPECT_EQ(static_cast<DWORD>(SERVICE_RUNNING), pc.Status().dwCurrentState);
}

TEST(Start, WorksAfterTheServiceWasKilled)
{
    Pc pc;
    pc.InstallAndStart();
    pc.Kill();

    pc.Start();

    EXPECT_TRUE(Eventually([&] { return pc.Records(L"RpcServerListen").size() == 2; }));
}

TEST(Stop, GoesThroughStopPendingAndWritesItsEvents)
{
    Pc pc;
    pc.InstallAndStart();

    pc.Control(L"stop");

    EXPECT_TRUE(pc.WaitForState(SERVICE_STOPPED));
    EXPECT_EQ(0u, pc.Status().dwWin32ExitCode);
    EXPECT_THAT(pc.Records(L"SetServiceStatus"),
                ElementsAre(L"START_PENDING type=0x10 accepted=0x1c5 exit=0 specific=0 check-point=1 wait-hint=0",
                            L"RUNNING type=0x10 accepted=0x1c5 exit=0 specific=0 check-point=0 wait-hint=0",
                            L"STOP_PENDING type=0x10 accepted=0x1c5 exit=0 specific=0 check-point=2 wait-hint=0",
                            L"STOPPED type=0x10 accepted=0x1c5 exit=0 specific=0 check-point=0 wait-hint=0"));
    EXPECT_THAT(pc.EventTexts(), Contains(L"Quil TLY Service in OnStop"));
}

TEST(Stop, ProcessEndsSoonAfterwards)
{
    Pc pc;
    pc.InstallAndStart();

    pc.Control(L"stop");

    pc.WaitForEnd();
}

struct EndingControl
{
    const char* title;
    const wchar_t* control;
    const wchar_t* event;
};

void PrintTo(const EndingControl& control, std::ostream* stream)
{
    *stream << control.title;
}

class EndingControls : public testing::TestWithParam<EndingControl>
{
};

TEST_P(EndingControls, WriteTheirEventThenStopTheService)
{
    Pc pc;
    pc.InstallAndStart();

    pc.Control(GetParam().control);

    EXPECT_TRUE(pc.WaitForState(SERVICE_STOPPED));
    const Lines events = pc.EventTexts();
    EXPECT_THAT(events, IsSupersetOf({GetParam().event, L"Quil TLY Service in OnStop"}));
    EXPECT_THAT(StatesOf(pc.Records(L"SetServiceStatus")),
                ElementsAre(L"START_PENDING", L"RUNNING", L"STOP_PENDING", L"STOPPED"));
}

INSTANTIATE_TEST_SUITE_P(, EndingControls,
                         testing::Values(EndingControl{"shutdown", L"shutdown", L"CMainService in OnShutdown"},
                                         EndingControl{"preshutdown", L"preshutdown",
                                                       L"CMainService in OnPreShutdown"}),
                         [](const auto& each) { return each.param.title; });

TEST(SessionChange, LogonRenewsTheHelperAndReadsTheLocale)
{
    Pc pc;
    pc.InstallAndStart();

    pc.Control(L"logon");

    EXPECT_THAT(pc.Records(L"control"), Contains(L"14 type=5 -> 0"));
    EXPECT_THAT(pc.EventTexts(), Contains(L"OnSessionChange - Type = 0x5"));
    EXPECT_TRUE(Eventually([&] {
        return testing::Value(pc.LogOf(L"CMainService::OnSessionChange"),
                              IsSupersetOf({L"Information|OnSessionChange - 0x5", L"Information|WTS_SESSION_LOGON",
                                            L"Information|Calling CreateAppActivationHandler() from "
                                            L"WTS_SESSION_LOGON "}));
    }));
    EXPECT_TRUE(Eventually([&] {
        return testing::Value(pc.LogOf(L"RpcServer::SysInfo::CHotKeyHandler::GetLocale"),
                              Contains(L"Information|Complete Locale en_US"));
    }));
}

TEST(SessionChange, LogonOfAUserFromTaiwanReadsTraditionalChinese)
{
    Pc pc{L"taiwan"};
    pc.InstallAndStart();

    pc.Control(L"logon");

    EXPECT_TRUE(Eventually([&] {
        return testing::Value(pc.LogOf(L"RpcServer::SysInfo::CHotKeyHandler::GetLocale"),
                              Contains(L"Information|Complete Locale zh_HANT"));
    }));
}

TEST(SessionChange, UnlockAfterALogoffRenewsTheHelperOnce)
{
    Pc pc;
    pc.InstallAndStart();
    const auto created = [&] {
        return pc.LogOf(L"RpcServer::SysInfo::CHotKeyHandler::CreateAppActivationHandler").size();
    };
    pc.Control(L"logoff");
    pc.Control(L"lock");
    pc.Control(L"unlock");
    const std::wstring lastLine = L"Information|OnSessionChange - 0x8";
    const auto unlocksLogged = [&](std::ptrdiff_t count) {
        const Lines lines = pc.LogOf(L"CMainService::OnSessionChange");
        return std::ranges::count(lines, lastLine) == count;
    };
    // Queued lines arrive in order: once the next control's line is there, all of the one before are.
    pc.Control(L"lock");
    ASSERT_TRUE(Eventually([&] { return unlocksLogged(1); }));
    ASSERT_TRUE(Eventually([&] {
        const Lines lines = pc.LogOf(L"CMainService::OnSessionChange");
        return std::ranges::count(lines, L"Information|OnSessionChange - 0x7") == 2;
    }));
    const std::size_t afterFirst = created();

    pc.Control(L"unlock");
    pc.Control(L"stop");
    pc.WaitForEnd();

    EXPECT_TRUE(unlocksLogged(2));
    EXPECT_EQ(afterFirst, created());
}

TEST(SessionChange, UnlockWithoutLogoffDoesNothing)
{
    Pc pc;
    pc.InstallAndStart();

    pc.Control(L"unlock");

    EXPECT_THAT(pc.EventTexts(), Contains(L"OnSessionChange - Type = 0x8"));
    EXPECT_EQ(static_cast<DWORD>(SERVICE_RUNNING), pc.Status().dwCurrentState);
}

TEST(SessionChange, UnknownTypeIsAnEventOfItsOwn)
{
    Pc pc;
    pc.InstallAndStart();

    pc.Control(L"session 9");

    EXPECT_THAT(pc.EventTexts(),
                IsSupersetOf({L"OnSessionChange - Type = 0x9", L"OnSessionChange-default type - 0x9"}));
}

TEST(PowerEvent, ResumeRenewsTheHelper)
{
    Pc pc;
    pc.InstallAndStart();

    pc.Control(L"resume");

    EXPECT_TRUE(Eventually([&] {
        return testing::Value(
            pc.LogOf(L"CMainService::OnPowerEvent"),
            IsSupersetOf(
                {L"Information|PowerEvent - 0x12",
                 L"Information|PowerEvent - PBT_APMRESUMEAUTOMATIC.System resuming from sleep/suspend/shutdown.",
                 L"Information|Re-Enable Single Scan Code and Recreate App activation handler"}));
    }));
}

TEST(PowerEvent, PowerStatusIsOnlyAnEvent)
{
    Pc pc;
    pc.InstallAndStart();

    pc.Control(L"power-status");

    EXPECT_THAT(pc.Events(), Contains(L"type=4 category=2 id=0x60000000 source=HotKeyServiceTLY: "
                                      L"PowerEvent-default - 0xa"));
}

TEST(PowerEvent, SuspendIsNoEvent)
{
    Pc pc;
    pc.InstallAndStart();

    pc.Control(L"suspend");

    EXPECT_THAT(pc.Records(L"control"), Contains(L"13 type=4 -> 0"));
    EXPECT_THAT(pc.EventTexts(), Not(Contains(StartsWith(L"PowerEvent"))));
}

TEST(Control, UserDefinedControlChangesNothing)
{
    Pc pc;
    pc.InstallAndStart();
    const std::size_t events = pc.Events().size();

    pc.Control(L"0x80");

    EXPECT_THAT(pc.Records(L"control"), ElementsAre(L"128 type=0 -> 0"));
    EXPECT_EQ(events, pc.Events().size());
    EXPECT_EQ(2u, pc.Records(L"SetServiceStatus").size());
}
