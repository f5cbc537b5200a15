// Process-wide COM security: the descriptor that reaches COM, the result of each failing step, the helpers.
#include "utils/ComSecurity.h"

#include "tests/harness/AllocationFault.h"
#include "tests/harness/ImportHook.h"
#include "tests/harness/LogCapture.h"

#include <gtest/gtest.h>

#include <objbase.h>
#include <sddl.h>

#include <map>
#include <string>
#include <utility>
#include <vector>

using Utils::CComSecurityDescriptor;
using Utils::CSecurityBlock;

namespace
{
const HANDLE kToken = reinterpret_cast<HANDLE>(0xA1A10);
constexpr HRESULT kNoToken = static_cast<HRESULT>(0x800703F0);
constexpr HRESULT kAccessDenied = static_cast<HRESULT>(0x80070005);

std::string SidText(PSID sid)
{
    char* text = nullptr;
    if (sid == nullptr || !ConvertSidToStringSidA(sid, &text))
    {
        return "";
    }
    const std::string result{text};
    LocalFree(text);
    return result;
}

// What a security descriptor says, in text: entries as "type:flags:mask:sid".
struct DescriptorText
{
    std::string owner;
    std::string group;
    bool ownerDefaulted = true;
    bool groupDefaulted = true;
    bool daclPresent = false;
    bool daclDefaulted = true;
    int revision = 0;
    int aclRevision = 0;
    std::vector<std::string> entries;
};

std::vector<std::string> EntriesOf(PACL acl)
{
    std::vector<std::string> entries;
    for (DWORD i = 0; acl != nullptr && i < acl->AceCount; ++i)
    {
        void* memory = nullptr;
        GetAce(acl, i, &memory);
        auto* const entry = static_cast<ACCESS_ALLOWED_ACE*>(memory);
        entries.push_back(std::to_string(entry->Header.AceType) + ":" + std::to_string(entry->Header.AceFlags) + ":" +
                          std::to_string(entry->Mask) + ":" + SidText(&entry->SidStart));
    }
    return entries;
}

DescriptorText Describe(PSECURITY_DESCRIPTOR descriptor)
{
    DescriptorText text;
    PSID sid = nullptr;
    BOOL defaulted = TRUE;
    BOOL present = FALSE;
    PACL acl = nullptr;
    GetSecurityDescriptorOwner(descriptor, &sid, &defaulted);
    text.owner = SidText(sid);
    text.ownerDefaulted = defaulted != FALSE;
    GetSecurityDescriptorGroup(descriptor, &sid, &defaulted);
    text.group = SidText(sid);
    text.groupDefaulted = defaulted != FALSE;
    if (GetSecurityDescriptorDacl(descriptor, &present, &acl, &defaulted) && present)
    {
        text.daclPresent = true;
        text.daclDefaulted = defaulted != FALSE;
        text.aclRevision = acl != nullptr ? acl->AclRevision : 0;
        text.entries = EntriesOf(acl);
    }
    text.revision = static_cast<SECURITY_DESCRIPTOR*>(descriptor)->Revision;
    return text;
}

// The SID of a class of the process's own token.
std::string OwnSid(TOKEN_INFORMATION_CLASS which)
{
    BYTE buffer[256]{};
    DWORD size = 0;
    HANDLE token = nullptr;
    OpenProcessToken(GetCurrentProcess(), TOKEN_QUERY, &token);
    GetTokenInformation(token, which, buffer, sizeof buffer, &size);
    CloseHandle(token);
    return SidText(*reinterpret_cast<PSID*>(buffer));
}

// A well-known SID in memory of its own.
class Sid
{
  public:
    explicit Sid(WELL_KNOWN_SID_TYPE type)
    {
        DWORD size = sizeof m_memory;
        CreateWellKnownSid(type, nullptr, m_memory, &size);
    }
    PSID Get() noexcept { return m_memory; }

  private:
    BYTE m_memory[SECURITY_MAX_SID_SIZE]{};
};

auto Answers(HRESULT result)
{
    return [result](auto...) { return result; };
}
// CoInitializeSecurity that reads the descriptor instead of setting it.
auto Keeps(DescriptorText& text)
{
    return [&text](PSECURITY_DESCRIPTOR descriptor, auto...) {
        text = Describe(descriptor);
        return S_OK;
    };
}
// CreateWellKnownSid that fails with error 1337 for one of the three SIDs.
auto Fails(WELL_KNOWN_SID_TYPE failing)
{
    const std::map<WELL_KNOWN_SID_TYPE, Sid> sids{{WinLocalSystemSid, Sid{WinLocalSystemSid}},
                                                  {WinBuiltinAdministratorsSid, Sid{WinBuiltinAdministratorsSid}},
                                                  {WinBuiltinUsersSid, Sid{WinBuiltinUsersSid}}};
    return [failing, sids](WELL_KNOWN_SID_TYPE type, PSID, PSID sid, DWORD* size) {
        if (type == failing)
        {
            SetLastError(1337);
            return FALSE;
        }
        Sid source = sids.at(type);
        return CopySid(*size, sid, source.Get());
    };
}
auto FailsWith(DWORD error)
{
    return [error](auto...) {
        SetLastError(error);
        return FALSE;
    };
}
} // namespace

