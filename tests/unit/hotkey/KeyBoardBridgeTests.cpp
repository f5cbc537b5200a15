// The bridge: the process's one instance, the numbered commands, the USB-C application, the queries it forwards.
#include "hotkey/KeyBoardBridge.h"

#include "hotkey/HotKeyHandler.h"
#include "hotkey/SysInfoSource.h"
#include "tests/harness/AllocationFault.h"
#include "tests/harness/ImportHook.h"
#include "tests/harness/LogCapture.h"
#include "tests/unit/hotkey/HandlerMachine.h"
#include "tests/unit/hotkey/LaunchMachine.h"
#include "tests/unit/hotkey/ProbeBridge.h"
#include "tests/unit/hotkey/SourceStandIn.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <shlobj.h>
#include <tlhelp32.h>

#include <string>
#include <vector>

using RpcServer::CKeyBoardBridge;
using testing::ElementsAre;

namespace
{

constexpr char kCreate[] = "RpcServer::CKeyBoardBridge::CreateHotKeyHandlerInstance";
constexpr char kProcessCommand[] = "RpcServer::CKeyBoardBridge::ProcessCommand";
constexpr char kUsbCApp[] = "RpcServer::CKeyBoardBridge::LaunchUsbCApp";
constexpr char kHandlerDestructor[] = "RpcServer::SysInfo::CHotKeyHandler::~CHotKeyHandler";

constexpr wchar_t kCallingRelease[] = L"Information|Calling ReleaseHotKeyHandlerInstance() from "
                                      L"CKeyBoardBridge::CreateHotKeyHandlerInstance() ";
constexpr wchar_t kReleased[] =
    L"Information|Released the existing HotKeyHandler Instance...Constructing new CHotKeyHandler instance";

class Bridge : public testing::Test
{
  protected:
    HandlerMachine handlerMachine;
    ProbeBridge bridge;
    LogCapture log;
};

// Everything that a command touches; no msinfo32 runs unless the test says so.
class Commands : public Bridge
{
  protected:
    LaunchMachine machine;
    bool msinfoRuns{false};
    std::wstring modulePath{L"D:\\Service\\HotKeyServiceTLY.exe"};
    DWORD moduleError{0};

    IMPORT_HOOK(CreateToolhelp32Snapshot){[](auto...) { return LaunchMachine::Handle(0xE1); }};
    IMPORT_HOOK(Process32FirstW){[this](HANDLE, LPPROCESSENTRY32W entry) {
        wcscpy(entry->szExeFile, msinfoRuns ? L"MSInfo32.EXE" : L"other.exe");
        entry->th32ProcessID = 321;
        return TRUE;
    }};
    IMPORT_HOOK(Process32NextW){[](auto...) { return FALSE; }};
    IMPORT_HOOK(OpenProcess){[this](DWORD, BOOL, DWORD id) {
        machine.calls.push_back(L"OpenProcess " + std::to_wstring(id));
        return LaunchMachine::Handle(0xE2);
    }};
    IMPORT_HOOK(TerminateProcess){[this](HANDLE, UINT) {
        machine.calls.push_back(L"TerminateProcess");
        return TRUE;
    }};
    IMPORT_HOOK(CloseHandle){[](HANDLE handle) {
        return handle == LaunchMachine::Handle(0xE1) || decltype(hook_CloseHandle)::RealOfCurrent()(handle) ? TRUE
                                                                                                            : FALSE;
    }};
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

} // namespace

// --- the one instance

namespace
{

class BridgeInstance : public testing::Test
{
  protected:
    BridgeInstance() { ProbeBridge::ForgetInstance(); }

