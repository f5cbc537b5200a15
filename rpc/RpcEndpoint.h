/// \file
/// The local RPC endpoint: opens it to Everyone and to the companion app, serves the interface of HotKeyRpc.idl, stops.
/// The service calls RpcServerConnect on a thread-pool thread that stays inside until RpcServerDisconnect, which runs
/// on the thread of the Service Control Manager's dispatcher. The server is started once per process.
#pragma once

#include <windows.h>

/// Opens the endpoint and listens until the server is stopped (dontWait: returns at once, for callers that keep the
/// process alive themselves). 0, or the first Win32 or RPC status that failed. Logs nothing: the caller does.
DWORD RpcServerConnect(bool dontWait);

/// Stops listening and waits for the calls in progress. Never fails; the two statuses are logged.
void RpcServerDisconnect();
