// RpcServerConnect and RpcServerDisconnect: the descriptor, the arguments, each failing step, and the clean-up.
// Length: its Connect holds a hook for each call that it watches.
#include "rpc/RpcEndpoint.h"

#include "compat/MissingDeclarations.h"
#include "tests/harness/ImportHook.h"
#include "tests/harness/LogCapture.h"
#include "tests/wire/CapabilitySid.h"
#include <HotKeyRpc.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <windows.h>

#include <aclapi.h>
#include <rpc.h>

#include <algorithm>
#include <functional>
#include <string>
#include <vector>

namespace
{

// What the outside world sees of one RpcServerConnect. Each step succeeds without effect unless told otherwise.
class Server
{
  public:
    // How many SIDs DeriveCapabilitySidsFromName gives.
    DWORD dwGroups{1};
    DWORD dwCapabilities{1};
    bool bNoCapabilityArray{false};

    // Statuses of the steps; 0 succeeds. A BOOL step fails with the status as its last error.
    DWORD dwDerive{0};
    DWORD dwAllocateSid{0};
    DWORD dwSetEntries{0};
    DWORD dwInitialize{0};
    DWORD dwSetDacl{0};
    bool bDeriveFails{false}; // with that last error, also with 0
    RPC_STATUS nUseEndpoint{0};
    RPC_STATUS nRegister{0};
    RPC_STATUS nListen{0};

    std::vector<std::string> steps;
    std::vector<std::wstring> names;  // what was derived, opened
    std::vector<void*> expectedLocal; // memory that has to be freed
    std::vector<void*> localFrees;
    std::vector<void*> sidFrees;
    PSID everyone{nullptr};
    std::function<void(const EXPLICIT_ACCESS_W*)> onEntries{[](auto) {}};
    std::function<void(PSECURITY_DESCRIPTOR)> onListen{[](auto) {}};
    PSECURITY_DESCRIPTOR endpointDescriptor{nullptr};
    PSECURITY_DESCRIPTOR interfaceDescriptor{nullptr};
    unsigned nRequests{0};
    RPC_IF_HANDLE hInterface{nullptr};
    std::vector<unsigned> registration; // flags, calls, size
    std::vector<unsigned> listening;    // threads, calls, do not wait

