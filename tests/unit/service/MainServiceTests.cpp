// CMainService: the story of each event, told by the log and the event log in their common order.
#include "service/MainService.h"

#include "hotkey/SysInfoSource.h"
#include "tests/harness/AllocationFault.h"
#include "tests/harness/LogCapture.h"
#include "tests/unit/service/MainServiceFixture.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <memory>
#include <optional>
#include <string>
#include <vector>

using RpcServer::SysInfo::g_sysInfoSource;
using testing::Contains;
using testing::ElementsAre;
using testing::Not;

// ---- construction and destruction

TEST_F(MainService, ConstructionMakesTheReader)
{
    ExposedService service;

    EXPECT_THAT(machine.Story(), ElementsAre(L"CMainService: TraceIn|", L"call RpcServer::WMIData::WMIData",
                                             L"CMainService: TraceOut|"));
}

TEST_F(MainService, DestructionFreesTheReader)
{
    {
        ExposedService service;
        machine.log.Clear();
    }

    EXPECT_THAT(machine.Story(), ElementsAre(L"~CMainService: TraceIn|", L"call RpcServer::WMIData::~WMIData",
                                             L"~CMainService: TraceOut|"));
}

TEST_F(MainService, OffersReadingAndReaderToTheHandlerWhileItLives)
{
    {
        ExposedService service;
        EXPECT_EQ(&CMainService::ReadSysInfo, g_sysInfoSource.ReadSysInfo);
        EXPECT_EQ(&CMainService::IsReadSysInfoReadCompleted, g_sysInfoSource.IsReadSysInfoReadCompleted);
        EXPECT_NE(nullptr, g_sysInfoSource.GetWMIData());
    }

    EXPECT_EQ(nullptr, g_sysInfoSource.ReadSysInfo);
    EXPECT_EQ(nullptr, g_sysInfoSource.IsReadSysInfoReadCompleted);
    EXPECT_EQ(nullptr, g_sysInfoSource.GetWMIData);
}

TEST_F(MainService, WithoutMemoryForTheReaderTheReadingThreadSaysSo)
{
    std::optional<AllocationFault> fault{0};
    ExposedService service;
    fault.reset();

    EXPECT_EQ(nullptr, g_sysInfoSource.GetWMIData());
    EXPECT_TRUE(CMainService::ReadSysInfo());
    EXPECT_TRUE(CMainService::IsReadSysInfoReadCompleted(INFINITE));
    EXPECT_THAT(machine.log.LinesOf("CMainService::ReadSysInfoThread"),
                ElementsAre(L"TraceIn|", L"Error|WMIData pointer is null", L"TraceOut|"));
}

// ---- start

TEST_F(RunningMainService, StartWithoutUserLogsVersionSetsRecoveryAndSubmitsTheRpcServer)
{
    machine.session = 0;

    service.Start();

    EXPECT_THAT(machine.Story(),
                ElementsAre(L"OnStart: TraceIn|", L"OnStart: Information|C:\\Program Files\\Quil\\HotKeyServiceTLY.exe",
                            L"OnStart: Information|Path: (C:\\Program Files\\Quil)", L"call Utils::GetBinaryVersion",
                            L"event 4|60000000|Quil TLY Service (0.0.0.0) in OnStart",
                            L"OnStart: Information|Quil TLY Service (0.0.0.0) in OnStart",
                            L"call Utils::SetServiceRestartRecoveryOnFailure HotKeyServiceTLY",
                            L"OnStart: Information|Quil TLY Service Restart Recovery On Failure set status : -3",
                            L"call Utils::GetCurrentSessionID", L"system CreateThreadpoolWork",
                            L"system SubmitThreadpoolWork", L"OnStart: TraceOut|"));
}

TEST_F(RunningMainService, StartWithUserRenewsTheImpersonationBeforeTheRpcServer)
{
    machine.session = 2;

    service.Start();

    EXPECT_THAT(machine.StoryAfter(L"call Utils::GetCurrentSessionID"),
                ElementsAre(L"call RpcServer::CKeyBoardBridge::getInstance",
                            L"call RpcServer::SysInfo::CHotKeyHandler::CreateAppActivationHandler",
                            L"system CreateThreadpoolWork", L"system SubmitThreadpoolWork", L"OnStart: TraceOut|"));
}