TEST(InitializeSecurity, AdmitsSystemAdministratorsAndUsersInThatOrder)
{
    DescriptorText text;
    IMPORT_HOOK(CoInitializeEx)(Answers(S_OK));
    IMPORT_HOOK(CoUninitialize)([] {});
    IMPORT_HOOK(CoInitializeSecurity)(Keeps(text));

    EXPECT_EQ(S_OK, Utils::InitializeSecurity(1));

    EXPECT_EQ(1, text.revision);
    EXPECT_TRUE(text.daclPresent);
    EXPECT_FALSE(text.daclDefaulted);
    EXPECT_EQ(2, text.aclRevision);
    EXPECT_EQ((std::vector<std::string>{"0:0:1:S-1-5-18", "0:0:1:S-1-5-32-544", "0:0:1:S-1-5-32-545"}), text.entries);
}

TEST(InitializeSecurity, TakesOwnerAndGroupFromTheProcessWhenTheThreadHasNoToken)
{
    DescriptorText text;
    IMPORT_HOOK(CoInitializeEx)(Answers(S_OK));
    IMPORT_HOOK(CoUninitialize)([] {});
    IMPORT_HOOK(CoInitializeSecurity)(Keeps(text));

    Utils::InitializeSecurity(1);

    EXPECT_EQ(OwnSid(TokenUser), text.owner);
    EXPECT_EQ(OwnSid(TokenPrimaryGroup), text.group);
    EXPECT_FALSE(text.ownerDefaulted);
    EXPECT_FALSE(text.groupDefaulted);
}

TEST(InitializeSecurity, OfAnImpersonatingThreadTakesOwnerAndGroupOfTheImpersonatedUser)
{
    DescriptorText text;
    Sid user{WinAnonymousSid};
    Sid group{WinBuiltinGuestsSid};
    std::vector<HANDLE> closed;
    IMPORT_HOOK(OpenThreadToken)
    ([](HANDLE, DWORD, BOOL, HANDLE* token) {
        *token = kToken;
        return TRUE;
    });
    IMPORT_HOOK(OpenProcessToken)([](auto...) { return FALSE; });
    IMPORT_HOOK(GetTokenInformation)
    ([&](HANDLE token, TOKEN_INFORMATION_CLASS which, void* buffer, DWORD size, DWORD* needed) {
        EXPECT_EQ(kToken, token);
        *needed = 64;
        if (size < 64)
        {
            SetLastError(ERROR_INSUFFICIENT_BUFFER);
            return FALSE;
        }
        *static_cast<PSID*>(buffer) = which == TokenPrimaryGroup ? group.Get() : user.Get();
        return TRUE;
    });
    IMPORT_HOOK(CloseHandle)
    ([&](HANDLE handle) {
        closed.push_back(handle);
        return TRUE;
    });
    IMPORT_HOOK(CoInitializeEx)(Answers(S_OK));
    IMPORT_HOOK(CoUninitialize)([] {});
    IMPORT_HOOK(CoInitializeSecurity)(Keeps(text));

    Utils::InitializeSecurity(1);

    EXPECT_EQ("S-1-5-7", text.owner);
    EXPECT_EQ("S-1-5-32-546", text.group);
    EXPECT_EQ(0, hook_OpenProcessToken.Calls());
    EXPECT_EQ(std::vector<HANDLE>{kToken}, closed);
}

TEST(InitializeSecurity, UsesARealImpersonationTokenOfTheThread)
{
    DescriptorText text;
    IMPORT_HOOK(OpenProcessToken)([](auto...) { return FALSE; });
    IMPORT_HOOK(CoInitializeEx)(Answers(S_OK));
    IMPORT_HOOK(CoUninitialize)([] {});
    IMPORT_HOOK(CoInitializeSecurity)(Keeps(text));
    ASSERT_TRUE(ImpersonateSelf(SecurityImpersonation));

    Utils::InitializeSecurity(1);
    RevertToSelf();

    EXPECT_EQ(0, hook_OpenProcessToken.Calls());
    EXPECT_FALSE(text.owner.empty());
    EXPECT_FALSE(text.group.empty());
}

