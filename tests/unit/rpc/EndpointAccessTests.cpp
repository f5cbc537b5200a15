// Who gets in by the descriptor that the run time is given. Accounts that exist here are checked by Windows itself; app
// containers and anonymous callers, which have no tokens here, by the documented algorithm.
#include "rpc/RpcEndpoint.h"

#include "compat/MissingDeclarations.h"
#include "tests/harness/ImportHook.h"
#include "tests/wire/CapabilitySid.h"

#include <gtest/gtest.h>

#include <windows.h>

#include <rpc.h>
#include <sddl.h>

#include <algorithm>
#include <memory>
#include <string>
#include <vector>

namespace
{

constexpr GENERIC_MAPPING kMapping{1, 2, 4, 7};
constexpr DWORD kEverything = 7;
constexpr const wchar_t* kEveryone = L"S-1-1-0";
constexpr const wchar_t* kUsers = L"S-1-5-32-545";
constexpr const wchar_t* kAnonymous = L"S-1-5-7";
constexpr const wchar_t* kPackage = L"S-1-15-2-1-2-3-4-5-6-7";
constexpr const wchar_t* kCapability = L"S-1-15-3-1024-7"; // the one that CapabilitySid.h derives
constexpr const wchar_t* kOtherCapability = L"S-1-15-3-1024-8";
constexpr const wchar_t* kAllPackages = L"S-1-15-2-1";

struct CloseHandleOf
{
    using pointer = HANDLE;
    void operator()(HANDLE handle) const { CloseHandle(handle); }
};
using Handle = std::unique_ptr<void, CloseHandleOf>;

class Sid
{
  public:
    explicit Sid(const wchar_t* text) { EXPECT_TRUE(ConvertStringSidToSidW(text, &m_pSid)); }
    ~Sid() { LocalFree(m_pSid); }
    Sid(const Sid&) = delete;
    Sid& operator=(const Sid&) = delete;
    PSID Get() const { return m_pSid; }

  private:
    PSID m_pSid{nullptr};
};

// A copy of the access list that the interface was registered with.
std::vector<BYTE> RegisteredAcl()
{
    std::vector<BYTE> copy;
    IMPORT_HOOK(DeriveCapabilitySidsFromName)(&OneCapabilitySid);
    IMPORT_HOOK(RpcServerUseProtseqEpW)([](auto...) { return RPC_S_OK; });
    IMPORT_HOOK(RpcServerListen)([](auto...) { return RPC_S_OK; });
    IMPORT_HOOK(RpcServerRegisterIf3)
    ([&](RPC_IF_HANDLE, UUID*, RPC_MGR_EPV*, unsigned, unsigned, unsigned, RPC_IF_CALLBACK_FN*, void* descriptor) {
        BOOL present = FALSE;
        BOOL defaulted = FALSE;
        PACL acl = nullptr;
        EXPECT_TRUE(GetSecurityDescriptorDacl(descriptor, &present, &acl, &defaulted));
        const auto* const bytes = reinterpret_cast<const BYTE*>(acl);
        copy.assign(bytes, bytes + acl->AclSize);
        return RPC_S_OK;
    });
    EXPECT_EQ(0U, RpcServerConnect(true));
    return copy;
}

bool WindowsAdmits(HANDLE token)
{
    std::vector<BYTE> acl = RegisteredAcl();
    const Sid owner{L"S-1-5-18"};
    SECURITY_DESCRIPTOR descriptor{};
    EXPECT_TRUE(InitializeSecurityDescriptor(&descriptor, SECURITY_DESCRIPTOR_REVISION));
    EXPECT_TRUE(SetSecurityDescriptorDacl(&descriptor, TRUE, reinterpret_cast<PACL>(acl.data()), FALSE));
    EXPECT_TRUE(SetSecurityDescriptorOwner(&descriptor, owner.Get(), FALSE));
    EXPECT_TRUE(SetSecurityDescriptorGroup(&descriptor, owner.Get(), FALSE));
    HANDLE impersonation = nullptr;
    EXPECT_TRUE(DuplicateToken(token, SecurityImpersonation, &impersonation));
    const Handle owned{impersonation};
    GENERIC_MAPPING mapping = kMapping;
    PRIVILEGE_SET privileges{};
    DWORD size = sizeof privileges;
    DWORD granted = 0;
    BOOL admitted = FALSE;
    EXPECT_TRUE(AccessCheck(&descriptor, impersonation, kEverything, &mapping, &privileges, &size, &granted, &admitted))
        << GetLastError();
    return admitted && granted == kEverything;
}

Handle OwnToken()
{
    HANDLE token = nullptr;
    EXPECT_TRUE(OpenProcessToken(GetCurrentProcess(), TOKEN_ALL_ACCESS, &token));
    return Handle{token};
}

// What the allow entries for any of these SIDs give together.
DWORD GrantedTo(const std::vector<BYTE>& acl, const std::vector<const wchar_t*>& sids)
{
    DWORD granted = 0;
    auto* const list = reinterpret_cast<PACL>(const_cast<BYTE*>(acl.data()));
    for (DWORD i = 0; i < list->AceCount; ++i)
    {
        void* entry = nullptr;
        EXPECT_TRUE(GetAce(list, i, &entry));
        auto* const ace = static_cast<ACCESS_ALLOWED_ACE*>(entry);
        EXPECT_EQ(ACCESS_ALLOWED_ACE_TYPE, ace->Header.AceType);
        DWORD mask = ace->Mask;
        GENERIC_MAPPING mapping = kMapping;
        MapGenericMask(&mask, &mapping);
        for (const wchar_t* const text : sids)
        {
            const Sid sid{text};
            granted |= EqualSid(sid.Get(), &ace->SidStart) ? mask : 0;
        }
    }
    return granted;
}

// An app container is admitted to what both its user and its package or a capability are given.
bool AdmitsContainer(const std::vector<const wchar_t*>& user, const std::vector<const wchar_t*>& container)
{
    const std::vector<BYTE> acl = RegisteredAcl();
    return (GrantedTo(acl, user) & GrantedTo(acl, container)) == kEverything;
}

} // namespace