TEST_F(RunningMainService, PathWithoutBackslashIsItsOwnDirectory)
{
    machine.modulePath = L"HotKeyServiceTLY.exe";

    service.Start();

    EXPECT_THAT(machine.Story(), Contains(L"OnStart: Information|Path: (HotKeyServiceTLY.exe)"));
}

TEST_F(RunningMainService, PathIsItselfTheFormatOfItsRecord)
{
    machine.modulePath = L"C:\\100%%d and %d\\a.exe";

    service.Start();

    EXPECT_THAT(machine.Story(), Contains(L"OnStart: Information|C:\\100%d and 0\\a.exe"));
}

TEST_F(RunningMainService, StartWithoutModulePathStartsNothing)
{
    machine.modulePath.clear();

    service.Start();

    EXPECT_THAT(machine.Story(),
                ElementsAre(L"OnStart: TraceIn|", L"OnStart: Error|GetModuleFileName failed w/err 0x000000ab",
                            L"OnStart: TraceOut|"));
}

TEST_F(RunningMainService, StartWithoutWorkItemReportsItToBothLogs)
{
    machine.session = 0;
    machine.workItemFails = true;

    service.Start();

    EXPECT_THAT(machine.StoryAfter(L"call Utils::GetCurrentSessionID"),
                ElementsAre(L"system CreateThreadpoolWork",
                            L"event 1|E0000000|CreateThreadpoolWorkfailed w/err 0x00000008",
                            L"OnStart: Error|CreateThreadpoolWorkfailed w/err 0x00000008", L"OnStart: TraceOut|"));
}

// ---- the RPC work item

TEST_F(RunningMainService, WorkItemServesUntilListeningStops)
{
    service.Start();
    machine.log.Clear();
    machine.rpcStatus = 0;

    machine.RunWorkItem();

    EXPECT_THAT(machine.Story(),
                ElementsAre(L"event 4|60000000|RpcServerMonitoringThread - Entry",
                            L"RpcServerMonitoringThread: TraceIn|RpcServerMonitoringThread - Entry",
                            L"system RpcServerConnect", L"event 4|60000000|RpcServerMonitoringThread - Exit",
                            L"RpcServerMonitoringThread: TraceOut|RpcServerMonitoringThread - Exit"));
}

TEST_F(RunningMainService, WorkItemWhoseServerCannotStartStopsTheService)
{
    service.Start();
    machine.log.Clear();
    machine.rpcStatus = 1740;

    machine.RunWorkItem();

    EXPECT_THAT(
        machine.Story(),
        ElementsAre(L"event 4|60000000|RpcServerMonitoringThread - Entry",
                    L"RpcServerMonitoringThread: TraceIn|RpcServerMonitoringThread - Entry", L"system RpcServerConnect",
                    L"RpcServerMonitoringThread: Information|RpcServerStart Failed to start with return status "
                    L"1740",
                    L"system SetServiceStatus 3", L"OnStop: TraceIn|", L"event 4|60000000|Quil TLY Service in OnStop",
                    L"OnStop: Information|Quil TLY Service in OnStop", L"call RpcServer::CKeyBoardBridge::getInstance",
                    L"call RpcServer::CKeyBoardBridge::ReleaseHotKeyHandlerInstance", L"call RpcServerDisconnect",
                    L"OnStop: TraceOut|", L"system SetServiceStatus 1",
                    L"event 4|60000000|RpcServerMonitoringThread - Exit",
                    L"RpcServerMonitoringThread: TraceOut|RpcServerMonitoringThread - Exit"));
}

TEST_F(RunningMainService, WorkItemWithoutContextStopsNothing)
{
    service.Start();
    machine.log.Clear();
    machine.rpcStatus = 1740;

    machine.RunWorkItemWithoutContext();

    EXPECT_THAT(machine.Story(), Not(Contains(L"system SetServiceStatus 3")));
}

