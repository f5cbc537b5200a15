// CServiceBase: what reaches the service manager and the event log for each control and each kind of failure.
#include "service/ServiceBase.h"

#include "tests/harness/LogCapture.h"
#include "tests/unit/service/ServiceManagerStandIn.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <functional>
#include <stdexcept>
#include <string>
#include <vector>

using testing::ElementsAre;
using testing::IsEmpty;

namespace
{

// Notes each operation in the journal, then does what the test asks of that operation.
class ProbeService : public CServiceBase
{
  public:
    explicit ProbeService(Journal& journal, const wchar_t* name = L"Probe")
        : CServiceBase{name, true, true, true}, m_journal{journal}
    {
    }

    std::wstring failingOperation;
    std::function<void()> failure;

  protected:
    void OnStart(DWORD argc, wchar_t** argv) override { Do(L"OnStart", L" " + std::to_wstring(argc) + L" " + argv[0]); }
    void OnStop() override { Do(L"OnStop"); }
    void OnPause() override { Do(L"OnPause"); }
    void OnContinue() override { Do(L"OnContinue"); }
    void OnPreShutdown() override { Do(L"OnPreShutdown"); }
    void OnShutdown() override { Do(L"OnShutdown"); }
    void OnPowerEvent(DWORD type, void* data) override
    {
        Do(L"OnPowerEvent", L" " + std::to_wstring(type) + L" " + std::to_wstring(*static_cast<int*>(data)));
    }
    void OnSessionChange(DWORD type, void* data) override
    {
        Do(L"OnSessionChange", L" " + std::to_wstring(type) + L" " + std::to_wstring(*static_cast<int*>(data)));
    }

  private:
    void Do(const wchar_t* operation, const std::wstring& details = {})
    {
        m_journal.Add(operation + details);
        if (failure && operation == failingOperation)
        {
            failure();
        }
    }

    Journal& m_journal;
};

void ThrowWin32Error()
{
    throw DWORD{0x4D3};
}

void ThrowOtherException()
{
    throw std::runtime_error{"something else"};
}

// A bare signed value is not a Win32 error.
void ThrowInt()
{
    throw 5;
}

class ServiceBase : public testing::Test
{
  protected:
    // The first exception of a thread makes the compiler's run time set up its storage, which changes the last error.
    static void WarmUpExceptions()
    {
        try
        {
            ThrowInt();
        }
        catch (int)
        {
        }
    }
    void SetUp() override { WarmUpExceptions(); }

    // The journal of one control sent to a running service.
    const std::vector<std::wstring>& After(DWORD control, const wchar_t* operation = L"", void (*failure)() = nullptr)
    {
        m_service.failingOperation = operation;
        m_service.failure = failure;
        EXPECT_TRUE(m_manager.Run(m_service, [&] {
            m_journal.Clear();
            int data = 7;
            EXPECT_EQ(0u, m_manager.Send(control, 3, &data));
        }));
        return m_journal.Lines();
    }
    const std::vector<std::wstring>& AfterStart(void (*failure)() = nullptr)
    {
        m_service.failingOperation = L"OnStart";
        m_service.failure = failure;
        EXPECT_TRUE(m_manager.Run(m_service));
        return m_journal.Lines();
    }

    Journal m_journal;
    ProbeService m_service{m_journal};
    ServiceManagerStandIn m_manager{m_journal};
};

} // namespace

TEST_F(ServiceBase, StartGoesThroughStartPendingToRunning)
{
    EXPECT_THAT(AfterStart(), ElementsAre(L"status 2, check point +0", L"OnStart 1 Probe", L"status 4"));
}

TEST_F(ServiceBase, StartReportsThrownWin32ErrorAndStopsWithItAsExitCode)
{
    EXPECT_THAT(AfterStart(ThrowWin32Error),
                ElementsAre(L"status 2, check point +0", L"OnStart 1 Probe",
                            L"event 1|E0000000|Service Start failed w/err 0x000004d3", L"status 1, exit code 1235"));
}

TEST_F(ServiceBase, StartReportsLastErrorOfOtherExceptionAndStopsWithExitCodeZero)
{
    EXPECT_THAT(AfterStart([] {
                    SetLastError(0x57);
                    ThrowOtherException();
                }),
                ElementsAre(L"status 2, check point +0", L"OnStart 1 Probe",
                            L"event 1|E0000000|Service failed to start. Error = 0x00000057", L"status 1"));
}

TEST_F(ServiceBase, StartTakesThrownSignedValueForAnyOtherException)
{
    EXPECT_THAT(AfterStart([] {
                    SetLastError(0x58);
                    ThrowInt();
                }),
                ElementsAre(L"status 2, check point +0", L"OnStart 1 Probe",
                            L"event 1|E0000000|Service failed to start. Error = 0x00000058", L"status 1"));
}

