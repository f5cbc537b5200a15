// The processes of the PC, by image name without case.
#pragma once

#include <windows.h>

#include <string_view>
#include <vector>

namespace Testbed
{

std::vector<DWORD> ProcessIds(std::wstring_view image);

// Starts a program that outlives the caller and shares none of its handles; 0 on failure.
DWORD StartDetached(std::wstring_view commandLine);

} // namespace Testbed