TEST(InitializeSecurity, OpensTheTokensForQueriesAsTheThreadAndClosesThem)
{
    HANDLE thread = nullptr;
    DWORD threadAccess = 0;
    BOOL asSelf = TRUE;
    HANDLE process = nullptr;
    DWORD processAccess = 0;
    HANDLE opened = nullptr;
    std::vector<HANDLE> closed;
    IMPORT_HOOK(OpenThreadToken)
    ([&](HANDLE threadHandle, DWORD access, BOOL openAsSelf, HANDLE*) {
        thread = threadHandle;
        threadAccess = access;
        asSelf = openAsSelf;
        SetLastError(ERROR_NO_TOKEN);
        return FALSE;
    });
    IMPORT_HOOK(OpenProcessToken)
    ([&](HANDLE processHandle, DWORD access, HANDLE* token) {
        process = processHandle;
        processAccess = access;
        const BOOL result = hook_OpenProcessToken.RealOfCurrent()(processHandle, access, token);
        opened = *token;
        return result;
    });
    IMPORT_HOOK(CloseHandle)
    ([&](HANDLE handle) {
        closed.push_back(handle);
        return hook_CloseHandle.RealOfCurrent()(handle);
    });
    IMPORT_HOOK(CoInitializeEx)(Answers(S_OK));
    IMPORT_HOOK(CoUninitialize)([] {});
    IMPORT_HOOK(CoInitializeSecurity)(Answers(S_OK));

    Utils::InitializeSecurity(1);

    EXPECT_EQ(GetCurrentThread(), thread);
    EXPECT_EQ(0x0008u, threadAccess);
    EXPECT_FALSE(asSelf);
    EXPECT_EQ(GetCurrentProcess(), process);
    EXPECT_EQ(0x0008u, processAccess);
    EXPECT_EQ(std::vector<HANDLE>{opened}, closed);
}

TEST(InitializeSecurity, SetsTheSecurityAlsoWithoutOwnerAndGroup)
{
    DescriptorText text;
    IMPORT_HOOK(OpenThreadToken)(FailsWith(ERROR_ACCESS_DENIED));
    IMPORT_HOOK(OpenProcessToken)([](auto...) { return FALSE; });
    IMPORT_HOOK(CoInitializeEx)(Answers(S_OK));
    IMPORT_HOOK(CoUninitialize)([] {});
    IMPORT_HOOK(CoInitializeSecurity)(Keeps(text));

    EXPECT_EQ(S_OK, Utils::InitializeSecurity(1));

    EXPECT_EQ("", text.owner);
    EXPECT_EQ("", text.group);
    EXPECT_EQ(3u, text.entries.size());
    EXPECT_EQ(0, hook_OpenProcessToken.Calls());
}

TEST(InitializeSecurity, WithoutTheSystemSidAdmitsTheOtherTwo)
{
    LogCapture log;
    DescriptorText text;
    IMPORT_HOOK(CreateWellKnownSid)(Fails(WinLocalSystemSid));
    IMPORT_HOOK(CoInitializeEx)(Answers(S_OK));
    IMPORT_HOOK(CoUninitialize)([] {});
    IMPORT_HOOK(CoInitializeSecurity)(Keeps(text));

    EXPECT_EQ(S_OK, Utils::InitializeSecurity(1));

    EXPECT_EQ((std::vector<std::string>{"0:0:1:S-1-5-32-544", "0:0:1:S-1-5-32-545"}), text.entries);
    EXPECT_LINES(log, L"TraceIn|DoCoUnint = 1",
                 L"Error|CreateWellKnownSid with WinLocalSystemSid failed. Error: 0x00000539",
                 L"TraceOut|InitializeSecurity : HRESULT: 0x00000000");
}

TEST(InitializeSecurity, WithoutTheAdministratorsSidAdmitsTheOtherTwo)
{
    LogCapture log;
    DescriptorText text;
    IMPORT_HOOK(CreateWellKnownSid)(Fails(WinBuiltinAdministratorsSid));
    IMPORT_HOOK(CoInitializeEx)(Answers(S_OK));
    IMPORT_HOOK(CoUninitialize)([] {});
    IMPORT_HOOK(CoInitializeSecurity)(Keeps(text));

    EXPECT_EQ(S_OK, Utils::InitializeSecurity(1));

    EXPECT_EQ((std::vector<std::string>{"0:0:1:S-1-5-18", "0:0:1:S-1-5-32-545"}), text.entries);
    EXPECT_LINES(log, L"TraceIn|DoCoUnint = 1",
                 L"Error|CreateWellKnownSid with WinBuiltinAdministratorsSid failed.  Error: 0x00000539",
                 L"TraceOut|InitializeSecurity : HRESULT: 0x00000000");
}

