// Capability SIDs as Windows derives them from a name: the SHA-256 of the upper-cased UTF-16 text, read as eight
// 32-bit words, below S-1-15-3-1024 (the capability) and S-1-5-32 (its group).
#pragma once

#include <windows.h>

namespace Testbed
{

// Arrays and SIDs are the caller's and go back through LocalFree. False with the last error on failure.
BOOL WINAPI DeriveCapabilitySids(LPCWSTR name, PSID** groups, DWORD* groupCount, PSID** capabilities,
                                 DWORD* capabilityCount);

} // namespace Testbed
