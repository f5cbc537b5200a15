#include "utils/ComSecurity.h"

#include "shared/LogFormat.h"
#include "shared/TraceScope.h"
#include "shared/UniqueHandle.h"

#include <objbase.h>

#include <new>
#include <utility>

using Quil::Shared::CLogFormat;
using Quil::Shared::CTraceScope;
using Quil::Shared::CUniqueHandle;
using Quil::Shared::CUniqueLocal;

namespace Utils
{

namespace
{

constexpr DWORD kExecuteRight = 1; // COM_RIGHTS_EXECUTE

struct AllowedPrincipal
{
    WELL_KNOWN_SID_TYPE type;
    CLogFormat<DWORD> failure;
};

// Deliberate: the last two texts have two blanks before "Error".
constexpr AllowedPrincipal kAllowedPrincipals[] = {
    {WinLocalSystemSid, L"CreateWellKnownSid with WinLocalSystemSid failed. Error: 0x%08X"},
    {WinBuiltinAdministratorsSid, L"CreateWellKnownSid with WinBuiltinAdministratorsSid failed.  Error: 0x%08X"},
    {WinBuiltinUsersSid, L"CreateWellKnownSid with WinBuiltinUsersSid failed.  Error: 0x%08X"},
};

HRESULT LastErrorResult() noexcept
{
    const DWORD error = GetLastError();
    return HRESULT_FROM_WIN32(error);
}

bool IsUsableSid(PSID sid) noexcept
{
    return sid != nullptr && IsValidSid(sid);
}

CSecurityBlock NewBlock(DWORD size) noexcept
{
    return CSecurityBlock{new (std::nothrow) BYTE[size]};
}

// Copies all entries of one ACL to the end of another, in their order.
HRESULT AppendEntries(PACL target, PACL source) noexcept
{
    for (DWORD i = 0; i < source->AceCount; ++i)
    {
        void* entry = nullptr;
        if (!GetAce(source, i, &entry) ||
            !AddAce(target, ACL_REVISION, MAXDWORD, entry, static_cast<const ACE_HEADER*>(entry)->AceSize))
        {
            return LastErrorResult();
        }
    }
    return S_OK;
}

} // namespace

HRESULT InitializeSecurity(BYTE doCoUninit)
{
    CTraceScope trace{"Utils::InitializeSecurity", L"DoCoUnint = %d", doCoUninit};

    CUniqueLocal<PSID> sid{LocalAlloc(LMEM_FIXED, SECURITY_MAX_SID_SIZE)};
    if (!sid)
    {
        trace.Error(L"LocalAlloc failed for PSID");
        return trace.ExitValue(E_FAIL, L"InitializeSecurity : HRESULT: 0x%08X");
    }

    CComSecurityDescriptor descriptor;
    // A descriptor without owner or group is refused by CoInitializeSecurity, whose result counts.
    static_cast<void>(descriptor.InitializeFromThreadToken(true));
    for (const AllowedPrincipal& principal : kAllowedPrincipals)
    {
        DWORD size = SECURITY_MAX_SID_SIZE;
        if (!CreateWellKnownSid(principal.type, nullptr, sid.Get(), &size))
        {
            const DWORD error = GetLastError();
            trace.Error(principal.failure, error);
            continue;
        }
        // A principal that cannot be added is left out, like one without a SID.
        static_cast<void>(descriptor.Allow(sid.Get(), kExecuteRight));
    }
    sid.Reset();

    HRESULT result = CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED);
    if (FAILED(result))
    {
        trace.Error(L"CoInitializeEx failed. Error: 0x%08X", result);
    }
    else
    {
        result = CoInitializeSecurity(descriptor.Get(), -1, nullptr, nullptr, RPC_C_AUTHN_LEVEL_CONNECT,
                                      RPC_C_IMP_LEVEL_IMPERSONATE, nullptr, EOAC_NONE, nullptr);
        if (FAILED(result))
        {
            trace.Error(L"CoInitializeSecurity failed. Error: 0x%08X", result);
        }
    }
    if (doCoUninit != 0)
    {
        // Deliberate: also after a failed CoInitializeEx. The security stays set for the process.
        CoUninitialize();
    }
    return trace.ExitValue(result, L"InitializeSecurity : HRESULT: 0x%08X");
}

HRESULT CComSecurityDescriptor::Initialize() noexcept
{
    if (!InitializeSecurityDescriptor(&m_descriptor, SECURITY_DESCRIPTOR_REVISION))
    {
        return LastErrorResult();
    }
    m_pOwner.reset();
    m_pGroup.reset();
    m_pDacl.reset();
    return S_OK;
}