TEST_F(MainService, EveryOperationIsTimedAfterItsExitRecord)
{
    const std::unique_ptr<LogCapture> timed = LogCapture::Diagnostics();
    {
        ExposedService service;
        service.Start();
        machine.RunWorkItem();
        service.OnPowerEvent(4, nullptr);
        service.OnSessionChange(7, nullptr);
        CMainService::ReadSysInfo();
        CMainService::IsReadSysInfoReadCompleted(INFINITE);
        service.ConsoleRun();
        service.OnShutdown();
        service.OnPreShutdown();
    }

    for (const char* const name : {"CMainService", "~CMainService", "OnStart", "RpcServerMonitoringThread",
                                   "OnPowerEvent", "OnSessionChange", "ReadSysInfo", "ReadSysInfoThread",
                                   "IsReadSysInfoReadCompleted", "ConsoleRun", "OnStop", "OnShutdown", "OnPreShutdown"})
    {
        const std::vector<std::wstring> lines = timed->LinesOf(std::string{"CMainService::"} + name);
        ASSERT_LE(3u, lines.size()) << name;
        EXPECT_TRUE(lines[lines.size() - 2].starts_with(L"TraceOut|")) << name;
        EXPECT_TRUE(lines.back().starts_with(L"Diag|Elapsed time = ")) << name;
    }
}

// ---- stop and shutdown

TEST_F(RunningMainService, StopReleasesTheHandlerThenStopsTheRpcServer)
{
    service.OnStop();

    EXPECT_THAT(machine.Story(), ElementsAre(L"OnStop: TraceIn|", L"event 4|60000000|Quil TLY Service in OnStop",
                                             L"OnStop: Information|Quil TLY Service in OnStop",
                                             L"call RpcServer::CKeyBoardBridge::getInstance",
                                             L"call RpcServer::CKeyBoardBridge::ReleaseHotKeyHandlerInstance",
                                             L"call RpcServerDisconnect", L"OnStop: TraceOut|"));
}

TEST_F(RunningMainService, ShutdownLogsThenStops)
{
    service.OnShutdown();

    EXPECT_THAT(machine.Story(),
                ElementsAre(L"OnShutdown: TraceIn|", L"event 4|60000000|CMainService in OnShutdown",
                            L"OnShutdown: Information|Quil TLY Service in OnShutdown", L"OnStop: TraceIn|",
                            L"event 4|60000000|Quil TLY Service in OnStop",
                            L"OnStop: Information|Quil TLY Service in OnStop",
                            L"call RpcServer::CKeyBoardBridge::getInstance",
                            L"call RpcServer::CKeyBoardBridge::ReleaseHotKeyHandlerInstance",
                            L"call RpcServerDisconnect", L"OnStop: TraceOut|", L"OnShutdown: TraceOut|"));
}

TEST_F(RunningMainService, PreShutdownLogsThenStops)
{
    service.OnPreShutdown();

    EXPECT_THAT(machine.Story(),
                ElementsAre(L"OnPreShutdown: TraceIn|", L"event 4|60000000|CMainService in OnPreShutdown",
                            L"OnPreShutdown: Information|Quil TLY Service in OnPreShutdown", L"OnStop: TraceIn|",
                            L"event 4|60000000|Quil TLY Service in OnStop",
                            L"OnStop: Information|Quil TLY Service in OnStop",
                            L"call RpcServer::CKeyBoardBridge::getInstance",
                            L"call RpcServer::CKeyBoardBridge::ReleaseHotKeyHandlerInstance",
                            L"call RpcServerDisconnect", L"OnStop: TraceOut|", L"OnPreShutdown: TraceOut|"));
}

TEST_F(MainService, ShutdownStopsThroughTheVirtualTable)
{
    class OwnStop : public ExposedService
    {
      public:
        bool stopped{false};

      protected:
        void OnStop() override { stopped = true; }
    };
    OwnStop shutDown;
    shutDown.OnShutdown();
    EXPECT_TRUE(shutDown.stopped);

    OwnStop preShutDown;
    preShutDown.OnPreShutdown();
    EXPECT_TRUE(preShutDown.stopped);
}

// ---- power events

TEST_F(RunningMainService, ResumeRenewsTheImpersonation)
{
    service.OnPowerEvent(18, nullptr);

    EXPECT_THAT(machine.Story(),
                ElementsAre(L"OnPowerEvent: TraceIn|", L"OnPowerEvent: Information|PowerEvent - 0x12",
                            L"OnPowerEvent: Information|PowerEvent - PBT_APMRESUMEAUTOMATIC.System resuming from "
                            L"sleep/suspend/shutdown.",
                            L"OnPowerEvent: Information|Re-Enable Single Scan Code and Recreate App activation handler",
                            L"call RpcServer::CKeyBoardBridge::getInstance",
                            L"call RpcServer::SysInfo::CHotKeyHandler::CreateAppActivationHandler",
                            L"OnPowerEvent: TraceOut|"));
}

