/// \file
/// Registers and removes the service. Both talk to the user on standard output and print every failure there.
#pragma once

#include <windows.h>

/// Registers this program as a service; a null account is LocalSystem. Neither starts it nor sets its recovery.
void InstallService(const wchar_t* serviceName, const wchar_t* displayName, const wchar_t* description, DWORD startType,
                    const wchar_t* dependencies, const wchar_t* account, const wchar_t* password);

/// Stops the service, waiting as long as it says that it is stopping, and removes it. Whatever came of that, ends the
/// notification programs of the users.
void UninstallService(const wchar_t* serviceName);
