// The client library over a run time that answers what a test wants: each status, each answer that the service never
// gives, and what is asked again. tests/wire has the same library against the product's server.
#include "client/HotKeyClient.h"

#include "client/RpcStatusText.h"
#include "tests/harness/ImportHook.h"
#include "tests/unit/client/RpcStandIn.h"

#include <gtest/gtest.h>

#include <windows.h>

#include <rpc.h>

#include <chrono>
#include <future>
#include <optional>
#include <string>
#include <vector>

using HotKey::CError;
using HotKey::CHotKeyClient;
using HotKey::ErrorKind;

namespace
{

using Numbers = std::vector<unsigned>;

constexpr std::chrono::milliseconds kTimeout{40000};

constexpr wchar_t kSysInfo[] =
    L"Laptop 14<.^.>7XY45AV#AKL<.^.>20WWABCD601#S001#D001<.^.>16.00 GB (15.84 GB usable)<.^.>"
    L"12th Gen Processor<.^.>A01 Ver. 01.02.03 - 05/16/2023<.^.>KBC Version 11.22.00<.^.>"
    L"SN12345678<.^.>3X7<.^.>0x1<.^.>yes";
constexpr wchar_t kUsbTypeC[] =
    L"USB 2.0|.#.$USB 3.1 Gen 2<.^.>Supported<.^.>Supported<.^.>Supported<.^.>Not Supported<.^.>65W";

class Event
{
  public:
    Event() : m_event{CreateEventW(nullptr, TRUE, FALSE, nullptr)} {}
    ~Event() { CloseHandle(m_event); }
    Event(const Event&) = delete;
    Event& operator=(const Event&) = delete;

    void Set() const { SetEvent(m_event); }
    void Wait() const { WaitForMultipleObjects(1, &m_event, FALSE, INFINITE); }

  private:
    HANDLE m_event;
};

void ExpectError(const CError& error, ErrorKind kind, unsigned status, const wchar_t* text)
{
    EXPECT_EQ(kind, error.eKind);
    EXPECT_EQ(status, error.ulStatus);
    EXPECT_EQ(text, error.strText);
}

} // namespace

TEST(ClientCalls, AConnectionIsMadeOnceAndGivenBack)
{
    RpcStandIn rpc;
    {
        CHotKeyClient client;

        EXPECT_TRUE(client.Connect());
        EXPECT_TRUE(client.LaunchSystemInformation());
        EXPECT_TRUE(client.LaunchUsbCApp());
    }

    EXPECT_EQ((Numbers{0, 2, 3, 1}), rpc.Operations());
}

TEST(ClientCalls, AServiceWithoutMemoryForTheConnectionRefuses)
{
    RpcStandIn rpc;
    rpc.answer = [](unsigned) { return RpcReply{.bContext = false}; };
    CHotKeyClient client;

    const auto connected = client.Connect();

    ASSERT_FALSE(connected);
    ExpectError(connected.Error(), ErrorKind::Refused, 1775, L"the service did not give a connection");
}

TEST(ClientCalls, ABindingThatCannotBeWrittenDownIsRefused)
{
    RpcStandIn rpc;
    IMPORT_HOOK(RpcStringBindingComposeW)([](auto...) -> RPC_STATUS { return RPC_S_OUT_OF_MEMORY; });
    CHotKeyClient client;

    const auto connected = client.Connect();

    ASSERT_FALSE(connected);
    ExpectError(connected.Error(), ErrorKind::Refused, 14, L"out of memory");
    EXPECT_EQ(Numbers{}, rpc.Operations());
}

TEST(ClientCalls, ABindingThatCannotBeMadeIsRefused)
{
    RpcStandIn rpc;
    IMPORT_HOOK(RpcBindingFromStringBindingW)
    ([](RPC_WSTR, RPC_BINDING_HANDLE*) -> RPC_STATUS { return RPC_S_OUT_OF_MEMORY; });
    CHotKeyClient client;

    const auto connected = client.Connect();

    ASSERT_FALSE(connected);
    ExpectError(connected.Error(), ErrorKind::Refused, 14, L"out of memory");
    EXPECT_EQ(Numbers{}, rpc.Operations());
}

