// The handler's life: set-up of its parts, release, waiting.
#include "hotkey/HotKeyHandler.h"

#include "tests/harness/AllocationFault.h"
#include "tests/harness/ImportHook.h"
#include "tests/harness/LogCapture.h"
#include "tests/unit/hotkey/HandlerMachine.h"
#include "utils/AppActivationHandler.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <optional>
#include <string>
#include <vector>

using testing::ElementsAre;

namespace
{

constexpr char kAllocate[] = "RpcServer::SysInfo::CHotKeyHandler::AllocateHandler";
constexpr char kRelease[] = "RpcServer::SysInfo::CHotKeyHandler::Release";
constexpr char kWait[] = "RpcServer::SysInfo::CHotKeyHandler::WaitForHandleToComplete";
constexpr char kHelperDestructor[] = "RpcServer::AppSection::CAppActivationHandler::~CAppActivationHandler";

const HANDLE kFakeHandle = reinterpret_cast<HANDLE>(std::uintptr_t{0x5150});

// The names of the functions whose entry or exit was traced, entries marked with ">", exits with "<".
std::vector<std::string> TracedFunctions(const LogCapture& log)
{
    std::vector<std::string> functions;
    for (const LogRecord& record : log.Records())
    {
        if (record.level == Quil::Shared::TraceIn || record.level == Quil::Shared::TraceOut)
        {
            const std::string name = record.function.substr(record.function.rfind("::") + 2);
            functions.push_back((record.level == Quil::Shared::TraceIn ? ">" : "<") + name);
        }
    }
    return functions;
}

// Closes of one handle, which is never really closed.
class CloseCounter
{
  public:
    explicit CloseCounter(HANDLE watched) : m_watched{watched} {}

    int closes{0};

  private:
    HANDLE m_watched;
    IMPORT_HOOK(CloseHandle){[this](HANDLE handle) {
        if (handle == m_watched)
        {
            ++closes;
            return TRUE;
        }
        return decltype(hook_CloseHandle)::RealOfCurrent()(handle);
    }};
};

// Waits for the fake handle; every other wait of the process is a real one.
class WaitStandIn
{
  public:
    explicit WaitStandIn(DWORD result) : m_result{result} {}

    std::vector<DWORD> timeouts;

  private:
    DWORD m_result;
    IMPORT_HOOK(WaitForSingleObject){[this](HANDLE handle, DWORD milliseconds) {
        if (handle != kFakeHandle)
        {
            return decltype(hook_WaitForSingleObject)::RealOfCurrent()(handle, milliseconds);
        }
        timeouts.push_back(milliseconds);
        SetLastError(6);
        return m_result;
    }};
};

} // namespace

// --- the handler's parts

TEST(HotKeyHandler, TheConstructorAllocatesThenInitialises)
{
    HandlerMachine machine;
    machine.servicePresent = false;
    LogCapture log;

    const ProbeHandler handler{nullptr};

    const std::vector<std::string> traced = TracedFunctions(log);
    ASSERT_GE(traced.size(), 8u);
    EXPECT_THAT(std::vector<std::string>(traced.begin(), traced.begin() + 3),
                ElementsAre(">CHotKeyHandler", ">AllocateHandler", ">CreateAppActivationHandler"));
    EXPECT_THAT(
        std::vector<std::string>(traced.end() - 4, traced.end()),
        ElementsAre(">DisableActivationContext", "<DisableActivationContext", "<Initialize", "<CHotKeyHandler"));
    EXPECT_THAT(log.LinesOf(kAllocate), ElementsAre(L"TraceIn|", L"TraceOut|"));
}

TEST(HotKeyHandler, KeepsTheReaderThatItIsGiven)
{
    HandlerMachine machine;
    auto* const reader = reinterpret_cast<RpcServer::WMIData*>(std::uintptr_t{0x1234});

    const ProbeHandler handler{reader};

    EXPECT_EQ(reader, handler.m_pWMIData.load());
}