TEST_F(RunningMainService, SuspendAndStandbyAreOnlyLogged)
{
    service.OnPowerEvent(4, nullptr);
    service.OnPowerEvent(5, nullptr);

    EXPECT_THAT(machine.Story(),
                ElementsAre(L"OnPowerEvent: TraceIn|", L"OnPowerEvent: Information|PowerEvent - 0x4",
                            L"OnPowerEvent: TraceOut|", L"OnPowerEvent: TraceIn|",
                            L"OnPowerEvent: Information|PowerEvent - 0x5", L"OnPowerEvent: TraceOut|"));
}

TEST_F(RunningMainService, PowerStatusChangeGoesToTheEventLogAndChangesNothing)
{
    service.OnPowerEvent(10, nullptr);

    EXPECT_THAT(machine.Story(), ElementsAre(L"OnPowerEvent: TraceIn|", L"OnPowerEvent: Information|PowerEvent - 0xa",
                                             L"event 4|60000000|PowerEvent-default - 0xa", L"OnPowerEvent: TraceOut|"));
}

TEST_F(RunningMainService, EveryOtherPowerEventGoesToTheEventLog)
{
    for (const DWORD type :
         {DWORD{0}, DWORD{1}, DWORD{6}, DWORD{7}, DWORD{9}, DWORD{11}, DWORD{17}, DWORD{19}, DWORD{0x8013}})
    {
        machine.log.Clear();

        service.OnPowerEvent(type, nullptr);

        wchar_t number[16];
        swprintf_s(number, L"%x", type);
        EXPECT_THAT(machine.Story(), Contains(std::wstring{L"event 4|60000000|PowerEvent-default - 0x"} + number));
        EXPECT_THAT(machine.Story(), Not(Contains(L"call RpcServer::CKeyBoardBridge::getInstance")));
    }
}

// ---- session events

TEST_F(RunningMainService, LogonRenewsTheImpersonationAndReadsTheLocale)
{
    service.OnSessionChange(5, nullptr);

    EXPECT_THAT(
        machine.Story(),
        ElementsAre(L"OnSessionChange: TraceIn|", L"event 4|60000000|OnSessionChange - Type = 0x5",
                    L"OnSessionChange: Information|OnSessionChange - 0x5",
                    L"OnSessionChange: Information|WTS_SESSION_LOGON",
                    L"OnSessionChange: Information|Calling CreateAppActivationHandler() from WTS_SESSION_LOGON ",
                    L"call RpcServer::CKeyBoardBridge::getInstance",
                    L"call RpcServer::SysInfo::CHotKeyHandler::CreateAppActivationHandler",
                    L"call RpcServer::SysInfo::CHotKeyHandler::GetLocale",
                    L"call Utils::GetCurrentSessionID", // the locale's reading looks for the user
                    L"OnSessionChange: TraceOut|"));
}

TEST_F(RunningMainService, LogoffIsLoggedAndRemembered)
{
    service.OnSessionChange(6, nullptr);

    EXPECT_THAT(machine.Story(),
                ElementsAre(L"OnSessionChange: TraceIn|", L"event 4|60000000|OnSessionChange - Type = 0x6",
                            L"OnSessionChange: Information|OnSessionChange - 0x6",
                            L"OnSessionChange: Information|WTS_SESSION_LOGOFF", L"OnSessionChange: TraceOut|"));
}

TEST_F(RunningMainService, LockIsOnlyLogged)
{
    service.OnSessionChange(7, nullptr);

    EXPECT_THAT(machine.Story(),
                ElementsAre(L"OnSessionChange: TraceIn|", L"event 4|60000000|OnSessionChange - Type = 0x7",
                            L"OnSessionChange: Information|OnSessionChange - 0x7", L"OnSessionChange: TraceOut|"));
}

