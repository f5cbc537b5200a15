// The interface byte by byte: requests as literals on the endpoint's pipe, answers compared as literals.
#include "tests/wire/EndpointScope.h"
#include "tests/wire/FedBridge.h"
#include "tests/wire/PipeClient.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <windows.h>

#include <rpc.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <future>
#include <mutex>
#include <set>
#include <stdexcept>
#include <thread>
#include <vector>

namespace
{

class Wire : public testing::Test
{
  protected:
    static Bytes ContextOfNobody()
    {
        return {0x00, 0x00, 0x00, 0x00, 0x11, 0x22, 0x33, 0x44, 0x55, 0x66,
                0x77, 0x88, 0x99, 0xaa, 0xbb, 0xcc, 0xdd, 0xee, 0xff, 0x01};
    }
    static Bytes NullContext() { return Bytes(20, 0x00); }

    FedBridgeScope m_feed;
};

} // namespace

TEST_F(Wire, BindIsAcknowledged)
{
    const EndpointScope endpoint;
    PipeClient client;

    const Bytes answer = client.Bind();

    ASSERT_GE(answer.size(), 60U);
    EXPECT_EQ(0x0c, answer[2]);                          // bind acknowledgement
    EXPECT_EQ(0U, Number32(answer, answer.size() - 24)); // result: acceptance
    EXPECT_THAT(Bytes(answer.end() - 20, answer.end()),  // transfer syntax: NDR 2.0
                testing::ElementsAre(0x04, 0x5d, 0x88, 0x8a, 0xeb, 0x1c, 0xc9, 0x11, 0x9f, 0xe8, 0x08, 0x00, 0x2b, 0x10,
                                     0x48, 0x60, 0x02, 0x00, 0x00, 0x00));
}

TEST_F(Wire, ConnectTakesAnEmptyRequest)
{
    const EndpointScope endpoint;
    PipeClient client;
    client.Bind();

    const Reply reply = client.Call(0, {});

    ASSERT_EQ(PipeClient::kResponse, reply.ucType);
    ASSERT_EQ(20U, reply.stub.size());
    EXPECT_EQ(0U, Number32(reply.stub, 0));
    EXPECT_NE(NullContext(), reply.stub);
}

TEST_F(Wire, DisconnectGivesTheHandleBackAsNull)
{
    const EndpointScope endpoint;
    PipeClient client;
    const Bytes context = client.Connect();

    const Reply reply = client.Call(1, context);

    EXPECT_EQ(PipeClient::kResponse, reply.ucType);
    EXPECT_EQ(NullContext(), reply.stub);
}

TEST_F(Wire, SecondDisconnectIsRefused)
{
    const EndpointScope endpoint;
    PipeClient client;
    const Bytes context = client.Connect();
    client.Call(1, context);

    EXPECT_EQ(PipeClient::kFault, client.Call(1, context).ucType);
}

TEST_F(Wire, ProcessCommandStartsTheSystemInformationToolAndAnswersNothing)
{
    std::vector<unsigned> commands;
    Feed().processCommand = [&](unsigned command) { commands.push_back(command); };
    const EndpointScope endpoint;
    PipeClient client;

    const Reply reply = client.Call(2, client.Connect());

    EXPECT_EQ(PipeClient::kResponse, reply.ucType);
    EXPECT_THAT(reply.stub, testing::IsEmpty());
    EXPECT_THAT(commands, testing::ElementsAre(0U));
}

TEST_F(Wire, ProcessCommandIgnoresWhatFollowsTheHandle)
{
    std::vector<unsigned> commands;
    Feed().processCommand = [&](unsigned command) { commands.push_back(command); };
    const EndpointScope endpoint;
    PipeClient client;

    const Reply reply = client.Call(2, client.Connect() + Bytes{0x03, 0x00, 0x00, 0x00});

    EXPECT_EQ(PipeClient::kResponse, reply.ucType);
    EXPECT_THAT(commands, testing::ElementsAre(0U));
}