TEST_F(ServiceBase, StopGoesThroughStopPendingToStopped)
{
    EXPECT_THAT(After(SERVICE_CONTROL_STOP), ElementsAre(L"status 3, check point +1", L"OnStop", L"status 1"));
}

TEST_F(ServiceBase, StopReportsThrownWin32ErrorAndGoesBackToRunning)
{
    EXPECT_THAT(After(SERVICE_CONTROL_STOP, L"OnStop", ThrowWin32Error),
                ElementsAre(L"status 3, check point +1", L"OnStop",
                            L"event 1|E0000000|Service Stop failed w/err 0x000004d3", L"status 4"));
}

TEST_F(ServiceBase, StopReportsOtherExceptionAndGoesBackToRunning)
{
    EXPECT_THAT(After(SERVICE_CONTROL_STOP, L"OnStop",
                      [] {
                          SetLastError(0x5);
                          ThrowOtherException();
                      }),
                ElementsAre(L"status 3, check point +1", L"OnStop",
                            L"event 1|E0000000|Service failed to stop. Error = 0x00000005", L"status 4"));
}

TEST_F(ServiceBase, FailedStopOfPausedServiceGoesBackToPausedAsPendingReport)
{
    m_service.failingOperation = L"OnStop";
    m_service.failure = ThrowWin32Error;

    m_manager.Run(m_service, [&] {
        m_manager.Send(SERVICE_CONTROL_PAUSE);
        m_journal.Clear();
        m_manager.Send(SERVICE_CONTROL_STOP);
    });

    // Check points: start 0, pause 1 and 2, stop 3.
    EXPECT_THAT(m_journal.Lines(),
                ElementsAre(L"status 3, check point +3", L"OnStop",
                            L"event 1|E0000000|Service Stop failed w/err 0x000004d3", L"status 7, check point +4"));
}

TEST_F(ServiceBase, StopIsAlsoCalledDirectly)
{
    m_manager.Run(m_service, [&] {
        m_journal.Clear();
        m_service.Stop();
    });

    EXPECT_THAT(m_journal.Lines(), ElementsAre(L"status 3, check point +1", L"OnStop", L"status 1"));
}

TEST_F(ServiceBase, PauseGoesThroughPausePendingToPaused)
{
    EXPECT_THAT(After(SERVICE_CONTROL_PAUSE),
                ElementsAre(L"status 6, check point +1", L"OnPause", L"status 7, check point +2"));
}

TEST_F(ServiceBase, PauseReportsThrownWin32ErrorAndRunsOn)
{
    EXPECT_THAT(After(SERVICE_CONTROL_PAUSE, L"OnPause", ThrowWin32Error),
                ElementsAre(L"status 6, check point +1", L"OnPause",
                            L"event 1|E0000000|Service Pause failed w/err 0x000004d3", L"status 4"));
}

TEST_F(ServiceBase, PauseReportsOtherExceptionAndRunsOn)
{
    EXPECT_THAT(After(SERVICE_CONTROL_PAUSE, L"OnPause",
                      [] {
                          SetLastError(0x6);
                          ThrowOtherException();
                      }),
                ElementsAre(L"status 6, check point +1", L"OnPause",
                            L"event 1|E0000000|Service failed to pause. Error = 0x00000006", L"status 4"));
}

TEST_F(ServiceBase, ContinueGoesThroughContinuePendingToRunning)
{
    EXPECT_THAT(After(SERVICE_CONTROL_CONTINUE), ElementsAre(L"status 5, check point +1", L"OnContinue", L"status 4"));
}

TEST_F(ServiceBase, ContinueReportsThrownWin32ErrorAndStaysPaused)
{
    EXPECT_THAT(After(SERVICE_CONTROL_CONTINUE, L"OnContinue", ThrowWin32Error),
                ElementsAre(L"status 5, check point +1", L"OnContinue",
                            L"event 1|E0000000|Service Continue failed w/err 0x000004d3", L"status 7, check point +2"));
}

TEST_F(ServiceBase, ContinueReportsOtherExceptionAndStaysPaused)
{
    EXPECT_THAT(After(SERVICE_CONTROL_CONTINUE, L"OnContinue",
                      [] {
                          SetLastError(0x7);
                          ThrowOtherException();
                      }),
                ElementsAre(L"status 5, check point +1", L"OnContinue",
                            L"event 1|E0000000|Service failed to resume. Error = 0x00000007",
                            L"status 7, check point +2"));
}