TEST(AllocateHandler, MakesTheNamedEventManualAndSignalled)
{
    HandlerMachine machine;
    int named = 0;
    int unnamed = 0;
    const DWORD thread = GetCurrentThreadId();
    IMPORT_HOOK(CreateEventW)
    ([&](LPSECURITY_ATTRIBUTES security, BOOL manualReset, BOOL signalled, LPCWSTR name) {
        unnamed += name == nullptr && GetCurrentThreadId() == thread ? 1 : 0;
        if (name != nullptr)
        {
            ++named;
            EXPECT_STREQ(L"SysInfoReadComplete.Event", name);
            EXPECT_EQ(nullptr, security);
            EXPECT_EQ(TRUE, manualReset);
            EXPECT_EQ(TRUE, signalled);
        }
        return decltype(hook_CreateEventW)::RealOfCurrent()(security, manualReset, signalled, name);
    });

    const ProbeHandler handler{nullptr};

    EXPECT_EQ(1, named);
    EXPECT_EQ(7, unnamed) << "the pool's";
    EXPECT_NE(nullptr, handler.m_pOverlappedIO);
}

TEST(AllocateHandler, IsTrueWithEventAndHelper)
{
    HandlerMachine machine;
    ProbeHandler handler{nullptr};
    handler.Release();

    EXPECT_EQ(TRUE, handler.AllocateHandler());
}

TEST(AllocateHandler, WithoutTheEventItIsFalseAndSaysSo)
{
    HandlerMachine machine;
    ProbeHandler handler{nullptr};
    handler.Release();
    LogCapture log;
    IMPORT_HOOK(CreateEventW)
    ([](LPSECURITY_ATTRIBUTES security, BOOL manualReset, BOOL signalled, LPCWSTR name) {
        if (name != nullptr)
        {
            SetLastError(1816);
            return HANDLE{nullptr};
        }
        return decltype(hook_CreateEventW)::RealOfCurrent()(security, manualReset, signalled, name);
    });

    EXPECT_EQ(FALSE, handler.AllocateHandler());

    EXPECT_FALSE(handler.m_hWaitForSysInfoReadCompleteEvent);
    EXPECT_NE(nullptr, handler.m_pOverlappedIO);
    EXPECT_THAT(log.LinesOf(kAllocate),
                ElementsAre(L"TraceIn|",
                            L"Error|CreateEvent(m_hWaitForSysInfoReadCompleteEvent) failed to create : Error = 1816",
                            L"TraceOut|"));
}

TEST(AllocateHandler, WithoutTheHelperItIsFalseAndSaysSoTwice)
{
    HandlerMachine machine;
    ProbeHandler handler{nullptr};
    handler.Release();
    LogCapture log;
    const AllocationFault fault{0, 1};

    EXPECT_EQ(FALSE, handler.AllocateHandler());

    EXPECT_EQ(nullptr, handler.m_pAppActivationHandler.load());
    EXPECT_TRUE(handler.m_hWaitForSysInfoReadCompleteEvent);
    EXPECT_THAT(log.LinesOf("RpcServer::SysInfo::CHotKeyHandler::CreateAppActivationHandler"),
                ElementsAre(L"TraceIn|", L"Error|CAppActivationHandler creation failed", L"TraceOut|"));
    EXPECT_THAT(log.LinesOf(kAllocate),
                ElementsAre(L"TraceIn|", L"Error|CreateAppActivationHandler failed", L"TraceOut|"));
}

TEST(AllocateHandler, WithoutThePoolItIsStillTrue)
{
    HandlerMachine machine;
    ProbeHandler handler{nullptr};
    handler.Release();
    LogCapture log;
    const AllocationFault fault{1, 1};

    EXPECT_EQ(TRUE, handler.AllocateHandler());

    EXPECT_EQ(nullptr, handler.m_pOverlappedIO);
    EXPECT_THAT(log.LinesOf(kAllocate), ElementsAre(L"TraceIn|", L"Error|COverlappedIO creation failed", L"TraceOut|"));
}

