// The parts of COM security: the descriptor, SIDs of tokens and their copies, entries of access lists.
#include "utils/ComSecurity.h"

#include "tests/harness/AllocationFault.h"
#include "tests/harness/ImportHook.h"
#include "tests/unit/utils/ComSecurityStandIns.h"

#include <gtest/gtest.h>

#include <objbase.h>

#include <string>
#include <vector>

using namespace ComSecurityStandIns;
using Utils::CComSecurityDescriptor;
using Utils::CSecurityBlock;

namespace
{

constexpr HRESULT kNoToken = static_cast<HRESULT>(0x800703F0);
constexpr HRESULT kAccessDenied = static_cast<HRESULT>(0x80070005);

} // namespace

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
