// hotkeyctl's commands over a service that answers what a test wants: what they write, and the exit code.
#include "client/CtlCommands.h"

#include "client/CtlBench.h"
#include "client/CtlDoctor.h"
#include "client/CtlOutput.h"
#include "tests/harness/ImportHook.h"
#include "tests/harness/RegistryScope.h"
#include "tests/unit/client/InstalledServiceStandIn.h"
#include "tests/unit/client/OutputCapture.h"
#include "tests/unit/client/RpcStandIn.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <windows.h>

#include <algorithm>
#include <chrono>
#include <string>

using HotKey::CBenchRequest;
using HotKey::CCtlCommands;
using HotKey::CCtlOutput;
using HotKey::CHotKeyClient;
using HotKey::Form;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

namespace
{

constexpr wchar_t kSysInfo[] =
    L"Laptop 14<.^.>7XY45AV#AKL<.^.>20WWABCD601#S001#D001<.^.>16.00 GB (15.84 GB usable)<.^.>"
    L"12th Gen Processor<.^.>A01 Ver. 01.02.03 - 05/16/2023<.^.>KBC Version 11.22.00<.^.>"
    L"SN12345678<.^.>3X7<.^.>0x1<.^.>0x0";
constexpr wchar_t kUsbTypeC[] =
    L"|.#.$USB 3.1 Gen 1<.^.>Not Supported<.^.>Supported<.^.>Supported<.^.>Not Supported<.^.>-1W";

struct CtlCommands : testing::Test
{
    RpcStandIn rpc;
    OutputCapture capture;
    const CCtlOutput output{false};
    CHotKeyClient client;
    CCtlCommands commands{client, output};

    CtlCommands()
    {
        rpc.answer = [](unsigned operation) {
            switch (operation)
            {
            case 4:
                return RpcReply::Text(kSysInfo);
            case 7:
                return RpcReply::Text(kUsbTypeC);
            default:
                return RpcReply::Number(operation == 5 ? 1 : 0);
            }
        };
    }
    void FailFrom(unsigned operation, unsigned long status)
    {
        rpc.answer = [=](unsigned asked) { return RpcReply::Status(asked >= operation ? status : 0); };
    }
};

} // namespace

TEST_F(CtlCommands, SysInfoIsATable)
{
    EXPECT_EQ(0, commands.SysInfo(Form::Fields));

    EXPECT_EQ("Product name:         Laptop 14\n"
              "SKU:                  7XY45AV#AKL\n"
              "Build:                20WWABCD601#S001#D001\n"
              "Memory:               16.00 GB (15.84 GB usable)\n"
              "Processor:            12th Gen Processor\n"
              "BIOS version:         A01 Ver. 01.02.03 - 05/16/2023\n"
              "Base board version:   KBC Version 11.22.00\n"
              "Serial number:        SN12345678\n"
              "Feature byte:         3X7\n"
              "BIOS password status: 0x1\n"
              "USB Type-C:           no\n",
              capture.Text());
}

TEST_F(CtlCommands, SysInfoIsJson)
{
    EXPECT_EQ(0, commands.SysInfo(Form::Json));

    EXPECT_EQ("{\"productName\":\"Laptop 14\",\"sku\":\"7XY45AV#AKL\",\"build\":\"20WWABCD601#S001#D001\","
              "\"memory\":\"16.00 GB (15.84 GB usable)\",\"processor\":\"12th Gen Processor\","
              "\"biosVersion\":\"A01 Ver. 01.02.03 - 05/16/2023\",\"baseBoardVersion\":\"KBC Version 11.22.00\","
              "\"serialNumber\":\"SN12345678\",\"featureByte\":\"3X7\",\"biosPasswordStatus\":\"0x1\","
              "\"usbTypeC\":false}\n",
              capture.Text());
}

TEST_F(CtlCommands, UsbTypeCIsATableOrJson)
{
    EXPECT_EQ(0, commands.UsbTypeC(Form::Fields));
    EXPECT_EQ(0, commands.UsbTypeC(Form::Json));

    EXPECT_EQ("USB 2.0:                   not supported\n"
              "USB 3.1:                   Gen 1\n"
              "Thunderbolt:               not supported\n"
              "DisplayPort:               supported\n"
              "Downstream power delivery: supported\n"
              "Upstream power delivery:   not supported\n"
              "Maximum power:             -1 W\n"
              "{\"usb20\":false,\"usb31Generation\":1,\"thunderbolt\":false,\"displayPort\":true,"
              "\"downstreamPowerDelivery\":true,\"upstreamPowerDelivery\":false,\"maximumWatts\":-1}\n",
              capture.Text());
}

