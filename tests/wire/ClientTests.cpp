// The client library against the product's server in the same process: what each call answers, and each way to fail.
#include "client/HotKeyClient.h"
#include "tests/wire/EndpointScope.h"
#include "tests/wire/FedBridge.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <future>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

using HotKey::CHotKeyClient;
using HotKey::ErrorKind;

namespace
{

constexpr std::chrono::milliseconds kShort{100};

class Client : public testing::Test
{
  protected:
    FedBridgeScope m_feed;
};

} // namespace

// The first test: once a process has opened the endpoint, the endpoint stays open until the process ends.
TEST_F(Client, WithoutAServiceItIsUnreachable)
{
    CHotKeyClient client;

    const auto connected = client.Connect();
    const auto text = client.ReadSysInfoText();

    ASSERT_FALSE(connected);
    EXPECT_EQ(ErrorKind::Unreachable, connected.Error().eKind);
    EXPECT_EQ(1722U, connected.Error().ulStatus);
    EXPECT_EQ(L"the service is not running", connected.Error().strText);
    ASSERT_FALSE(text);
    EXPECT_EQ(1722U, text.Error().ulStatus);
}

TEST_F(Client, SystemInformationComesWhole)
{
    Feed().sysInfo = [] { return L"\u7535\u8111<.^.>\U0001F4BB<.^.>0x0"; };
    const EndpointScope endpoint;
    CHotKeyClient client;

    const auto text = client.ReadSysInfoText();

    ASSERT_TRUE(text);
    EXPECT_EQ(L"\u7535\u8111<.^.>\U0001F4BB<.^.>0x0", text.Value());
}

TEST_F(Client, SystemInformationComesAsFields)
{
    Feed().sysInfo = [] {
        return L"Laptop 14 Model A<.^.>7XY45AV#AKL<.^.>20WWABCD601#S001#D001<.^.>16.00 GB (15.84 GB usable)<.^.>12th "
               L"Gen Processor<.^.>A01 Ver. 01.02.03 - 05/16/2023<.^.>KBC Version "
               L"11.22.00<.^.>SN12345678<.^.>3X7<.^.>0x1<.^.>yes";
    };
    const EndpointScope endpoint;
    CHotKeyClient client;

    const auto info = client.ReadSysInfo();

    ASSERT_TRUE(info);
    ASSERT_TRUE(info.Value());
    EXPECT_EQ(L"Laptop 14 Model A", info.Value()->strProductName);
    EXPECT_EQ(L"SN12345678", info.Value()->strSerialNumber);
    EXPECT_EQ(1, info.Value()->ucBiosPasswordStatus);
    EXPECT_TRUE(info.Value()->bUsbTypeC);
}

TEST_F(Client, EmptyTextsAreNoFields)
{
    const EndpointScope endpoint;
    CHotKeyClient client;

    const auto sysInfo = client.ReadSysInfo();
    const auto usbTypeC = client.ReadUsbTypeC();

    ASSERT_TRUE(sysInfo);
    EXPECT_FALSE(sysInfo.Value());
    ASSERT_TRUE(usbTypeC);
    EXPECT_FALSE(usbTypeC.Value());
}

TEST_F(Client, TextWithAnotherNumberOfFieldsIsReportedAsSuch)
{
    Feed().sysInfo = [] { return L"a<.^.>b<.^.>c"; };
    const EndpointScope endpoint;
    CHotKeyClient client;

    const auto info = client.ReadSysInfo();

    ASSERT_FALSE(info);
    EXPECT_EQ(ErrorKind::NotUnderstood, info.Error().eKind);
    EXPECT_EQ(L"the system-information text has 3 fields instead of 11", info.Error().strText);
}

TEST_F(Client, UsbTypeCComesAsFields)
{
    Feed().usbTypeC = [] {
        return L"USB 2.0|.#.$USB 3.1 Gen 2<.^.>Supported<.^.>Supported<.^.>Supported<.^.>Not Supported<.^.>65W";
    };
    const EndpointScope endpoint;
    CHotKeyClient client;

    const auto info = client.ReadUsbTypeC();

    ASSERT_TRUE(info);
    ASSERT_TRUE(info.Value());
    EXPECT_TRUE(info.Value()->bDownstreamPowerDelivery);
    EXPECT_FALSE(info.Value()->bUpstreamPowerDelivery);
    EXPECT_EQ(65, info.Value()->nMaximumWatts);
}

TEST_F(Client, PresenceIsNoWhenNeitherIsThere)
{
    const EndpointScope endpoint;
    CHotKeyClient client;

    const auto presence = client.ReadPresence();

    ASSERT_TRUE(presence);
    EXPECT_FALSE(presence.Value().bFennixService);
    EXPECT_FALSE(presence.Value().bFennixNode);
}

TEST_F(Client, LaunchesReachTheirOperations)
{
    std::vector<unsigned> commands;
    int usbLaunches = 0;
    Feed().processCommand = [&](unsigned command) { commands.push_back(command); };
    Feed().launchUsbCApp = [&] { ++usbLaunches; };
    const EndpointScope endpoint;
    CHotKeyClient client;

    EXPECT_TRUE(client.LaunchSystemInformation());
    EXPECT_TRUE(client.LaunchUsbCApp());

    EXPECT_THAT(commands, testing::ElementsAre(0U));
    EXPECT_EQ(1, usbLaunches);
}

