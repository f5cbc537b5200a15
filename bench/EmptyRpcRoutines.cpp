// The routines of the empty interface: the service's shapes with nothing behind them.
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
