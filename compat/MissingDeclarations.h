/// \file
/// Declarations that the MinGW-w64 10 headers lack although its import libraries have the functions.
/// Empty with the Windows SDK.
#pragma once

#include <windows.h>

#include <rpc.h>

#ifdef __MINGW32__
/// Registers an interface that only callers whom the security descriptor admits may use. 0, or an RPC status.
extern "C" RPC_STATUS RPC_ENTRY RpcServerRegisterIf3(RPC_IF_HANDLE IfSpec, UUID* MgrTypeUuid, RPC_MGR_EPV* MgrEpv,
                                                     unsigned int Flags, unsigned int MaxCalls, unsigned int MaxRpcSize,
                                                     RPC_IF_CALLBACK_FN* IfCallback, void* SecurityDescriptor);
#endif
