// wmain: which mode each command line chooses, and every byte that is printed. The entry point is linked into this
// program for the cases that need a machine of their own, and started as the real program for the rest.
#include "tests/harness/ImportHook.h"
#include "tests/unit/service/ProcessListStandIn.h"
#include "tests/unit/service/ServiceDatabaseStandIn.h"
#include "tests/unit/service/ServiceMachine.h"

#include "shared/UniqueHandle.h"
#include "shared/WideText.h"
#include "utils/FileVersion.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <windows.h>

#include <cstdio>
#include <cstdlib>
#include <stdexcept>
#include <string>
#include <vector>

int wmain(int argc, wchar_t** argv);

using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Not;

namespace
{

constexpr char kUsage[] = "Parameters:\n"
                          " -install  to install the service.\n"
                          " -remove   to remove the service.\n"
                          " -console  to run in console mode.\n";

// Runs wmain with these arguments behind the program's name; it returns 0 whatever happens.
std::string PrintedFor(std::vector<std::wstring> arguments)
{
    arguments.insert(arguments.begin(), L"HotKeyServiceTLY.exe");
    std::vector<wchar_t*> pointers;
    for (std::wstring& argument : arguments)
    {
        pointers.push_back(argument.data());
    }
    pointers.push_back(nullptr);

    testing::internal::CaptureStdout();
    EXPECT_EQ(0, wmain(static_cast<int>(arguments.size()), pointers.data()));
    return testing::internal::GetCapturedStdout();
}

// A dispatcher that nobody started, as in a program that the user starts.
struct NoServiceManager
{
    IMPORT_HOOK(StartServiceCtrlDispatcherW){[](auto...) {
        std::fputs("<dispatcher>", stdout);
        SetLastError(ERROR_FAILED_SERVICE_CONTROLLER_CONNECT);
        return FALSE;
    }};
};

// What the real program prints, byte by byte, and its exit code.
struct ProgramRun
{
    std::string output;
    DWORD exitCode{0xFFFFFFFF};
};

// The real program stands beside the tests.
std::wstring ProgramPath()
{
    wchar_t self[MAX_PATH]{};
    GetModuleFileNameW(nullptr, self, MAX_PATH);
    return Quil::Shared::DirectoryOf(self) + L"\\HotKeyServiceTLY.exe";
}

ProgramRun RunProgram(const std::wstring& arguments)
{
    using Quil::Shared::CUniqueHandle;

    const std::wstring program = ProgramPath();
    std::wstring commandLine = L"\"" + program + L"\"" + arguments;

    SECURITY_ATTRIBUTES inheritable{sizeof inheritable, nullptr, TRUE};
    CUniqueHandle readEnd;
    CUniqueHandle writeEnd;
    EXPECT_TRUE(CreatePipe(readEnd.Put(), writeEnd.Put(), &inheritable, 0));
    SetHandleInformation(readEnd.Get(), HANDLE_FLAG_INHERIT, 0);
    STARTUPINFOW startup{};
    startup.cb = sizeof startup;
    startup.dwFlags = STARTF_USESTDHANDLES;
    startup.hStdOutput = writeEnd.Get();
    startup.hStdError = writeEnd.Get();
    PROCESS_INFORMATION information{};
    EXPECT_TRUE(CreateProcessW(program.c_str(), commandLine.data(), nullptr, nullptr, TRUE, 0, nullptr, nullptr,
                               &startup, &information))
        << GetLastError();
    const CUniqueHandle process{information.hProcess};
    const CUniqueHandle thread{information.hThread};

    // A desktop that the program is the first to need may keep the pipe open, so its end is no sign; what the program
    // prints fits into the pipe.
    ProgramRun run;
    EXPECT_EQ(DWORD{WAIT_OBJECT_0}, WaitForSingleObject(process.Get(), 60000));
    GetExitCodeProcess(process.Get(), &run.exitCode);
    DWORD size = 0;
    PeekNamedPipe(readEnd.Get(), nullptr, 0, nullptr, &size, nullptr);
    run.output.resize(size);
    if (size != 0)
    {
        EXPECT_TRUE(ReadFile(readEnd.Get(), run.output.data(), size, &size, nullptr));
    }
    return run;
}

} // namespace