TEST(InitializeSecurity, WithoutTheUsersSidAdmitsOnlySystemAndAdministratorsAndStillSetsTheSecurity)
{
    LogCapture log;
    DescriptorText text;
    IMPORT_HOOK(CreateWellKnownSid)(Fails(WinBuiltinUsersSid));
    IMPORT_HOOK(CoInitializeEx)(Answers(S_OK));
    IMPORT_HOOK(CoUninitialize)([] {});
    IMPORT_HOOK(CoInitializeSecurity)(Keeps(text));

    EXPECT_EQ(S_OK, Utils::InitializeSecurity(1));

    EXPECT_EQ(1, hook_CoInitializeSecurity.Calls());
    EXPECT_EQ((std::vector<std::string>{"0:0:1:S-1-5-18", "0:0:1:S-1-5-32-544"}), text.entries);
    EXPECT_LINES(log, L"TraceIn|DoCoUnint = 1",
                 L"Error|CreateWellKnownSid with WinBuiltinUsersSid failed.  Error: 0x00000539",
                 L"TraceOut|InitializeSecurity : HRESULT: 0x00000000");
}

TEST(InitializeSecurity, LeavesOutAPrincipalWhoseEntryCannotBeAdded)
{
    DescriptorText text;
    int call = 0;
    IMPORT_HOOK(AddAccessAllowedAce)
    ([&](PACL acl, DWORD revision, DWORD mask, PSID sid) {
        SetLastError(ERROR_ALLOTTED_SPACE_EXCEEDED);
        return ++call == 2 ? FALSE : hook_AddAccessAllowedAce.RealOfCurrent()(acl, revision, mask, sid);
    });
    IMPORT_HOOK(CoInitializeEx)(Answers(S_OK));
    IMPORT_HOOK(CoUninitialize)([] {});
    IMPORT_HOOK(CoInitializeSecurity)(Keeps(text));

    EXPECT_EQ(S_OK, Utils::InitializeSecurity(1));

    EXPECT_EQ((std::vector<std::string>{"0:0:1:S-1-5-18", "0:0:1:S-1-5-32-545"}), text.entries);
}

TEST(InitializeSecurity, MakesTheThreeSidsInOneBufferOf68Bytes)
{
    std::vector<int> types;
    std::vector<PSID> buffers;
    std::vector<DWORD> sizes;
    UINT flags = 99;
    SIZE_T allocated = 0;
    HLOCAL memory = nullptr;
    IMPORT_HOOK(LocalAlloc)
    ([&](UINT how, SIZE_T bytes) {
        flags = how;
        allocated = bytes;
        memory = hook_LocalAlloc.RealOfCurrent()(how, bytes);
        return memory;
    });
    IMPORT_HOOK(CreateWellKnownSid)
    ([&](WELL_KNOWN_SID_TYPE type, PSID domain, PSID sid, DWORD* size) {
        EXPECT_EQ(nullptr, domain);
        types.push_back(type);
        buffers.push_back(sid);
        sizes.push_back(*size);
        return hook_CreateWellKnownSid.RealOfCurrent()(type, domain, sid, size);
    });
    IMPORT_HOOK(CoInitializeEx)(Answers(S_OK));
    IMPORT_HOOK(CoUninitialize)([] {});
    IMPORT_HOOK(CoInitializeSecurity)(Answers(S_OK));

    Utils::InitializeSecurity(1);

    EXPECT_EQ(1, hook_LocalAlloc.Calls());
    EXPECT_EQ(0u, flags);
    EXPECT_EQ(68u, allocated);
    EXPECT_EQ((std::vector<int>{22, 26, 27}), types);
    EXPECT_EQ((std::vector<PSID>{memory, memory, memory}), buffers);
    EXPECT_EQ((std::vector<DWORD>{68, 68, 68}), sizes);
}

TEST(InitializeSecurity, FreesTheSidBufferBeforeItEntersAnApartment)
{
    std::vector<const char*> order;
    IMPORT_HOOK(LocalFree)
    ([&](HLOCAL memory) {
        order.push_back("free");
        return hook_LocalFree.RealOfCurrent()(memory);
    });
    IMPORT_HOOK(CoInitializeEx)
    ([&](auto...) {
        order.push_back("enter");
        return S_OK;
    });
    IMPORT_HOOK(CoInitializeSecurity)
    ([&](auto...) {
        order.push_back("security");
        return S_OK;
    });
    IMPORT_HOOK(CoUninitialize)([&] { order.push_back("leave"); });

    Utils::InitializeSecurity(1);

    EXPECT_EQ((std::vector<const char*>{"free", "enter", "security", "leave"}), order);
}

