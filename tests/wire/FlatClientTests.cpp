// The plain C functions of hotkeyclient.dll, as other languages call them.
#include "client/FlatClient.h"
#include "tests/wire/EndpointScope.h"
#include "tests/wire/FedBridge.h"

#include <gtest/gtest.h>

#include <future>
#include <stdexcept>
#include <string>

namespace
{

class FlatClient : public testing::Test
{
  protected:
    ~FlatClient() override { SysFreeString(m_text); }

    FedBridgeScope m_feed;
    BSTR m_text{nullptr};
    unsigned m_nStatus{77};
};

} // namespace

// The first test: once a process has opened the endpoint, the endpoint stays open until the process ends.
TEST_F(FlatClient, WithoutAServiceItIsUnreachable)
{
    EXPECT_EQ(3, HotKeyReadSysInfo(5000, &m_text, &m_nStatus));
    EXPECT_EQ(nullptr, m_text);
    EXPECT_EQ(1722U, m_nStatus);
    EXPECT_EQ(3, HotKeyLaunchUsbCApp(5000, nullptr));
}

TEST_F(FlatClient, TextsComeWhole)
{
    Feed().sysInfo = [] { return L"\u7535\u8111<.^.>\U0001F4BB"; };
    const EndpointScope endpoint;
    BSTR usbTypeC = nullptr;

    EXPECT_EQ(0, HotKeyReadSysInfo(5000, &m_text, &m_nStatus));
    EXPECT_EQ(0, HotKeyReadUsbTypeC(5000, &usbTypeC, nullptr));

    EXPECT_STREQ(L"\u7535\u8111<.^.>\U0001F4BB", m_text);
    EXPECT_EQ(0U, m_nStatus);
    EXPECT_STREQ(L"", usbTypeC);
    SysFreeString(usbTypeC);
}

TEST_F(FlatClient, PresenceIsNoWhenNeitherIsThere)
{
    const EndpointScope endpoint;
    int service = -1;
    int node = -1;

    EXPECT_EQ(0, HotKeyReadPresence(5000, &service, &node, &m_nStatus));

    EXPECT_EQ(0, service);
    EXPECT_EQ(0, node);
}

TEST_F(FlatClient, LaunchesReachTheirOperations)
{
    std::string launched;
    Feed().processCommand = [&](unsigned command) { launched += "command " + std::to_string(command) + ";"; };
    Feed().launchUsbCApp = [&] { launched += "usbc;"; };
    const EndpointScope endpoint;

    EXPECT_EQ(0, HotKeyLaunchSystemInformation(5000, &m_nStatus));
    EXPECT_EQ(0, HotKeyLaunchUsbCApp(5000, &m_nStatus));

    EXPECT_EQ("command 0;usbc;", launched);
}

TEST_F(FlatClient, RefusedCallHasItsStatus)
{
    Feed().processCommand = [](unsigned) { throw std::runtime_error{"test"}; };
    const EndpointScope endpoint;

    EXPECT_EQ(4, HotKeyLaunchSystemInformation(5000, &m_nStatus));

    EXPECT_EQ(1064U, m_nStatus);
}

TEST_F(FlatClient, CallEndsWhenItsTimeIsUp)
{
    std::promise<void> leave;
    const std::shared_future<void> left{leave.get_future()};
    Feed().sysInfo = [left] {
        left.wait();
        return std::wstring{};
    };
    EndpointScope endpoint;
    endpoint.LeaveOpen(); // the abandoned call may end while the server would stop

    EXPECT_EQ(5, HotKeyReadSysInfo(100, &m_text, &m_nStatus));
    leave.set_value();

    EXPECT_EQ(nullptr, m_text);
    EXPECT_EQ(0U, m_nStatus);
}
