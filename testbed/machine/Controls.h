// The controls that the stand-in beside the service translates (testbed/windows/ServiceControls.cpp), by name.
#pragma once

#include <windows.h>

#include <optional>
#include <string_view>

namespace Testbed
{

// The code for "logon", "logoff", "lock", "unlock", "suspend", "resume", "power-status", "preshutdown", "shutdown" or
// "stop"; for "session <n>" and "power <n>" with the number; for a plain number that number.
std::optional<DWORD> ControlCode(std::wstring_view name);

// Sends a control to HotKeyServiceTLY and waits until its handler has returned. The Windows error, 0 on success.
DWORD SendControl(DWORD code);

} // namespace Testbed
