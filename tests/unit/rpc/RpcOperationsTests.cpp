// The eight routines called directly: what they hand to the stub, what they log, and what of it on each failure.
#include "tests/harness/AllocationFault.h"
#include "tests/harness/ImportHook.h"
#include "tests/harness/LogCapture.h"
#include "tests/unit/rpc/FedUtils.h"
#include "tests/unit/rpc/StubText.h"
#include "tests/wire/FedBridge.h"
#include <HotKeyRpc.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <windows.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <cwchar>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

namespace
{

class Operation : public testing::Test
{
  protected:
    Operation() { UtilsFeed() = FedUtils{}; }

    FedBridgeScope m_feed;
};

[[noreturn]] void Throw()
{
    throw std::runtime_error{"test"};
}

} // namespace

using Connection = Operation;
using ProcessCommandOperation = Operation;
using LaunchUsbCAppOperation = Operation;
using ReadSysInfoOperation = Operation;
using ReadUSBTypeCInfoOperation = Operation;
using FennixServiceOperation = Operation;
using FennixNodeOperation = Operation;

TEST_F(Connection, ConnectWithoutATargetDoesNothing)
{
    LogCapture log;

    Connect(nullptr, nullptr);

    EXPECT_LINES(log);
}

TEST_F(Connection, ConnectMakesABlockThatPointsToAnObject)
{
    LogCapture log;
    HOTKEY_CONTEXT_HANDLE context = nullptr;

    Connect(nullptr, &context);

    ASSERT_NE(nullptr, context);
    EXPECT_NE(nullptr, *static_cast<void**>(context));
    EXPECT_LINES(log);
    Disconnect(&context);
}

TEST_F(Connection, ConnectWithoutMemoryForTheObjectGivesABlockWithoutOne)
{
    HOTKEY_CONTEXT_HANDLE context = nullptr;
    {
        const AllocationFault fault{0};
        Connect(nullptr, &context);
    }

    ASSERT_NE(nullptr, context);
    EXPECT_EQ(nullptr, *static_cast<void**>(context));
    Disconnect(&context);
    EXPECT_EQ(nullptr, context);
}

TEST_F(Connection, DisconnectTakesTheHandleBack)
{
    HOTKEY_CONTEXT_HANDLE context = nullptr;
    Connect(nullptr, &context);

    Disconnect(&context);

    EXPECT_EQ(nullptr, context);
}

TEST_F(Connection, DisconnectOfANullHandleDoesNothing)
{
    LogCapture log;
    HOTKEY_CONTEXT_HANDLE context = nullptr;

    Disconnect(&context);

    EXPECT_EQ(nullptr, context);
    EXPECT_LINES(log);
}

TEST_F(ProcessCommandOperation, AlwaysStartsTheSystemInformationTool)
{
    LogCapture log;
    std::vector<unsigned> commands;
    Feed().processCommand = [&](unsigned command) { commands.push_back(command); };

    ProcessCommand(SomeContext());

    EXPECT_THAT(commands, testing::ElementsAre(0U));
    EXPECT_LINES(log);
}

TEST_F(ProcessCommandOperation, DoesNothingWithoutABridge)
{
    int commands = 0;
    Feed().bMissing = true;
    Feed().processCommand = [&](unsigned) { ++commands; };

    ProcessCommand(SomeContext());

    EXPECT_EQ(0, commands);
}

TEST_F(ProcessCommandOperation, ExceptionBecomesAFault)
{
    Feed().processCommand = [](unsigned) { Throw(); };
    std::vector<RPC_STATUS> faults;
    IMPORT_HOOK(RpcRaiseException)([&](RPC_STATUS status) { faults.push_back(status); });

    ProcessCommand(SomeContext());

    EXPECT_THAT(faults, testing::ElementsAre(1064));
}

TEST_F(LaunchUsbCAppOperation, ExceptionBecomesAFault)
{
    Feed().launchUsbCApp = [] { Throw(); };
    std::vector<RPC_STATUS> faults;
    IMPORT_HOOK(RpcRaiseException)([&](RPC_STATUS status) { faults.push_back(status); });

    LaunchUsbCApp(SomeContext());

    EXPECT_THAT(faults, testing::ElementsAre(1064));
}

TEST_F(LaunchUsbCAppOperation, AsksTheBridge)
{
    LogCapture log;
    int launches = 0;
    Feed().launchUsbCApp = [&] { ++launches; };

    LaunchUsbCApp(SomeContext());

    EXPECT_EQ(1, launches);
    EXPECT_LINES(log);
}