TEST_F(Wire, LaunchUsbCAppAnswersNothing)
{
    int launches = 0;
    Feed().launchUsbCApp = [&] { ++launches; };
    const EndpointScope endpoint;
    PipeClient client;

    const Reply reply = client.Call(3, client.Connect());

    EXPECT_EQ(PipeClient::kResponse, reply.ucType);
    EXPECT_THAT(reply.stub, testing::IsEmpty());
    EXPECT_EQ(1, launches);
}

TEST_F(Wire, ReadSysInfoSendsTheTextAndItsNul)
{
    Feed().sysInfo = [] { return L"Q<.^.>\u7a4d"; };
    const EndpointScope endpoint;
    PipeClient client;

    const Reply reply = client.Call(4, client.Connect());

    ASSERT_EQ(PipeClient::kResponse, reply.ucType);
    ASSERT_EQ(28U, reply.stub.size());
    EXPECT_EQ(8U, Number32(reply.stub, 0)); // 7 characters and the NUL
    EXPECT_NE(0U, Number32(reply.stub, 4)); // a pointer
    EXPECT_EQ(8U, Number32(reply.stub, 8)); // elements of the array
    EXPECT_THAT(Bytes(reply.stub.begin() + 12, reply.stub.end()),
                testing::ElementsAre(0x51, 0x00, 0x3c, 0x00, 0x2e, 0x00, 0x5e, 0x00, 0x2e, 0x00, 0x3e, 0x00, 0x4d, 0x7a,
                                     0x00, 0x00));
}

TEST_F(Wire, ReadSysInfoSendsAnEmptyTextAsItsNul)
{
    const EndpointScope endpoint;
    PipeClient client;

    const Reply reply = client.Call(4, client.Connect());

    ASSERT_EQ(PipeClient::kResponse, reply.ucType);
    ASSERT_EQ(14U, reply.stub.size());
    EXPECT_EQ(1U, Number32(reply.stub, 0));
    EXPECT_NE(0U, Number32(reply.stub, 4));
    EXPECT_EQ(1U, Number32(reply.stub, 8));
    EXPECT_THAT(Bytes(reply.stub.begin() + 12, reply.stub.end()), testing::ElementsAre(0x00, 0x00));
}

TEST_F(Wire, ReadSysInfoThatThrowsSendsNoText)
{
    Feed().sysInfo = []() -> std::wstring { throw std::runtime_error{"test"}; };
    const EndpointScope endpoint;
    PipeClient client;

    const Reply reply = client.Call(4, client.Connect());

    EXPECT_EQ(PipeClient::kResponse, reply.ucType);
    EXPECT_EQ(Bytes(8, 0x00), reply.stub);
}

TEST_F(Wire, ReadSysInfoSendsALongTextInSeveralFragments)
{
    Feed().sysInfo = [] { return std::wstring(5000, L'x'); };
    const EndpointScope endpoint;
    PipeClient client;

    const Reply reply = client.Call(4, client.Connect());

    ASSERT_EQ(PipeClient::kResponse, reply.ucType);
    EXPECT_GE(reply.nMoreFragments, 1);
    ASSERT_EQ(10014U, reply.stub.size()); // size, pointer, count, 5001 characters
    EXPECT_EQ(5001U, Number32(reply.stub, 0));
    EXPECT_EQ(5001U, Number32(reply.stub, 8));
    EXPECT_THAT(Bytes(reply.stub.end() - 4, reply.stub.end()), testing::ElementsAre(0x78, 0x00, 0x00, 0x00));
}