// ---- install and remove

TEST(EntryPoint, InstallsWithTheServicesNamesAsAutomaticLocalSystemService)
{
    ServiceDatabaseStandIn database;
    IMPORT_HOOK(GetModuleFileNameW)
    ([](HMODULE, LPWSTR buffer, DWORD) -> DWORD {
        std::wcscpy(buffer, L"C:\\a b\\c.exe");
        return 12;
    });

    EXPECT_EQ("HotKeyServiceTLY is installed.\n", PrintedFor({L"-install"}));
    EXPECT_THAT(database.Calls(),
                ElementsAre(L"OpenSCManager 0x3",
                            L"CreateService HotKeyServiceTLY|Quil TLY "
                            L"Service|0xf01ff|0x110|2|1|\"C:\\a b\\c.exe\"|(null)||(null)|(null)",
                            L"ChangeServiceConfig2 1 Quil Tessaly Service", L"close manager", L"close service"));
}

TEST(EntryPoint, TakesSwitchesInAnyCaseWithEitherPrefix)
{
    for (const wchar_t* const argument : {L"-INSTALL", L"/Install", L"-install", L"/iNSTALL"})
    {
        ServiceDatabaseStandIn database;

        EXPECT_EQ("HotKeyServiceTLY is installed.\n", PrintedFor({argument})) << argument;
    }
}

TEST(EntryPoint, RemovesTheService)
{
    for (const wchar_t* const argument : {L"-remove", L"/REMOVE", L"-Remove"})
    {
        ServiceDatabaseStandIn database;
        ProcessListStandIn processes{{}};

        EXPECT_EQ("Stopping HotKeyServiceTLY.\nHotKeyServiceTLY is stopped.\nHotKeyServiceTLY is removed.\n",
                  PrintedFor({argument}));
    }
}

TEST(EntryPoint, LooksAtTheFirstArgumentOnly)
{
    ServiceDatabaseStandIn database;
    ProcessListStandIn processes{{}};

    EXPECT_EQ("HotKeyServiceTLY is installed.\n", PrintedFor({L"-install", L"-remove", L"word"}));
    EXPECT_EQ("", PrintedFor({L"-foo", L"-install"}));
}

TEST(EntryPoint, IgnoresUnknownSwitchesWithoutAWord)
{
    for (const wchar_t* const argument : {L"-foo", L"/foo", L"-", L"/", L"--install", L"-installs", L"-instal",
                                          L"- install", L"-install ", L"/?", L"-h", L"-\x0130nstall"})
    {
        ServiceMachine machine;
        NoServiceManager none;

        EXPECT_EQ("", PrintedFor({argument})) << argument;
        EXPECT_THAT(machine.Story(), IsEmpty()) << argument;
    }
}

TEST(EntryPoint, FailuresOfInstallationLeaveTheExitCodeZero)
{
    ServiceDatabaseStandIn database;
    database.Fail(L"OpenSCManager", ERROR_ACCESS_DENIED);

    EXPECT_EQ("OpenSCManager failed w/err 0x00000005\n", PrintedFor({L"-install"})); // checks the exit code too
}

// ---- the service

TEST(EntryPoint, WithoutSwitchPrintsTheUsageThenRunsTheServiceThenItsFailure)
{
    for (const std::vector<std::wstring>& arguments :
         {std::vector<std::wstring>{}, {L"install"}, {L""}, {L" -install"}, {L"console", L"-install"}})
    {
        ServiceMachine machine;
        NoServiceManager none;

        EXPECT_EQ(std::string{kUsage} + "<dispatcher>Service failed to run w/err 0x00000427\n", PrintedFor(arguments));
    }
}