TEST_F(CtlCommands, RawTextsAreAsTheServiceSendsThem)
{
    EXPECT_EQ(0, commands.UsbTypeC(Form::Raw));

    EXPECT_EQ("|.#.$USB 3.1 Gen 1<.^.>Not Supported<.^.>Supported<.^.>Supported<.^.>Not Supported<.^.>-1W\n",
              capture.Text());
}

TEST_F(CtlCommands, EmptyTextsHaveTheirOwnExitCode)
{
    rpc.answer = [](unsigned) { return RpcReply{}; };

    EXPECT_EQ(1, commands.SysInfo(Form::Fields));
    EXPECT_EQ(1, commands.UsbTypeC(Form::Json));

    EXPECT_EQ("{}\n", capture.Text());
    EXPECT_EQ(
        "hotkeyctl: the service has no system information\nhotkeyctl: the service has no USB Type-C information\n",
        capture.Complaint());
}

TEST_F(CtlCommands, TextsThatAreNotUnderstoodHaveTheirOwnExitCode)
{
    rpc.answer = [](unsigned) { return RpcReply::Text(L"a<.^.>b"); };

    EXPECT_EQ(6, commands.SysInfo(Form::Fields));
    EXPECT_EQ(6, commands.UsbTypeC(Form::Json));

    EXPECT_EQ("", capture.Text());
    EXPECT_EQ("hotkeyctl: the system-information text has 2 fields instead of 11\n"
              "hotkeyctl: the USB Type-C text has 2 fields instead of 6\n",
              capture.Complaint());
}

TEST_F(CtlCommands, EachCommandSaysWhyItFails)
{
    FailFrom(0, 1722);

    EXPECT_EQ(3, commands.SysInfo(Form::Fields));
    EXPECT_EQ(3, commands.UsbTypeC(Form::Raw));
    EXPECT_EQ(3, commands.Presence(Form::Json));
    EXPECT_EQ(3, commands.LaunchSystemInformation());
    EXPECT_EQ(3, commands.LaunchUsbCApp());

    EXPECT_EQ("", capture.Text());
    EXPECT_EQ("hotkeyctl: the service is not running (RPC status 1722)\n", capture.Complaint().substr(0, 56));
}

TEST_F(CtlCommands, PresenceIsATableOrJson)
{
    EXPECT_EQ(0, commands.Presence(Form::Fields));
    EXPECT_EQ(0, commands.Presence(Form::Json));

    EXPECT_EQ("Fennix service installed: yes\nFennix node present:      no\n"
              "{\"fennixServiceInstalled\":true,\"fennixNodePresent\":false}\n",
              capture.Text());
}

TEST_F(CtlCommands, LaunchesAreTaken)
{
    EXPECT_EQ(0, commands.LaunchSystemInformation());
    EXPECT_EQ(0, commands.LaunchUsbCApp());

    EXPECT_EQ("The service took the request; it does not tell whether the program started.\n"
              "The service took the request; it does not tell whether the program started.\n",
              capture.Text());
    EXPECT_EQ((std::vector<unsigned>{0, 2, 3}), rpc.Operations());
}

TEST_F(CtlCommands, WatchWritesALineWhenTheAnswerChanges)
{
    int asked = 0;
    rpc.answer = [&](unsigned operation) {
        if (operation == 5)
        {
            ++asked;
        }
        return asked == 3 ? RpcReply::Status(1064) : RpcReply::Number(asked == 2 ? 1 : 0);
    };
    std::vector<DWORD> sleeps;
    IMPORT_HOOK(Sleep)([&](DWORD milliseconds) { sleeps.push_back(milliseconds); });
    IMPORT_HOOK(GetLocalTime)
    ([](SYSTEMTIME* now) {
        now->wHour = 9;
        now->wMinute = 5;
        now->wSecond = 11;
    });

    EXPECT_EQ(4, commands.Watch(500, 3));

    EXPECT_EQ("09:05:11  answers; Fennix service not installed, node not present\n"
              "09:05:11  answers; Fennix service installed, node present\n"
              "09:05:11  the operation failed inside the service (RPC status 1064)\n",
              capture.Text());
    EXPECT_EQ((std::vector<DWORD>{500, 500}), sleeps);
}

TEST_F(CtlCommands, WatchWritesAnAnswerThatStaysOnce)
{
    IMPORT_HOOK(Sleep)([](DWORD) {});

    EXPECT_EQ(0, commands.Watch(1, 5));

    EXPECT_EQ(1, std::ranges::count(capture.Text(), '\n'));
}