TEST_F(ServiceBase, ShutdownGoesThroughStopPendingToStopped)
{
    EXPECT_THAT(After(SERVICE_CONTROL_SHUTDOWN), ElementsAre(L"status 3, check point +1", L"OnShutdown", L"status 1"));
}

TEST_F(ServiceBase, ShutdownReportsThrownWin32ErrorAndNoFurtherStatus)
{
    EXPECT_THAT(After(SERVICE_CONTROL_SHUTDOWN, L"OnShutdown", ThrowWin32Error),
                ElementsAre(L"status 3, check point +1", L"OnShutdown",
                            L"event 1|E0000000|Service Shutdown failed w/err 0x000004d3"));
}

TEST_F(ServiceBase, ShutdownReportsOtherExceptionAndNoFurtherStatus)
{
    EXPECT_THAT(After(SERVICE_CONTROL_SHUTDOWN, L"OnShutdown",
                      [] {
                          SetLastError(0x8);
                          ThrowOtherException();
                      }),
                ElementsAre(L"status 3, check point +1", L"OnShutdown",
                            L"event 1|E0000000|Service failed to shut down. Error = 0x00000008"));
}

TEST_F(ServiceBase, PreShutdownGoesThroughStopPendingToStopped)
{
    EXPECT_THAT(After(SERVICE_CONTROL_PRESHUTDOWN),
                ElementsAre(L"status 3, check point +1", L"OnPreShutdown", L"status 1"));
}

TEST_F(ServiceBase, PreShutdownReportsThrownWin32ErrorInTheWordsOfShutdown)
{
    EXPECT_THAT(After(SERVICE_CONTROL_PRESHUTDOWN, L"OnPreShutdown", ThrowWin32Error),
                ElementsAre(L"status 3, check point +1", L"OnPreShutdown",
                            L"event 1|E0000000|Service Shutdown failed w/err 0x000004d3"));
}

TEST_F(ServiceBase, PreShutdownReportsOtherExceptionWithoutBlankAfterTheFullStop)
{
    EXPECT_THAT(After(SERVICE_CONTROL_PRESHUTDOWN, L"OnPreShutdown",
                      [] {
                          SetLastError(0x9);
                          ThrowOtherException();
                      }),
                ElementsAre(L"status 3, check point +1", L"OnPreShutdown",
                            L"event 1|E0000000|Service failed to shut down.Error = 0x00000009"));
}

TEST_F(ServiceBase, PowerEventPassesTypeAndDataAndReportsNoStatus)
{
    EXPECT_THAT(After(SERVICE_CONTROL_POWEREVENT), ElementsAre(L"OnPowerEvent 3 7"));
}

TEST_F(ServiceBase, PowerEventReportsThrownWin32Error)
{
    EXPECT_THAT(After(SERVICE_CONTROL_POWEREVENT, L"OnPowerEvent", ThrowWin32Error),
                ElementsAre(L"OnPowerEvent 3 7", L"event 1|E0000000|Service PowerEvent failed w/err 0x000004d3"));
}

TEST_F(ServiceBase, PowerEventReportsOtherException)
{
    EXPECT_THAT(
        After(SERVICE_CONTROL_POWEREVENT, L"OnPowerEvent",
              [] {
                  SetLastError(0xA);
                  ThrowOtherException();
              }),
        ElementsAre(L"OnPowerEvent 3 7", L"event 1|E0000000|Service failed to get PowerEvent. Error = 0x0000000a"));
}

TEST_F(ServiceBase, SessionChangePassesTypeAndDataAndReportsNoStatus)
{
    EXPECT_THAT(After(SERVICE_CONTROL_SESSIONCHANGE), ElementsAre(L"OnSessionChange 3 7"));
}

TEST_F(ServiceBase, SessionChangeReportsOtherException)
{
    EXPECT_THAT(After(SERVICE_CONTROL_SESSIONCHANGE, L"OnSessionChange",
                      [] {
                          SetLastError(0xB);
                          ThrowOtherException();
                      }),
                ElementsAre(L"OnSessionChange 3 7",
                            L"event 1|E0000000|Service failed to get SessionChange. Error = 0x0000000b"));
}

TEST_F(ServiceBase, SessionChangeReportsLastErrorForThrownWin32ErrorToo)
{
    EXPECT_THAT(After(SERVICE_CONTROL_SESSIONCHANGE, L"OnSessionChange",
                      [] {
                          SetLastError(0xC);
                          ThrowWin32Error();
                      }),
                ElementsAre(L"OnSessionChange 3 7",
                            L"event 1|E0000000|Service failed to get SessionChange. Error = 0x0000000c"));
}

