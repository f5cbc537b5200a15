// The handler's life: set-up of its parts, the way to the framework, release, waiting.
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
using testing::ElementsAreArray;

namespace
{

constexpr char kInitialize[] = "RpcServer::SysInfo::CHotKeyHandler::Initialize";
constexpr char kAllocate[] = "RpcServer::SysInfo::CHotKeyHandler::AllocateHandler";
constexpr char kEnable[] = "RpcServer::SysInfo::CHotKeyHandler::EnableActivationContext";
constexpr char kRelease[] = "RpcServer::SysInfo::CHotKeyHandler::Release";
constexpr char kWait[] = "RpcServer::SysInfo::CHotKeyHandler::WaitForHandleToComplete";
constexpr char kHelperDestructor[] = "RpcServer::AppSection::CAppActivationHandler::~CAppActivationHandler";

constexpr wchar_t kVersionLine[] =
    L"Verbose|Quil System Info KMT Service Version Installed = 1.2.30.4 with Running Status = 0";
constexpr wchar_t kRoundLine[] = L"Verbose|Quil System Info KMT Service is installed. Trying to initialize with Fennix";
constexpr wchar_t kNotEnabledLine[] =
    L"Error|EnableActivationContext. So there is a chance of 'Class Not Registered' Error";

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

// --- the way to the framework

TEST(Initialize, WithoutTheServiceItSleepsSixTimesAndFails)
{
    HandlerMachine machine;
    machine.servicePresent = false;
    machine.onSleep = [](int) { SetLastError(77); };
    LogCapture log;

    const ProbeHandler handler{nullptr};

    EXPECT_THAT(machine.calls, ElementsAre(L"CoInitializeEx 0", L"Sleep 1000", L"Sleep 1000", L"Sleep 1000",
                                           L"Sleep 1000", L"Sleep 1000", L"Sleep 1000", L"CoUninitialize"));
    EXPECT_FALSE(handler.m_pFennix);
    EXPECT_THAT(log.LinesOf(kInitialize),
                ElementsAre(L"TraceIn|", L"Error|Failed to CreateInstance of Fennix Error: 77, HRESULT : 0x80004005",
                            L"TraceOut|"));
}

TEST(Initialize, AsksForTheServiceWithAllAccessToTheManager)
{
    HandlerMachine machine;

    const ProbeHandler handler{nullptr};

    EXPECT_EQ(0xF003Fu, machine.managerAccess);
}

TEST(Initialize, TheFirstManifestThatWorksEndsTheSearch)
{
    HandlerMachine machine;
    LogCapture log;

    const ProbeHandler handler{nullptr};

    EXPECT_THAT(machine.calls, ElementsAre(L"CoInitializeEx 0", L"CreateActCtx HotkeyServiceTLY.exe.manifest",
                                           L"ActivateActCtx HotkeyServiceTLY.exe.manifest",
                                           L"CoCreateInstance in HotkeyServiceTLY.exe.manifest", L"OleRun",
                                           L"DeactivateActCtx HotkeyServiceTLY.exe.manifest",
                                           L"ReleaseActCtx HotkeyServiceTLY.exe.manifest", L"CoUninitialize"));
    EXPECT_THAT(
        log.LinesOf(kInitialize),
        ElementsAre(L"TraceIn|", kVersionLine, kRoundLine,
                    L"Verbose|Trying to initialize with Fennix using the manifest HotkeyServiceTLY.exe.manifest",
                    L"Information|Fennix initialization is success", L"TraceOut|"));
}

TEST(Initialize, AsksForTheFrameworkClassInAnyContextAsUnknown)
{
    HandlerMachine machine;

    const ProbeHandler handler{nullptr};

    ASSERT_EQ(1u, machine.classes.size());
    EXPECT_EQ(kFennixClass, machine.classes[0]);
    EXPECT_EQ(0x17u, machine.classContext);
    EXPECT_EQ(IID_IUnknown, machine.classInterface);
}

TEST(FennixDeclaration, HasTheFrameworksIdentifiers)
{
    wchar_t text[40]{};

    StringFromGUID2(kFennixClass, text, 40);
    EXPECT_STREQ(L"{8FA1AED2-DE8C-49EF-802C-6D6A70FFCFF4}", text);
    StringFromGUID2(kFennixInterface, text, 40);
    EXPECT_STREQ(L"{D03C2FC5-7E7E-4BE1-85C6-C579F534AECA}", text);
}

TEST(Initialize, AStoppedServiceCountsAsPresentAndIsLoggedWithItsStatus)
{
    HandlerMachine machine;
    machine.serviceState = SERVICE_STOPPED;
    LogCapture log;

    const ProbeHandler handler{nullptr};

    EXPECT_TRUE(handler.m_pFennix);
    EXPECT_EQ(L"Verbose|Quil System Info KMT Service Version Installed = 1.2.30.4 with Running Status = 1",
              log.LinesOf(kInitialize).at(1));
}

TEST(Initialize, ManifestsThatCannotBeActivatedAreSkippedWithinTheAttempt)
{
    HandlerMachine machine;
    machine.missingManifests = {kFirstManifest};
    machine.inertManifests = {kSecondManifest};
    LogCapture log;

    const ProbeHandler handler{nullptr};

    EXPECT_TRUE(handler.m_pFennix);
    EXPECT_EQ(0, machine.Sleeps());
    EXPECT_THAT(log.LinesOf(kInitialize),
                ElementsAre(L"TraceIn|", kVersionLine, kRoundLine, kNotEnabledLine, kNotEnabledLine,
                            L"Verbose|Trying to initialize with Fennix using the manifest HotkeyServiceTLY_amd64.xml",
                            L"Information|Fennix initialization is success", L"TraceOut|"));
}

TEST(Initialize, AManifestThatDoesNotLeadToTheClassIsDeactivatedBeforeTheNext)
{
    HandlerMachine machine;
    machine.classResults[kFirstManifest] = REGDB_E_CLASSNOTREG;
    LogCapture log;

    const ProbeHandler handler{nullptr};

    EXPECT_TRUE(handler.m_pFennix);
    EXPECT_THAT(machine.calls,
                ElementsAre(L"CoInitializeEx 0", L"CreateActCtx HotkeyServiceTLY.exe.manifest",
                            L"ActivateActCtx HotkeyServiceTLY.exe.manifest",
                            L"CoCreateInstance in HotkeyServiceTLY.exe.manifest",
                            L"DeactivateActCtx HotkeyServiceTLY.exe.manifest",
                            L"ReleaseActCtx HotkeyServiceTLY.exe.manifest", L"CreateActCtx QuilFennixManager.manifest",
                            L"ActivateActCtx QuilFennixManager.manifest",
                            L"CoCreateInstance in QuilFennixManager.manifest", L"OleRun",
                            L"DeactivateActCtx QuilFennixManager.manifest", L"ReleaseActCtx QuilFennixManager.manifest",
                            L"CoUninitialize"));
    EXPECT_THAT(
        log.LinesOf(kInitialize),
        ElementsAre(L"TraceIn|", kVersionLine, kRoundLine,
                    L"Verbose|Trying to initialize with Fennix using the manifest HotkeyServiceTLY.exe.manifest",
                    L"Error|Failed to Create Instance of Fennix (HotkeyServiceTLY.exe.manifest) Error: 126, "
                    L"HRESULT : 0x80040154",
                    L"Verbose|Trying to initialize with Fennix using the manifest QuilFennixManager.manifest",
                    L"Information|Fennix initialization is success", L"TraceOut|"));
}

TEST(Initialize, AnObjectThatDoesNotRunIsReleasedAndItsResultLogged)
{
    HandlerMachine machine;
    machine.missingManifests = {kSecondManifest, kThirdManifest};
    machine.oleRunResult = E_ACCESSDENIED;
    machine.onSleep = [&](int) { machine.oleRunResult = S_OK; };
    LogCapture log;

    const ProbeHandler handler{nullptr};

    EXPECT_EQ(1, machine.fennix.references) << "only the handler's own is left";
    EXPECT_EQ(L"Error|Failed to Create Instance of Fennix (HotkeyServiceTLY.exe.manifest) Error: 127, HRESULT : "
              L"0x80070005",
              log.LinesOf(kInitialize).at(4));
}

TEST(Initialize, AnObjectWithoutTheInterfaceIsReleasedAndItsResultLogged)
{
    HandlerMachine machine;
    machine.missingManifests = {kSecondManifest, kThirdManifest};
    machine.fennix.fennixInterface = E_NOINTERFACE;
    LogCapture log;

    const ProbeHandler handler{nullptr};

    EXPECT_FALSE(handler.m_pFennix);
    EXPECT_EQ(0, machine.fennix.references);
    EXPECT_THAT(log.LinesOf(kInitialize).at(4), testing::EndsWith(L"HRESULT : 0x80004002"));
}

TEST(Initialize, SixRoundsOfThreeManifestsEachFollowedByASleep)
{
    HandlerMachine machine;
    machine.classResults = {{kFirstManifest, E_FAIL}, {kSecondManifest, E_FAIL}, {kThirdManifest, E_OUTOFMEMORY}};
    LogCapture log;

    const ProbeHandler handler{nullptr};

    std::vector<std::wstring> expected{L"CoInitializeEx 0"};
    for (int round = 0; round < 6; ++round)
    {
        for (const wchar_t* const manifest : {kFirstManifest, kSecondManifest, kThirdManifest})
        {
            expected.push_back(std::wstring{L"CreateActCtx "} + manifest);
            expected.push_back(std::wstring{L"ActivateActCtx "} + manifest);
            expected.push_back(std::wstring{L"CoCreateInstance in "} + manifest);
            expected.push_back(std::wstring{L"DeactivateActCtx "} + manifest);
            expected.push_back(std::wstring{L"ReleaseActCtx "} + manifest);
        }
        expected.push_back(L"Sleep 1000");
    }
    expected.push_back(L"CoUninitialize");
    EXPECT_THAT(machine.calls, ElementsAreArray(expected));
    const std::vector<std::wstring> lines = log.LinesOf(kInitialize);
    EXPECT_THAT(lines.at(lines.size() - 2), testing::StartsWith(L"Error|Failed to CreateInstance of Fennix Error: "));
    EXPECT_THAT(lines.at(lines.size() - 2), testing::EndsWith(L", HRESULT : 0x8007000E"));
}

TEST(Initialize, SuccessInTheMiddleEndsTheRounds)
{
    HandlerMachine machine;
    machine.classResults = {{kFirstManifest, E_FAIL}, {kSecondManifest, E_FAIL}, {kThirdManifest, E_FAIL}};
    machine.onSleep = [&](int number) {
        if (number == 3)
        {
            machine.classResults.erase(kSecondManifest);
        }
    };
    LogCapture log;

    const ProbeHandler handler{nullptr};

    EXPECT_TRUE(handler.m_pFennix);
    EXPECT_EQ(3, machine.Sleeps());
    EXPECT_EQ(L"Information|Fennix initialization is success", *(log.LinesOf(kInitialize).end() - 2));
}

TEST(Initialize, ContextsThatWereMadeAreAllReleased)
{
    HandlerMachine machine;
    machine.inertManifests = {kFirstManifest, kSecondManifest, kThirdManifest};

    const ProbeHandler handler{nullptr};

    EXPECT_TRUE(machine.openContexts.empty());
    EXPECT_FALSE(handler.m_hActCtx);
    EXPECT_EQ(0u, handler.m_ulActCtxCookie);
}

TEST(Initialize, TheStopFlagEndsTheRounds)
{
    HandlerMachine machine;
    machine.servicePresent = false;
    ProbeHandler handler{nullptr};
    machine.calls.clear();
    machine.onSleep = [&](int number) { handler.m_bStop = number == 2; };

    handler.Initialize();

    EXPECT_EQ(2, machine.Sleeps());
}

TEST(Initialize, AStopFlagThatIsAlreadySetLeavesNoAttempt)
{
    HandlerMachine machine;
    ProbeHandler handler{nullptr};
    machine.calls.clear();
    handler.m_bStop = TRUE;

    handler.Initialize();

    EXPECT_THAT(machine.calls, ElementsAre(L"CoInitializeEx 0", L"CoUninitialize"));
}

TEST(Initialize, ACallAfterSuccessReleasesTheInterfaceBeforeItAsksAgain)
{
    HandlerMachine machine;
    ProbeHandler handler{nullptr};

    handler.Initialize();

    EXPECT_TRUE(handler.m_pFennix);
    EXPECT_EQ(1, machine.fennix.references);
}

TEST(Initialize, ComThatCannotBeInitialisedEndsIt)
{
    HandlerMachine machine;
    machine.comResult = E_OUTOFMEMORY;
    LogCapture log;
    SetLastError(14);

    const ProbeHandler handler{nullptr};

    EXPECT_THAT(machine.calls, ElementsAre(L"CoInitializeEx 0"));
    ASSERT_EQ(3u, log.LinesOf(kInitialize).size());
    EXPECT_THAT(log.LinesOf(kInitialize).at(1),
                testing::StartsWith(L"Error|Failed to initialize COM library failed with Error: "));
}

TEST(Initialize, AThreadInAnotherApartmentGoesOnAndUninitialisesAllTheSame)
{
    HandlerMachine machine;
    machine.comResult = RPC_E_CHANGED_MODE;

    const ProbeHandler handler{nullptr};

    EXPECT_TRUE(handler.m_pFennix);
    EXPECT_EQ(L"CoUninitialize", machine.calls.back());
}

TEST(Initialize, TheInterfaceIsKeptPastComAndReleasedByTheDestructor)
{
    HandlerMachine machine;
    {
        const ProbeHandler handler{nullptr};
        EXPECT_EQ(L"CoUninitialize", machine.calls.back());
        EXPECT_EQ(1, machine.fennix.references);
    }
    EXPECT_EQ(0, machine.fennix.references);
}

TEST(Initialize, SetsTheReservedHandleAgain)
{
    HandlerMachine machine;
    ProbeHandler handler{nullptr};
    handler.m_hReserved = nullptr;

    handler.Initialize();

    EXPECT_EQ(INVALID_HANDLE_VALUE, handler.m_hReserved);
}

// --- activation contexts

class EnableActivationContextTest : public testing::Test
{
  protected:
    HandlerMachine machine;
    ProbeHandler handler{nullptr};
    LogCapture log;
    std::wstring modulePath{L"C:\\Quil\\HotKey\\HotKeyServiceTLY.exe"};
    DWORD moduleError{0};

