// The client library and hotkeyctl against the installed service where it makes them wait, fails or goes away.
#include "client/HotKeyClient.h"
#include "tests/e2e/Pc.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <string>
#include <thread>
#include <vector>

using namespace E2e;
using testing::Contains;
using testing::HasSubstr;

namespace
{

constexpr const wchar_t* kFirstQuery = L"wmi ROOT\\wmi MS_SystemInformation";

} // namespace

TEST(ClientLibrary, SixtyFourThreadsShareOneClient)
{
    Pc pc;
    pc.InstallAndStart();
    HotKey::CHotKeyClient client;
    const auto expected = client.ReadSysInfoText();
    ASSERT_TRUE(expected);
    std::atomic<int> answered{0};

    {
        std::vector<std::jthread> threads;
        for (int i = 0; i < 64; ++i)
        {
            threads.emplace_back([&] {
                const auto text = client.ReadSysInfoText();
                const auto presence = client.ReadPresence();
                answered += text && text.Value() == expected.Value() && presence && presence.Value().bFennixService;
            });
        }
    }

    EXPECT_THAT(expected.Value(), HasSubstr(L"Laptop 14 Model A"));
    EXPECT_EQ(64, answered);
}

TEST(ClientLibrary, WaitsTwentySecondsForTheFirstAnswer)
{
    Pc pc;
    pc.SetProfile(kFirstQuery, L"delay_ms", L"20000");
    pc.InstallAndStart();
    HotKey::CHotKeyClient client;

    const ULONGLONG start = GetTickCount64();
    const auto text = client.ReadSysInfoText();

    ASSERT_TRUE(text);
    EXPECT_THAT(text.Value(), HasSubstr(L"Laptop 14 Model A"));
    EXPECT_GE(GetTickCount64() - start, 19900U);
}

TEST(ClientLibrary, ServiceThatIsKilledDuringACallIsNotReachable)
{
    Pc pc;
    pc.SetProfile(kFirstQuery, L"delay_ms", L"60000");
    pc.StartConsole(); // nothing that the service manager has to get over
    ProgramResult result;
    {
        std::jthread caller{[&] { result = RunClient(L"sysinfo"); }};
        EXPECT_TRUE(Eventually([&] { return testing::Value(pc.Records(L"wmi"), testing::SizeIs(testing::Ge(1U))); }));
        pc.Kill();
    }

    EXPECT_EQ(3U, result.exitCode);
    EXPECT_EQ("", result.output);
}

TEST(ClientLibrary, ServiceThatAnswersTooLateHasItsExitCode)
{
    Pc pc;
    pc.SetProfile(kFirstQuery, L"delay_ms", L"5000");
    pc.InstallAndStart();

    EXPECT_EQ(5U, RunClient(L"--timeout 1 sysinfo").exitCode);
    EXPECT_EQ(0U, RunClient(L"--timeout 60 sysinfo").exitCode);
}
