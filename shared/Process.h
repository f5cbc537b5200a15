/// \file
/// Finds and ends running processes by their image name. Any thread may call it.
#pragma once

#include <windows.h>

namespace Quil::Shared
{

/// Looks at a fresh list of processes in each call and keeps nothing.
class CqlProcess
{
  public:
    virtual ~CqlProcess();

    /// Ends the first process of that name (any mix of case, any session) with exit code 0. S_OK whether or not
    /// anything was ended; E_FAIL without a name, E_INVALIDARG for an empty one.
    HRESULT KillProcessByName(const wchar_t* imageName);

    /// The id of the first process of that name, 0 when there is none. E_POINTER without a target, E_INVALIDARG
    /// without a name.
    HRESULT GetProcessIdByName(const wchar_t* imageName, DWORD* processId);
};

} // namespace Quil::Shared
