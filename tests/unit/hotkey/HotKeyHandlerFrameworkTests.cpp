// The handler's way to the framework: service, manifests, class and interface, in rounds; activation contexts.
#include "hotkey/HotKeyHandler.h"

#include "tests/harness/ImportHook.h"
#include "tests/harness/LogCapture.h"
#include "tests/unit/hotkey/HandlerMachine.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

using testing::ElementsAre;
using testing::ElementsAreArray;

namespace
{

constexpr char kInitialize[] = "RpcServer::SysInfo::CHotKeyHandler::Initialize";
constexpr char kEnable[] = "RpcServer::SysInfo::CHotKeyHandler::EnableActivationContext";

constexpr wchar_t kVersionLine[] =
    L"Verbose|Quil System Info KMT Service Version Installed = 1.2.30.4 with Running Status = 0";
constexpr wchar_t kRoundLine[] = L"Verbose|Quil System Info KMT Service is installed. Trying to initialize with Fennix";
constexpr wchar_t kNotEnabledLine[] =
    L"Error|EnableActivationContext. So there is a chance of 'Class Not Registered' Error";

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
