// The switches of the program: install, remove, anything else.
#include "testbed/machine/Processes.h"
#include "tests/e2e/Pc.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <vector>

using namespace E2e;
using testing::ElementsAre;

namespace
{

std::vector<BYTE> Configuration()
{
    const SC_HANDLE manager = OpenSCManagerW(nullptr, nullptr, SC_MANAGER_CONNECT);
    const SC_HANDLE service = OpenServiceW(manager, L"HotKeyServiceTLY", SERVICE_QUERY_CONFIG);
    DWORD size = 0;
    QueryServiceConfigW(service, nullptr, 0, &size);
    std::vector<BYTE> bytes(size);
    EXPECT_TRUE(QueryServiceConfigW(service, reinterpret_cast<QUERY_SERVICE_CONFIGW*>(bytes.data()), size, &size));
    CloseServiceHandle(service);
    CloseServiceHandle(manager);
    return bytes;
}

} // namespace

TEST(Install, PrintsOneLineAndRegistersTheQuotedPathForAutomaticStart)
{
    Pc pc;

    const ProgramResult result = pc.Service(L"-install");

    EXPECT_EQ("HotKeyServiceTLY is installed.\r\n", result.output);
    EXPECT_EQ(0u, result.exitCode);
    const std::vector<BYTE> bytes = Configuration();
    const auto& configuration = *reinterpret_cast<const QUERY_SERVICE_CONFIGW*>(bytes.data());
    EXPECT_EQ(0x110u, configuration.dwServiceType);
    EXPECT_EQ(static_cast<DWORD>(SERVICE_AUTO_START), configuration.dwStartType);
    EXPECT_EQ(static_cast<DWORD>(SERVICE_ERROR_NORMAL), configuration.dwErrorControl);
    EXPECT_STREQ(L"\"C:\\Program Files\\Quil\\HotKeyService\\HotKeyServiceTLY.exe\"", configuration.lpBinaryPathName);
    EXPECT_STREQ(L"Quil TLY Service", configuration.lpDisplayName);
    EXPECT_STREQ(L"LocalSystem", configuration.lpServiceStartName);
    EXPECT_THAT(pc.Records(L"ChangeServiceConfig2W"), ElementsAre(L"description: Quil Tessaly Service"));
}

TEST(Install, SwitchIsReadWithoutCaseAndWithEitherPrefix)
{
    Pc pc;

    EXPECT_EQ("HotKeyServiceTLY is installed.\r\n", pc.Service(L"/Install").output);
    EXPECT_EQ("CreateService failed w/err 0x00000431\r\n", pc.Service(L"-INSTALL").output);
}

TEST(Install, FailedDescriptionIsPrintedAndTheServiceStaysInstalled)
{
    Pc pc;
    pc.SetProfile(L"install", L"description", L"5");

    EXPECT_EQ("ChangeServiceConfig2 (SERVICE_CONFIG_DESCRIPTION) failed w/err 0x00000005\r\n"
              "HotKeyServiceTLY is installed.\r\n",
              pc.Service(L"-install").output);
}

TEST(CommandLine, UnknownSwitchPrintsNothing)
{
    Pc pc;

    const ProgramResult result = pc.Service(L"-foo");

    EXPECT_EQ("", result.output);
    EXPECT_EQ(0u, result.exitCode);
}

TEST(CommandLine, WithoutServiceManagerItPrintsTheUsageAndTheError)
{
    Pc pc;

    const ProgramResult result = pc.Service(L"install");

    EXPECT_EQ("Parameters:\r\n"
              " -install  to install the service.\r\n"
              " -remove   to remove the service.\r\n"
              " -console  to run in console mode.\r\n"
              "Service failed to run w/err 0x00000427\r\n",
              result.output);
    EXPECT_EQ(0u, result.exitCode);
}

TEST(Remove, RunningServiceIsStoppedFirst)
{
    Pc pc;
    pc.InstallAndStart();

    const ProgramResult result = pc.Service(L"-remove");

    EXPECT_EQ("Stopping HotKeyServiceTLY.\r\nHotKeyServiceTLY is stopped.\r\nHotKeyServiceTLY is removed.\r\n",
              result.output);
    EXPECT_EQ(0u, result.exitCode);
}

TEST(Remove, StoppedServicePrintsNoStoppingLine)
{
    Pc pc;
    pc.Install();

    EXPECT_EQ("HotKeyServiceTLY is removed.\r\n", pc.Service(L"-remove").output);
}

TEST(Remove, MissingServiceIsReported)
{
    Pc pc;

    EXPECT_EQ("OpenService failed w/err 0x00000424\r\n", pc.Service(L"-remove").output);
}

TEST(Remove, EndsEveryNotificationApplication)
{
    Pc pc;
    constexpr wchar_t app[] = L"C:\\testbed\\bin\\QuilHotkeyNotification.exe";
    CopyFileW(L"C:\\testbed\\bin\\launchtarget.exe", app, FALSE);
    pc.SetProfile(L"launch target", L"QuilHotkeyNotification.exe", L"600000");
    for (int count = 0; count < 5; ++count)
    {
        Testbed::StartDetached(app);
    }
    const auto running = [] { return Testbed::ProcessIds(L"QuilHotkeyNotification.exe").size(); };
    ASSERT_TRUE(Eventually([&] { return running() == 5; }));

    pc.Service(L"-remove");

    EXPECT_EQ(0u, running());
}