TEST_F(RunningMainService, UnlockWithoutLogoffRenewsNothing)
{
    service.OnSessionChange(8, nullptr);

    EXPECT_THAT(machine.Story(),
                ElementsAre(L"OnSessionChange: TraceIn|", L"event 4|60000000|OnSessionChange - Type = 0x8",
                            L"OnSessionChange: Information|OnSessionChange - 0x8",
                            L"OnSessionChange: Information|WTS_SESSION_UNLOCK", L"OnSessionChange: TraceOut|"));
}

TEST_F(RunningMainService, LogoffThenLockThenUnlockRenewsOnce)
{
    service.OnSessionChange(6, nullptr);
    service.OnSessionChange(7, nullptr);
    machine.log.Clear();

    service.OnSessionChange(8, nullptr);

    EXPECT_THAT(machine.Story(),
                ElementsAre(L"OnSessionChange: TraceIn|", L"event 4|60000000|OnSessionChange - Type = 0x8",
                            L"OnSessionChange: Information|OnSessionChange - 0x8",
                            L"OnSessionChange: Information|WTS_SESSION_UNLOCK",
                            L"call RpcServer::CKeyBoardBridge::getInstance",
                            L"call RpcServer::SysInfo::CHotKeyHandler::CreateAppActivationHandler",
                            L"OnSessionChange: TraceOut|"));
}

TEST_F(RunningMainService, SecondUnlockRenewsNothing)
{
    service.OnSessionChange(6, nullptr);
    service.OnSessionChange(8, nullptr);
    machine.log.Clear();

    service.OnSessionChange(8, nullptr);

    EXPECT_THAT(machine.Story(), Not(Contains(L"call RpcServer::CKeyBoardBridge::getInstance")));
}

TEST_F(RunningMainService, LogonLeavesTheLogoffRemembered)
{
    service.OnSessionChange(6, nullptr);
    service.OnSessionChange(5, nullptr);
    machine.log.Clear();

    service.OnSessionChange(8, nullptr);

    EXPECT_THAT(machine.Story(), Contains(L"call RpcServer::CKeyBoardBridge::getInstance"));
}

TEST_F(RunningMainService, EveryOtherSessionEventGoesToTheEventLogTwice)
{
    for (const DWORD type : {DWORD{0}, DWORD{1}, DWORD{2}, DWORD{3}, DWORD{4}, DWORD{9}, DWORD{11}})
    {
        machine.log.Clear();

        service.OnSessionChange(type, nullptr);

        wchar_t number[16];
        swprintf_s(number, L"%x", type);
        EXPECT_THAT(machine.Story(),
                    ElementsAre(L"OnSessionChange: TraceIn|",
                                std::wstring{L"event 4|60000000|OnSessionChange - Type = 0x"} + number,
                                std::wstring{L"OnSessionChange: Information|OnSessionChange - 0x"} + number,
                                std::wstring{L"event 4|60000000|OnSessionChange-default type - 0x"} + number,
                                L"OnSessionChange: TraceOut|"));
    }
}

TEST_F(RunningMainService, LogonAfterTheHandlerIsGoneReadsNoLocale)
{
    service.OnStop();
    machine.log.Clear();

    service.OnSessionChange(5, nullptr);

    EXPECT_THAT(machine.Story(), Contains(L"call RpcServer::CKeyBoardBridge::getInstance"));
    EXPECT_THAT(machine.Story(), Not(Contains(L"call RpcServer::SysInfo::CHotKeyHandler::GetLocale")));
}

// ---- the console

TEST_F(RunningMainService, ConsoleServesRpcAndNothingElse)
{
    machine.rpcStatus = 0;

    service.ConsoleRun();

    EXPECT_THAT(machine.Story(),
                ElementsAre(L"ConsoleRun: TraceIn|", L"system RpcServerConnect", L"ConsoleRun: TraceOut|"));
}

TEST_F(RunningMainService, ConsoleWhoseServerCannotStartEndsTheProcessWithItsStatus)
{
    static ServiceMachine* atExit;
    atExit = &machine;

    EXPECT_EXIT(
        {
            machine.rpcStatus = 1740;
            std::atexit([] {
                const std::wstring last = atExit->Story().back();
                std::fprintf(stderr, "last: %s", std::string(last.begin(), last.end()).c_str());
            });
            service.ConsoleRun();
        },
        testing::ExitedWithCode(1740), "last: ConsoleRun: Information.RpcServerConnect returned: 0x6cc$");
}