TEST(EntryPoint, ServiceThatHasRunPrintsNothingMore)
{
    ServiceMachine machine;
    IMPORT_HOOK(StartServiceCtrlDispatcherW)
    ([](const SERVICE_TABLE_ENTRYW* table) {
        EXPECT_STREQ(L"HotKeyServiceTLY", table[0].lpServiceName);
        return TRUE;
    });

    EXPECT_EQ(kUsage, PrintedFor({}));
    EXPECT_EQ(1, hook_StartServiceCtrlDispatcherW.Calls());
}

TEST(EntryPoint, ServiceObjectLivesWhileTheDispatcherRuns)
{
    ServiceMachine machine;
    IMPORT_HOOK(StartServiceCtrlDispatcherW)
    ([](auto...) {
        Quil::Shared::CLogName{"system"}.Information(L"dispatcher");
        return TRUE;
    });

    PrintedFor({});

    EXPECT_THAT(machine.Story(),
                ElementsAre(L"CMainService: TraceIn|", L"call RpcServer::WMIData::WMIData", L"CMainService: TraceOut|",
                            L"system dispatcher", L"~CMainService: TraceIn|", L"call RpcServer::WMIData::~WMIData",
                            L"~CMainService: TraceOut|"));
}

TEST(EntryPoint, ErrorOfAFailedRegistrationIsNotCaught)
{
    ServiceMachine machine;
    IMPORT_HOOK(StartServiceCtrlDispatcherW)
    ([](const SERVICE_TABLE_ENTRYW* table) {
        table[0].lpServiceProc(0, nullptr);
        return TRUE;
    });
    IMPORT_HOOK(RegisterServiceCtrlHandlerExW)
    ([](auto...) -> SERVICE_STATUS_HANDLE {
        SetLastError(5);
        return nullptr;
    });

    testing::internal::CaptureStdout();
    wchar_t program[] = L"HotKeyServiceTLY.exe";
    wchar_t* arguments[] = {program, nullptr};
    EXPECT_THROW(wmain(1, arguments), DWORD);
    EXPECT_EQ(kUsage, testing::internal::GetCapturedStdout());
}

TEST(EntryPoint, SecurityIsInitialisedBeforeTheServiceObjectUntilItSucceededOnce)
{
    const auto runThreeTimes = [] {
        ServiceMachine machine;
        NoServiceManager none;
        const auto attempts = [&] { return machine.CallsOf("Utils::InitializeSecurity"); };
        HRESULT result = E_ACCESSDENIED;
        IMPORT_HOOK(CoInitializeSecurity)([&](auto...) { return result; });
        PrintedFor({});
        const int afterFailure = attempts();
        result = S_OK;
        PrintedFor({});
        const int afterSuccess = attempts();
        PrintedFor({});
        const LogRecord first = machine.log.Records().front();
        const bool right = afterFailure == 1 && afterSuccess == 2 && attempts() == 2 &&
                           first.function == "Utils::InitializeSecurity" && first.message == L"DoCoUnint = 1";
        std::exit(right ? 0 : 1);
    };

    // In a process of its own: the flag is the process's.
    EXPECT_EXIT(runThreeTimes(), testing::ExitedWithCode(0), "");
}

// ---- the console

TEST(EntryPoint, ConsolePrintsNothingServesRpcAndDestroysTheServiceObject)
{
    for (const wchar_t* const argument : {L"-console", L"/CONSOLE", L"-Console"})
    {
        ServiceMachine machine;

        EXPECT_EQ("", PrintedFor({argument}));
        EXPECT_THAT(machine.Story(),
                    ElementsAre(L"CMainService: TraceIn|", L"call RpcServer::WMIData::WMIData",
                                L"CMainService: TraceOut|", L"ConsoleRun: TraceIn|", L"system RpcServerConnect",
                                L"ConsoleRun: TraceOut|", L"~CMainService: TraceIn|",
                                L"call RpcServer::WMIData::~WMIData", L"~CMainService: TraceOut|"));
        EXPECT_EQ(0, machine.CallsOf("Utils::InitializeSecurity"));
    }
}