TEST(InitializeSecurity, WithoutMemoryForTheSidFails)
{
    LogCapture log;
    IMPORT_HOOK(LocalAlloc)([](auto...) -> HLOCAL { return nullptr; });
    IMPORT_HOOK(LocalFree)([](auto...) -> HLOCAL { return nullptr; });
    IMPORT_HOOK(CoInitializeEx)(Answers(S_OK));
    IMPORT_HOOK(CoInitializeSecurity)(Answers(S_OK));
    IMPORT_HOOK(CoUninitialize)([] {});

    EXPECT_EQ(static_cast<HRESULT>(0x80004005), Utils::InitializeSecurity(1));

    EXPECT_RECORDS(log, L"TraceIn|Utils::InitializeSecurity|DoCoUnint = 1",
                   L"Error|Utils::InitializeSecurity|LocalAlloc failed for PSID",
                   L"TraceOut|Utils::InitializeSecurity|InitializeSecurity : HRESULT: 0x80004005");
    EXPECT_EQ(0, hook_LocalFree.Calls());
    EXPECT_EQ(0, hook_CoInitializeEx.Calls());
    EXPECT_EQ(0, hook_CoInitializeSecurity.Calls());
    EXPECT_EQ(0, hook_CoUninitialize.Calls());
}

TEST(InitializeSecurity, EntersASingleThreadedApartment)
{
    void* reserved = &reserved;
    DWORD model = 0;
    IMPORT_HOOK(CoInitializeEx)
    ([&](void* reservedValue, DWORD flags) {
        reserved = reservedValue;
        model = flags;
        return S_OK;
    });
    IMPORT_HOOK(CoInitializeSecurity)(Answers(S_OK));
    IMPORT_HOOK(CoUninitialize)([] {});

    Utils::InitializeSecurity(1);

    EXPECT_EQ(nullptr, reserved);
    EXPECT_EQ(2u, model);
}

TEST(InitializeSecurity, SetsConnectAuthenticationAndImpersonation)
{
    LONG services = 0;
    void* list = &services;
    void* reserved1 = &services;
    DWORD authentication = 0;
    DWORD impersonation = 0;
    void* authenticationList = &services;
    DWORD capabilities = 99;
    void* reserved3 = &services;
    IMPORT_HOOK(CoInitializeEx)(Answers(S_OK));
    IMPORT_HOOK(CoUninitialize)([] {});
    IMPORT_HOOK(CoInitializeSecurity)
    ([&](PSECURITY_DESCRIPTOR, LONG count, SOLE_AUTHENTICATION_SERVICE* serviceList, void* reserved, DWORD level,
         DWORD impersonationLevel, void* authList, DWORD caps, void* reservedLast) {
        services = count;
        list = serviceList;
        reserved1 = reserved;
        authentication = level;
        impersonation = impersonationLevel;
        authenticationList = authList;
        capabilities = caps;
        reserved3 = reservedLast;
        return S_OK;
    });

    Utils::InitializeSecurity(1);

    EXPECT_EQ(-1, services);
    EXPECT_EQ(nullptr, list);
    EXPECT_EQ(nullptr, reserved1);
    EXPECT_EQ(2u, authentication);
    EXPECT_EQ(3u, impersonation);
    EXPECT_EQ(nullptr, authenticationList);
    EXPECT_EQ(0u, capabilities);
    EXPECT_EQ(nullptr, reserved3);
}

TEST(InitializeSecurity, ThatCannotEnterAnApartmentGivesThatResultAndStillLeavesIt)
{
    LogCapture log;
    IMPORT_HOOK(CoInitializeEx)(Answers(static_cast<HRESULT>(0x80010106)));
    IMPORT_HOOK(CoInitializeSecurity)(Answers(S_OK));
    IMPORT_HOOK(CoUninitialize)([] {});

    EXPECT_EQ(static_cast<HRESULT>(0x80010106), Utils::InitializeSecurity(1));

    EXPECT_EQ(0, hook_CoInitializeSecurity.Calls());
    EXPECT_EQ(1, hook_CoUninitialize.Calls());
    EXPECT_LINES(log, L"TraceIn|DoCoUnint = 1", L"Error|CoInitializeEx failed. Error: 0x80010106",
                 L"TraceOut|InitializeSecurity : HRESULT: 0x80010106");
}

TEST(InitializeSecurity, GoesOnInAnApartmentThatTheThreadIsAlreadyIn)
{
    IMPORT_HOOK(CoInitializeEx)(Answers(S_FALSE));
    IMPORT_HOOK(CoInitializeSecurity)(Answers(S_OK));
    IMPORT_HOOK(CoUninitialize)([] {});

    EXPECT_EQ(S_OK, Utils::InitializeSecurity(1));

    EXPECT_EQ(1, hook_CoInitializeSecurity.Calls());
}

TEST(InitializeSecurity, ThatComRefusesGivesThatResult)
{
    LogCapture log;
    IMPORT_HOOK(CoInitializeEx)(Answers(S_OK));
    IMPORT_HOOK(CoInitializeSecurity)(Answers(static_cast<HRESULT>(0x80010119)));
    IMPORT_HOOK(CoUninitialize)([] {});

    EXPECT_EQ(static_cast<HRESULT>(0x80010119), Utils::InitializeSecurity(1));

    EXPECT_EQ(1, hook_CoUninitialize.Calls());
    EXPECT_LINES(log, L"TraceIn|DoCoUnint = 1", L"Error|CoInitializeSecurity failed. Error: 0x80010119",
                 L"TraceOut|InitializeSecurity : HRESULT: 0x80010119");
}

