// Any bytes on the endpoint's pipe: recorded requests, changed; other kinds of messages; contexts of others, of nobody
// and of yesterday. The server answers others as before.
#include "tests/fuzz/FuzzRun.h"
#include "tests/wire/EndpointScope.h"
#include "tests/wire/FedBridge.h"
#include "tests/wire/PipeClient.h"

#include <gtest/gtest.h>

#include <windows.h>

#include <string>

namespace
{

// A connection that gives up after a moment: a request that says it is longer than it is gets no answer.
class RawPipe
{
  public:
    RawPipe()
    {
        for (;;)
        {
            m_pipe = CreateFileW(kPipe, GENERIC_READ | GENERIC_WRITE, 0, nullptr, OPEN_EXISTING, FILE_FLAG_OVERLAPPED,
                                 nullptr);
            if (m_pipe != INVALID_HANDLE_VALUE || GetLastError() != ERROR_PIPE_BUSY || !WaitNamedPipeW(kPipe, 5000))
            {
                break;
            }
        }
        EXPECT_NE(INVALID_HANDLE_VALUE, m_pipe) << GetLastError();
        DWORD mode = PIPE_READMODE_MESSAGE;
        SetNamedPipeHandleState(m_pipe, &mode, nullptr, nullptr);
        m_event = CreateEventW(nullptr, TRUE, FALSE, nullptr);
    }
    ~RawPipe()
    {
        CloseHandle(m_pipe);
        CloseHandle(m_event);
    }
    RawPipe(const RawPipe&) = delete;
    RawPipe& operator=(const RawPipe&) = delete;

    std::string Exchange(const std::string& request, DWORD patience)
    {
        OVERLAPPED writing{};
        writing.hEvent = m_event;
        Finish(WriteFile(m_pipe, request.data(), static_cast<DWORD>(request.size()), nullptr, &writing), writing, 1000);
        std::string answer(6000, '\0');
        OVERLAPPED reading{};
        reading.hEvent = m_event;
        const BOOL read = ReadFile(m_pipe, answer.data(), static_cast<DWORD>(answer.size()), nullptr, &reading);
        answer.resize(Finish(read, reading, patience));
        return answer;
    }

  private:
    static constexpr wchar_t kPipe[] = L"\\\\.\\pipe\\lrpc\\TLYRpcEndpoint";

    DWORD Finish(BOOL done, OVERLAPPED& operation, DWORD patience)
    {
        DWORD count = 0;
        if (!done && GetLastError() != ERROR_IO_PENDING)
        {
            return 0;
        }
        if (WaitForSingleObject(m_event, patience) != WAIT_OBJECT_0)
        {
            CancelIoEx(m_pipe, &operation);
        }
        GetOverlappedResult(m_pipe, &operation, &count, TRUE);
        ResetEvent(m_event);
        return count;
    }