TEST_F(CtlCommands, StatusOfAServiceThatAnswers)
{
    const RegistryScope registry;
    const InstalledServiceStandIn manager;
    IMPORT_HOOK(GetFileVersionInfoSizeW)([](auto...) { return DWORD{0}; });

    EXPECT_EQ(0, commands.Status(Form::Fields, L"1.2.3.4"));
    EXPECT_EQ(0, commands.Status(Form::Json, L"1.2.3.4"));

    EXPECT_THAT(capture.Text(), StartsWith("Client:   1.2.3.4\n"
                                           "Service:  running (process 42)\n"
                                           "Program:  C:\\Program Files\\Quil\\HotKeyServiceTLY.exe\n"
                                           "Endpoint: answers, connected in "));
    EXPECT_THAT(capture.Text(),
                HasSubstr("\nPolicy:   none set\n{\"clientVersion\":\"1.2.3.4\",\"service\":\"running\","
                          "\"processId\":42,\"program\":\"C:\\\\Program Files\\\\Quil\\\\"
                          "HotKeyServiceTLY.exe\",\"version\":\"\",\"answers\":true,"
                          "\"connectMilliseconds\":"));
}

TEST_F(CtlCommands, StatusOfAServiceThatIsNotThere)
{
    const RegistryScope registry;
    InstalledServiceStandIn manager;
    manager.dwOpenError = ERROR_SERVICE_DOES_NOT_EXIST;
    FailFrom(0, 1722);

    EXPECT_EQ(3, commands.Status(Form::Fields, L"1.2.3.4"));
    EXPECT_EQ(3, commands.Status(Form::Json, L"1.2.3.4"));

    EXPECT_THAT(capture.Text(), StartsWith("Client:   1.2.3.4\n"
                                           "Service:  not installed\n"
                                           "Endpoint: no answer: the service is not running (RPC status 1722)\n"));
    EXPECT_THAT(capture.Text(), HasSubstr("\"answers\":false,\"trouble\":\"the service is not running (RPC status "
                                          "1722)\""));
}

TEST(ExitCodeOf, IsOneForEachKindOfError)
{
    EXPECT_EQ(3, HotKey::ExitCodeOf(HotKey::ErrorKind::Unreachable));
    EXPECT_EQ(4, HotKey::ExitCodeOf(HotKey::ErrorKind::Refused));
    EXPECT_EQ(5, HotKey::ExitCodeOf(HotKey::ErrorKind::TimedOut));
    EXPECT_EQ(6, HotKey::ExitCodeOf(HotKey::ErrorKind::NotUnderstood));
}

TEST_F(CtlCommands, BenchMeasuresEachOperation)
{
    CBenchRequest request;
    request.nCalls = 3;

    EXPECT_EQ(0, HotKey::RunBench(client, output, request));

    EXPECT_THAT(capture.Text(),
                StartsWith("operation                   calls   calls/s  median us    95 % us    99 % us "
                           "slowest us\nconnect and disconnect          3 "));
    for (const char* const operation : {"framework service ", "framework node ", "system information ", "USB Type-C "})
    {
        EXPECT_THAT(capture.Text(), HasSubstr(std::string{"\n"} + operation));
    }
}

TEST_F(CtlCommands, BenchIsJson)
{
    CBenchRequest request;
    request.nCalls = 1;
    request.bJson = true;

    EXPECT_EQ(0, HotKey::RunBench(client, output, request));

    EXPECT_THAT(
        capture.Text(),
        StartsWith("{\"operations\":[{\"operation\":\"connect and disconnect\",\"calls\":1,\"callsPerSecond\":"));
}

TEST_F(CtlCommands, BenchStopsAtTheFirstCallWithoutAnAnswer)
{
    FailFrom(0, 1722);
    EXPECT_EQ(3, HotKey::RunBench(client, output, {}));

    rpc.answer = [](unsigned operation) { return operation == 6 ? RpcReply::Status(1064) : RpcReply::Text(L"text"); };
    EXPECT_EQ(4, HotKey::RunBench(client, output, {.nCalls = 1}));

    EXPECT_EQ("hotkeyctl: the service is not running (RPC status 1722)\n"
              "hotkeyctl: framework node: the operation failed inside the service (RPC status 1064)\n",
              capture.Complaint());
}

TEST_F(CtlCommands, BenchEndsAnOperationWhenItsTimeIsUp)
{
    CBenchRequest request;
    request.patience = std::chrono::milliseconds{100};
    request.nCalls = 1000000;

    EXPECT_EQ(0, HotKey::RunBench(client, output, request));

    EXPECT_THAT(capture.Text(), HasSubstr("\nUSB Type-C "));
}

TEST_F(CtlCommands, BenchCallsEachOperationOnceHoweverShortTheTime)
{
    CBenchRequest request;
    request.patience = std::chrono::milliseconds{0};

    EXPECT_EQ(0, HotKey::RunBench(client, output, request));

    EXPECT_THAT(capture.Text(), HasSubstr("\nconnect and disconnect          1 "));
    EXPECT_THAT(capture.Text(), HasSubstr("\nUSB Type-C                      1 "));
}

