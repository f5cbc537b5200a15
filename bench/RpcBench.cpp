// Costs of the service's operations against an empty server on the same run time, call by call in one process.
// Needs the service and empty_rpc_server running; the first request has read the system information before it measures.
#include "EmptyRpc.h"
#include "bench/Measure.h"
#include <HotKeyRpc.h>

#include <windows.h>

#include <rpc.h>

#include <cstdio>
#include <cwchar>
#include <functional>
#include <string>

namespace
{

constexpr int kCalls = 300;

handle_t BindTo(const wchar_t* endpointName)
{
    wchar_t protocol[] = L"ncalrpc";
    std::wstring endpoint{endpointName};
    RPC_WSTR text = nullptr;
    handle_t binding = nullptr;
    if (RpcStringBindingComposeW(nullptr, reinterpret_cast<RPC_WSTR>(protocol), nullptr,
                                 reinterpret_cast<RPC_WSTR>(endpoint.data()), nullptr, &text) != RPC_S_OK ||
        RpcBindingFromStringBindingW(text, &binding) != RPC_S_OK)
    {
        std::fputs("cannot bind\n", stderr);
        ExitProcess(2);
    }
    RpcStringFreeW(&text);
    return binding;
}

std::function<double()> Repeated(const std::function<void()>& call)
{
    return [call] {
        return Bench::NanosecondsPerOperation(
                   [&] {
                       for (int i = 0; i < kCalls; ++i)
                       {
                           call();
                       }
                   },
                   kCalls) /
               1000;
    };
}

} // namespace

int main()
{
    const handle_t service = BindTo(L"TLYRpcEndpoint");
    const handle_t empty = BindTo(L"EmptyRpcEndpoint");

    HOTKEY_CONTEXT_HANDLE context = nullptr;
    ClientConnect(service, &context);
    EMPTY_CONTEXT_HANDLE emptyContext = nullptr;
    EmptyConnect(empty, &emptyContext);

    const auto readSysInfo = [&] {
        LONG size = 0;
        wchar_t* text = nullptr;
        ClientReadSysInfo(context, &size, &text);
        const std::wstring result{text != nullptr ? text : L""};
        MIDL_user_free(text);
        return result;
    };
    const auto readUsbC = [&] {
        LONG size = 0;
        wchar_t* text = nullptr;
        ClientReadUSBTypeCInfo(context, &size, &text);
        const std::wstring result{text != nullptr ? text : L""};
        MIDL_user_free(text);
        return result;
    };
    const auto readEmpty = [&] {
        LONG size = 0;
        wchar_t* text = nullptr;
        EmptyReadText(emptyContext, &size, &text);
        MIDL_user_free(text);
    };

    const std::wstring sysInfo = readSysInfo();
    const std::wstring usbC = readUsbC();
    if (sysInfo.empty() || usbC.empty())
    {
        std::fputs("the service has no texts to measure with\n", stderr);
        return 2;
    }

    bool met = true;
    met &= Bench::PrintRow("RPC: Connect and Disconnect", "the same, empty server",
                           Bench::SideBySide(Repeated([&] {
                                                 HOTKEY_CONTEXT_HANDLE own = nullptr;
                                                 ClientConnect(service, &own);
                                                 ClientDisconnect(&own);
                                             }),
                                             Repeated([&] {
                                                 EMPTY_CONTEXT_HANDLE own = nullptr;
                                                 EmptyConnect(empty, &own);
                                                 EmptyDisconnect(&own);
                                             })),
                           Bench::Bar::AtMost, 1.10, "us");
    EmptySetText(emptyContext, sysInfo.c_str());
    met &= Bench::PrintRow("RPC: ReadSysInfo after the reading", "empty operation, same text",
                           Bench::SideBySide(Repeated([&] { readSysInfo(); }), Repeated(readEmpty)), Bench::Bar::AtMost,
                           1.15, "us");
    EmptySetText(emptyContext, usbC.c_str());
    met &= Bench::PrintRow("RPC: ReadUSBTypeCInfo, cached", "empty operation, same text",
                           Bench::SideBySide(Repeated([&] { readUsbC(); }), Repeated(readEmpty)), Bench::Bar::AtMost,
                           1.15, "us");
    ClientDisconnect(&context);
    EmptyDisconnect(&emptyContext);
    return met ? 0 : 1;
}