TEST(ClientCalls, WithoutAThreadForTheCallItIsRefused)
{
    RpcStandIn rpc;
    IMPORT_HOOK(CreateThread)([](auto...) -> HANDLE { return nullptr; });
    CHotKeyClient client;

    const auto connected = client.Connect();

    ASSERT_FALSE(connected);
    ExpectError(connected.Error(), ErrorKind::Refused, 164, L"the call failed");
}

TEST(ClientCalls, ATextWithoutItsEndIsNotUnderstood)
{
    RpcStandIn rpc;
    rpc.answer = [](unsigned) { return RpcReply{.bText = true, .strText = L"abc", .bTerminated = false}; };
    CHotKeyClient client;

    const auto text = client.ReadSysInfoText();

    ASSERT_FALSE(text);
    ExpectError(text.Error(), ErrorKind::NotUnderstood, 0, L"the text that the service sent has no end");
}

TEST(ClientCalls, ATextOfNoCharactersAtAllIsEmpty)
{
    RpcStandIn rpc;
    rpc.answer = [](unsigned) { return RpcReply{.bText = true, .bTerminated = false}; };
    CHotKeyClient client;

    const auto text = client.ReadSysInfoText();

    ASSERT_TRUE(text);
    EXPECT_EQ(L"", text.Value());
}

TEST(ClientCalls, FieldsAreTakenFromTheTexts)
{
    RpcStandIn rpc;
    rpc.answer = [](unsigned operation) { return RpcReply::Text(operation == 4 ? kSysInfo : kUsbTypeC); };
    CHotKeyClient client;

    const auto sysInfo = client.ReadSysInfo();
    const auto usbTypeC = client.ReadUsbTypeC();

    ASSERT_TRUE(sysInfo && sysInfo.Value());
    EXPECT_EQ(L"SN12345678", sysInfo.Value()->strSerialNumber);
    ASSERT_TRUE(usbTypeC && usbTypeC.Value());
    EXPECT_EQ(65, usbTypeC.Value()->nMaximumWatts);
}

TEST(ClientCalls, EmptyTextsHaveNoFields)
{
    RpcStandIn rpc;
    rpc.answer = [](unsigned operation) { return operation == 4 ? RpcReply::Text(L"") : RpcReply{}; };
    CHotKeyClient client;

    const auto sysInfo = client.ReadSysInfo();
    const auto usbTypeC = client.ReadUsbTypeC();

    ASSERT_TRUE(sysInfo && usbTypeC);
    EXPECT_FALSE(sysInfo.Value());
    EXPECT_FALSE(usbTypeC.Value());
}

TEST(ClientCalls, TextsOfOtherFieldsAreNotUnderstood)
{
    RpcStandIn rpc;
    rpc.answer = [](unsigned) { return RpcReply::Text(L"a<.^.>b"); };
    CHotKeyClient client;

    const auto sysInfo = client.ReadSysInfo();
    const auto usbTypeC = client.ReadUsbTypeC();

    ASSERT_FALSE(sysInfo);
    ASSERT_FALSE(usbTypeC);
    ExpectError(sysInfo.Error(), ErrorKind::NotUnderstood, 0,
                L"the system-information text has 2 fields instead of 11");
    ExpectError(usbTypeC.Error(), ErrorKind::NotUnderstood, 0, L"the USB Type-C text has 2 fields instead of 6");
}

TEST(ClientCalls, TextsThatDoNotComeHaveNoFields)
{
    RpcStandIn rpc;
    rpc.answer = [](unsigned operation) { return RpcReply::Status(operation == 0 ? 0 : 1064); };
    CHotKeyClient client;

    const auto sysInfo = client.ReadSysInfo();
    const auto usbTypeC = client.ReadUsbTypeC();

    ASSERT_FALSE(sysInfo);
    ASSERT_FALSE(usbTypeC);
    ExpectError(sysInfo.Error(), ErrorKind::Refused, 1064, L"the operation failed inside the service");
    ExpectError(usbTypeC.Error(), ErrorKind::Refused, 1064, L"the operation failed inside the service");
}