    DWORD Connect(bool dontWait = false)
    {
        IMPORT_HOOK(DeriveCapabilitySidsFromName)
        ([&](LPCWSTR name, PSID** groups, DWORD* groupCount, PSID** capabilities, DWORD* capabilityCount) -> BOOL {
            steps.emplace_back("derive");
            names.emplace_back(name);
            if (dwDerive != 0 || bDeriveFails)
            {
                SetLastError(dwDerive);
                return FALSE;
            }
            *groups = Remember(LocalSidArray(dwGroups), dwGroups);
            *groupCount = dwGroups;
            *capabilities = bNoCapabilityArray ? nullptr : Remember(LocalSidArray(dwCapabilities), dwCapabilities);
            *capabilityCount = dwCapabilities;
            return TRUE;
        });
        IMPORT_HOOK(AllocateAndInitializeSid)
        ([&](auto* authority, BYTE count, auto... rest) -> BOOL {
            steps.emplace_back("everyone");
            if (dwAllocateSid != 0)
            {
                SetLastError(dwAllocateSid);
                return FALSE;
            }
            const BOOL made = decltype(hook_AllocateAndInitializeSid)::RealOfCurrent()(authority, count, rest...);
            everyone = *LastOf(rest...);
            return made;
        });
        IMPORT_HOOK(SetEntriesInAclW)
        ([&](ULONG count, PEXPLICIT_ACCESS_W entries, PACL old, PACL* acl) -> DWORD {
            steps.emplace_back("entries");
            EXPECT_EQ(2U, count);
            EXPECT_EQ(nullptr, old);
            onEntries(entries);
            if (dwSetEntries != 0)
            {
                return dwSetEntries;
            }
            const DWORD status = decltype(hook_SetEntriesInAclW)::RealOfCurrent()(count, entries, old, acl);
            if (status == 0)
            {
                expectedLocal.push_back(*acl);
            }
            return status;
        });
        IMPORT_HOOK(InitializeSecurityDescriptor)
        ([&](PSECURITY_DESCRIPTOR descriptor, DWORD revision) -> BOOL {
            steps.emplace_back("initialize");
            EXPECT_EQ(1U, revision);
            SetLastError(dwInitialize);
            return dwInitialize == 0 &&
                   decltype(hook_InitializeSecurityDescriptor)::RealOfCurrent()(descriptor, revision);
        });
        IMPORT_HOOK(SetSecurityDescriptorDacl)
        ([&](PSECURITY_DESCRIPTOR descriptor, BOOL present, PACL acl, BOOL defaulted) -> BOOL {
            steps.emplace_back("dacl");
            EXPECT_TRUE(present);
            EXPECT_FALSE(defaulted);
            SetLastError(dwSetDacl);
            return dwSetDacl == 0 &&
                   decltype(hook_SetSecurityDescriptorDacl)::RealOfCurrent()(descriptor, present, acl, defaulted);
        });
        IMPORT_HOOK(RpcServerUseProtseqEpW)
        ([&](RPC_WSTR protocol, unsigned requests, RPC_WSTR endpoint, void* descriptor) -> RPC_STATUS {
            steps.emplace_back("endpoint");
            names.emplace_back(reinterpret_cast<const wchar_t*>(protocol));
            names.emplace_back(reinterpret_cast<const wchar_t*>(endpoint));
            nRequests = requests;
            endpointDescriptor = descriptor;
            return nUseEndpoint;
        });
        IMPORT_HOOK(RpcServerRegisterIf3)
        ([&](RPC_IF_HANDLE interfaceHandle, UUID* type, RPC_MGR_EPV* vector, unsigned flags, unsigned calls,
             unsigned size, RPC_IF_CALLBACK_FN* callback, void* descriptor) -> RPC_STATUS {
            steps.emplace_back("register");
            EXPECT_EQ(nullptr, type);
            EXPECT_EQ(nullptr, vector);
            EXPECT_TRUE(callback == nullptr);
            hInterface = interfaceHandle;
            registration = {flags, calls, size};
            interfaceDescriptor = descriptor;
            return nRegister;
        });
        IMPORT_HOOK(RpcServerListen)
        ([&](unsigned threads, unsigned calls, unsigned noWait) -> RPC_STATUS {
            steps.emplace_back("listen");
            listening = {threads, calls, noWait};
            onListen(interfaceDescriptor);
            return nListen;
        });
        IMPORT_HOOK(LocalFree)
        ([&](HLOCAL memory) -> HLOCAL {
            if (std::ranges::count(expectedLocal, memory) != 0)
            {
                localFrees.push_back(memory);
            }
            return decltype(hook_LocalFree)::RealOfCurrent()(memory);
        });
        IMPORT_HOOK(FreeSid)
        ([&](PSID sid) -> PVOID {
            sidFrees.push_back(sid);
            return decltype(hook_FreeSid)::RealOfCurrent()(sid);
        });
        return RpcServerConnect(dontWait);
    }

    // All that was handed out has come back, once.
    void ExpectCleanedUp() const
    {
        EXPECT_THAT(localFrees, testing::UnorderedElementsAreArray(expectedLocal));
        if (everyone != nullptr)
        {
            EXPECT_THAT(sidFrees, testing::ElementsAre(everyone));
        }
        else
        {
            EXPECT_THAT(sidFrees, testing::IsEmpty());
        }
    }

  private:
    PSID* Remember(PSID* sids, DWORD count)
    {
        expectedLocal.insert(expectedLocal.end(), sids, sids + count);
        expectedLocal.push_back(sids);
        return sids;
    }
    static PSID* LastOf(DWORD, DWORD, DWORD, DWORD, DWORD, DWORD, DWORD, DWORD, PSID* sid) { return sid; }
};

} // namespace

