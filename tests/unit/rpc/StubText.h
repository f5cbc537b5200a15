// What a direct call of a routine needs in place of the stub: a handle, and an owner for the text.
#pragma once

#include <HotKeyRpc.h>

#include <memory>

struct FreeText
{
    void operator()(wchar_t* text) const { midl_user_free(text); }
};
using StubText = std::unique_ptr<wchar_t, FreeText>;

// Stands for a client's handle; no routine looks into it.
inline HOTKEY_CONTEXT_HANDLE SomeContext()
{
    return reinterpret_cast<HOTKEY_CONTEXT_HANDLE>(0x1);
}