TEST(ClientCalls, PresenceIsZeroOrOne)
{
    RpcStandIn rpc;
    rpc.answer = [](unsigned operation) { return RpcReply::Number(operation == 5 ? 1 : 0); };
    CHotKeyClient client;

    const auto presence = client.ReadPresence();

    ASSERT_TRUE(presence);
    EXPECT_TRUE(presence.Value().bFennixService);
    EXPECT_FALSE(presence.Value().bFennixNode);
}

TEST(ClientCalls, PresenceOfAnotherNumberIsNotUnderstood)
{
    RpcStandIn rpc;
    rpc.answer = [](unsigned operation) { return RpcReply::Number(operation == 5 ? 1 : 2); };
    CHotKeyClient client;

    const auto presence = client.ReadPresence();

    ASSERT_FALSE(presence);
    ExpectError(presence.Error(), ErrorKind::NotUnderstood, 0, L"the service answered 2 instead of 0 or 1");
}

TEST(ClientCalls, AQuestionThatTheServiceEndedUnderIsAskedOnceMore)
{
    RpcStandIn rpc;
    int asked = 0;
    rpc.answer = [&](unsigned operation) {
        return operation == 4 && ++asked == 1 ? RpcReply::Status(1726) : RpcReply::Text(L"text");
    };
    CHotKeyClient client;

    const auto text = client.ReadSysInfoText();

    ASSERT_TRUE(text);
    EXPECT_EQ(L"text", text.Value());
    EXPECT_EQ((Numbers{0, 4, RpcStandIn::kForgotten, 0, 4}), rpc.Operations());
}

TEST(ClientCalls, AQuestionIsAskedTwiceAtMost)
{
    RpcStandIn rpc;
    rpc.answer = [](unsigned operation) { return RpcReply::Status(operation == 4 ? 1726 : 0); };
    CHotKeyClient client;

    const auto text = client.ReadSysInfoText();

    ASSERT_FALSE(text);
    ExpectError(text.Error(), ErrorKind::Unreachable, 1726, L"the service ended during the call");
    EXPECT_EQ((Numbers{0, 4, RpcStandIn::kForgotten, 0, 4, RpcStandIn::kForgotten}), rpc.Operations());
}

TEST(ClientCalls, ALaunchThatMayHaveHappenedIsNotRepeated)
{
    RpcStandIn rpc;
    rpc.answer = [](unsigned operation) { return RpcReply::Status(operation == 2 ? 1726 : 0); };
    CHotKeyClient client;

    const auto launched = client.LaunchSystemInformation();

    ASSERT_FALSE(launched);
    ExpectError(launched.Error(), ErrorKind::Unreachable, 1726, L"the service ended during the call");
    EXPECT_EQ((Numbers{0, 2, RpcStandIn::kForgotten}), rpc.Operations());
}

TEST(ClientCalls, ALaunchThatDidNotHappenIsRepeated)
{
    RpcStandIn rpc;
    int asked = 0;
    rpc.answer = [&](unsigned operation) { return RpcReply::Status(operation == 3 && ++asked == 1 ? 1727 : 0); };
    CHotKeyClient client;

    EXPECT_TRUE(client.LaunchUsbCApp());

    EXPECT_EQ((Numbers{0, 3, RpcStandIn::kForgotten, 0, 3}), rpc.Operations());
}

TEST(ClientCalls, AConnectionThatCannotBeGivenBackIsForgotten)
{
    RpcStandIn rpc;
    rpc.answer = [](unsigned operation) { return RpcReply::Status(operation == 1 ? 1722 : 0); };
    CHotKeyClient client;
    EXPECT_TRUE(client.Connect());

    client.Disconnect();

    EXPECT_EQ((Numbers{0, 1, RpcStandIn::kForgotten}), rpc.Operations());
}