TEST_F(CtlCommands, DoctorWritesFindingsWithTheirCures)
{
    const RegistryScope registry;
    InstalledServiceStandIn manager;
    manager.dwOpenError = ERROR_SERVICE_DOES_NOT_EXIST;
    FailFrom(0, 1722);
    IMPORT_HOOK(CreateProcessW)([](auto...) { return FALSE; });

    EXPECT_EQ(7, HotKey::RunDoctor(client, output, false));
    EXPECT_EQ(7, HotKey::RunDoctor(client, output, true));

    EXPECT_THAT(capture.Text(), StartsWith("problem  service           not installed\n"
                                           "                           -> install it: "));
    EXPECT_THAT(capture.Text(), HasSubstr("\nunknown  program path      not registered\n"));
    EXPECT_THAT(capture.Text(), HasSubstr("\nok       policy            0 values set\n"));
    EXPECT_THAT(capture.Text(), HasSubstr("\n{\"checks\":[{\"check\":\"service\",\"verdict\":\"problem\",\"finding\":"
                                          "\"not installed\",\"cure\":\"install it: "));
}

TEST(RunExplain, WritesCauseAndCureAndWhatWindowsSays)
{
    const OutputCapture capture;

    EXPECT_EQ(0, HotKey::RunExplain("1740", CCtlOutput{false}, false));
    EXPECT_EQ(0, HotKey::RunExplain("0x6CC", CCtlOutput{false}, true));

    EXPECT_THAT(capture.Text(), StartsWith("1740  ("));
    EXPECT_THAT(capture.Text(), HasSubstr("\n    -> "));
    EXPECT_THAT(capture.Text(), HasSubstr("\n\nWindows says: "));
    EXPECT_THAT(capture.Text(), HasSubstr("\n{\"explanations\":[{\"topic\":"));
    EXPECT_THAT(capture.Text(), HasSubstr("],\"windows\":\""));
    EXPECT_THAT(capture.Text(), Not(HasSubstr("\r")));
}

TEST(RunExplain, WhatWindowsAloneKnowsIsAnAnswer)
{
    const OutputCapture capture;

    EXPECT_EQ(0, HotKey::RunExplain("0XC1", CCtlOutput{false}, false));

    EXPECT_THAT(capture.Text(), StartsWith("Windows says: "));
    EXPECT_EQ(1, std::ranges::count(capture.Text(), '\n'));
}

TEST(RunExplain, WhatNobodyKnowsIsEmpty)
{
    const OutputCapture capture;

    EXPECT_EQ(1, HotKey::RunExplain("no such text", CCtlOutput{false}, false));
    EXPECT_EQ(1, HotKey::RunExplain("", CCtlOutput{false}, false));
    EXPECT_EQ(1, HotKey::RunExplain("987654321", CCtlOutput{true}, false));

    EXPECT_EQ("", capture.Text());
    EXPECT_EQ("hotkeyctl: nothing is known of \"no such text\"\nhotkeyctl: nothing is known of \"\"\n",
              capture.Complaint());
}

TEST(CtlOutput, WritesWideTextOntoAConsole)
{
    std::wstring written;
    IMPORT_HOOK(GetConsoleMode)([](HANDLE, LPDWORD) { return TRUE; });
    IMPORT_HOOK(WriteConsoleW)
    ([&](HANDLE, const void* text, DWORD length, LPDWORD, LPVOID) {
        written.assign(static_cast<const wchar_t*>(text), length);
        return TRUE;
    });

    EXPECT_TRUE(CCtlOutput{false}.Print(L"\u7535"));

    EXPECT_EQ(L"\u7535", written);
}

TEST(CtlOutput, TellsWhenNobodyReadsAnyMore)
{
    IMPORT_HOOK(GetConsoleMode)([](HANDLE, LPDWORD) { return FALSE; });
    for (const BOOL taken : {FALSE, TRUE})
    {
        IMPORT_HOOK(WriteFile)
        ([taken](HANDLE, LPCVOID, DWORD, LPDWORD written, LPOVERLAPPED) {
            *written = 0;
            return taken;
        });

        EXPECT_FALSE(CCtlOutput{false}.Print(L"text"));
    }
}

TEST(CtlOutput, GoesOnWithWhatAPipeDidNotTake)
{
    std::string written;
    IMPORT_HOOK(GetConsoleMode)([](HANDLE, LPDWORD) { return FALSE; });
    IMPORT_HOOK(WriteFile)
    ([&](HANDLE, LPCVOID bytes, DWORD, LPDWORD taken, LPOVERLAPPED) {
        written += *static_cast<const char*>(bytes);
        *taken = 1;
        return TRUE;
    });

    EXPECT_TRUE(CCtlOutput{false}.Print(L"a\u00e4b"));
    EXPECT_TRUE(CCtlOutput{false}.Print(L""));

    EXPECT_EQ("a\xC3\xA4"
              "b",
              written);
}