TEST_F(Client, FaultIsARefusalAndTheConnectionLivesOn)
{
    Feed().processCommand = [](unsigned) { throw std::runtime_error{"test"}; };
    Feed().sysInfo = [] { return L"text"; };
    const EndpointScope endpoint;
    CHotKeyClient client;

    const auto launched = client.LaunchSystemInformation();
    const auto text = client.ReadSysInfoText();

    ASSERT_FALSE(launched);
    EXPECT_EQ(ErrorKind::Refused, launched.Error().eKind);
    EXPECT_EQ(1064U, launched.Error().ulStatus);
    EXPECT_EQ(L"the operation failed inside the service", launched.Error().strText);
    ASSERT_TRUE(text);
    EXPECT_EQ(L"text", text.Value());
}

TEST_F(Client, CallEndsWhenItsTimeIsUpAndTheNextOneIsAnswered)
{
    std::promise<void> leave;
    const std::shared_future<void> left{leave.get_future()};
    Feed().sysInfo = [left] {
        left.wait();
        return std::wstring{L"late"};
    };
    Feed().usbTypeC = [] { return L"in time"; };
    EndpointScope endpoint;
    endpoint.LeaveOpen(); // the abandoned call may end while the server would stop
    CHotKeyClient client{kShort};

    const auto late = client.ReadSysInfoText();
    const auto inTime = client.ReadUsbTypeCText();
    leave.set_value();

    ASSERT_FALSE(late);
    EXPECT_EQ(ErrorKind::TimedOut, late.Error().eKind);
    EXPECT_EQ(L"the service did not answer within 100 ms", late.Error().strText);
    ASSERT_TRUE(inTime);
    EXPECT_EQ(L"in time", inTime.Value());
}

TEST_F(Client, ClientMayGoWhileItsAbandonedCallIsStillInside)
{
    std::promise<void> leave;
    const std::shared_future<void> left{leave.get_future()};
    Feed().sysInfo = [left] {
        left.wait();
        return std::wstring{L"late"};
    };
    EndpointScope endpoint;
    endpoint.LeaveOpen(); // the abandoned call may end while the server would stop
    {
        CHotKeyClient client{kShort};
        EXPECT_FALSE(client.ReadSysInfoText());
    }
    leave.set_value();

    // The server is served out and goes on.
    CHotKeyClient next;
    EXPECT_TRUE(next.ReadPresence());
}

TEST_F(Client, DisconnectGivesTheHandleBackAndTheNextCallConnectsAgain)
{
    const EndpointScope endpoint;
    CHotKeyClient client;
    ASSERT_TRUE(client.Connect());

    client.Disconnect();
    client.Disconnect();

    EXPECT_TRUE(client.ReadPresence());
}

TEST_F(Client, NextCallAfterARestartOfTheServiceIsAnswered)
{
    Feed().sysInfo = [] { return L"text"; };
    auto endpoint = std::make_unique<EndpointScope>();
    CHotKeyClient client;
    ASSERT_TRUE(client.ReadSysInfoText());

    endpoint.reset();
    const auto stopped = client.ReadSysInfoText();
    endpoint = std::make_unique<EndpointScope>();
    const auto again = client.ReadSysInfoText();

    ASSERT_FALSE(stopped);
    EXPECT_EQ(ErrorKind::Unreachable, stopped.Error().eKind) << stopped.Error().ulStatus;
    ASSERT_TRUE(again) << again.Error().ulStatus;
    EXPECT_EQ(L"text", again.Value());
}

TEST_F(Client, EightThreadsShareOneClient)
{
    Feed().sysInfo = [] { return L"text"; };
    const EndpointScope endpoint;
    CHotKeyClient client;
    std::atomic<int> answered{0};

    std::vector<std::jthread> threads;
    for (int i = 0; i < 8; ++i)
    {
        threads.emplace_back([&] {
            for (int call = 0; call < 25; ++call)
            {
                const auto text = client.ReadSysInfoText();
                EXPECT_TRUE(text) << text.Error().ulStatus;
                answered += text && text.Value() == L"text" ? 1 : 0;
            }
        });
    }
    threads.clear();

    EXPECT_EQ(200, answered);
}

TEST_F(Client, HundredTextsLeaveNoHandlesBehind)
{
    Feed().sysInfo = [] { return std::wstring(2000, L'x'); };
    const EndpointScope endpoint;
    CHotKeyClient client;
    ASSERT_TRUE(client.ReadSysInfoText());
    DWORD before = 0;
    GetProcessHandleCount(GetCurrentProcess(), &before);

    for (int i = 0; i < 100; ++i)
    {
        ASSERT_TRUE(client.ReadSysInfoText());
    }

    DWORD after = 0;
    GetProcessHandleCount(GetCurrentProcess(), &after);
    EXPECT_LE(after, before + 8);
}
