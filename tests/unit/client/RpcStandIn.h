// Takes the place of the RPC run time below the client's stubs: a test answers each call, without server or endpoint.
//
//   RpcStandIn rpc;
//   rpc.answer = [](unsigned operation) { return RpcReply{.ulStatus = operation == 4 ? 1726UL : 0UL}; };
//   ...
//   EXPECT_EQ((std::vector<unsigned>{0, 4, 4}), rpc.Operations());      numbers of the interface, kForgotten for a
//                                                                        context handle that was given up without a
//                                                                        call
// Calls come on the client's threads. At its end the stand-in waits for those that are still inside.
#pragma once

#include "tests/harness/ImportHook.h"
#include <HotKeyRpc.h>

#include <gtest/gtest.h>

#include <windows.h>

#include <rpc.h>
#include <rpcndr.h>

#include <condition_variable>
#include <cstdarg>
#include <functional>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

struct RpcReply
{
    unsigned long ulStatus{0}; // raised instead of an answer, when it is not 0
    bool bContext{true};       // Connect gives a context handle
    bool bText{false};         // a text is sent
    std::wstring strText{};
    bool bTerminated{true}; // with its NUL
    long nAnswer{0};

    static RpcReply Text(std::wstring text) { return {.bText = true, .strText = std::move(text)}; }
    static RpcReply Status(unsigned long status) { return {.ulStatus = status}; }
    static RpcReply Number(long number) { return {.nAnswer = number}; }
};

class RpcStandIn
{
  public:
    static constexpr unsigned kForgotten = 100;

    RpcStandIn() : m_slot{Harness::FindImportSlot(GetModuleHandleW(nullptr), "NdrClientCall3")}
    {
        s_current = this;
        EXPECT_NE(nullptr, m_slot);
        m_real = Harness::ExchangeImportSlot(m_slot, reinterpret_cast<void*>(&Call));
    }
    ~RpcStandIn()
    {
        std::unique_lock lock{m_mutex};
        m_left.wait(lock, [this] { return m_inside == 0; });
        Harness::ExchangeImportSlot(m_slot, m_real);
        s_current = nullptr;
    }
    RpcStandIn(const RpcStandIn&) = delete;
    RpcStandIn& operator=(const RpcStandIn&) = delete;

    // Set it before the first call.
    std::function<RpcReply(unsigned operation)> answer{[](unsigned) { return RpcReply{}; }};

    std::vector<unsigned> Operations() const
    {
        const std::lock_guard lock{m_mutex};
        return m_operations;
    }

  private:
    // Nothing with a destructor is alive when the exception is raised: it goes through this frame as it is.
    static CLIENT_CALL_RETURN Call(MIDL_STUBLESS_PROXY_INFO*, unsigned long operation, void* unused, ...)
    {
        CLIENT_CALL_RETURN result{};
        va_list arguments;
        va_start(arguments, unused);
        const unsigned long status = s_current->Serve(static_cast<unsigned>(operation), arguments, &result);
        va_end(arguments);
        if (status != 0)
        {
            RpcRaiseException(static_cast<RPC_STATUS>(status));
        }
        return result;
    }

    unsigned long Serve(unsigned operation, va_list arguments, CLIENT_CALL_RETURN* result)
    {
        Enter(operation);
        const RpcReply reply = answer(operation);
        if (reply.ulStatus == 0)
        {
            Fill(reply, operation, arguments, result);
        }
        const unsigned long status = reply.ulStatus;
        const std::lock_guard lock{m_mutex};
        --m_inside;
        m_left.notify_all();
        return status;
    }

    void Fill(const RpcReply& reply, unsigned operation, va_list arguments, CLIENT_CALL_RETURN* result)
    {
        void* const first = va_arg(arguments, void*);
        switch (operation)
        {
        case 0:
            *va_arg(arguments, HOTKEY_CONTEXT_HANDLE*) = reply.bContext ? &m_context : nullptr;
            break;
        case 1:
            *static_cast<HOTKEY_CONTEXT_HANDLE*>(first) = nullptr;
            break;
        case 4:
        case 7:
            if (reply.bText)
            {
                const std::size_t size = reply.strText.size() + (reply.bTerminated ? 1 : 0);
                *va_arg(arguments, long*) = static_cast<long>(size);
                auto* const text = static_cast<wchar_t*>(midl_user_allocate((size + 1) * sizeof(wchar_t)));
                text[reply.strText.copy(text, size)] = L'\0';
                *va_arg(arguments, wchar_t**) = text;
            }
            break;
        default:
            result->Simple = reply.nAnswer;
            break;
        }
    }

    void Enter(unsigned operation)
    {
        const std::lock_guard lock{m_mutex};
        m_operations.push_back(operation);
        ++m_inside;
    }

    static inline RpcStandIn* s_current = nullptr;

    mutable std::mutex m_mutex; // guards operations and inside
    std::condition_variable m_left;
    std::vector<unsigned> m_operations;
    int m_inside{0};
    int m_context{0}; // its address is the context handle
    void** m_slot;
    void* m_real{nullptr};
    IMPORT_HOOK(RpcSsDestroyClientContext){[this](void** context) {
        const std::lock_guard lock{m_mutex};
        m_operations.push_back(kForgotten);
        *context = nullptr;
    }};
};
