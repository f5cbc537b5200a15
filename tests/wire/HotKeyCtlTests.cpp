// hotkeyctl as its users run it, against the product's server in this process: bytes on both outputs and exit codes.
#include "tests/wire/EndpointScope.h"
#include "tests/wire/FedBridge.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <windows.h>

#include <algorithm>
#include <future>
#include <stdexcept>
#include <string>
#include <thread>

using testing::HasSubstr;
using testing::StartsWith;

namespace
{

constexpr wchar_t kSysInfo[] =
    L"Laptop 14 \u7535\u8111<.^.>7XY45AV#AKL<.^.>20WWABCD601#S001#D001<.^.>16.00 GB (15.84 GB "
    L"usable)<.^.>12th Gen Processor<.^.>A01 Ver. 01.02.03 - 05/16/2023<.^.>KBC Version "
    L"11.22.00<.^.>SN12345678<.^.>3X7<.^.>0x1<.^.>yes";
constexpr wchar_t kUsbTypeC[] =
    L"USB 2.0|.#.$USB 3.1 Gen 2<.^.>Supported<.^.>Supported<.^.>Supported<.^.>Not Supported<.^.>65W";

struct Outcome
{
    DWORD exitCode{0};
    std::string out;
    std::string err;
};

class Pipe
{
  public:
    Pipe()
    {
        SECURITY_ATTRIBUTES inherited{sizeof(SECURITY_ATTRIBUTES), nullptr, TRUE};
        EXPECT_TRUE(CreatePipe(&m_read, &m_write, &inherited, 0));
    }
    ~Pipe() { CloseHandle(m_read); }
    Pipe(const Pipe&) = delete;
    Pipe& operator=(const Pipe&) = delete;

    HANDLE WriteEnd() const { return m_write; }
    void CloseWriteEnd() { CloseHandle(m_write); }
    std::string ReadAll() const
    {
        std::string text;
        char buffer[4096];
        DWORD count = 0;
        while (ReadFile(m_read, buffer, sizeof(buffer), &count, nullptr) && count != 0)
        {
            text.append(buffer, count);
        }
        return text;
    }

  private:
    HANDLE m_read{nullptr};
    HANDLE m_write{nullptr};
};

// hotkeyctl stands beside the tests.
Outcome RunCtl(const std::wstring& arguments)
{
    wchar_t path[MAX_PATH]{};
    GetModuleFileNameW(nullptr, path, MAX_PATH);
    const std::wstring folder{path, wcsrchr(path, L'\\')};
    std::wstring commandLine = L"\"" + folder + L"\\hotkeyctl.exe\" " + arguments;

    Pipe out;
    Pipe err;
    STARTUPINFOW startup{};
    startup.cb = sizeof(startup);
    startup.dwFlags = STARTF_USESTDHANDLES;
    startup.hStdOutput = out.WriteEnd();
    startup.hStdError = err.WriteEnd();
    PROCESS_INFORMATION process{};
    EXPECT_TRUE(
        CreateProcessW(nullptr, commandLine.data(), nullptr, nullptr, TRUE, 0, nullptr, nullptr, &startup, &process))
        << GetLastError();
    out.CloseWriteEnd();
    err.CloseWriteEnd();

    Outcome outcome;
    std::jthread errReader{[&] { outcome.err = err.ReadAll(); }};
    outcome.out = out.ReadAll();
    errReader.join();
    WaitForSingleObject(process.hProcess, 60000);
    GetExitCodeProcess(process.hProcess, &outcome.exitCode);
    CloseHandle(process.hThread);
    CloseHandle(process.hProcess);
    return outcome;
}

class HotKeyCtl : public testing::Test
{
  protected:
    HotKeyCtl()
    {
        Feed().sysInfo = [] { return kSysInfo; };
        Feed().usbTypeC = [] { return kUsbTypeC; };
    }

    FedBridgeScope m_feed;
};

} // namespace

// The first test: once a process has opened the endpoint, the endpoint stays open until the process ends.
TEST_F(HotKeyCtl, WithoutAServiceSaysSoInOneLine)
{
    for (const wchar_t* const command : {L"sysinfo", L"usbc", L"presence", L"launch sysinfo", L"launch usbc"})
    {
        const Outcome outcome = RunCtl(command);

        EXPECT_EQ(3U, outcome.exitCode);
        EXPECT_EQ("", outcome.out);
        EXPECT_EQ("hotkeyctl: the service is not running (RPC status 1722)\n", outcome.err);
    }
}

TEST_F(HotKeyCtl, SysInfoIsATable)
{
    const EndpointScope endpoint;

    const Outcome outcome = RunCtl(L"sysinfo");

    EXPECT_EQ(0U, outcome.exitCode);
    EXPECT_EQ("Product name:         Laptop 14 \xe7\x94\xb5\xe8\x84\x91\n"
              "SKU:                  7XY45AV#AKL\n"
              "Build:                20WWABCD601#S001#D001\n"
              "Memory:               16.00 GB (15.84 GB usable)\n"
              "Processor:            12th Gen Processor\n"
              "BIOS version:         A01 Ver. 01.02.03 - 05/16/2023\n"
              "Base board version:   KBC Version 11.22.00\n"
              "Serial number:        SN12345678\n"
              "Feature byte:         3X7\n"
              "BIOS password status: 0x1\n"
              "USB Type-C:           yes\n",
              outcome.out);
    EXPECT_EQ("", outcome.err);
}

