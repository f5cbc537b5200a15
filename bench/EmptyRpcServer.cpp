// Peer server of the RPC measurements. Runs until it is killed.
#include "EmptyRpc.h"

#include <windows.h>

#include <rpc.h>

int main()
{
    wchar_t protocol[] = L"ncalrpc";
    wchar_t endpoint[] = L"EmptyRpcEndpoint";
    RPC_STATUS status = RpcServerUseProtseqEpW(reinterpret_cast<RPC_WSTR>(protocol), RPC_C_PROTSEQ_MAX_REQS_DEFAULT,
                                               reinterpret_cast<RPC_WSTR>(endpoint), nullptr);
    if (status == RPC_S_OK)
    {
        status = RpcServerRegisterIf2(EmptyRpc_v1_0_s_ifspec, nullptr, nullptr, RPC_IF_ALLOW_LOCAL_ONLY, 1234,
                                      static_cast<unsigned>(-1), nullptr);
    }
    if (status == RPC_S_OK)
    {
        status = RpcServerListen(1, 1234, 0);
    }
    return static_cast<int>(status);
}
