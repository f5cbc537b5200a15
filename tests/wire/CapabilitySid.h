// Stand-in for DeriveCapabilitySidsFromName, which Wine lacks: one group SID and one capability SID.
#pragma once

#include <windows.h>

#include <cstddef>

inline PSID* LocalSidArray(std::size_t count)
{
    auto* const sids = static_cast<PSID*>(LocalAlloc(LPTR, (count == 0 ? 1 : count) * sizeof(PSID)));
    for (std::size_t i = 0; i < count; ++i)
    {
        sids[i] = LocalAlloc(LPTR, GetSidLengthRequired(3));
        SID_IDENTIFIER_AUTHORITY appPackage{{0, 0, 0, 0, 0, 15}};
        InitializeSid(sids[i], &appPackage, 3);
        *GetSidSubAuthority(sids[i], 0) = 3;
        *GetSidSubAuthority(sids[i], 1) = 1024;
        *GetSidSubAuthority(sids[i], 2) = 7 + static_cast<DWORD>(i);
    }
    return sids;
}

inline BOOL OneCapabilitySid(LPCWSTR, PSID** groups, DWORD* groupCount, PSID** capabilities, DWORD* capabilityCount)
{
    *groups = LocalSidArray(1);
    *groupCount = 1;
    *capabilities = LocalSidArray(1);
    *capabilityCount = 1;
    return TRUE;
}