TEST_F(LaunchUsbCAppOperation, DoesNothingWithoutABridge)
{
    int launches = 0;
    Feed().bMissing = true;
    Feed().launchUsbCApp = [&] { ++launches; };

    LaunchUsbCApp(SomeContext());

    EXPECT_EQ(0, launches);
}

TEST_F(ReadSysInfoOperation, GivesTheTextAndItsSizeWithTheNul)
{
    LogCapture log;
    Feed().sysInfo = [] { return L"Model<.^.>\u7535\u8111"; };
    long size = -1;
    wchar_t* text = nullptr;

    ReadSysInfo(SomeContext(), &size, &text);

    const StubText owner{text};
    EXPECT_EQ(13, size);
    EXPECT_STREQ(L"Model<.^.>\u7535\u8111", text);
    EXPECT_RECORDS(log, L"TraceIn|ReadSysInfo|", L"TraceOut|ReadSysInfo|");
}

TEST_F(ReadSysInfoOperation, GivesAnEmptyTextAsItsNul)
{
    long size = -1;
    wchar_t* text = nullptr;

    ReadSysInfo(SomeContext(), &size, &text);

    const StubText owner{text};
    EXPECT_EQ(1, size);
    ASSERT_NE(nullptr, text);
    EXPECT_EQ(L'\0', text[0]);
}

TEST_F(ReadSysInfoOperation, WritesNoSizeWithoutATarget)
{
    LogCapture log;
    Feed().sysInfo = [] { return L"text"; };
    wchar_t* text = nullptr;

    ReadSysInfo(SomeContext(), nullptr, &text);

    const StubText owner{text};
    EXPECT_STREQ(L"text", text);
    EXPECT_LINES(log, L"TraceIn|", L"TraceOut|");
}

TEST_F(ReadSysInfoOperation, WritesNoSizeWithoutAText)
{
    LogCapture log;
    Feed().sysInfo = [] { return L"text"; };
    long size = 77;

    ReadSysInfo(SomeContext(), &size, nullptr);

    EXPECT_EQ(77, size);
    EXPECT_LINES(log, L"TraceIn|", L"TraceOut|");
}

TEST_F(ReadSysInfoOperation, ExceptionLeavesTheOutputsAsTheyWere)
{
    LogCapture log;
    Feed().sysInfo = []() -> std::wstring { Throw(); };
    long size = 0;
    wchar_t* text = nullptr;

    ReadSysInfo(SomeContext(), &size, &text);

    EXPECT_EQ(0, size);
    EXPECT_EQ(nullptr, text);
    EXPECT_LINES(log, L"TraceIn|", L"Error|ReadSysInfo failed to read System Information.", L"TraceOut|");
}

TEST_F(ReadSysInfoOperation, WithoutABridgeIsAnEmptyText)
{
    Feed().bMissing = true;
    long size = -1;
    wchar_t* text = nullptr;

    ReadSysInfo(SomeContext(), &size, &text);

    const StubText owner{text};
    EXPECT_EQ(1, size);
    EXPECT_STREQ(L"", text);
}

TEST_F(ReadSysInfoOperation, IsTimed)
{
    const std::unique_ptr<LogCapture> log = LogCapture::Diagnostics();
    wchar_t* text = nullptr;

    ReadSysInfo(SomeContext(), nullptr, &text);

    const StubText owner{text};
    ASSERT_EQ(3U, log->Lines().size());
    EXPECT_THAT(log->Lines().back(), testing::StartsWith(L"Diag|Elapsed time"));
}

TEST_F(ReadUSBTypeCInfoOperation, GivesTheTextAndItsSizeWithTheNul)
{
    LogCapture log;
    Feed().usbTypeC = [] { return L"a<.^.>65W"; };
    long size = -1;
    wchar_t* text = nullptr;

    ReadUSBTypeCInfo(SomeContext(), &size, &text);

    const StubText owner{text};
    EXPECT_EQ(10, size);
    EXPECT_STREQ(L"a<.^.>65W", text);
    EXPECT_RECORDS(log, L"TraceIn|ReadUSBTypeCInfo|",
                   L"Information|ReadUSBTypeCInfo|USB Type C Info returned = a<.^.>65W, pSize = 9",
                   L"Information|ReadUSBTypeCInfo|USB Type C Information returned = a<.^.>65W",
                   L"TraceOut|ReadUSBTypeCInfo|");
}