    IMPORT_HOOK(GetModuleFileNameW){[this](HMODULE module, LPWSTR buffer, DWORD size) -> DWORD {
        EXPECT_EQ(nullptr, module);
        EXPECT_EQ(260u, size);
        if (moduleError != 0)
        {
            SetLastError(moduleError);
            return 0;
        }
        wcscpy(buffer, modulePath.c_str());
        return static_cast<DWORD>(modulePath.size());
    }};
};

TEST_F(EnableActivationContextTest, TakesTheBareManifestNameAndTheProgramsFolder)
{
    EXPECT_EQ(TRUE, handler.EnableActivationContext(kSecondManifest));

    EXPECT_EQ(56u, machine.lastContext.cbSize);
    EXPECT_EQ(4u, machine.lastContext.dwFlags);
    EXPECT_STREQ(L"QuilFennixManager.manifest", machine.lastContext.lpSource);
    EXPECT_EQ(L"C:\\Quil\\HotKey", machine.lastDirectory);
    EXPECT_TRUE(handler.m_hActCtx);
    EXPECT_NE(0u, handler.m_ulActCtxCookie);
    EXPECT_LINES(log, L"TraceIn|",
                 L"Information|Executable file complete name is: C:\\Quil\\HotKey\\HotKeyServiceTLY.exe",
                 L"Information|Executable file complete path is: C:\\Quil\\HotKey", L"TraceOut|");
}

TEST_F(EnableActivationContextTest, AModulePathWithoutABackslashIsTheFolderItself)
{
    modulePath = L"HotKeyServiceTLY.exe";

    EXPECT_EQ(TRUE, handler.EnableActivationContext(kFirstManifest));

    EXPECT_EQ(L"HotKeyServiceTLY.exe", machine.lastDirectory);
}

TEST_F(EnableActivationContextTest, WithoutAModulePathNothingIsMade)
{
    moduleError = 5;
    machine.calls.clear();

    EXPECT_EQ(FALSE, handler.EnableActivationContext(kFirstManifest));

    EXPECT_TRUE(machine.calls.empty());
    EXPECT_LINES(log, L"TraceIn|", L"Error|Could not find Executable file path.", L"TraceOut|");
}

TEST_F(EnableActivationContextTest, AContextThatCannotBeMadeIsLoggedWithItsError)
{
    machine.missingManifests = {kFirstManifest};

    EXPECT_EQ(FALSE, handler.EnableActivationContext(kFirstManifest));

    EXPECT_FALSE(handler.m_hActCtx);
    EXPECT_THAT(log.LinesOf(kEnable), testing::Contains(L"Error|CreateActCtx failed with Error: 2"));
}

TEST_F(EnableActivationContextTest, AContextThatCannotBeActivatedIsLoggedWithATrailingComma)
{
    machine.inertManifests = {kFirstManifest};

    EXPECT_EQ(FALSE, handler.EnableActivationContext(kFirstManifest));

    EXPECT_THAT(log.LinesOf(kEnable), testing::Contains(L"Error|ActivateActCtx failed with Error: 14001,"));
}

TEST_F(EnableActivationContextTest, DisablingKeepsTheCookieWhenDeactivationFails)
{
    handler.EnableActivationContext(kFirstManifest);
    machine.deactivateResult = FALSE;
    log.Clear();

    handler.DisableActivationContext();

    EXPECT_NE(0u, handler.m_ulActCtxCookie);
    EXPECT_FALSE(handler.m_hActCtx);
    EXPECT_RECORDS(log, L"TraceIn|RpcServer::SysInfo::CHotKeyHandler::DisableActivationContext|",
                   L"TraceOut|RpcServer::SysInfo::CHotKeyHandler::DisableActivationContext|");
}

TEST_F(EnableActivationContextTest, DisablingTwiceDoesNothingTheSecondTime)
{
    handler.EnableActivationContext(kFirstManifest);
    handler.DisableActivationContext();
    machine.calls.clear();

    handler.DisableActivationContext();

    EXPECT_TRUE(machine.calls.empty());
}

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