TEST(AllocateHandler, ARecordOfThePoolThatCannotBeAllocatedLeavesNoPool)
{
    HandlerMachine machine;
    ProbeHandler handler{nullptr};
    handler.Release();
    LogCapture log;
    const AllocationFault fault{4, 1}; // helper, pool and two records pass

    EXPECT_EQ(TRUE, handler.AllocateHandler());

    EXPECT_EQ(nullptr, handler.m_pOverlappedIO);
    EXPECT_THAT(log.LinesOf(kAllocate), ElementsAre(L"TraceIn|", L"Error|COverlappedIO creation failed", L"TraceOut|"));
}

TEST(HotKeyHandler, LivesOnWithoutAnyOfItsParts)
{
    HandlerMachine machine;
    machine.servicePresent = false;
    const AllocationFault fault{0};

    const ProbeHandler handler{nullptr};

    EXPECT_EQ(nullptr, handler.m_pAppActivationHandler.load());
    EXPECT_EQ(nullptr, handler.m_pOverlappedIO);
    EXPECT_FALSE(handler.m_pFennix);
}

TEST(AppActivationHelper, ReleaseDeletesItWithoutARecordOfItsOwn)
{
    HandlerMachine machine;
    ProbeHandler handler{nullptr};
    LogCapture log;

    handler.ReleaseAppActivationHandler();

    EXPECT_EQ(nullptr, handler.m_pAppActivationHandler.load());
    EXPECT_THAT(TracedFunctions(log), ElementsAre(">~CAppActivationHandler", ">RemoveImpersonation",
                                                  "<RemoveImpersonation", "<~CAppActivationHandler"));
}

TEST(AppActivationHelper, ASecondCreationForgetsTheFirstWithoutFreeingIt)
{
    HandlerMachine machine;
    ProbeHandler handler{nullptr};
    const auto former = handler.m_pAppActivationHandler.load().get();
    LogCapture log;

    EXPECT_TRUE(handler.CreateAppActivationHandler());

    EXPECT_NE(former, handler.m_pAppActivationHandler.load().get());
    EXPECT_TRUE(log.LinesOf(kHelperDestructor).empty());
}

TEST(AppActivationHelper, IsDeletedOnlyWhenItsLastUserLeaves)
{
    HandlerMachine machine;
    ProbeHandler handler{nullptr};
    auto inUse = handler.m_pAppActivationHandler.load();
    LogCapture log;

    handler.ReleaseAppActivationHandler();

    EXPECT_TRUE(log.LinesOf(kHelperDestructor).empty());
    inUse.reset();
    EXPECT_THAT(log.LinesOf(kHelperDestructor), ElementsAre(L"TraceIn|", L"TraceOut|"));
}

// --- release

TEST(HandlerRelease, WithoutAThreadItLogsAWaitResultOf0)
{
    HandlerMachine machine;
    ProbeHandler handler{nullptr};
    LogCapture log;

    handler.Release();

    EXPECT_THAT(log.LinesOf(kRelease),
                ElementsAre(L"TraceIn|", L"Verbose|WaitForSingleObject(m_hWaitAndSetSingleScancodeThread) returns 0",
                            L"TraceOut|"));
    EXPECT_THAT(log.LinesOf(kWait), ElementsAre(L"TraceIn|Handle = 0x0, WaitTime = 8000", L"TraceOut|Return = 0"));
}

TEST(HandlerRelease, LeavesNoHelpersAndNoHandles)
{
    HandlerMachine machine;
    ProbeHandler handler{reinterpret_cast<RpcServer::WMIData*>(std::uintptr_t{0x1234})};

    handler.Release();

    EXPECT_EQ(nullptr, handler.m_pAppActivationHandler.load());
    EXPECT_EQ(nullptr, handler.m_pWMIData.load());
    EXPECT_FALSE(handler.m_hWaitForSysInfoReadCompleteEvent);
    EXPECT_EQ(nullptr, handler.m_pOverlappedIO);
    EXPECT_TRUE(handler.m_pFennix) << "the framework goes with the destructor";
}