TEST(EntryPoint, ServiceObjectIsDestroyedWhenAnExceptionLeavesTheConsole)
{
    ServiceMachine machine;
    IMPORT_HOOK(RpcServerListen)([](auto...) -> RPC_STATUS { throw std::runtime_error{"from below"}; });

    EXPECT_EQ("", PrintedFor({L"-console"}));
    EXPECT_THAT(machine.Story(), Contains(L"call RpcServer::WMIData::~WMIData"));
}

// ---- the program itself

// Takes ten seconds in a Wine prefix that has started a service before: its dispatcher then waits for a control pipe.
TEST(Program, StartedByTheUserPrintsUsageAndFailure)
{
    const ProgramRun run = RunProgram(L"");

    EXPECT_EQ("Parameters:\r\n"
              " -install  to install the service.\r\n"
              " -remove   to remove the service.\r\n"
              " -console  to run in console mode.\r\n"
              "Service failed to run w/err 0x00000427\r\n",
              run.output);
    EXPECT_EQ(0u, run.exitCode);
}

TEST(Program, UnknownSwitchPrintsNothing)
{
    const ProgramRun run = RunProgram(L" -foo -install");

    EXPECT_EQ("", run.output);
    EXPECT_EQ(0u, run.exitCode);
}

namespace
{

// A text of the program's version resource; empty when it is missing.
std::wstring VersionText(const std::wstring& name)
{
    DWORD unused = 0;
    std::vector<BYTE> resource(GetFileVersionInfoSizeW(ProgramPath().c_str(), &unused));
    GetFileVersionInfoW(ProgramPath().c_str(), 0, static_cast<DWORD>(resource.size()), resource.data());
    void* text = nullptr;
    UINT length = 0;
    return VerQueryValueW(resource.data(), (L"\\StringFileInfo\\" + name).c_str(), &text, &length)
               ? static_cast<const wchar_t*>(text)
               : L"";
}

} // namespace

TEST(ProgramResources, NameTheProductUnderBothCodePages)
{
    EXPECT_EQ(L"Quil TLY Service", VersionText(L"040904E4\\ProductName"));
    EXPECT_EQ(L"Quil TLY Service", VersionText(L"040904B0\\ProductName"));
}

TEST(ProgramResources, CarryTheProjectsVersion)
{
    EXPECT_EQ(HOTKEY_VERSION, VersionText(L"040904E4\\FileVersion"));
    EXPECT_EQ(HOTKEY_VERSION, VersionText(L"040904B0\\ProductVersion"));
    const VS_FIXEDFILEINFO numbers = Utils::GetVersionValue(ProgramPath().c_str());
    EXPECT_EQ(HOTKEY_VERSION, Utils::FileVersionText(numbers.dwFileVersionMS, numbers.dwFileVersionLS));
}

TEST(ProgramResources, ManifestAsksForNothingAndDependsOnNothing)
{
    const HMODULE program = LoadLibraryExW(ProgramPath().c_str(), nullptr, LOAD_LIBRARY_AS_DATAFILE);
    ASSERT_NE(nullptr, program);
    const HRSRC found = FindResourceW(program, MAKEINTRESOURCEW(1), MAKEINTRESOURCEW(24));
    ASSERT_NE(nullptr, found);
    const auto* const text = static_cast<const char*>(LockResource(LoadResource(program, found)));
    const std::string manifest{text, SizeofResource(program, found)};
    FreeLibrary(program);

    EXPECT_THAT(manifest, testing::HasSubstr("level=\"asInvoker\""));
    EXPECT_THAT(manifest, testing::HasSubstr("{8e0f7a12-bfb3-4fe8-b9a5-48fd50a15a9a}"));
    EXPECT_THAT(manifest, Not(testing::HasSubstr("<dependency")));
}