TEST(EndpointAccess, AdministratorIsAdmitted)
{
    EXPECT_TRUE(WindowsAdmits(OwnToken().get()));
}

TEST(EndpointAccess, StandardUserIsAdmitted)
{
    const Sid administrators{L"S-1-5-32-544"};
    SID_AND_ATTRIBUTES disabled{administrators.Get(), 0};
    HANDLE token = nullptr;
    ASSERT_TRUE(
        CreateRestrictedToken(OwnToken().get(), DISABLE_MAX_PRIVILEGE, 1, &disabled, 0, nullptr, 0, nullptr, &token));
    const Handle standard{token};

    EXPECT_TRUE(WindowsAdmits(standard.get()));
}

TEST(EndpointAccess, CheckNoticesAListWithoutTheCaller)
{
    EXPECT_EQ(0U, GrantedTo(RegisteredAcl(), {kUsers}));
}

TEST(EndpointAccess, CompanionAppWithItsCapabilityIsAdmitted)
{
    EXPECT_TRUE(AdmitsContainer({kEveryone, kUsers}, {kPackage, kAllPackages, kCapability}));
}

TEST(EndpointAccess, AppContainerWithoutTheCapabilityIsRefused)
{
    EXPECT_FALSE(AdmitsContainer({kEveryone, kUsers}, {kPackage, kAllPackages}));
    EXPECT_FALSE(AdmitsContainer({kEveryone, kUsers}, {kPackage, kAllPackages, kOtherCapability}));
}

// Windows leaves anonymous callers out of Everyone, unless a policy puts them in.
TEST(EndpointAccess, AnonymousCallerIsRefused)
{
    EXPECT_EQ(0U, GrantedTo(RegisteredAcl(), {kAnonymous}));
}

TEST(EndpointAccess, AnonymousCallerIsAdmittedWhereThePolicyCountsItAsEveryone)
{
    EXPECT_EQ(kEverything, GrantedTo(RegisteredAcl(), {kAnonymous, kEveryone}));
}