TEST_F(Wire, PresenceAnswersAreFourBytes)
{
    // Neither the service nor the node exists here.
    const EndpointScope endpoint;
    PipeClient client;
    const Bytes context = client.Connect();

    const Reply service = client.Call(5, context);
    const Reply node = client.Call(6, context);

    EXPECT_EQ(PipeClient::kResponse, service.ucType);
    EXPECT_THAT(service.stub, testing::ElementsAre(0x00, 0x00, 0x00, 0x00));
    EXPECT_EQ(PipeClient::kResponse, node.ucType);
    EXPECT_THAT(node.stub, testing::ElementsAre(0x00, 0x00, 0x00, 0x00));
}

TEST_F(Wire, ReadUSBTypeCInfoSendsTheTextAndItsNul)
{
    Feed().usbTypeC = [] { return L"65W"; };
    const EndpointScope endpoint;
    PipeClient client;

    const Reply reply = client.Call(7, client.Connect());

    ASSERT_EQ(PipeClient::kResponse, reply.ucType);
    ASSERT_EQ(20U, reply.stub.size());
    EXPECT_EQ(4U, Number32(reply.stub, 0));
    EXPECT_NE(0U, Number32(reply.stub, 4));
    EXPECT_EQ(4U, Number32(reply.stub, 8));
    EXPECT_THAT(Bytes(reply.stub.begin() + 12, reply.stub.end()),
                testing::ElementsAre(0x36, 0x00, 0x35, 0x00, 0x57, 0x00, 0x00, 0x00));
}

TEST_F(Wire, ReadUSBTypeCInfoSendsSizeZeroAndNoTextForAnEmptyOne)
{
    const EndpointScope endpoint;
    PipeClient client;

    const Reply reply = client.Call(7, client.Connect());

    EXPECT_EQ(PipeClient::kResponse, reply.ucType);
    EXPECT_EQ(Bytes(8, 0x00), reply.stub);
}

// A null handle is the run time's business too: Windows refuses it by the flags of the format strings, which
// rpc_tables_tests.py pins. Wine lets it through when no client stub stands before it, so that there is nothing to
// test.

TEST_F(Wire, UnknownContextIsRefusedBeforeTheRoutine)
{
    std::atomic<int> entered{0};
    Feed().processCommand = [&](unsigned) { ++entered; };
    Feed().launchUsbCApp = [&] { ++entered; };
    Feed().sysInfo = [&] {
        ++entered;
        return std::wstring{};
    };
    Feed().usbTypeC = [&] {
        ++entered;
        return std::wstring{};
    };
    const EndpointScope endpoint;
    PipeClient client;
    client.Connect();

    for (std::uint8_t operation = 1; operation <= 7; ++operation)
    {
        EXPECT_EQ(PipeClient::kFault, client.Call(operation, ContextOfNobody()).ucType) << int{operation};
    }
    EXPECT_EQ(0, entered);
}

TEST_F(Wire, ContextOfAnotherClientIsRefused)
{
    std::atomic<int> entered{0};
    Feed().processCommand = [&](unsigned) { ++entered; };
    const EndpointScope endpoint;
    PipeClient first;
    PipeClient second;
    const Bytes contextOfFirst = first.Connect();
    second.Connect();

    EXPECT_EQ(PipeClient::kFault, second.Call(2, contextOfFirst).ucType);
    EXPECT_EQ(0, entered);
    EXPECT_EQ(PipeClient::kResponse, first.Call(2, contextOfFirst).ucType);
}

TEST_F(Wire, RequestCutShortIsRefused)
{
    const EndpointScope endpoint;
    PipeClient client;
    const Bytes context = client.Connect();

    EXPECT_EQ(PipeClient::kFault, client.Call(2, Bytes(context.begin(), context.begin() + 8)).ucType);
    EXPECT_EQ(PipeClient::kResponse, client.Call(2, context).ucType);
}

TEST_F(Wire, NinthOperationDoesNotExist)
{
    const EndpointScope endpoint;
    PipeClient client;
    const Bytes context = client.Connect();

    const Reply reply = client.Call(8, context);

    EXPECT_EQ(PipeClient::kFault, reply.ucType);
    EXPECT_EQ(0x1c010002U, reply.ulFault); // operation number out of range
}

