#include "rpc/RpcEndpoint.h"

#include "compat/MissingDeclarations.h"
#include "shared/TraceScope.h"
#include "shared/UniqueHandle.h"
#include <HotKeyRpc.h>

#include <windows.h>

#include <aclapi.h>
#include <rpc.h>

#include <iterator>

using Quil::Shared::CTraceScope;
using Quil::Shared::CUniqueLocal;
using Quil::Shared::CUniqueSid;

namespace
{

constexpr unsigned int kMaximumCalls = 1234;

// What DeriveCapabilitySidsFromName hands out: two arrays of SIDs, each SID and each array a block of its own.
class CCapabilitySids
{
  public:
    CCapabilitySids() noexcept = default;
    ~CCapabilitySids()
    {
        Free(m_pGroups, m_dwGroups);
        Free(m_pCapabilities, m_dwCapabilities);
    }
    CCapabilitySids(const CCapabilitySids&) = delete;
    CCapabilitySids& operator=(const CCapabilitySids&) = delete;

    // False leaves the reason in error. That may be 0, when the system names none.
    bool Derive(const wchar_t* capabilityName, DWORD& error)
    {
        if (!DeriveCapabilitySidsFromName(capabilityName, &m_pGroups, &m_dwGroups, &m_pCapabilities, &m_dwCapabilities))
        {
            error = GetLastError();
            return false;
        }
        error = ERROR_INVALID_PARAMETER;
        return m_dwCapabilities == 1;
    }
    PSID First() const noexcept { return m_pCapabilities != nullptr ? m_pCapabilities[0] : nullptr; }

  private:
    static void Free(PSID* sids, DWORD count) noexcept
    {
        if (sids == nullptr)
        {
            return;
        }
        for (DWORD i = 0; i < count; ++i)
        {
            static_cast<void>(LocalFree(sids[i]));
            sids[i] = nullptr;
        }
        static_cast<void>(LocalFree(sids));
    }

    PSID* m_pGroups{nullptr};
    DWORD m_dwGroups{0};
    PSID* m_pCapabilities{nullptr};
    DWORD m_dwCapabilities{0};
};

EXPLICIT_ACCESS_W FullAccess(PSID trustee, TRUSTEE_TYPE type) noexcept
{
    EXPLICIT_ACCESS_W access{};
    access.grfAccessPermissions = GENERIC_ALL;
    access.grfAccessMode = SET_ACCESS;
    access.grfInheritance = NO_INHERITANCE;
    access.Trustee.TrusteeForm = TRUSTEE_IS_SID;
    access.Trustee.TrusteeType = type;
    access.Trustee.ptstrName = static_cast<wchar_t*>(trustee);
    return access;
}

// Opens the endpoint, registers the interface and listens.
RPC_STATUS Serve(SECURITY_DESCRIPTOR* security, bool dontWait)
{
    wchar_t protocol[] = L"ncalrpc";
    wchar_t endpoint[] = L"TLYRpcEndpoint";
    RPC_STATUS status = RpcServerUseProtseqEpW(reinterpret_cast<RPC_WSTR>(protocol), RPC_C_PROTSEQ_MAX_REQS_DEFAULT,
                                               reinterpret_cast<RPC_WSTR>(endpoint), security);
    if (status != RPC_S_OK)
    {
        return status;
    }
    status = RpcServerRegisterIf3(HotKeyRpc_v1_0_s_ifspec, nullptr, nullptr,
                                  RPC_IF_AUTOLISTEN | RPC_IF_ALLOW_LOCAL_ONLY, kMaximumCalls, 0, nullptr, security);
    if (status != RPC_S_OK)
    {
        return status;
    }
    status = RpcServerListen(1, kMaximumCalls, dontWait ? 1U : 0U);
    return status == RPC_S_ALREADY_LISTENING ? RPC_S_OK : status;
}

} // namespace

DWORD RpcServerConnect(bool dontWait)
{
    // In the reverse order of their release. All of them stay until listening has ended.
    CUniqueLocal<PACL> acl;
    CUniqueSid everyone;
    CCapabilitySids companionApp;

    // The companion app runs in an app container, which Everyone does not cover.
    if (DWORD error = ERROR_SUCCESS; !companionApp.Derive(L"QuilInc.hotKeyService_k3f9x2mq7tw1a", error))
    {
        return error;
    }
    SID_IDENTIFIER_AUTHORITY world = SECURITY_WORLD_SID_AUTHORITY;
    if (!AllocateAndInitializeSid(&world, 1, SECURITY_WORLD_RID, 0, 0, 0, 0, 0, 0, 0, everyone.Put()))
    {
        return GetLastError();
    }

    EXPLICIT_ACCESS_W admitted[]{FullAccess(everyone.Get(), TRUSTEE_IS_WELL_KNOWN_GROUP),
                                 FullAccess(companionApp.First(), TRUSTEE_IS_UNKNOWN)};
    if (const DWORD error = SetEntriesInAclW(static_cast<ULONG>(std::size(admitted)), admitted, nullptr, acl.Put());
        error != ERROR_SUCCESS)
    {
        return error;
    }

    SECURITY_DESCRIPTOR security{};
    if (!InitializeSecurityDescriptor(&security, SECURITY_DESCRIPTOR_REVISION) ||
        !SetSecurityDescriptorDacl(&security, TRUE, acl.Get(), FALSE))
    {
        return GetLastError();
    }
    return static_cast<DWORD>(Serve(&security, dontWait));
}

void RpcServerDisconnect()
{
    CTraceScope trace{"RpcServerDisconnect"};

    const RPC_STATUS stopped = RpcMgmtStopServerListening(nullptr);
    trace.Information(L"RpcMgmtStopServerListening() returned : %ld", stopped);
    const RPC_STATUS unregistered = RpcServerUnregisterIf(HotKeyRpc_v1_0_s_ifspec, nullptr, 1);
    trace.Information(L"RpcServerUnregisterIf() returned : %ld", unregistered);
}
