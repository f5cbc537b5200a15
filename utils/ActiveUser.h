/// \file
/// The user who is logged on: which session is active, a token of its user, a process that runs in it.
/// Any thread may call these; nothing is kept between calls.
#pragma once

#include <windows.h>

/// Questions to Windows that more than one part of the service asks.
namespace Utils
{

/// The first active session, else the console session; 0 when nobody is logged on.
DWORD GetCurrentSessionID();

/// A token of the session's user, taken from the session itself or from its desktop shell; INVALID_HANDLE_VALUE on
/// failure, or the null that a failed OpenProcessToken leaves. The caller owns it. Ends an impersonation of the calling
/// thread.
HANDLE GetActiveSessionToken(DWORD sessionId);

/// The first process of the session whose name begins with processName in any mix of case; 0 when there is none.
DWORD GetProcessIDInCurrentLogOn(const DWORD* sessionId, const wchar_t* processName);

} // namespace Utils