TEST(ClientCalls, WithoutAnAnswerInTimeTheConnectionIsGivenUp)
{
    const Event asked;
    const Event answered;
    RpcStandIn rpc;
    rpc.answer = [&](unsigned operation) {
        if (operation == 4)
        {
            asked.Set();
            answered.Wait();
        }
        return RpcReply::Text(L"text");
    };
    CHotKeyClient client{kTimeout};
    EXPECT_TRUE(client.Connect());
    std::optional<HotKey::CResult<std::wstring>> late;
    {
        IMPORT_HOOK(WaitForSingleObject)
        ([&](HANDLE, DWORD) -> DWORD {
            asked.Wait();
            return WAIT_TIMEOUT;
        });
        late = client.ReadSysInfoText();
    }

    const auto next = client.ReadUsbTypeCText();
    const Numbers operations = rpc.Operations();
    answered.Set();

    ASSERT_FALSE(*late);
    ExpectError(late->Error(), ErrorKind::TimedOut, 0, L"the service did not answer within 40000 ms");
    ASSERT_TRUE(next);
    EXPECT_EQ(L"text", next.Value());
    EXPECT_EQ((Numbers{0, 4, 0, 7}), operations);
}

TEST(ClientCalls, AConnectionThatTakesTooLongKeepsOthersWaitingForTheirTimeOnly)
{
    const Event asked;
    const Event answered;
    RpcStandIn rpc;
    rpc.answer = [&](unsigned) {
        asked.Set();
        answered.Wait();
        return RpcReply{};
    };
    CHotKeyClient patient{kTimeout};
    CHotKeyClient hasty{std::chrono::milliseconds{20}};
    auto first = std::async(std::launch::async, [&] { return static_cast<bool>(patient.Connect()); });
    asked.Wait();

    const auto second = hasty.Connect();
    answered.Set();

    ASSERT_FALSE(second);
    ExpectError(second.Error(), ErrorKind::TimedOut, 0, L"the service did not answer within 20 ms");
    EXPECT_TRUE(first.get());
}

TEST(ClientCalls, AConnectionThatIsNotMadeInTimeIsNone)
{
    const Event answered;
    RpcStandIn rpc;
    rpc.answer = [&](unsigned) {
        answered.Wait();
        return RpcReply{};
    };
    CHotKeyClient client{std::chrono::milliseconds{20}};

    const auto connected = client.Connect();
    answered.Set();

    ASSERT_FALSE(connected);
    ExpectError(connected.Error(), ErrorKind::TimedOut, 0, L"the service did not answer within 20 ms");
}

// What docs/protocol.md says of each status.
TEST(DescribeStatus, TellsWhatEachStatusMeans)
{
    const struct
    {
        unsigned status;
        ErrorKind kind;
        const wchar_t* text;
    } statuses[] = {
        {1722, ErrorKind::Unreachable, L"the service is not running"},
        {1715, ErrorKind::Unreachable, L"the service does not accept calls now"},
        {1753, ErrorKind::Unreachable, L"the service is not running"},
        {1708, ErrorKind::Unreachable, L"the service is not running"},
        {1726, ErrorKind::Unreachable, L"the service ended during the call"},
        {1727, ErrorKind::Unreachable, L"the service ended before the call"},
        {1717, ErrorKind::Unreachable, L"the service does not serve its interface now"},
        {5, ErrorKind::Refused, L"the service does not admit this program"},
        {1723, ErrorKind::Refused, L"the service is too busy"},
        {14, ErrorKind::Refused, L"out of memory"},
        {1745, ErrorKind::Refused, L"the service does not know this operation"},
        {1783, ErrorKind::Refused, L"the service could not read the request"},
        {1775, ErrorKind::Refused, L"the service did not give a connection"},
        {6, ErrorKind::Refused, L"the service does not know this connection"},
        {0x1C00001A, ErrorKind::Refused, L"the service does not know this connection"},
        {1064, ErrorKind::Refused, L"the operation failed inside the service"},
        {999, ErrorKind::Refused, L"the call failed"},
    };
    for (const auto& expected : statuses)
    {
        ExpectError(HotKey::DescribeStatus(expected.status), expected.kind, expected.status, expected.text);
    }
}