TEST_F(HotKeyCtl, SysInfoRawIsTheTextInUtf8)
{
    Feed().sysInfo = [] { return L"\u00e4 \u7535 \U0001F4BB \u05d0"; };
    const EndpointScope endpoint;

    const Outcome outcome = RunCtl(L"sysinfo --raw");

    EXPECT_EQ(0U, outcome.exitCode);
    EXPECT_EQ("\xc3\xa4 \xe7\x94\xb5 \xf0\x9f\x92\xbb \xd7\x90\n", outcome.out);
}

TEST_F(HotKeyCtl, SysInfoJsonIsOneObject)
{
    const EndpointScope endpoint;

    const Outcome outcome = RunCtl(L"sysinfo --json");

    EXPECT_EQ(0U, outcome.exitCode);
    EXPECT_EQ("{\"productName\":\"Laptop 14 \xe7\x94\xb5\xe8\x84\x91\",\"sku\":\"7XY45AV#AKL\","
              "\"build\":\"20WWABCD601#S001#D001\",\"memory\":\"16.00 GB (15.84 GB usable)\","
              "\"processor\":\"12th Gen Processor\",\"biosVersion\":\"A01 Ver. 01.02.03 - 05/16/2023\","
              "\"baseBoardVersion\":\"KBC Version 11.22.00\",\"serialNumber\":\"SN12345678\",\"featureByte\":\"3X7\","
              "\"biosPasswordStatus\":\"0x1\",\"usbTypeC\":true}\n",
              outcome.out);
}

TEST_F(HotKeyCtl, SysInfoWithAnotherNumberOfFieldsIsReportedAsSuch)
{
    Feed().sysInfo = [] { return L"a<.^.>b"; };
    const EndpointScope endpoint;

    const Outcome outcome = RunCtl(L"sysinfo");

    EXPECT_EQ(6U, outcome.exitCode);
    EXPECT_EQ("", outcome.out);
    EXPECT_EQ("hotkeyctl: the system-information text has 2 fields instead of 11\n", outcome.err);
    EXPECT_EQ("a<.^.>b\n", RunCtl(L"sysinfo --raw").out);
}

TEST_F(HotKeyCtl, EmptyAnswersHaveTheirOwnExitCode)
{
    Feed().sysInfo = [] { return L""; };
    Feed().usbTypeC = [] { return L""; };
    const EndpointScope endpoint;

    const Outcome sysInfo = RunCtl(L"sysinfo");
    const Outcome usbTypeC = RunCtl(L"usbc --raw");
    const Outcome json = RunCtl(L"sysinfo --json");

    EXPECT_EQ(1U, sysInfo.exitCode);
    EXPECT_EQ("", sysInfo.out);
    EXPECT_EQ("hotkeyctl: the service has no system information\n", sysInfo.err);
    EXPECT_EQ(1U, usbTypeC.exitCode);
    EXPECT_EQ("", usbTypeC.out);
    EXPECT_EQ("hotkeyctl: the service has no USB Type-C information\n", usbTypeC.err);
    EXPECT_EQ(1U, json.exitCode);
    EXPECT_EQ("{}\n", json.out);
}

TEST_F(HotKeyCtl, UsbTypeCIsATableTheTextOrJson)
{
    const EndpointScope endpoint;

    const Outcome table = RunCtl(L"usbc");
    const Outcome raw = RunCtl(L"usbc --raw");
    const Outcome json = RunCtl(L"usbc --json");

    EXPECT_EQ("USB 2.0:                   supported\n"
              "USB 3.1:                   Gen 2\n"
              "Thunderbolt:               supported\n"
              "DisplayPort:               supported\n"
              "Downstream power delivery: supported\n"
              "Upstream power delivery:   not supported\n"
              "Maximum power:             65 W\n",
              table.out);
    EXPECT_EQ("USB 2.0|.#.$USB 3.1 Gen 2<.^.>Supported<.^.>Supported<.^.>Supported<.^.>Not Supported<.^.>65W\n",
              raw.out);
    EXPECT_EQ("{\"usb20\":true,\"usb31Generation\":2,\"thunderbolt\":true,\"displayPort\":true,"
              "\"downstreamPowerDelivery\":true,\"upstreamPowerDelivery\":false,\"maximumWatts\":65}\n",
              json.out);
}

TEST_F(HotKeyCtl, PresenceIsATableOrJson)
{
    const EndpointScope endpoint;

    const Outcome table = RunCtl(L"presence");
    const Outcome json = RunCtl(L"presence --json");

    EXPECT_EQ(0U, table.exitCode);
    EXPECT_EQ("Fennix service installed: no\n"
              "Fennix node present:      no\n",
              table.out);
    EXPECT_EQ("{\"fennixServiceInstalled\":false,\"fennixNodePresent\":false}\n", json.out);
}