TEST(HandlerRelease, ASecondTimeItOnlyLogs)
{
    HandlerMachine machine;
    ProbeHandler handler{nullptr};
    handler.Release();
    int closes = 0;
    const DWORD thread = GetCurrentThreadId();
    IMPORT_HOOK(CloseHandle)
    ([&](HANDLE handle) {
        closes += GetCurrentThreadId() == thread ? 1 : 0;
        return decltype(hook_CloseHandle)::RealOfCurrent()(handle);
    });
    LogCapture log;

    handler.Release();

    EXPECT_EQ(0, closes);
    EXPECT_THAT(TracedFunctions(log),
                ElementsAre(">Release", ">WaitForHandleToComplete", "<WaitForHandleToComplete", "<Release"));
}

TEST(HandlerRelease, HelperThreadEventAndPoolGoInThisOrder)
{
    HandlerMachine machine;
    ProbeHandler handler{nullptr};
    const CloseCounter closed{handler.m_hWaitForSysInfoReadCompleteEvent.Get()};
    std::vector<int> closesAtSignal; // the pool's records signal their events
    const DWORD thread = GetCurrentThreadId();
    IMPORT_HOOK(SetEvent)
    ([&](HANDLE handle) {
        if (GetCurrentThreadId() == thread)
        {
            closesAtSignal.push_back(closed.closes);
        }
        return decltype(hook_SetEvent)::RealOfCurrent()(handle);
    });
    LogCapture log;

    handler.Release();

    EXPECT_THAT(closesAtSignal, ElementsAre(1, 1, 1, 1, 1, 1, 1));
    const std::vector<std::string> traced = TracedFunctions(log);
    EXPECT_THAT(std::vector<std::string>(traced.begin(), traced.begin() + 8),
                ElementsAre(">Release", ">~CAppActivationHandler", ">RemoveImpersonation", "<RemoveImpersonation",
                            "<~CAppActivationHandler", ">WaitForHandleToComplete", "<WaitForHandleToComplete",
                            ">~COverlappedIO"));
}

TEST(HandlerRelease, AThreadThatEndedIsClosed)
{
    HandlerMachine machine;
    ProbeHandler handler{nullptr};
    handler.m_hWaitAndSetSingleScancodeThread.Reset(kFakeHandle);
    const CloseCounter closed{kFakeHandle};
    const WaitStandIn wait{WAIT_OBJECT_0};

    handler.Release();

    EXPECT_THAT(wait.timeouts, ElementsAre(8000u));
    EXPECT_EQ(1, closed.closes);
}

TEST(HandlerRelease, AThreadThatStillRunsStaysOpenAndIsForgotten)
{
    HandlerMachine machine;
    ProbeHandler handler{nullptr};
    handler.m_hWaitAndSetSingleScancodeThread.Reset(kFakeHandle);
    const CloseCounter closed{kFakeHandle};
    const WaitStandIn wait{WAIT_TIMEOUT};
    LogCapture log;

    handler.Release();

    EXPECT_EQ(0, closed.closes);
    EXPECT_FALSE(handler.m_hWaitAndSetSingleScancodeThread);
    EXPECT_EQ(L"Verbose|WaitForSingleObject(m_hWaitAndSetSingleScancodeThread) returns 258",
              log.LinesOf(kRelease).at(1));
}

TEST(HandlerRelease, ASecondReservedHandleThatIsSetIsClosed)
{
    HandlerMachine machine;
    ProbeHandler handler{nullptr};
    handler.m_hSecondReserved.Reset(kFakeHandle);
    const CloseCounter closed{kFakeHandle};

    handler.Release();

    EXPECT_EQ(1, closed.closes);
}