TEST_F(ServiceBase, OnlySessionChangeTraces)
{
    LogCapture log;

    EXPECT_TRUE(m_manager.Run(m_service, [&] {
        int data = 0;
        for (const int control :
             {SERVICE_CONTROL_POWEREVENT, SERVICE_CONTROL_SESSIONCHANGE, SERVICE_CONTROL_PAUSE,
              SERVICE_CONTROL_CONTINUE, SERVICE_CONTROL_SHUTDOWN, SERVICE_CONTROL_PRESHUTDOWN, SERVICE_CONTROL_STOP})
        {
            m_manager.Send(static_cast<DWORD>(control), 0, &data);
        }
    }));

    EXPECT_RECORDS(log, L"TraceIn|CServiceBase::SessionChange|", L"TraceOut|CServiceBase::SessionChange|");
}

TEST_F(ServiceBase, FailedSessionChangeStillTracesItsExit)
{
    LogCapture log;

    After(SERVICE_CONTROL_SESSIONCHANGE, L"OnSessionChange", ThrowOtherException);

    EXPECT_RECORDS(log, L"TraceIn|CServiceBase::SessionChange|", L"TraceOut|CServiceBase::SessionChange|");
}

TEST_F(ServiceBase, UnknownControlsAndInterrogationAnswerNoErrorAndChangeNothing)
{
    for (const DWORD control : {DWORD{0}, DWORD{SERVICE_CONTROL_INTERROGATE}, DWORD{6}, DWORD{7}, DWORD{10}, DWORD{12},
                                DWORD{16}, DWORD{0x80}, DWORD{0xFF}, DWORD{0xFFFFFFFF}})
    {
        EXPECT_THAT(After(control), IsEmpty()) << control;
    }
}

TEST_F(ServiceBase, FailedControlsAnswerNoErrorToo)
{
    // After itself checks the answer.
    EXPECT_FALSE(After(SERVICE_CONTROL_STOP, L"OnStop", ThrowWin32Error).empty());
    EXPECT_FALSE(After(SERVICE_CONTROL_SESSIONCHANGE, L"OnSessionChange", ThrowOtherException).empty());
}

TEST_F(ServiceBase, CheckPointsCountOnAcrossTransitions)
{
    m_manager.Run(m_service, [&] {
        m_manager.Send(SERVICE_CONTROL_PAUSE);
        m_manager.Send(SERVICE_CONTROL_CONTINUE);
        m_manager.Send(SERVICE_CONTROL_STOP);
    });

    EXPECT_THAT(m_journal.Lines(),
                ElementsAre(L"status 2, check point +0", L"OnStart 1 Probe", L"status 4", L"status 6, check point +1",
                            L"OnPause", L"status 7, check point +2", L"status 5, check point +3", L"OnContinue",
                            L"status 4", L"status 3, check point +4", L"OnStop", L"status 1"));
}

TEST_F(ServiceBase, FirstCheckPointOfTheProcessIsOne)
{
    const auto startAndCheck = [this] {
        DWORD first = 0;
        IMPORT_HOOK(SetServiceStatus)
        ([&](SERVICE_STATUS_HANDLE, LPSERVICE_STATUS status) {
            first = first == 0 ? status->dwCheckPoint : first;
            return TRUE;
        });
        m_manager.Run(m_service);
        std::exit(first == 1 ? 0 : 1);
    };

    // In a process of its own, which runs nothing but this.
    EXPECT_EXIT(startAndCheck(), testing::ExitedWithCode(0), "");
}

TEST_F(ServiceBase, ExitCodeOfFailedStartDoesNotStayInLaterReports)
{
    m_service.failingOperation = L"OnStart";
    m_service.failure = ThrowWin32Error;

    m_manager.Run(m_service, [&] { m_manager.Send(SERVICE_CONTROL_STOP); });

    EXPECT_EQ(0u, m_manager.Status().dwWin32ExitCode);
}

TEST_F(ServiceBase, FailedRegistrationThrowsLastErrorOutOfServiceMain)
{
    m_manager.registrationFails = true;

    try
    {
        m_manager.Run(m_service);
        FAIL() << "nothing was thrown";
    }
    catch (DWORD error)
    {
        EXPECT_EQ(5u, error);
    }
    EXPECT_THAT(m_journal.Lines(), IsEmpty());
}

TEST_F(ServiceBase, DispatcherAndHandlerAreRegisteredUnderTheServiceName)
{
    m_manager.Run(m_service);

    EXPECT_EQ(L"Probe", m_manager.serviceName);
    EXPECT_EQ(L"Probe", m_manager.handlerName);
}