TEST_F(ReadUSBTypeCInfoOperation, GivesSizeZeroAndNoTextForAnEmptyOne)
{
    LogCapture log;
    long size = -1;
    wchar_t* text = nullptr;

    ReadUSBTypeCInfo(SomeContext(), &size, &text);

    EXPECT_EQ(0, size);
    EXPECT_EQ(nullptr, text);
    EXPECT_LINES(log, L"TraceIn|", L"Information|USB Type C Info returned = , pSize = 0",
                 L"Error|USB Type C Info returned is empty.", L"TraceOut|");
}

TEST_F(ReadUSBTypeCInfoOperation, WritesNoSizeWithoutATarget)
{
    Feed().usbTypeC = [] { return L"text"; };
    wchar_t* text = nullptr;

    ReadUSBTypeCInfo(SomeContext(), nullptr, &text);
    Feed().usbTypeC = [] { return L""; };
    ReadUSBTypeCInfo(SomeContext(), nullptr, nullptr);

    const StubText owner{text};
    EXPECT_STREQ(L"text", text);
}

TEST_F(ReadUSBTypeCInfoOperation, ExceptionLeavesTheOutputsAsTheyWere)
{
    LogCapture log;
    Feed().usbTypeC = []() -> std::wstring { Throw(); };
    long size = 0;
    wchar_t* text = nullptr;

    ReadUSBTypeCInfo(SomeContext(), &size, &text);

    EXPECT_EQ(0, size);
    EXPECT_EQ(nullptr, text);
    EXPECT_LINES(log, L"TraceIn|", L"Error|ReadUSBTypeCInfo failed to read USBTypeC Information.", L"TraceOut|");
}

TEST_F(ReadUSBTypeCInfoOperation, WithoutABridgeIsAnEmptyText)
{
    Feed().bMissing = true;
    long size = -1;
    wchar_t* text = nullptr;

    ReadUSBTypeCInfo(SomeContext(), &size, &text);

    EXPECT_EQ(0, size);
    EXPECT_EQ(nullptr, text);
}

TEST_F(FennixServiceOperation, AsksForTheServiceAndItsVersion)
{
    IsFennixServiceInstalled(SomeContext());

    EXPECT_EQ(L"QuilSysInfoCap", UtilsFeed().strService);
    EXPECT_TRUE(UtilsFeed().bCheckRunning);
    EXPECT_TRUE(UtilsFeed().bGetVersion);
    EXPECT_EQ(0xF003FU, UtilsFeed().dwAccess);
}

TEST_F(FennixServiceOperation, RunningServiceIsInstalledAndItsVersionIsLogged)
{
    LogCapture log;
    UtilsFeed().version.dwFileVersionMS = 0x00010002;
    UtilsFeed().version.dwFileVersionLS = 0x001E0004;

    EXPECT_EQ(1, IsFennixServiceInstalled(SomeContext()));

    EXPECT_RECORDS(
        log, L"TraceIn|IsFennixServiceInstalled|",
        L"Information|IsFennixServiceInstalled|Checking if Fennix service is installed ",
        L"Verbose|IsFennixServiceInstalled|Quil System Info KMT Service Version Installed = 1.2.30.4 with Running "
        L"Status = 0",
        L"Verbose|IsFennixServiceInstalled|Quil System Info KMT Service is Installed.",
        L"TraceOut|IsFennixServiceInstalled|");
}

TEST_F(FennixServiceOperation, StoppedServiceIsInstalled)
{
    LogCapture log;
    UtilsFeed().nServiceStatus = 1;

    EXPECT_EQ(1, IsFennixServiceInstalled(SomeContext()));

    EXPECT_LINES(log, L"TraceIn|", L"Information|Checking if Fennix service is installed ",
                 L"Verbose|Quil System Info KMT Service Version Installed = 0.0.0.0 with Running Status = 1",
                 L"Verbose|Quil System Info KMT Service is Installed.", L"TraceOut|");
}

TEST_F(FennixServiceOperation, MinusOneIsNotInstalled)
{
    LogCapture log;
    UtilsFeed().nServiceStatus = -1;

    EXPECT_EQ(0, IsFennixServiceInstalled(SomeContext()));

    EXPECT_LINES(log, L"TraceIn|", L"Information|Checking if Fennix service is installed ",
                 L"Verbose|Quil System Info KMT Service is Not Installed.", L"TraceOut|");
}