TEST(InitializeSecurity, WithoutTheFlagStaysInTheApartment)
{
    LogCapture log;
    IMPORT_HOOK(CoInitializeEx)(Answers(S_OK));
    IMPORT_HOOK(CoInitializeSecurity)(Answers(S_OK));
    IMPORT_HOOK(CoUninitialize)([] {});

    EXPECT_EQ(S_OK, Utils::InitializeSecurity(0));

    EXPECT_EQ(0, hook_CoUninitialize.Calls());
    EXPECT_LINES(log, L"TraceIn|DoCoUnint = 0", L"TraceOut|InitializeSecurity : HRESULT: 0x00000000");
}

TEST(InitializeSecurity, IsTimedWhenDiagnosticsAreOn)
{
    const auto log = LogCapture::Diagnostics();
    IMPORT_HOOK(CoInitializeEx)(Answers(E_FAIL));

    Utils::InitializeSecurity(0);

    const auto lines = log->LinesOf("Utils::InitializeSecurity");
    ASSERT_EQ(4u, lines.size());
    EXPECT_EQ(0u, lines[3].find(L"Diag|Elapsed time = "));
}

TEST(InitializeSecurity, SucceedsForRealAndLeavesTheThreadFreeForAnotherApartment)
{
    EXPECT_EQ(S_OK, Utils::InitializeSecurity(1));

    EXPECT_EQ(S_OK, CoInitializeEx(nullptr, COINIT_MULTITHREADED));
    CoUninitialize();
}

TEST(ComSecurityDescriptor, StartsEmptyWithRevisionOne)
{
    CComSecurityDescriptor descriptor;

    EXPECT_EQ(S_OK, descriptor.Initialize());

    const DescriptorText text = Describe(descriptor.Get());
    EXPECT_EQ(1, text.revision);
    EXPECT_EQ("", text.owner);
    EXPECT_EQ("", text.group);
    EXPECT_FALSE(text.daclPresent);
}

TEST(ComSecurityDescriptor, ThatCannotBeInitializedGivesTheError)
{
    IMPORT_HOOK(InitializeSecurityDescriptor)(FailsWith(1305));
    CComSecurityDescriptor descriptor;

    EXPECT_EQ(static_cast<HRESULT>(0x80070519), descriptor.Initialize());
    EXPECT_EQ(static_cast<HRESULT>(0x80070519), descriptor.InitializeFromThreadToken(true));
}

TEST(ComSecurityDescriptor, InitializedAgainForgetsItsParts)
{
    Sid everyone{WinWorldSid};
    CComSecurityDescriptor descriptor;
    ASSERT_EQ(S_OK, descriptor.InitializeFromThreadToken(true));
    ASSERT_EQ(S_OK, descriptor.Allow(everyone.Get(), 1));

    EXPECT_EQ(S_OK, descriptor.Initialize());
    EXPECT_EQ(S_OK, descriptor.Allow(everyone.Get(), 2));

    const DescriptorText text = Describe(descriptor.Get());
    EXPECT_EQ("", text.owner);
    EXPECT_EQ(std::vector<std::string>{"0:0:2:S-1-1-0"}, text.entries);
}

TEST(ComSecurityDescriptor, OfAThreadWithoutATokenFailsWhenTheProcessMayNotStandIn)
{
    IMPORT_HOOK(OpenProcessToken)([](auto...) { return FALSE; });
    CComSecurityDescriptor descriptor;

    EXPECT_EQ(kNoToken, descriptor.InitializeFromThreadToken(false));

    EXPECT_EQ(0, hook_OpenProcessToken.Calls());
}

TEST(ComSecurityDescriptor, OfAnUnreadableTokenGivesTheError)
{
    CComSecurityDescriptor descriptor;
    {
        IMPORT_HOOK(OpenThreadToken)(FailsWith(5));
        EXPECT_EQ(kAccessDenied, descriptor.InitializeFromThreadToken(true));
    }
    {
        IMPORT_HOOK(OpenProcessToken)(FailsWith(5));
        EXPECT_EQ(kAccessDenied, descriptor.InitializeFromThreadToken(true));
    }
    {
        IMPORT_HOOK(GetTokenInformation)(FailsWith(5));
        EXPECT_EQ(kAccessDenied, descriptor.InitializeFromThreadToken(true));
    }
    {
        IMPORT_HOOK(SetSecurityDescriptorOwner)(FailsWith(5));
        EXPECT_EQ(kAccessDenied, descriptor.InitializeFromThreadToken(true));
    }
    {
        IMPORT_HOOK(SetSecurityDescriptorGroup)(FailsWith(5));
        EXPECT_EQ(kAccessDenied, descriptor.InitializeFromThreadToken(true));
    }
}