TEST_F(ServiceBase, NullNameBecomesEmpty)
{
    ProbeService unnamed{m_journal, nullptr};
    m_manager.serviceName = m_manager.handlerName = L"untouched";

    m_manager.Run(unnamed);

    EXPECT_EQ(L"", m_manager.serviceName);
    EXPECT_EQ(L"", m_manager.handlerName);
}

TEST(ServiceBaseRun, GivesBackTheDispatchersFailureWithItsLastError)
{
    Journal journal;
    ProbeService service{journal};
    IMPORT_HOOK(StartServiceCtrlDispatcherW)
    ([](auto...) {
        SetLastError(ERROR_FAILED_SERVICE_CONTROLLER_CONNECT);
        return FALSE;
    });

    const BOOL result = CServiceBase::Run(service);
    const DWORD error = GetLastError();

    EXPECT_FALSE(result);
    EXPECT_EQ(1063u, error);
}

namespace
{

// The operations stay empty.
class PlainService : public CServiceBase
{
  public:
    using CServiceBase::CServiceBase;
};

SERVICE_STATUS FirstStatus(bool canStop, bool canShutdown, bool canPauseContinue)
{
    Journal journal;
    PlainService service{L"Plain", canStop, canShutdown, canPauseContinue};
    ServiceManagerStandIn manager{journal};
    manager.Run(service);
    return manager.Status();
}

} // namespace

TEST(ServiceBaseControlsAccepted, PowerAndSessionEventsAlways)
{
    EXPECT_EQ(0xC0u, FirstStatus(false, false, false).dwControlsAccepted);
}

TEST(ServiceBaseControlsAccepted, StopWhenItCanStop)
{
    EXPECT_EQ(0xC1u, FirstStatus(true, false, false).dwControlsAccepted);
}

TEST(ServiceBaseControlsAccepted, ShutdownAndPreShutdownWhenItCanShutDown)
{
    EXPECT_EQ(0x1C4u, FirstStatus(false, true, false).dwControlsAccepted);
}

TEST(ServiceBaseControlsAccepted, PauseAndContinueWhenItCan)
{
    EXPECT_EQ(0xC2u, FirstStatus(false, false, true).dwControlsAccepted);
}

TEST(ServiceBaseControlsAccepted, TheProgramsOwnMix)
{
    EXPECT_EQ(0x1C5u, FirstStatus(true, true, false).dwControlsAccepted);
}

TEST(ServiceBaseStatus, IsThatOfAnOwnProcessService)
{
    EXPECT_EQ(0x10u, FirstStatus(true, true, false).dwServiceType);
}

TEST(ServiceBaseOperations, AreEmptyUnlessOverridden)
{
    Journal journal;
    PlainService service{L"Plain", true, true, true};
    ServiceManagerStandIn manager{journal};

    manager.Run(service, [&] {
        for (const DWORD control : {DWORD{2}, DWORD{3}, DWORD{13}, DWORD{14}, DWORD{15}, DWORD{5}, DWORD{1}})
        {
            manager.Send(control);
        }
    });

    EXPECT_THAT(journal.Lines(), ElementsAre(L"status 2, check point +0", L"status 4", L"status 6, check point +1",
                                             L"status 7, check point +2", L"status 5, check point +3", L"status 4",
                                             L"status 3, check point +4", L"status 1", L"status 3, check point +5",
                                             L"status 1", L"status 3, check point +6", L"status 1"));
}

#ifdef __GNUC__ // where a pointer to a virtual member is 1 plus the offset of its slot
namespace
{

template <typename Member> std::size_t SlotOf(Member member)
{
    std::size_t offset = 0;
    std::memcpy(&offset, &member, sizeof offset);
    return (offset - 1) / sizeof(void*);
}

class SlotProbe : public CServiceBase
{
  public:
    static std::vector<std::size_t> Slots()
    {
        return {SlotOf(&SlotProbe::OnStart),      SlotOf(&SlotProbe::OnStop),         SlotOf(&SlotProbe::OnPause),
                SlotOf(&SlotProbe::OnContinue),   SlotOf(&SlotProbe::OnPreShutdown),  SlotOf(&SlotProbe::OnShutdown),
                SlotOf(&SlotProbe::OnPowerEvent), SlotOf(&SlotProbe::OnSessionChange)};
    }
};

} // namespace

TEST(ServiceBaseOperations, StandInTheirSlotsAfterTheDestructor)
{
    // The destructor takes two slots: the complete and the deleting form.
    EXPECT_THAT(SlotProbe::Slots(), ElementsAre(2u, 3u, 4u, 5u, 6u, 7u, 8u, 9u));
}
#endif