TEST_F(HotKeyCtl, LaunchReachesItsOperation)
{
    std::string launched;
    Feed().processCommand = [&](unsigned command) { launched += "command " + std::to_string(command) + ";"; };
    Feed().launchUsbCApp = [&] { launched += "usbc;"; };
    const EndpointScope endpoint;

    EXPECT_EQ(0U, RunCtl(L"launch sysinfo").exitCode);
    EXPECT_EQ(0U, RunCtl(L"launch usbc").exitCode);

    EXPECT_EQ("command 0;usbc;", launched);
}

TEST_F(HotKeyCtl, RefusedCallHasItsExitCode)
{
    Feed().processCommand = [](unsigned) { throw std::runtime_error{"test"}; };
    const EndpointScope endpoint;

    const Outcome outcome = RunCtl(L"launch sysinfo");

    EXPECT_EQ(4U, outcome.exitCode);
    EXPECT_EQ("hotkeyctl: the operation failed inside the service (RPC status 1064)\n", outcome.err);
}

TEST_F(HotKeyCtl, QuietWritesNothing)
{
    Feed().usbTypeC = [] { return L""; };
    const EndpointScope endpoint;

    const Outcome answered = RunCtl(L"--quiet sysinfo");
    const Outcome empty = RunCtl(L"usbc --quiet");

    EXPECT_EQ(0U, answered.exitCode);
    EXPECT_EQ("", answered.out);
    EXPECT_EQ(1U, empty.exitCode);
    EXPECT_EQ("", empty.err);
}

TEST_F(HotKeyCtl, StatusTellsThatTheServiceAnswers)
{
    const EndpointScope endpoint;

    const Outcome outcome = RunCtl(L"status");

    EXPECT_EQ(0U, outcome.exitCode);
    EXPECT_THAT(outcome.out, StartsWith("Client:   1.0.0.0\nService:  "));
    EXPECT_THAT(outcome.out, HasSubstr("Endpoint: answers, connected in "));
}

TEST_F(HotKeyCtl, WatchWritesOneLinePerChange)
{
    const EndpointScope endpoint;

    const Outcome outcome = RunCtl(L"watch --interval 0.01 --count 5");

    EXPECT_EQ(0U, outcome.exitCode);
    EXPECT_THAT(outcome.out, testing::EndsWith("  answers; Fennix service not installed, node not present\n"));
    EXPECT_EQ(1, std::count(outcome.out.begin(), outcome.out.end(), '\n'));
}

TEST_F(HotKeyCtl, BadUsageSaysWhat)
{
    struct Case
    {
        const wchar_t* arguments;
        const char* complaint;
    };
    for (const Case& bad :
         {Case{L"", "hotkeyctl: A command is required (see hotkeyctl --help)\n"},
          Case{L"sysinf", "hotkeyctl: The following argument was not expected: sysinf (see hotkeyctl --help)\n"},
          Case{L"launch", "hotkeyctl: program is required (see hotkeyctl --help)\n"},
          Case{L"launch calc", "hotkeyctl: program: calc not in {sysinfo,usbc} (see hotkeyctl --help)\n"},
          Case{L"sysinfo --raw --json", "hotkeyctl: --raw excludes --json (see hotkeyctl --help)\n"}})
    {
        const Outcome outcome = RunCtl(bad.arguments);

        EXPECT_EQ(2U, outcome.exitCode);
        EXPECT_EQ("", outcome.out);
        EXPECT_EQ(bad.complaint, outcome.err);
    }
}

TEST_F(HotKeyCtl, VersionAndHelpAreAnswers)
{
    const Outcome version = RunCtl(L"--version");
    const Outcome help = RunCtl(L"--help");

    EXPECT_EQ(0U, version.exitCode);
    EXPECT_EQ("hotkeyctl 1.0.0.0\n", version.out);
    EXPECT_EQ(0U, help.exitCode);
    EXPECT_THAT(help.out, HasSubstr("Exit codes:"));
}

TEST_F(HotKeyCtl, HelpOfEachCommandHasExamples)
{
    for (const wchar_t* const command : {L"sysinfo", L"usbc", L"presence", L"launch", L"status", L"watch"})
    {
        const Outcome help = RunCtl(std::wstring{command} + L" --help");

        EXPECT_EQ(0U, help.exitCode);
        EXPECT_THAT(help.out, HasSubstr("Examples:\n  hotkeyctl "));
    }
}

// The last test: its server stays.
TEST_F(HotKeyCtl, CallThatTakesTooLongHasItsExitCode)
{
    std::promise<void> leave;
    const std::shared_future<void> left{leave.get_future()};
    Feed().sysInfo = [left] {
        left.wait();
        return std::wstring{};
    };
    EndpointScope endpoint;
    endpoint.LeaveOpen();

    const Outcome outcome = RunCtl(L"sysinfo --timeout 0.2");
    leave.set_value();

    EXPECT_EQ(5U, outcome.exitCode);
    EXPECT_EQ("hotkeyctl: the service did not answer within 200 ms\n", outcome.err);
}
