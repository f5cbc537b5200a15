// Capability SIDs, against SIDs that every Windows 10 carries in the access lists of its registry.
#include "testbed/windows/CapabilitySids.h"

#include <gtest/gtest.h>

#include <sddl.h>

#include <string>

namespace
{

struct DerivedSids
{
    std::wstring group;
    std::wstring capability;
    DWORD groupCount{};
    DWORD capabilityCount{};
};

std::wstring TakeSid(PSID* sids)
{
    LPWSTR text = nullptr;
    ConvertSidToStringSidW(sids[0], &text);
    const std::wstring copy{text};
    LocalFree(text);
    LocalFree(sids[0]);
    LocalFree(sids);
    return copy;
}

DerivedSids Derive(const wchar_t* name)
{
    PSID* groups = nullptr;
    PSID* capabilities = nullptr;
    DerivedSids result;
    EXPECT_TRUE(
        Testbed::DeriveCapabilitySids(name, &groups, &result.groupCount, &capabilities, &result.capabilityCount));
    result.group = TakeSid(groups);
    result.capability = TakeSid(capabilities);
    return result;
}

} // namespace

TEST(DeriveCapabilitySids, GivesTheKnownSidOfRegistryRead)
{
    EXPECT_EQ(L"S-1-15-3-1024-1065365936-1281604716-3511738428-1654721687-432734479-3232135806-4053264122-3456934681",
              Derive(L"registryRead").capability);
}

TEST(DeriveCapabilitySids, GivesTheKnownSidOfLpacCom)
{
    EXPECT_EQ(L"S-1-15-3-1024-2405443489-874036122-4286035555-1823921565-1746547431-2453885448-3625952902-991631256",
              Derive(L"lpacCom").capability);
}

TEST(DeriveCapabilitySids, DoesNotLookAtTheCaseOfTheName)
{
    EXPECT_EQ(Derive(L"LPACCOM").capability, Derive(L"lpaccom").capability);
}

TEST(DeriveCapabilitySids, GroupHasTheSameWordsBelowTheBuiltinDomain)
{
    EXPECT_EQ(L"S-1-5-32-1065365936-1281604716-3511738428-1654721687-432734479-3232135806-4053264122-3456934681",
              Derive(L"registryRead").group);
}

TEST(DeriveCapabilitySids, GivesOneOfEach)
{
    const DerivedSids sids = Derive(L"registryRead");

    EXPECT_EQ(1u, sids.groupCount);
    EXPECT_EQ(1u, sids.capabilityCount);
}