TEST_F(FennixServiceOperation, OtherNegativeStatusIsInstalled)
{
    LogCapture log;
    UtilsFeed().nServiceStatus = -3;

    EXPECT_EQ(1, IsFennixServiceInstalled(SomeContext()));

    EXPECT_LINES(log, L"TraceIn|", L"Information|Checking if Fennix service is installed ",
                 L"Verbose|Quil System Info KMT Service is Installed.", L"TraceOut|");
}

TEST_F(FennixServiceOperation, TellsTheDebuggerOnce)
{
    std::vector<std::wstring> messages;
    IMPORT_HOOK(OutputDebugStringW)([&](LPCWSTR text) { messages.emplace_back(text); });

    IsFennixServiceInstalled(SomeContext());

    EXPECT_THAT(messages, testing::ElementsAre(L"QUILSYS RpcServer::IsFennixServiceInstalled"));
}

TEST_F(FennixServiceOperation, ExceptionBecomesAFaultAfterTheExitRecord)
{
    LogCapture log;
    UtilsFeed().bThrow = true;
    std::vector<RPC_STATUS> faults;
    std::size_t recordsBefore = 0;
    IMPORT_HOOK(RpcRaiseException)
    ([&](RPC_STATUS status) {
        faults.push_back(status);
        recordsBefore = log.Lines().size();
    });

    IsFennixServiceInstalled(SomeContext());

    EXPECT_THAT(faults, testing::ElementsAre(1064));
    EXPECT_EQ(3U, recordsBefore);
    EXPECT_LINES(log, L"TraceIn|", L"Information|Checking if Fennix service is installed ", L"TraceOut|");
}

TEST_F(FennixNodeOperation, ExceptionBecomesAFault)
{
    UtilsFeed().bThrow = true;
    std::vector<RPC_STATUS> faults;
    IMPORT_HOOK(RpcRaiseException)([&](RPC_STATUS status) { faults.push_back(status); });

    IsFennixNodePresent(SomeContext());

    EXPECT_THAT(faults, testing::ElementsAre(1064));
}

TEST_F(FennixNodeOperation, FirstIdAloneIsPresentAndBothAreChecked)
{
    LogCapture log;
    UtilsFeed().presentNodes = {L"ACPI\\QUIL000C"};

    EXPECT_EQ(1, IsFennixNodePresent(SomeContext()));

    EXPECT_THAT(UtilsFeed().nodes, testing::ElementsAre(L"ACPI\\QUIL000C", L"ACPI\\QUIL0003"));
    EXPECT_RECORDS(log, L"TraceIn|IsFennixNodePresent|",
                   L"Verbose|IsFennixNodePresent|Fennix/VORA not initialized. Check if Fennix node is present.",
                   L"Verbose|IsFennixNodePresent|FennixNodeCount = 1",
                   L"Verbose|IsFennixNodePresent|Fennix Node is present.", L"TraceOut|IsFennixNodePresent|");
}

TEST_F(FennixNodeOperation, SecondIdAloneIsPresent)
{
    UtilsFeed().presentNodes = {L"ACPI\\QUIL0003"};

    EXPECT_EQ(1, IsFennixNodePresent(SomeContext()));
}

TEST_F(FennixNodeOperation, BothIdsAreCounted)
{
    LogCapture log;
    UtilsFeed().presentNodes = {L"ACPI\\QUIL000C", L"ACPI\\QUIL0003"};

    EXPECT_EQ(1, IsFennixNodePresent(SomeContext()));

    EXPECT_LINES(log, L"TraceIn|", L"Verbose|Fennix/VORA not initialized. Check if Fennix node is present.",
                 L"Verbose|FennixNodeCount = 2", L"Verbose|Fennix Node is present.", L"TraceOut|");
}

TEST_F(FennixNodeOperation, NeitherIdIsNotPresent)
{
    LogCapture log;

    EXPECT_EQ(0, IsFennixNodePresent(SomeContext()));

    EXPECT_LINES(log, L"TraceIn|", L"Verbose|Fennix/VORA not initialized. Check if Fennix node is present.",
                 L"Verbose|FennixNodeCount = 0", L"Verbose|Fennix Node is not present.", L"TraceOut|");
}

TEST(StubMemory, IsZeroFilled)
{
    const auto memory = static_cast<unsigned char*>(midl_user_allocate(100));

    ASSERT_NE(nullptr, memory);
    EXPECT_TRUE(std::all_of(memory, memory + 100, [](unsigned char c) { return c == 0; }));
    midl_user_free(memory);
}