    HANDLE m_pipe{INVALID_HANDLE_VALUE};
    HANDLE m_event{nullptr};
};

// As a client sends it.
const std::string kBind{
    "\x05\x00\x0b\x03\x10\x00\x00\x00\x48\x00\x00\x00\x01\x00\x00\x00\xd0\x16\xd0\x16\x00\x00\x00\x00"
    "\x01\x00\x00\x00\x00\x00\x01\x00\xc0\x0a\x62\x82\x74\x32\x34\x45\x98\x4a\x00\x1b\x0b\xe6\xfc\xad"
    "\x01\x00\x00\x00\x04\x5d\x88\x8a\xeb\x1c\xc9\x11\x9f\xe8\x08\x00\x2b\x10\x48\x60\x02\x00\x00\x00",
    72};

std::string Request(unsigned operation, const std::string& stub)
{
    std::string bytes{"\x05\x00\x00\x03\x10\x00\x00\x00", 8};
    const auto put = [&bytes](std::size_t value, int size) {
        for (int i = 0; i < size; ++i)
        {
            bytes += static_cast<char>(value >> (8 * i));
        }
    };
    put(24 + stub.size(), 2);
    put(0, 2);
    put(2, 4);
    put(stub.size(), 4);
    put(0, 2);
    put(operation, 2);
    return bytes + stub;
}

// What every message keeps, because Wine 8 itself crashes without it, whatever server stands behind it:
// - an operation number of the interface: its run time answers with a fault, and then calls what stands in memory
//   behind the table of operations all the same (WireTests.cpp has the first unknown number);
// - a fragment length that is the message's, and no authentication data: its run time corrupts its own memory;
// - an allocation hint that is the length of what follows.
void Frame(std::string& message)
{
    message.resize((std::max)(message.size(), std::size_t{24}));
    const auto put = [&message](std::size_t at, std::size_t value, int size) {
        for (int i = 0; i < size; ++i)
        {
            message[at + static_cast<std::size_t>(i)] = static_cast<char>(value >> (8 * i));
        }
    };
    put(8, message.size(), 2);
    put(10, 0, 2);
    if (message[2] == 0)
    {
        put(16, message.size() - 24, 4);
        put(22, static_cast<unsigned char>(message[22]) % 8, 2);
    }
}

std::string Text(const Bytes& bytes)
{
    return {bytes.begin(), bytes.end()};
}

class FuzzWire : public testing::Test
{
  protected:
    FuzzWire()
    {
        Feed().sysInfo = [] { return std::wstring{L"Q<.^.>R"}; };
    }

    // Somebody else is served as if nothing had happened.
    static void ExpectService()
    {
        PipeClient client;
        EXPECT_EQ(PipeClient::kBindAck, client.Bind().at(2));
        const Reply connected = client.Call(0, {});
        ASSERT_EQ(PipeClient::kResponse, connected.ucType) << "fault " << connected.ulFault;
        const Reply reply = client.Call(4, connected.stub);
        ASSERT_EQ(PipeClient::kResponse, reply.ucType) << "fault " << reply.ulFault;
        EXPECT_EQ(28U, reply.stub.size());
    }

  private:
    FedBridgeScope m_feed;
};

} // namespace

TEST_F(FuzzWire, AnyRequest)
{
    CFuzzRun run{"wire", 200};
    EndpointScope endpoint;
    // Requests that never end are left open by the run time.
    endpoint.LeaveOpen();
    PipeClient neighbour;
    const std::string foreign = Text(neighbour.Connect());
    std::string stale = foreign;
    {
        PipeClient gone;
        stale = Text(gone.Connect());
        gone.Call(1, Bytes{stale.begin(), stale.end()});
    }
    unsigned tried = 0;
    run.Each([&](CFuzzSource& source) {
        RawPipe pipe;
        std::string bind = kBind;
        const bool badBind = source.OneIn(8);
        if (badBind)
        {
            source.Mutate(bind);
            Frame(bind);
            run.WriteDown(bind);
        }
        const std::string bound = pipe.Exchange(bind, badBind ? 5 : 5000);
        std::string context(20, '\0');
        if (!badBind && !source.OneIn(4))
        {
            const std::string answer = pipe.Exchange(Request(0, {}), 5000);
            context = answer.size() >= 44 ? answer.substr(24, 20) : context;
        }
        switch (source.Below(8))
        {
        case 0:
            context = foreign;
            break;
        case 1:
            context = stale;
            break;
        case 2:
            context = source.Bytes(20);
            break;
        case 3:
            source.Mutate(context);
            break;
        default:
            break;
        }
        std::string request = Request(source.Below(8), context);
        const bool changed = source.OneIn(2);
        if (changed)
        {
            source.Mutate(request);
        }
        else if (source.OneIn(8))
        {
            request[2] = static_cast<char>(source.Below(20)); // another kind of message
        }
        Frame(request);
        run.WriteDown(request);

        static_cast<void>(pipe.Exchange(request, changed ? 5 : 50));

        if (++tried % 50 == 0)
        {
            ExpectService();
        }
    });
    ExpectService();
}
