/// \file
/// Questions to the Service Control Manager: is a service installed, does it run, which file version has it.
/// Any thread may call these.
#pragma once

#include <windows.h>

namespace Utils
{

/// Opens the manager (with managerAccess) and the service (with all access). 0, or -1: there is no such service,
/// -2: it cannot be opened, -3: the manager cannot be opened. The caller closes what was opened: after -1 and -2 that
/// is the manager; a handle that was not opened is null.
long GetService(const wchar_t* serviceName, SC_HANDLE* manager, SC_HANDLE* service, DWORD managerAccess);

/// 0: installed, and running if that was checked; 1: installed but not running; 2: its configuration cannot be read;
/// negative: as GetService. version is written only when its configuration was read for it.
long IsServicePresent(const wchar_t* serviceName, VS_FIXEDFILEINFO& version, bool checkRunning, bool getVersion,
                      DWORD managerAccess);

} // namespace Utils
