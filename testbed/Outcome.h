// A profile's verdict on one system call: let it succeed, or fail it with a given Windows error.
#pragma once

#include "testbed/Profile.h"

#include <windows.h>

namespace Testbed
{

// The error that the profile prescribes for a call, 0 for "ok" or no entry.
inline DWORD PrescribedError(std::wstring_view section, std::wstring_view key)
{
    return ProfileNumber(section, key, ERROR_SUCCESS);
}

// True, with the last error set, when the profile wants the call to fail.
inline bool PrescribedFailure(std::wstring_view section, std::wstring_view key)
{
    const DWORD error = PrescribedError(section, key);
    if (error != ERROR_SUCCESS)
    {
        SetLastError(error);
    }
    return error != ERROR_SUCCESS;
}

} // namespace Testbed