TEST(RpcServerConnect, TakesTheStepsInOrder)
{
    Server server;

    EXPECT_EQ(0U, server.Connect());

    EXPECT_THAT(server.steps, testing::ElementsAre("derive", "everyone", "entries", "initialize", "dacl", "endpoint",
                                                   "register", "listen"));
    EXPECT_THAT(server.names,
                testing::ElementsAre(L"QuilInc.hotKeyService_k3f9x2mq7tw1a", L"ncalrpc", L"TLYRpcEndpoint"));
    server.ExpectCleanedUp();
}

TEST(RpcServerConnect, OpensAndListensWithItsNumbers)
{
    Server server;

    server.Connect();

    EXPECT_EQ(10U, server.nRequests);
    EXPECT_EQ(HotKeyRpc_v1_0_s_ifspec, server.hInterface);
    EXPECT_THAT(server.registration, testing::ElementsAre(0x21U, 1234U, 0U));
    EXPECT_THAT(server.listening, testing::ElementsAre(1U, 1234U, 0U));
    EXPECT_NE(nullptr, server.endpointDescriptor);
    EXPECT_EQ(server.endpointDescriptor, server.interfaceDescriptor);
}

TEST(RpcServerConnect, PassesOnThatItShallNotWait)
{
    Server server;

    server.Connect(true);

    EXPECT_THAT(server.listening, testing::ElementsAre(1U, 1234U, 1U));
}

TEST(RpcServerConnect, AdmitsEveryoneAndTheCompanionApp)
{
    Server server;
    bool looked = false;
    server.onEntries = [&](const EXPLICIT_ACCESS_W* entries) {
        looked = true;
        const TRUSTEE_TYPE types[]{TRUSTEE_IS_WELL_KNOWN_GROUP, TRUSTEE_IS_UNKNOWN};
        for (int i = 0; i < 2; ++i)
        {
            EXPECT_EQ(0x10000000U, entries[i].grfAccessPermissions);
            EXPECT_EQ(SET_ACCESS, entries[i].grfAccessMode);
            EXPECT_EQ(0U, entries[i].grfInheritance);
            EXPECT_EQ(TRUSTEE_IS_SID, entries[i].Trustee.TrusteeForm);
            EXPECT_EQ(types[i], entries[i].Trustee.TrusteeType);
        }
    };

    server.Connect();

    EXPECT_TRUE(looked);
}

TEST(RpcServerConnect, DescriptorHoldsTwoAllowEntriesWhileItListens)
{
    Server server;
    bool looked = false;
    server.onListen = [&](PSECURITY_DESCRIPTOR descriptor) {
        looked = true;
        BOOL present = FALSE;
        BOOL defaulted = TRUE;
        PACL acl = nullptr;
        ASSERT_TRUE(GetSecurityDescriptorDacl(descriptor, &present, &acl, &defaulted));
        EXPECT_TRUE(present);
        EXPECT_FALSE(defaulted);
        ASSERT_EQ(2, acl->AceCount);

        const BYTE everyone[]{1, 1, 0, 0, 0, 0, 0, 1, 0, 0, 0, 0};
        const BYTE capability[]{1, 3, 0, 0, 0, 0, 0, 15, 3, 0, 0, 0, 0, 4, 0, 0, 7, 0, 0, 0};
        const BYTE* const sids[]{everyone, capability};
        const std::size_t lengths[]{sizeof(everyone), sizeof(capability)};
        for (DWORD i = 0; i < 2; ++i)
        {
            void* entry = nullptr;
            ASSERT_TRUE(GetAce(acl, i, &entry));
            const auto* const ace = static_cast<const ACCESS_ALLOWED_ACE*>(entry);
            EXPECT_EQ(ACCESS_ALLOWED_ACE_TYPE, ace->Header.AceType);
            EXPECT_EQ(0, ace->Header.AceFlags);
            EXPECT_EQ(0x10000000U, ace->Mask);
            EXPECT_EQ(0, memcmp(&ace->SidStart, sids[i], lengths[i])) << i;
        }

        PSID owner = nullptr;
        PSID group = nullptr;
        PACL sacl = nullptr;
        EXPECT_TRUE(GetSecurityDescriptorOwner(descriptor, &owner, &defaulted));
        EXPECT_EQ(nullptr, owner);
        EXPECT_TRUE(GetSecurityDescriptorGroup(descriptor, &group, &defaulted));
        EXPECT_EQ(nullptr, group);
        EXPECT_TRUE(GetSecurityDescriptorSacl(descriptor, &present, &sacl, &defaulted));
        EXPECT_FALSE(present);
        EXPECT_TRUE(server.localFrees.empty()) << "the ACL stays while the server listens";
    };

    server.Connect();

    EXPECT_TRUE(looked);
}

