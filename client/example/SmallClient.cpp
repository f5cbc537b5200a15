// A complete client on the generated stubs: connects, asks for the system information, disconnects.
#include "client/RpcCall.h"

#include <windows.h>

#include <rpc.h>

#include <cstdio>
#include <string>

int main()
{
    wchar_t protocol[] = L"ncalrpc";
    wchar_t endpoint[] = L"TLYRpcEndpoint";
    RPC_WSTR text = nullptr;
    handle_t binding = nullptr;
    unsigned long status = static_cast<unsigned long>(RpcStringBindingComposeW(
        nullptr, reinterpret_cast<RPC_WSTR>(protocol), nullptr, reinterpret_cast<RPC_WSTR>(endpoint), nullptr, &text));
    if (status == 0)
    {
        status = static_cast<unsigned long>(RpcBindingFromStringBindingW(text, &binding));
        RpcStringFreeW(&text);
    }

    RpcCall call{};
    call.binding = binding;
    if (status == 0)
    {
        call.operation = RpcConnect;
        status = PerformRpcCall(&call); // ClientConnect(binding, &call.context), with exceptions as statuses
    }
    if (status == 0)
    {
        call.operation = RpcReadSysInfo;
        status = PerformRpcCall(&call); // ClientReadSysInfo(call.context, &call.size, &call.text)
    }
    if (status == 0 && call.text != nullptr)
    {
        std::string bytes(static_cast<std::size_t>(call.size) * 3, '\0'); // UTF-8 takes three bytes at most
        const int length = WideCharToMultiByte(CP_UTF8, 0, call.text, -1, bytes.data(), static_cast<int>(bytes.size()),
                                               nullptr, nullptr);
        std::printf("%ld characters: %.*s\n", call.size - 1, length, bytes.c_str());
        midl_user_free(call.text);
    }
    if (call.context != nullptr)
    {
        call.operation = RpcDisconnect;
        PerformRpcCall(&call);
    }
    if (binding != nullptr)
    {
        RpcBindingFree(&binding);
    }
    if (status != 0)
    {
        std::fprintf(stderr, "RPC status %lu\n", status);
    }
    return status == 0 ? 0 : 1;
}
