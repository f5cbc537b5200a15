// The product's RPC server inside the test process, from construction to destruction.
#pragma once

#include "rpc/RpcEndpoint.h"
#include "tests/harness/ImportHook.h"
#include "tests/wire/CapabilitySid.h"

#include <gtest/gtest.h>

#include <windows.h>

#include <algorithm>

class EndpointScope
{
  public:
    EndpointScope()
    {
        IMPORT_HOOK(DeriveCapabilitySidsFromName)(&OneCapabilitySid);
        EXPECT_EQ(0U, RpcServerConnect(true));
    }
    ~EndpointScope()
    {
        if (m_bLeaveOpen)
        {
            return;
        }
        // A call whose answer is out may still be ending. Wine's run time never sees the end of one that ends while it
        // prepares its wait; the tests go on after ten seconds then.
        IMPORT_HOOK_IN(L"rpcrt4.dll", WaitForSingleObject)
        ([stopping = GetCurrentThreadId()](HANDLE object, DWORD milliseconds) {
            return decltype(hook_WaitForSingleObject)::RealOfCurrent()(
                object, GetCurrentThreadId() == stopping ? (std::min)(milliseconds, DWORD{10000}) : milliseconds);
        });
        RpcServerDisconnect();
    }
    EndpointScope(const EndpointScope&) = delete;
    EndpointScope& operator=(const EndpointScope&) = delete;

    // Leaves the server to the end of the process. For tests whose client dies during its call: Wine's run time loses
    // count of such a call now and then, and a stop then waits for it for ever.
    void LeaveOpen() noexcept { m_bLeaveOpen = true; }

  private:
    bool m_bLeaveOpen{false};
};
