// Process-wide COM security: the descriptor that reaches COM, and the result of each failing step.
#include "utils/ComSecurity.h"

#include "tests/harness/AllocationFault.h"
#include "tests/harness/ImportHook.h"
#include "tests/harness/LogCapture.h"
#include "tests/unit/utils/ComSecurityStandIns.h"

#include <gtest/gtest.h>

#include <objbase.h>

#include <map>
#include <string>
#include <utility>
#include <vector>

using namespace ComSecurityStandIns;

namespace
{

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

auto Answers(HRESULT result)
{
    return [result](auto...) { return result; };
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