TEST(RpcServerConnect, FreesInTheOrderGroupsCapabilitiesEveryoneAcl)
{
    Server server;
    server.dwGroups = 2;

    server.Connect();

    // Two group SIDs, their array, the capability SID, its array, the ACL: in the order of their making.
    EXPECT_EQ(server.expectedLocal, server.localFrees);
    server.ExpectCleanedUp();
}

TEST(RpcServerConnect, FailingDerivationIsTheStatus)
{
    Server server;
    server.dwDerive = 1332;

    EXPECT_EQ(1332U, server.Connect());

    EXPECT_THAT(server.steps, testing::ElementsAre("derive"));
    server.ExpectCleanedUp();
}

TEST(RpcServerConnect, DerivationThatFailsWithoutAnErrorEndsWithStatus0)
{
    Server server;
    server.bDeriveFails = true;

    EXPECT_EQ(0U, server.Connect());

    EXPECT_THAT(server.steps, testing::ElementsAre("derive"));
    server.ExpectCleanedUp();
}

TEST(RpcServerConnect, LetsAnExceptionOfAnyStepOut)
{
    IMPORT_HOOK(DeriveCapabilitySidsFromName)([](auto...) -> BOOL { throw DWORD{5}; });

    EXPECT_THROW(RpcServerConnect(false), DWORD);
}

TEST(RpcServerConnect, NoCapabilityIs87AndTheEndpointStaysClosed)
{
    Server server;
    server.dwCapabilities = 0;

    EXPECT_EQ(87U, server.Connect());

    EXPECT_THAT(server.steps, testing::ElementsAre("derive"));
    server.ExpectCleanedUp();
}

TEST(RpcServerConnect, TwoCapabilitiesAre87AndTheEndpointStaysClosed)
{
    Server server;
    server.dwCapabilities = 2;

    EXPECT_EQ(87U, server.Connect());

    EXPECT_THAT(server.steps, testing::ElementsAre("derive"));
    EXPECT_EQ(5U, server.localFrees.size());
    server.ExpectCleanedUp();
}

TEST(RpcServerConnect, MissingCapabilityArrayIsANullTrustee)
{
    Server server;
    server.bNoCapabilityArray = true;
    const void* trustee = &server;
    server.onEntries = [&](const EXPLICIT_ACCESS_W* entries) { trustee = entries[1].Trustee.ptstrName; };

    EXPECT_EQ(87U, server.Connect());

    EXPECT_EQ(nullptr, trustee);
    EXPECT_THAT(server.steps, testing::ElementsAre("derive", "everyone", "entries"));
    server.ExpectCleanedUp();
}

TEST(RpcServerConnect, FailingEveryoneSidIsTheStatus)
{
    Server server;
    server.dwAllocateSid = 8;

    EXPECT_EQ(8U, server.Connect());

    EXPECT_THAT(server.steps, testing::ElementsAre("derive", "everyone"));
    server.ExpectCleanedUp();
}

TEST(RpcServerConnect, FailingAclIsTheStatus)
{
    Server server;
    server.dwSetEntries = 1340;

    EXPECT_EQ(1340U, server.Connect());

    EXPECT_THAT(server.steps, testing::ElementsAre("derive", "everyone", "entries"));
    server.ExpectCleanedUp();
}

TEST(RpcServerConnect, FailingDescriptorIsTheStatus)
{
    Server server;
    server.dwInitialize = 1305;

    EXPECT_EQ(1305U, server.Connect());

    EXPECT_THAT(server.steps, testing::ElementsAre("derive", "everyone", "entries", "initialize"));
    server.ExpectCleanedUp();
}

