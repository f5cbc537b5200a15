// What the companion app reads from the installed service, and how the service bears its clients.
#include "client/HotKeyClient.h"
#include "testbed/Text.h"
#include "tests/e2e/Pc.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <thread>
#include <vector>

using namespace E2e;
using testing::Contains;
using testing::Each;

namespace
{

constexpr wchar_t kUsbTypeC[] =
    L"USB 2.0|.#.$USB 3.1 Gen 2<.^.>Supported<.^.>Supported<.^.>Supported<.^.>Not Supported<.^.>65W";

template <typename T> T Answered(HotKey::CResult<T> answer)
{
    if (!answer)
    {
        ADD_FAILURE() << Testbed::Utf8FromWide(answer.Error().strText);
        return {};
    }
    return answer.Value();
}

struct Presence
{
    const wchar_t* profile;
    bool service;
    bool node;
};

void PrintTo(const Presence& presence, std::ostream* stream)
{
    *stream << Testbed::Utf8FromWide(presence.profile);
}

class PresenceOfProfile : public testing::TestWithParam<Presence>
{
};

} // namespace

TEST_P(PresenceOfProfile, IsAnswered)
{
    Pc pc{GetParam().profile};
    pc.InstallAndStart();
    HotKey::CHotKeyClient client;

    const HotKey::CPresence presence = Answered(client.ReadPresence());

    EXPECT_EQ(GetParam().service, presence.bFennixService);
    EXPECT_EQ(GetParam().node, presence.bFennixNode);
}

INSTANTIATE_TEST_SUITE_P(, PresenceOfProfile,
                         testing::Values(Presence{L"healthy-laptop", true, true}, Presence{L"older-laptop", true, true},
                                         Presence{L"no-framework", false, false},
                                         Presence{L"stopped-framework", true, false}));

TEST(ReadUsbTypeC, GivesTheTextOfTheFramework)
{
    Pc pc;
    pc.InstallAndStart();
    HotKey::CHotKeyClient client;

    EXPECT_EQ(kUsbTypeC, Answered(client.ReadUsbTypeCText()));
}

TEST(ReadUsbTypeC, IsReadOncePerServiceRun)
{
    Pc pc;
    pc.InstallAndStart();
    HotKey::CHotKeyClient client;
    EXPECT_EQ(kUsbTypeC, Answered(client.ReadUsbTypeCText()));

    pc.SetProfile(L"framework", L"GetBasicUsbSupport", L"no");

    EXPECT_EQ(kUsbTypeC, Answered(client.ReadUsbTypeCText()));
}

TEST(ReadUsbTypeC, FailingGetterLeavesTheRestAtZero)
{
    Pc pc;
    pc.SetProfile(L"framework", L"GetUsbMaxDownstreamPower", L"fail:0x80004005");
    pc.InstallAndStart();
    HotKey::CHotKeyClient client;

    EXPECT_EQ(L"USB 2.0|.#.$USB 3.1 Gen 2<.^.>Supported<.^.>Supported<.^.>Supported<.^.>Not Supported<.^.>0W",
              Answered(client.ReadUsbTypeCText()));
}

TEST(ReadUsbTypeC, IsEmptyWithoutTheFramework)
{
    Pc pc{L"no-framework"};
    pc.InstallAndStart();
    HotKey::CHotKeyClient client;

    EXPECT_EQ(L"", Answered(client.ReadUsbTypeCText()));
}

TEST(Clients, SixtyFourAtOnceAreAllAnswered)
{
    Pc pc;
    pc.InstallAndStart();
    std::vector<std::wstring> answers(64);
    // Wine mixes up the contexts of first connections that one process makes at the same time.
    HotKey::CHotKeyClient first;
    EXPECT_TRUE(first.Connect());

    {
        std::vector<std::jthread> clients;
        for (std::wstring& answer : answers)
        {
            clients.emplace_back([&answer] {
                HotKey::CHotKeyClient client;
                answer = Answered(client.ReadUsbTypeCText());
            });
        }
    }

    EXPECT_THAT(answers, Each(std::wstring{kUsbTypeC}));
}

TEST(Clients, OneThatDiesInACallLeavesTheServiceToTheOthers)
{
    Pc pc;
    pc.InstallAndStart();
    pc.SetProfile(L"framework", L"delay", L"1000");
    {
        Client dying{L"usbc"};
        ASSERT_TRUE(Eventually([&] { return testing::Value(pc.LogOf(L"ReadUSBTypeCInfo"), Contains(L"TraceIn|")); }));
        dying.Kill();
    }
    pc.SetProfile(L"framework", L"delay", L"0");
    HotKey::CHotKeyClient client;

    EXPECT_TRUE(Answered(client.IsFennixServiceInstalled()));
    EXPECT_EQ(static_cast<DWORD>(SERVICE_RUNNING), pc.Status().dwCurrentState);
}

TEST(Clients, GetNoAnswerWhenNoServiceRuns)
{
    Pc pc;
    HotKey::CHotKeyClient client;

    const auto answer = client.IsFennixServiceInstalled();

    ASSERT_FALSE(answer);
    EXPECT_EQ(HotKey::ErrorKind::Unreachable, answer.Error().eKind);
}

TEST(Clients, SlowFrameworkDelaysOnlyTheOneWhoAsksIt)
{
    Pc pc;
    pc.InstallAndStart();
    pc.SetProfile(L"framework", L"delay", L"500");
    bool slowAnswered = false;
    std::jthread slow{[&] {
        HotKey::CHotKeyClient client;
        slowAnswered = Answered(client.ReadUsbTypeCText()) == kUsbTypeC;
    }};
    ASSERT_TRUE(Eventually([&] { return testing::Value(pc.LogOf(L"ReadUSBTypeCInfo"), Contains(L"TraceIn|")); }));
    HotKey::CHotKeyClient client{std::chrono::milliseconds{4000}};

    EXPECT_TRUE(Answered(client.IsFennixNodePresent()));

    slow.join();
    EXPECT_TRUE(slowAnswered);
}

TEST(Stop, WaitsForTheCallInProgress)
{
    Pc pc;
    pc.InstallAndStart();
    pc.SetProfile(L"framework", L"delay", L"100");
    std::jthread asking{[] {
        HotKey::CHotKeyClient client;
        static_cast<void>(client.ReadUsbTypeCText());
    }};
    ASSERT_TRUE(Eventually([&] { return testing::Value(pc.LogOf(L"ReadUSBTypeCInfo"), Contains(L"TraceIn|")); }));

    pc.Control(L"stop");

    EXPECT_TRUE(pc.WaitForState(SERVICE_STOPPED));
    EXPECT_EQ(0u, pc.Status().dwWin32ExitCode);
    pc.WaitForEnd();
}