    HandlerMachine machine;
    LogCapture log;
};

} // namespace

TEST_F(BridgeInstance, IsNullWhenMemoryRanOut)
{
    const AllocationFault fault{0};

    EXPECT_EQ(nullptr, CKeyBoardBridge::getInstance(nullptr));

    EXPECT_RECORDS(log, L"TraceIn|RpcServer::CKeyBoardBridge::getInstance|",
                   L"TraceOut|RpcServer::CKeyBoardBridge::getInstance|");
}

TEST_F(BridgeInstance, IsMadeWithItsHandlerOnTheFirstCall)
{
    CKeyBoardBridge* const bridge = CKeyBoardBridge::getInstance(nullptr);

    ASSERT_NE(nullptr, bridge);
    EXPECT_NE(nullptr, bridge->GetHotKeyHandler());
    EXPECT_THAT(log.LinesOf("RpcServer::CKeyBoardBridge::CKeyBoardBridge"),
                ElementsAre(L"TraceIn|",
                            L"Information|Calling CreateHotKeyHandlerInstance() from "
                            L"CKeyBoardBridge::CKeyBoardBridge() ",
                            L"TraceOut|"));
    EXPECT_THAT(log.LinesOf(kCreate), ElementsAre(L"TraceIn|", kCallingRelease, kReleased, L"TraceOut|"));
}

TEST_F(BridgeInstance, IsTheSameForEveryCallerWhateverReaderItBrings)
{
    CKeyBoardBridge* const first = CKeyBoardBridge::getInstance(nullptr);
    const auto handler = first->GetHotKeyHandler();
    log.Clear();

    EXPECT_EQ(first, CKeyBoardBridge::getInstance(reinterpret_cast<RpcServer::WMIData*>(std::uintptr_t{0x10})));

    EXPECT_EQ(handler, first->GetHotKeyHandler());
    EXPECT_RECORDS(log, L"TraceIn|RpcServer::CKeyBoardBridge::getInstance|",
                   L"TraceOut|RpcServer::CKeyBoardBridge::getInstance|");
}

// --- the handler

TEST_F(Bridge, ANewHandlerTakesTheOldOnesPlaceAfterItIsTornDown)
{
    bridge.CreateHotKeyHandlerInstance();

    EXPECT_NE(nullptr, bridge.GetHotKeyHandler());
    EXPECT_THAT(log.LinesOf(kCreate), ElementsAre(L"TraceIn|", kCallingRelease, kReleased, L"TraceOut|"));
    EXPECT_THAT(log.LinesOf(kHandlerDestructor), ElementsAre(L"TraceIn|", L"TraceOut|"));
    std::vector<std::string> order;
    for (const LogRecord& record : log.Records())
    {
        if (record.level == Quil::Shared::TraceIn &&
            (record.function == kHandlerDestructor || record.function.ends_with("CHotKeyHandler::CHotKeyHandler")))
        {
            order.push_back(record.function);
        }
    }
    EXPECT_THAT(order, ElementsAre(kHandlerDestructor, "RpcServer::SysInfo::CHotKeyHandler::CHotKeyHandler"));
}

TEST_F(Bridge, AHandlerThatCannotBeAllocatedLeavesNone)
{
    const AllocationFault fault{0, 1};

    bridge.CreateHotKeyHandlerInstance();

    EXPECT_EQ(nullptr, bridge.GetHotKeyHandler());
    EXPECT_THAT(log.LinesOf(kCreate), ElementsAre(L"TraceIn|", kCallingRelease, kReleased,
                                                  L"Error|CHotKeyHandler allocation failed", L"TraceOut|"));
}

TEST(BridgeHandler, GetsTheReaderOfTheFirstCaller)
{
    HandlerMachine machine;
    SourceStandIn source;
    ReaderStandIn reader;
    reader.SetText(L"text of the first caller's reader");
    ProbeBridge bridge{&reader};

    EXPECT_EQ(L"text of the first caller's reader<.^.>yes", bridge.GetSysInfo());
}

TEST_F(Bridge, ReleaseDestroysTheHandlerOnce)
{
    bridge.ReleaseHotKeyHandlerInstance();
    bridge.ReleaseHotKeyHandlerInstance();

    EXPECT_EQ(nullptr, bridge.GetHotKeyHandler());
    EXPECT_THAT(log.LinesOf(kHandlerDestructor), ElementsAre(L"TraceIn|", L"TraceOut|"));
    EXPECT_THAT(log.LinesOf("RpcServer::CKeyBoardBridge::ReleaseHotKeyHandlerInstance"),
                ElementsAre(L"TraceIn|", L"TraceOut|", L"TraceIn|", L"TraceOut|"));
}

TEST_F(Bridge, ARequestInsideKeepsTheHandlerUntilItLeaves)
{
    SourceStandIn source;
    ReaderStandIn reader;
    reader.SetText(L"read");
    source.reader = &reader;
    source.onWait = [&] {
        bridge.ReleaseHotKeyHandlerInstance();
        EXPECT_TRUE(log.LinesOf(kHandlerDestructor).empty());
    };

    EXPECT_EQ(L"read<.^.>yes", bridge.GetSysInfo());

    EXPECT_EQ(nullptr, bridge.GetHotKeyHandler());
    EXPECT_THAT(log.LinesOf(kHandlerDestructor), ElementsAre(L"TraceIn|", L"TraceOut|"));
}

TEST_F(Bridge, TheHelperIsRenewedWithoutARecordOfTheBridge)
{
    const auto handler = bridge.GetHotKeyHandler();

    EXPECT_TRUE(bridge.RecreateAppActivationHandler());

    EXPECT_EQ(handler, bridge.GetHotKeyHandler());
    EXPECT_RECORDS(log, L"TraceIn|RpcServer::AppSection::CAppActivationHandler::~CAppActivationHandler|",
                   L"TraceIn|RpcServer::AppSection::CAppActivationHandler::RemoveImpersonation|",
                   L"TraceOut|RpcServer::AppSection::CAppActivationHandler::RemoveImpersonation|",
                   L"TraceOut|RpcServer::AppSection::CAppActivationHandler::~CAppActivationHandler|",
                   L"TraceIn|RpcServer::SysInfo::CHotKeyHandler::CreateAppActivationHandler|",
                   L"TraceIn|RpcServer::AppSection::CAppActivationHandler::CAppActivationHandler|",
                   L"TraceOut|RpcServer::AppSection::CAppActivationHandler::CAppActivationHandler|",
                   L"TraceOut|RpcServer::SysInfo::CHotKeyHandler::CreateAppActivationHandler|");
}

TEST_F(Bridge, AHelperThatCannotBeRenewedIsFalse)
{
    const AllocationFault fault{0, 1};

    EXPECT_FALSE(bridge.RecreateAppActivationHandler());
}

TEST_F(Bridge, WithoutAHandlerNoHelperIsRenewed)
{
    bridge.ReleaseHotKeyHandlerInstance();
    log.Clear();

    EXPECT_FALSE(bridge.RecreateAppActivationHandler());

    EXPECT_TRUE(log.Lines().empty());
}

// --- the commands

TEST_F(Commands, Command0StartsTheSystemInformationTool)
{
    bridge.ProcessCommand(0);

    EXPECT_EQ(L"C:\\Windows\\System32\\msinfo32.exe", machine.application);
    EXPECT_EQ(L"", machine.commandLine);
    EXPECT_THAT(machine.calls, testing::Not(testing::Contains(L"GetTokenInformation(TokenElevationType)")));
    EXPECT_THAT(log.LinesOf(kProcessCommand),
                ElementsAre(L"TraceIn|", L"Information|KillProcessByName (msinfo32.exe) - HRESULT = 0x0",
                            L"Information|Launching MSINFO ", L"TraceOut|"));
}

TEST_F(Commands, Command0EndsARunningToolFirst)
{
    msinfoRuns = true;

    bridge.ProcessCommand(0);

    ASSERT_GE(machine.calls.size(), 3u);
    EXPECT_EQ(L"OpenProcess 321", machine.calls[0]);
    EXPECT_EQ(L"TerminateProcess", machine.calls[1]);
    EXPECT_EQ(L"OpenProcessToken", machine.calls[2]);
    EXPECT_EQ(1, machine.Launches());
}

TEST_F(Commands, Command0ThatFailsSaysSo)
{
    machine.failures[L"CreateProcessAsUserW"] = 2;

    bridge.ProcessCommand(0);

    EXPECT_THAT(log.LinesOf(kProcessCommand),
                ElementsAre(L"TraceIn|", L"Information|KillProcessByName (msinfo32.exe) - HRESULT = 0x0",
                            L"Information|Launching MSINFO ", L"Error|LaunchProcess failed for - MSInfo",
                            L"TraceOut|"));
}

TEST_F(Commands, Command1And4AndHigherDoNothing)
{
    for (const unsigned command : {1u, 4u, 5u, 0xFFFFFFFFu})
    {
        log.Clear();

        bridge.ProcessCommand(command);

        EXPECT_RECORDS(log, L"TraceIn|RpcServer::CKeyBoardBridge::ProcessCommand|",
                       L"TraceOut|RpcServer::CKeyBoardBridge::ProcessCommand|");
    }
    EXPECT_TRUE(machine.calls.empty());
}

TEST_F(Commands, Command2StartsTheNotificationAppBesideTheServiceElevated)
{
    machine.elevation = TokenElevationTypeLimited;

    bridge.ProcessCommand(2);

    EXPECT_EQ(L"D:\\Service\\QuilHotkeyNotification.exe", machine.application);
    EXPECT_EQ(L"", machine.commandLine);
    EXPECT_EQ(LaunchMachine::Handle(0xB2), machine.duplicated);
    EXPECT_THAT(
        log.LinesOf(kProcessCommand),
        ElementsAre(L"TraceIn|", L"Information|Launching HotkeyNotification ",
                    L"Information|QuilHotkeyNotification complete path : D:\\Service\\QuilHotkeyNotification.exe",
                    L"TraceOut|"));
}

TEST_F(Commands, Command2KeepsAModulePathWithoutABackslashWhole)
{
    modulePath = L"HotKeyServiceTLY.exe";

    bridge.ProcessCommand(2);

    EXPECT_EQ(L"HotKeyServiceTLY.exe\\QuilHotkeyNotification.exe", machine.application);
}

TEST_F(Commands, Command2WithoutAModulePathStartsNothing)
{
    moduleError = 0x7A;

    bridge.ProcessCommand(2);

    EXPECT_TRUE(machine.calls.empty());
    EXPECT_THAT(log.LinesOf(kProcessCommand),
                ElementsAre(L"TraceIn|", L"Information|Launching HotkeyNotification ",
                            L"Error|Could not find Service file executable .Error: 0x0000007A", L"TraceOut|"));
}

TEST_F(Commands, Command2ThatFailsSaysSo)
{
    machine.failures[L"CreateProcessAsUserW"] = 2;

    bridge.ProcessCommand(2);

    EXPECT_EQ(L"Error|LaunchProcess With ElevatedPrivilege failed for - HotkeyNotification",
              log.LinesOf(kProcessCommand).at(3));
}

TEST_F(Commands, Command3StartsThePowerOptions)
{
    bridge.ProcessCommand(3);

    EXPECT_EQ(L"C:\\Windows\\System32\\control.exe", machine.application);
    EXPECT_EQ(L" /name Microsoft.PowerOptions", machine.commandLine);
    EXPECT_THAT(machine.calls, testing::Not(testing::Contains(L"GetTokenInformation(TokenElevationType)")));
    EXPECT_THAT(
        log.LinesOf(kProcessCommand),
        ElementsAre(L"TraceIn|", L"Information|Launching Windows Power Options",
                    L"Information|Windows Power Options complete path : C:\\Windows\\System32\\control.exe /name "
                    L"Microsoft.PowerOptions",
                    L"TraceOut|"));
}

TEST_F(Commands, Command3ThatFailsSaysSo)
{
    machine.failures[L"DuplicateTokenEx"] = 5;

    bridge.ProcessCommand(3);

    EXPECT_EQ(L"Error|LaunchProcess failed for Windows Power Options", log.LinesOf(kProcessCommand).at(3));
}

// --- the USB-C application

namespace
{

class UsbCApp : public Commands
{
  protected:
    bool installed{true};
    int searches{0};