TEST(RpcServerConnect, FailingDaclIsTheStatus)
{
    Server server;
    server.dwSetDacl = 1338;

    EXPECT_EQ(1338U, server.Connect());

    EXPECT_THAT(server.steps, testing::ElementsAre("derive", "everyone", "entries", "initialize", "dacl"));
    server.ExpectCleanedUp();
}

TEST(RpcServerConnect, DuplicateEndpointIsTheStatus)
{
    Server server;
    server.nUseEndpoint = 1740;

    EXPECT_EQ(1740U, server.Connect());

    EXPECT_EQ("endpoint", server.steps.back());
    server.ExpectCleanedUp();
}

TEST(RpcServerConnect, FailingRegistrationIsTheStatus)
{
    Server server;
    server.nRegister = 1711;

    EXPECT_EQ(1711U, server.Connect());

    EXPECT_EQ("register", server.steps.back());
    server.ExpectCleanedUp();
}

TEST(RpcServerConnect, FailingListenIsTheStatus)
{
    Server server;
    server.nListen = 1716;

    EXPECT_EQ(1716U, server.Connect());

    server.ExpectCleanedUp();
}

TEST(RpcServerConnect, AlreadyListeningIsSuccess)
{
    Server server;
    server.nListen = 1713;

    EXPECT_EQ(0U, server.Connect());

    server.ExpectCleanedUp();
}

TEST(RpcServerConnect, LogsNothing)
{
    LogCapture log;
    Server failing;
    failing.nUseEndpoint = 1740;

    failing.Connect();
    Server{}.Connect();

    EXPECT_LINES(log);
}

TEST(RpcServerDisconnect, StopsListeningThenWaitsForTheCalls)
{
    LogCapture log;
    std::vector<std::string> calls;
    IMPORT_HOOK(RpcMgmtStopServerListening)
    ([&](RPC_BINDING_HANDLE binding) -> RPC_STATUS {
        EXPECT_EQ(nullptr, binding);
        calls.emplace_back("stop");
        return 0;
    });
    IMPORT_HOOK(RpcServerUnregisterIf)
    ([&](RPC_IF_HANDLE interfaceHandle, UUID* type, unsigned wait) -> RPC_STATUS {
        EXPECT_EQ(HotKeyRpc_v1_0_s_ifspec, interfaceHandle);
        EXPECT_EQ(nullptr, type);
        EXPECT_EQ(1U, wait);
        calls.emplace_back("unregister");
        return 0;
    });

    RpcServerDisconnect();

    EXPECT_THAT(calls, testing::ElementsAre("stop", "unregister"));
    EXPECT_RECORDS(log, L"TraceIn|RpcServerDisconnect|",
                   L"Information|RpcServerDisconnect|RpcMgmtStopServerListening() returned : 0",
                   L"Information|RpcServerDisconnect|RpcServerUnregisterIf() returned : 0",
                   L"TraceOut|RpcServerDisconnect|");
}

TEST(RpcServerDisconnect, WithoutAServerLogsTheStatusesAndReturns)
{
    LogCapture log;
    IMPORT_HOOK(RpcMgmtStopServerListening)([](RPC_BINDING_HANDLE) -> RPC_STATUS { return 1715; });
    IMPORT_HOOK(RpcServerUnregisterIf)([](RPC_IF_HANDLE, UUID*, unsigned) -> RPC_STATUS { return 1717; });

    RpcServerDisconnect();

    EXPECT_LINES(log, L"TraceIn|", L"Information|RpcMgmtStopServerListening() returned : 1715",
                 L"Information|RpcServerUnregisterIf() returned : 1717", L"TraceOut|");
}

TEST(RpcServerDisconnect, RunTimeItselfRefusesWithoutAServer)
{
    LogCapture log;

    RpcServerDisconnect();

    EXPECT_LINES(log, L"TraceIn|", L"Information|RpcMgmtStopServerListening() returned : 1715",
                 L"Information|RpcServerUnregisterIf() returned : 1717", L"TraceOut|");
}
