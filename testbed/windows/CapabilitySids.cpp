#include "testbed/windows/CapabilitySids.h"

#include "testbed/Outcome.h"
#include "testbed/Recorder.h"
#include "testbed/windows/ImportTable.h"
#include "testbed/windows/StandIns.h"

#include <bcrypt.h>

#include <array>
#include <cstring>
#include <string>

namespace Testbed
{
namespace
{

constexpr std::size_t kWords = 8;
constexpr DWORD kCapabilityOfApp = 1024; // SECURITY_CAPABILITY_APP_RID, missing in MinGW's headers
using Words = std::array<DWORD, kWords>;

std::wstring UpperCase(std::wstring name)
{
    LCMapStringEx(LOCALE_NAME_INVARIANT, LCMAP_UPPERCASE, name.c_str(), static_cast<int>(name.size()), name.data(),
                  static_cast<int>(name.size()), nullptr, nullptr, 0);
    return name;
}

bool HashOf(std::wstring name, Words& words)
{
    BCRYPT_ALG_HANDLE algorithm = nullptr;
    if (BCryptOpenAlgorithmProvider(&algorithm, BCRYPT_SHA256_ALGORITHM, nullptr, 0) != 0)
    {
        return false;
    }
    const NTSTATUS status = BCryptHash(algorithm, nullptr, 0, reinterpret_cast<PUCHAR>(name.data()),
                                       static_cast<ULONG>(name.size() * sizeof(wchar_t)),
                                       reinterpret_cast<PUCHAR>(words.data()), static_cast<ULONG>(sizeof(words)));
    BCryptCloseAlgorithmProvider(algorithm, 0);
    return status == 0;
}

// One SID in an array of one, both from LocalAlloc.
PSID* NewSidArray(SID_IDENTIFIER_AUTHORITY authority, std::initializer_list<DWORD> prefix, const Words& words)
{
    const auto count = static_cast<BYTE>(prefix.size() + words.size());
    const PSID sid = LocalAlloc(LPTR, GetSidLengthRequired(count));
    InitializeSid(sid, &authority, count);
    DWORD index = 0;
    for (const DWORD word : prefix)
    {
        *GetSidSubAuthority(sid, index++) = word;
    }
    for (const DWORD word : words)
    {
        *GetSidSubAuthority(sid, index++) = word;
    }
    auto* const sids = static_cast<PSID*>(LocalAlloc(LPTR, sizeof(PSID)));
    sids[0] = sid;
    return sids;
}

} // namespace

BOOL WINAPI DeriveCapabilitySids(LPCWSTR name, PSID** groups, DWORD* groupCount, PSID** capabilities,
                                 DWORD* capabilityCount)
{
    Record(L"DeriveCapabilitySidsFromName", name);
    if (PrescribedFailure(L"rpc", L"capability"))
    {
        return FALSE;
    }
    Words words{};
    if (!HashOf(UpperCase(name), words))
    {
        SetLastError(ERROR_INTERNAL_ERROR);
        return FALSE;
    }
    *groups = NewSidArray(SECURITY_NT_AUTHORITY, {SECURITY_BUILTIN_DOMAIN_RID}, words);
    *groupCount = 1;
    *capabilities =
        NewSidArray(SECURITY_APP_PACKAGE_AUTHORITY, {SECURITY_CAPABILITY_BASE_RID, kCapabilityOfApp}, words);
    *capabilityCount = 1;
    return TRUE;
}

void InstallCapabilityStandIns()
{
    TESTBED_REPLACE(DeriveCapabilitySidsFromName, DeriveCapabilitySids);
}

} // namespace Testbed