    IMPORT_HOOK(SHGetFolderPathW){[](HWND, int, HANDLE, DWORD, LPWSTR buffer) {
        wcscpy(buffer, L"P:");
        return S_OK;
    }};
    IMPORT_HOOK(FindFirstFileW){[this](auto...) -> HANDLE {
        ++searches;
        return installed ? LaunchMachine::Handle(0xF1) : INVALID_HANDLE_VALUE;
    }};
    IMPORT_HOOK(FindClose){[](HANDLE) { return TRUE; }};
};

} // namespace

TEST_F(UsbCApp, IsStartedForTheUserFromWhereItIsFound)
{
    bridge.LaunchUsbCApp();

    EXPECT_EQ(L"P:\\Quil\\Quil Notifications\\QuilUsbCConfiguration.exe", machine.application);
    EXPECT_EQ(L"", machine.commandLine);
    EXPECT_THAT(log.LinesOf(kUsbCApp),
                ElementsAre(L"TraceIn|",
                            L"Verbose|USBC App Path =P:\\Quil\\Quil Notifications\\QuilUsbCConfiguration.exe",
                            L"TraceOut|"));
}

TEST_F(UsbCApp, IsSearchedOnlyUntilItIsFound)
{
    bridge.LaunchUsbCApp();
    installed = false;

    bridge.LaunchUsbCApp();

    EXPECT_EQ(1, searches);
    EXPECT_EQ(2, machine.Launches());
}

TEST_F(UsbCApp, ThatIsNotInstalledIsSearchedAgainNextTime)
{
    installed = false;
    bridge.LaunchUsbCApp();
    EXPECT_EQ(0, machine.Launches());
    EXPECT_THAT(log.LinesOf(kUsbCApp), ElementsAre(L"TraceIn|", L"TraceOut|"));
    installed = true;

    bridge.LaunchUsbCApp();

    EXPECT_EQ(1, machine.Launches());
}

TEST_F(UsbCApp, ThatFailsToStartIsNotMentionedAgain)
{
    machine.failures[L"CreateProcessAsUserW"] = 2;

    bridge.LaunchUsbCApp();

    EXPECT_THAT(log.LinesOf(kUsbCApp),
                ElementsAre(L"TraceIn|",
                            L"Verbose|USBC App Path =P:\\Quil\\Quil Notifications\\QuilUsbCConfiguration.exe",
                            L"TraceOut|"));
}

// --- the queries

TEST_F(Bridge, TheSystemInformationIsTheHandlersAndShownOnExit)
{
    SourceStandIn source;
    ReaderStandIn reader;
    reader.SetText(L"PC");
    source.reader = &reader;

    EXPECT_EQ(L"PC<.^.>yes", bridge.GetSysInfo());

    EXPECT_THAT(log.LinesOf("RpcServer::CKeyBoardBridge::GetSysInfo"),
                ElementsAre(L"TraceIn|", L"TraceOut|strSysInfo = PC<.^.>yes"));
}

TEST_F(Bridge, WithoutAHandlerTheSystemInformationIsEmpty)
{
    bridge.ReleaseHotKeyHandlerInstance();
    log.Clear();

    EXPECT_EQ(L"", bridge.GetSysInfo());

    EXPECT_LINES(log, L"TraceIn|", L"TraceOut|strSysInfo = ");
}

TEST_F(Bridge, TheUsbCTextIsTheHandlersAndLoggedWithItsLength)
{
    const std::wstring text = bridge.GetUSBTypeCInfoAsWString();

    EXPECT_EQ(L"USB 2.0|.#.$USB 3.1 Gen 2<.^.>Supported<.^.>Supported<.^.>Supported<.^.>Not Supported<.^.>65W", text);
    EXPECT_THAT(log.LinesOf("RpcServer::CKeyBoardBridge::GetUSBTypeCInfoAsWString"),
                ElementsAre(L"TraceIn|",
                            L"Information|USB Type C Info returned = USB 2.0|.#.$USB 3.1 Gen "
                            L"2<.^.>Supported<.^.>Supported<.^.>Supported<.^.>Not Supported<.^.>65W , length = 93",
                            L"TraceOut|"));
}

TEST_F(Bridge, WithoutAHandlerTheUsbCTextIsEmpty)
{
    bridge.ReleaseHotKeyHandlerInstance();
    log.Clear();

    EXPECT_EQ(L"", bridge.GetUSBTypeCInfoAsWString());

    EXPECT_LINES(log, L"TraceIn|", L"TraceOut|");
}
