// A client process of the load. What came of it stands on the board.
//   load_client hold N      connects N times, waits for "go", asks for the USB Type-C text on all connections at once
//   load_client connect N   connects and disconnects N times
//   load_client mute N      sends a request on each of N connections and never reads the answer
//   load_client flood N     the same, request upon request
//   load_client probe N     asks N times, one after the other
#include "client/RpcCall.h"
#include "tests/soak/LoadBoard.h"
#include "tests/wire/PipeClient.h"

#include <windows.h>

#include <rpc.h>
#include <rpcndr.h>

#include <algorithm>
#include <cstdlib>
#include <memory>
#include <string_view>
#include <vector>

using namespace Soak;

namespace
{

LoadBoard* s_board;

// One connection, without the client library's thread for each call.
class Connection
{
  public:
    Connection() = default;
    ~Connection()
    {
        if (m_call.context != nullptr)
        {
            m_call.operation = RpcDisconnect;
            static_cast<void>(PerformRpcCall(&m_call));
        }
        if (m_call.binding != nullptr)
        {
            static_cast<void>(RpcBindingFree(&m_call.binding));
        }
    }
    Connection(const Connection&) = delete;
    Connection& operator=(const Connection&) = delete;

    unsigned long Open()
    {
        wchar_t protocol[] = L"ncalrpc";
        wchar_t endpoint[] = L"TLYRpcEndpoint";
        RPC_WSTR text = nullptr;
        RPC_STATUS status = RpcStringBindingComposeW(nullptr, reinterpret_cast<RPC_WSTR>(protocol), nullptr,
                                                     reinterpret_cast<RPC_WSTR>(endpoint), nullptr, &text);
        if (status == RPC_S_OK)
        {
            status = RpcBindingFromStringBindingW(text, &m_call.binding);
            static_cast<void>(RpcStringFreeW(&text));
        }
        m_call.operation = RpcConnect;
        return status != RPC_S_OK ? static_cast<unsigned long>(status) : PerformRpcCall(&m_call);
    }

    void Ask(RpcOperation operation)
    {
        m_call.operation = operation;
        if (const unsigned long status = PerformRpcCall(&m_call))
        {
            s_board->status = status;
            ++s_board->refused;
        }
        else
        {
            ++s_board->answered;
        }
        if (m_call.text != nullptr)
        {
            midl_user_free(m_call.text);
            m_call.text = nullptr;
        }
    }

  private:
    RpcCall m_call{};
};

// The endpoint opens a moment after the service reports that it runs.
bool OpenPatiently(Connection& connection)
{
    for (int attempt = 0; attempt < 200; ++attempt)
    {
        if (const unsigned long status = connection.Open(); status == RPC_S_OK)
        {
            return true;
        }
        else
        {
            s_board->status = status;
        }
        Sleep(50);
    }
    ++s_board->refused;
    return false;
}

DWORD WINAPI HoldOne(void* parameter)
{
    while (s_board->go == 0)
    {
        Sleep(20);
    }
    static_cast<Connection*>(parameter)->Ask(RpcReadUSBTypeCInfo);
    return 0;
}

int Hold(unsigned count)
{
    std::vector<Connection> connections(count);
    std::vector<HANDLE> threads;
    for (Connection& connection : connections)
    {
        // One after the other: see HotKeyClient.cpp.
        if (!OpenPatiently(connection))
        {
            return 1;
        }
        threads.push_back(CreateThread(nullptr, std::size_t{64} * 1024, &HoldOne, &connection,
                                       STACK_SIZE_PARAM_IS_A_RESERVATION, nullptr));
        if (threads.back() == nullptr)
        {
            return 1;
        }
        ++s_board->connected;
    }
    for (const HANDLE thread : threads)
    {
        WaitForSingleObject(thread, INFINITE);
    }
    return 0;
}

int ConnectOften(unsigned count)
{
    for (unsigned i = 0; i < count; ++i)
    {
        Connection connection;
        if (!OpenPatiently(connection))
        {
            return 1;
        }
        ++s_board->connected;
    }
    return 0;
}

DWORD WINAPI AskAndNeverRead(void* flood)
{
    PipeClient client;
    const Bytes context = client.Connect();
    bool taken = client.Ask(RpcReadSysInfo, context);
    ++s_board->connected;
    // Until the server does not take any more.
    while (taken && flood != nullptr)
    {
        taken = client.Ask(RpcReadSysInfo, context);
    }
    Sleep(INFINITE);
    return 0;
}

int NeverRead(unsigned count, bool flood)
{
    std::vector<HANDLE> threads;
    for (unsigned i = 0; i < count; ++i)
    {
        threads.push_back(CreateThread(nullptr, 0, &AskAndNeverRead, flood ? &flood : nullptr, 0, nullptr));
    }
    for (const HANDLE thread : threads)
    {
        WaitForSingleObject(thread, INFINITE);
    }
    return 0;
}

int Probe(unsigned count)
{
    Connection connection;
    if (!OpenPatiently(connection))
    {
        return 1;
    }
    LARGE_INTEGER frequency{};
    QueryPerformanceFrequency(&frequency);
    std::vector<std::uint32_t> times;
    for (unsigned i = 0; i < count; ++i)
    {
        LARGE_INTEGER begin{};
        LARGE_INTEGER end{};
        QueryPerformanceCounter(&begin);
        connection.Ask(RpcIsFennixServiceInstalled);
        QueryPerformanceCounter(&end);
        times.push_back(static_cast<std::uint32_t>((end.QuadPart - begin.QuadPart) * 1000000 / frequency.QuadPart));
    }
    std::sort(times.begin(), times.end());
    s_board->medianMicroseconds = times[times.size() / 2];
    s_board->slowestMicroseconds = times.back();
    return 0;
}

} // namespace

int wmain(int argc, wchar_t** argv)
{
    s_board = OpenLoadBoard();
    if (argc != 3 || s_board == nullptr)
    {
        return 2;
    }
    const std::wstring_view kind = argv[1];
    const auto count = static_cast<unsigned>(_wtoi(argv[2]));
    return kind == L"hold"      ? Hold(count)
           : kind == L"connect" ? ConnectOften(count)
           : kind == L"mute"    ? NeverRead(count, false)
           : kind == L"flood"   ? NeverRead(count, true)
           : kind == L"probe"   ? Probe(count)
                                : 2;
}