TEST(ComSecurityDescriptor, KeepsItsEntriesWhenTheListCannotBeSet)
{
    Sid system{WinLocalSystemSid};
    Sid users{WinBuiltinUsersSid};
    CComSecurityDescriptor descriptor;
    ASSERT_EQ(S_OK, descriptor.Initialize());
    ASSERT_EQ(S_OK, descriptor.Allow(system.Get(), 1));
    {
        IMPORT_HOOK(SetSecurityDescriptorDacl)(FailsWith(5));
        EXPECT_EQ(kAccessDenied, descriptor.Allow(users.Get(), 1));
    }

    EXPECT_EQ(std::vector<std::string>{"0:0:1:S-1-5-18"}, Describe(descriptor.Get()).entries);
}

TEST(GetTokenSid, AsksForTheSizeFirst)
{
    Sid user{WinAnonymousSid};
    std::vector<DWORD> sizes;
    IMPORT_HOOK(GetTokenInformation)
    ([&](HANDLE, TOKEN_INFORMATION_CLASS, void* buffer, DWORD size, DWORD* needed) {
        sizes.push_back(size);
        *needed = 64;
        if (buffer == nullptr)
        {
            SetLastError(ERROR_INSUFFICIENT_BUFFER);
            return FALSE;
        }
        *static_cast<PSID*>(buffer) = user.Get();
        return TRUE;
    });
    CSecurityBlock sid;

    EXPECT_EQ(S_OK, Utils::GetTokenSid(kToken, TokenUser, &sid));

    EXPECT_EQ((std::vector<DWORD>{0, 64}), sizes);
    EXPECT_EQ("S-1-5-7", SidText(sid.get()));
}

TEST(GetTokenSid, WhoseSecondQueryFailsGivesTheError)
{
    IMPORT_HOOK(GetTokenInformation)
    ([](HANDLE, TOKEN_INFORMATION_CLASS, void* buffer, DWORD, DWORD* needed) {
        *needed = 64;
        SetLastError(buffer == nullptr ? ERROR_INSUFFICIENT_BUFFER : ERROR_ACCESS_DENIED);
        return FALSE;
    });
    CSecurityBlock sid;

    EXPECT_EQ(kAccessDenied, Utils::GetTokenSid(kToken, TokenUser, &sid));
}

TEST(GetTokenSid, WithoutMemoryGivesOutOfMemory)
{
    HANDLE token = nullptr;
    ASSERT_TRUE(OpenProcessToken(GetCurrentProcess(), TOKEN_QUERY, &token));
    CSecurityBlock sid;
    HRESULT first = S_OK;
    HRESULT second = S_OK;
    {
        const AllocationFault fault{0};
        first = Utils::GetTokenSid(token, TokenUser, &sid);
    }
    {
        const AllocationFault fault{1};
        second = Utils::GetTokenSid(token, TokenUser, &sid);
    }
    CloseHandle(token);

    EXPECT_EQ(static_cast<HRESULT>(0x8007000E), first);
    EXPECT_EQ(static_cast<HRESULT>(0x8007000E), second);
    EXPECT_EQ(nullptr, sid.get());
}

TEST(CopySidToBlock, CopiesTheSid)
{
    Sid users{WinBuiltinUsersSid};
    CSecurityBlock copy;

    EXPECT_EQ(S_OK, Utils::CopySidToBlock(users.Get(), &copy));

    EXPECT_NE(users.Get(), copy.get());
    EXPECT_EQ("S-1-5-32-545", SidText(copy.get()));
}

TEST(CopySidToBlock, WithoutATargetGivesPointerError)
{
    Sid users{WinBuiltinUsersSid};

    EXPECT_EQ(static_cast<HRESULT>(0x80004003), Utils::CopySidToBlock(users.Get(), nullptr));
    EXPECT_EQ(static_cast<HRESULT>(0x80004003), Utils::CopySidToBlock(nullptr, nullptr));
}

TEST(CopySidToBlock, OfAnInvalidSidGivesInvalidArgument)
{
    BYTE rubbish[SECURITY_MAX_SID_SIZE]{};
    CSecurityBlock copy;

    EXPECT_EQ(static_cast<HRESULT>(0x80070057), Utils::CopySidToBlock(rubbish, &copy));
    EXPECT_EQ(static_cast<HRESULT>(0x80070057), Utils::CopySidToBlock(nullptr, &copy));
    EXPECT_EQ(nullptr, copy.get());
}

TEST(CopySidToBlock, WithoutMemoryGivesOutOfMemory)
{
    Sid users{WinBuiltinUsersSid};
    CSecurityBlock copy;
    HRESULT result = S_OK;
    {
        const AllocationFault fault{0};
        result = Utils::CopySidToBlock(users.Get(), &copy);
    }

    EXPECT_EQ(static_cast<HRESULT>(0x8007000E), result);
}