TEST(HotKeyHandler, TheDestructorReleasesThenDisablesTheContext)
{
    HandlerMachine machine;
    std::optional<ProbeHandler> handler{std::in_place, nullptr};
    LogCapture log;

    handler.reset();

    const std::vector<std::string> traced = TracedFunctions(log);
    EXPECT_THAT(std::vector<std::string>(traced.begin(), traced.begin() + 2),
                ElementsAre(">~CHotKeyHandler", ">Release"));
    EXPECT_THAT(std::vector<std::string>(traced.end() - 4, traced.end()),
                ElementsAre("<Release", ">DisableActivationContext", "<DisableActivationContext", "<~CHotKeyHandler"));
}

// --- waiting

struct WaitRow
{
    DWORD result;
    const wchar_t* line;
    const wchar_t* exit;
};

class WaitForHandleToCompleteTest : public testing::TestWithParam<WaitRow>
{
};

TEST_P(WaitForHandleToCompleteTest, LogsAndReturnsTheResultOfTheWait)
{
    HandlerMachine machine;
    ProbeHandler handler{nullptr};
    LogCapture log;
    IMPORT_HOOK(WaitForSingleObject)
    ([](auto...) {
        SetLastError(6);
        return GetParam().result;
    });

    EXPECT_EQ(GetParam().result, handler.WaitForHandleToComplete(kFakeHandle, 25));

    EXPECT_RECORDS(log,
                   std::wstring{L"TraceIn|RpcServer::SysInfo::CHotKeyHandler::WaitForHandleToComplete|"} +
                       L"Handle = 0x5150, WaitTime = 25",
                   GetParam().line, GetParam().exit);
}

#define WAIT_NAME L"|RpcServer::SysInfo::CHotKeyHandler::WaitForHandleToComplete|"
INSTANTIATE_TEST_SUITE_P(
    EveryResult, WaitForHandleToCompleteTest,
    testing::Values(
        WaitRow{WAIT_OBJECT_0, L"Verbose" WAIT_NAME L"(WAIT_OBJECT_0) The state of the handle is signaled.",
                L"TraceOut" WAIT_NAME L"Return = 0"},
        WaitRow{
            WAIT_ABANDONED,
            L"Error" WAIT_NAME L"(WAIT_ABANDONED) The specified object is a mutex object that was not released by the "
            L"thread that owned the mutex object before the owning thread terminated.",
            L"TraceOut" WAIT_NAME L"Return = 128"},
        WaitRow{
            WAIT_TIMEOUT,
            L"Error" WAIT_NAME L"(WAIT_TIMEOUT) The time-out interval elapsed, and the handle state is non-signaled.",
            L"TraceOut" WAIT_NAME L"Return = 258"},
        WaitRow{WAIT_FAILED, L"Error" WAIT_NAME L"(WAIT_FAILED) The function has failed with error 6.",
                L"TraceOut" WAIT_NAME L"Return = -1"},
        WaitRow{WAIT_IO_COMPLETION, L"Error" WAIT_NAME L"Unknown Option", L"TraceOut" WAIT_NAME L"Return = 192"}));

TEST(WaitForHandleToComplete, ANullHandleIsNotWaitedFor)
{
    HandlerMachine machine;
    ProbeHandler handler{nullptr};
    int nullWaits = 0;
    IMPORT_HOOK(WaitForSingleObject)
    ([&](HANDLE handle, DWORD milliseconds) {
        nullWaits += handle == nullptr ? 1 : 0;
        return decltype(hook_WaitForSingleObject)::RealOfCurrent()(handle, milliseconds);
    });
    LogCapture log;

    EXPECT_EQ(0u, handler.WaitForHandleToComplete(nullptr, 100));

    EXPECT_EQ(0, nullWaits);
    EXPECT_LINES(log, L"TraceIn|Handle = 0x0, WaitTime = 100", L"TraceOut|Return = 0");
}
