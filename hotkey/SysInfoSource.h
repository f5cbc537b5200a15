/// \file
/// The handler's only way up to the service: start the reading of the system information, wait for it, fetch the
/// reader. CMainService fills this in before any other thread runs, and tests do the same. A null member means that
/// there is no service: nothing can be started, nothing gets finished, there is no reader.
#pragma once

#include <windows.h>

namespace RpcServer
{
class WMIData;
} // namespace RpcServer

namespace RpcServer::SysInfo
{

/// Three functions of the service. Each may be called on any thread.
struct SysInfoSource
{
    /// Starts the reading thread; false when it could not be started.
    bool (*ReadSysInfo)();
    /// Waits up to the given time for the reading thread; true when the reading has finished.
    bool (*IsReadSysInfoReadCompleted)(DWORD timeoutMs);
    /// The service's reader, not owned by the caller; may be null.
    WMIData* (*GetWMIData)();
};

/// The one of the process.
inline SysInfoSource g_sysInfoSource{};

} // namespace RpcServer::SysInfo
