// The product's RPC server inside the test process, from construction to destruction.
#pragma once

#include "rpc/RpcEndpoint.h"
#include "tests/harness/ImportHook.h"
#include "tests/wire/CapabilitySid.h"

#include <gtest/gtest.h>

#include <windows.h>

class EndpointScope
{
  public:
    EndpointScope()
    {
        IMPORT_HOOK(DeriveCapabilitySidsFromName)(&OneCapabilitySid);
        EXPECT_EQ(0U, RpcServerConnect(true));
    }
    ~EndpointScope() { RpcServerDisconnect(); }
    EndpointScope(const EndpointScope&) = delete;
    EndpointScope& operator=(const EndpointScope&) = delete;
};