HRESULT CComSecurityDescriptor::InitializeFromThreadToken(bool revertToProcessToken) noexcept
{
    HRESULT result = Initialize();
    if (FAILED(result))
    {
        return result;
    }

    CUniqueHandle token;
    if (!OpenThreadToken(GetCurrentThread(), TOKEN_QUERY, FALSE, token.Put()))
    {
        result = LastErrorResult();
        if (result != HRESULT_FROM_WIN32(ERROR_NO_TOKEN) || !revertToProcessToken)
        {
            return result;
        }
        if (!OpenProcessToken(GetCurrentProcess(), TOKEN_QUERY, token.Put()))
        {
            return LastErrorResult();
        }
    }

    if (result = GetTokenSid(token.Get(), TokenUser, &m_pOwner); FAILED(result))
    {
        return result;
    }
    if (result = GetTokenSid(token.Get(), TokenPrimaryGroup, &m_pGroup); FAILED(result))
    {
        return result;
    }
    if (!SetSecurityDescriptorOwner(&m_descriptor, m_pOwner.get(), FALSE) ||
        !SetSecurityDescriptorGroup(&m_descriptor, m_pGroup.get(), FALSE))
    {
        return LastErrorResult();
    }
    return S_OK;
}

HRESULT CComSecurityDescriptor::Allow(PSID sid, DWORD accessMask) noexcept
{
    CSecurityBlock dacl;
    const HRESULT result = AddAccessAllowed(reinterpret_cast<PACL>(m_pDacl.get()), accessMask, sid, &dacl);
    if (FAILED(result))
    {
        return result;
    }
    if (!SetSecurityDescriptorDacl(&m_descriptor, TRUE, reinterpret_cast<PACL>(dacl.get()), FALSE))
    {
        return LastErrorResult();
    }
    // The descriptor refers to the new list; only now may the old one go.
    m_pDacl = std::move(dacl);
    return S_OK;
}

HRESULT GetTokenSid(HANDLE token, TOKEN_INFORMATION_CLASS which, CSecurityBlock* sid) noexcept
{
    DWORD size = 0;
    if (!GetTokenInformation(token, which, nullptr, 0, &size))
    {
        const DWORD error = GetLastError();
        if (error != ERROR_INSUFFICIENT_BUFFER)
        {
            return HRESULT_FROM_WIN32(error);
        }
    }
    const CSecurityBlock information = NewBlock(size);
    if (information == nullptr)
    {
        return E_OUTOFMEMORY;
    }
    if (!GetTokenInformation(token, which, information.get(), size, &size))
    {
        return LastErrorResult();
    }
    // Both records begin with the SID.
    return CopySidToBlock(*reinterpret_cast<PSID*>(information.get()), sid);
}

HRESULT CopySidToBlock(PSID source, CSecurityBlock* target) noexcept
{
    if (target == nullptr)
    {
        return E_POINTER;
    }
    if (!IsUsableSid(source))
    {
        return E_INVALIDARG;
    }
    const DWORD size = GetLengthSid(source);
    CSecurityBlock copy = NewBlock(size);
    if (copy == nullptr)
    {
        return E_OUTOFMEMORY;
    }
    if (!CopySid(size, copy.get(), source))
    {
        return LastErrorResult();
    }
    *target = std::move(copy);
    return S_OK;
}

HRESULT AddAccessAllowed(PACL oldAcl, DWORD accessMask, PSID sid, CSecurityBlock* newAcl) noexcept
{
    if (newAcl == nullptr)
    {
        return E_POINTER;
    }
    if (!IsUsableSid(sid))
    {
        return E_INVALIDARG;
    }

    const DWORD oldSize = oldAcl != nullptr ? oldAcl->AclSize : DWORD{sizeof(ACL)};
    // The SID takes the place of the entry's last member.
    const DWORD size = oldSize + DWORD{sizeof(ACCESS_ALLOWED_ACE) - sizeof(DWORD)} + GetLengthSid(sid);
    CSecurityBlock block = NewBlock(size);
    if (block == nullptr)
    {
        return E_OUTOFMEMORY;
    }
    const PACL acl = reinterpret_cast<PACL>(block.get());
    if (!InitializeAcl(acl, size, ACL_REVISION))
    {
        return LastErrorResult();
    }
    if (oldAcl != nullptr)
    {
        if (const HRESULT result = AppendEntries(acl, oldAcl); FAILED(result))
        {
            return result;
        }
    }
    if (!AddAccessAllowedAce(acl, ACL_REVISION, accessMask, sid))
    {
        return LastErrorResult();
    }
    *newAcl = std::move(block);
    return S_OK;
}

} // namespace Utils