TEST(CopySidToBlock, ThatTheSystemRefusesGivesTheError)
{
    IMPORT_HOOK(CopySid)(FailsWith(5));
    Sid users{WinBuiltinUsersSid};
    CSecurityBlock copy;

    EXPECT_EQ(kAccessDenied, Utils::CopySidToBlock(users.Get(), &copy));

    EXPECT_EQ(nullptr, copy.get());
}

TEST(AddAccessAllowed, StartsANewListOfRevisionTwo)
{
    Sid users{WinBuiltinUsersSid};
    CSecurityBlock acl;

    EXPECT_EQ(S_OK, Utils::AddAccessAllowed(nullptr, 5, users.Get(), &acl));

    auto* const list = reinterpret_cast<PACL>(acl.get());
    EXPECT_EQ(2, list->AclRevision);
    EXPECT_EQ(std::vector<std::string>{"0:0:5:S-1-5-32-545"}, EntriesOf(list));
}

TEST(AddAccessAllowed, KeepsTheOldEntriesOfEveryKindInTheirOrder)
{
    Sid users{WinBuiltinUsersSid};
    Sid everyone{WinWorldSid};
    alignas(DWORD) BYTE memory[256]{};
    auto* const old = reinterpret_cast<PACL>(memory);
    ASSERT_TRUE(InitializeAcl(old, sizeof memory, ACL_REVISION));
    ASSERT_TRUE(AddAccessDeniedAce(old, ACL_REVISION, 4, everyone.Get()));
    ASSERT_TRUE(AddAccessAllowedAceEx(old, ACL_REVISION, CONTAINER_INHERIT_ACE, 8, users.Get()));
    CSecurityBlock acl;

    EXPECT_EQ(S_OK, Utils::AddAccessAllowed(old, 1, everyone.Get(), &acl));

    EXPECT_EQ((std::vector<std::string>{"1:0:4:S-1-1-0", "0:2:8:S-1-5-32-545", "0:0:1:S-1-1-0"}),
              EntriesOf(reinterpret_cast<PACL>(acl.get())));
    EXPECT_EQ(2, old->AceCount);
}

TEST(AddAccessAllowed, OfAnInvalidSidGivesInvalidArgument)
{
    BYTE rubbish[SECURITY_MAX_SID_SIZE]{};
    CSecurityBlock acl;

    EXPECT_EQ(static_cast<HRESULT>(0x80070057), Utils::AddAccessAllowed(nullptr, 1, rubbish, &acl));
    EXPECT_EQ(static_cast<HRESULT>(0x80070057), Utils::AddAccessAllowed(nullptr, 1, nullptr, &acl));
    EXPECT_EQ(nullptr, acl.get());
}

TEST(AddAccessAllowed, WithoutATargetGivesPointerError)
{
    Sid users{WinBuiltinUsersSid};

    EXPECT_EQ(static_cast<HRESULT>(0x80004003), Utils::AddAccessAllowed(nullptr, 1, users.Get(), nullptr));
}

TEST(AddAccessAllowed, WithoutMemoryGivesOutOfMemory)
{
    Sid users{WinBuiltinUsersSid};
    CSecurityBlock acl;
    HRESULT result = S_OK;
    {
        const AllocationFault fault{0};
        result = Utils::AddAccessAllowed(nullptr, 1, users.Get(), &acl);
    }

    EXPECT_EQ(static_cast<HRESULT>(0x8007000E), result);
}

TEST(AddAccessAllowed, ThatTheSystemRefusesGivesTheErrorAndNoList)
{
    Sid users{WinBuiltinUsersSid};
    CSecurityBlock old;
    ASSERT_EQ(S_OK, Utils::AddAccessAllowed(nullptr, 1, users.Get(), &old));
    auto* const oldList = reinterpret_cast<PACL>(old.get());
    CSecurityBlock acl;
    {
        IMPORT_HOOK(InitializeAcl)(FailsWith(5));
        EXPECT_EQ(kAccessDenied, Utils::AddAccessAllowed(oldList, 1, users.Get(), &acl));
    }
    {
        IMPORT_HOOK(GetAce)(FailsWith(5));
        EXPECT_EQ(kAccessDenied, Utils::AddAccessAllowed(oldList, 1, users.Get(), &acl));
    }
    {
        IMPORT_HOOK(AddAce)(FailsWith(5));
        EXPECT_EQ(kAccessDenied, Utils::AddAccessAllowed(oldList, 1, users.Get(), &acl));
    }
    {
        IMPORT_HOOK(AddAccessAllowedAce)(FailsWith(5));
        EXPECT_EQ(kAccessDenied, Utils::AddAccessAllowed(oldList, 1, users.Get(), &acl));
    }

    EXPECT_EQ(nullptr, acl.get());
}
