// Peer server of the RPC measurements: the service's shapes with nothing behind them. Runs until it is killed.
#include "EmptyRpc.h"

#include <windows.h>

#include <rpc.h>

#include <cstdlib>
#include <cstring>
#include <cwchar>
#include <string>

namespace
{
std::wstring s_text;
} // namespace

extern "C"
{

    void EmptyConnect(handle_t, EMPTY_CONTEXT_HANDLE* handle)
    {
        *handle = std::malloc(1);
    }

    void EmptyDisconnect(EMPTY_CONTEXT_HANDLE* handle)
    {
        std::free(*handle);
        *handle = nullptr;
    }

    void EmptyCall(EMPTY_CONTEXT_HANDLE) {}

    void EmptySetText(EMPTY_CONTEXT_HANDLE, const wchar_t* text)
    {
        s_text = text;
    }

    void EmptyReadText(EMPTY_CONTEXT_HANDLE, LONG* size, wchar_t** text)
    {
        const std::size_t count = s_text.size() + 1;
        *text = static_cast<wchar_t*>(MIDL_user_allocate(count * sizeof(wchar_t)));
        std::memcpy(*text, s_text.c_str(), count * sizeof(wchar_t));
        *size = static_cast<LONG>(count);
    }

    void __RPC_USER EMPTY_CONTEXT_HANDLE_rundown(EMPTY_CONTEXT_HANDLE handle)
    {
        std::free(handle);
    }

    void* __RPC_USER MIDL_user_allocate(SIZE_T size)
    {
        return std::malloc(size);
    }

    void __RPC_USER MIDL_user_free(void* memory)
    {
        std::free(memory);
    }

} // extern "C"

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