TEST_F(Wire, ExceptionInAnOperationBecomesAFaultAndTheServerLivesOn)
{
    Feed().processCommand = [](unsigned) { throw std::runtime_error{"test"}; };
    const EndpointScope endpoint;
    PipeClient client;
    const Bytes context = client.Connect();

    const Reply reply = client.Call(2, context);

    EXPECT_EQ(PipeClient::kFault, reply.ucType);
    EXPECT_EQ(1064U, reply.ulFault);
    EXPECT_EQ(PipeClient::kResponse, client.Call(3, context).ucType);
}

TEST_F(Wire, ServerOutlivesAClientThatDiesConnected)
{
    const EndpointScope endpoint;
    PipeClient dying;
    const Bytes context = dying.Connect();
    dying.Die();

    PipeClient next;
    const Bytes ownContext = next.Connect();

    EXPECT_NE(context, ownContext);
    EXPECT_EQ(PipeClient::kFault, next.Call(2, context).ucType);
    EXPECT_EQ(PipeClient::kResponse, next.Call(2, ownContext).ucType);
}

TEST_F(Wire, SixtyFourClientsAreInsideAtOnce)
{
    std::mutex mutex;
    std::condition_variable changed;
    int inside = 0;
    Feed().sysInfo = [&] {
        std::unique_lock lock{mutex};
        ++inside;
        changed.notify_all();
        const bool all = changed.wait_for(lock, std::chrono::seconds{30}, [&] { return inside == 64; });
        return std::wstring{all ? L"all" : L"alone"};
    };
    const EndpointScope endpoint;
    std::atomic<int> answered{0};
    std::mutex contextsMutex;
    std::set<Bytes> contexts;

    std::vector<std::jthread> clients;
    for (int i = 0; i < 64; ++i)
    {
        clients.emplace_back([&] {
            PipeClient client;
            const Bytes context = client.Connect();
            {
                const std::lock_guard guard{contextsMutex};
                contexts.insert(context);
            }
            const Reply reply = client.Call(4, context);
            if (reply.ucType == PipeClient::kResponse &&
                Bytes(reply.stub.begin() + 12, reply.stub.end()) ==
                    Bytes{0x61, 0x00, 0x6c, 0x00, 0x6c, 0x00, 0x00, 0x00} &&
                client.Call(1, context).ucType == PipeClient::kResponse)
            {
                ++answered;
            }
        });
    }
    clients.clear();

    EXPECT_EQ(64, answered);
    EXPECT_EQ(64U, contexts.size());
}

TEST_F(Wire, StopWaitsForACallInProgress)
{
    std::promise<void> entered;
    std::promise<void> leave;
    std::atomic<bool> left{false};
    Feed().launchUsbCApp = [&] {
        entered.set_value();
        leave.get_future().wait();
        left = true;
    };
    bool leftBeforeStopReturned = false;
    Reply reply;
    {
        EndpointScope endpoint;
        endpoint.LeaveOpen(); // the test stops it itself
        PipeClient client;
        const Bytes context = client.Connect();
        std::jthread caller{[&] { reply = client.Call(3, context); }};
        entered.get_future().wait();
        IMPORT_HOOK_IN(L"rpcrt4.dll", WaitForSingleObject)
        ([&, stopping = GetCurrentThreadId()](HANDLE object, DWORD milliseconds) {
            const auto wait = decltype(hook_WaitForSingleObject)::RealOfCurrent();
            if (GetCurrentThreadId() == stopping)
            {
                leave.set_value();
                const DWORD result = wait(object, milliseconds);
                leftBeforeStopReturned = left;
                return result;
            }
            return wait(object, milliseconds);
        });
        RpcServerDisconnect();
        caller.join();
    }

    EXPECT_TRUE(leftBeforeStopReturned);
    EXPECT_EQ(PipeClient::kResponse, reply.ucType);
}
