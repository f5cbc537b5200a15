// What the security functions return when a system call gives an unusual error or size.
#include "utils/ComSecurity.h"

#include "tests/harness/ImportHook.h"

#include <gtest/gtest.h>

#include <windows.h>

using Utils::CopySidToBlock;
using Utils::CSecurityBlock;
using Utils::GetTokenSid;

namespace
{

PSID SystemSid()
{
    static BYTE sid[SECURITY_MAX_SID_SIZE];
    DWORD size = sizeof sid;
    EXPECT_TRUE(CreateWellKnownSid(WinLocalSystemSid, nullptr, sid, &size));
    return sid;
}

} // namespace

TEST(ComSecurityResult, AnErrorThatIsAResultAlreadyStaysAsItIs)
{
    IMPORT_HOOK(CopySid)
    ([](DWORD, PSID, PSID) {
        SetLastError(static_cast<DWORD>(E_ACCESSDENIED));
        return FALSE;
    });
    IMPORT_HOOK(GetTokenInformation)
    ([](auto...) {
        SetLastError(static_cast<DWORD>(E_ACCESSDENIED));
        return FALSE;
    });
    CSecurityBlock copy;

    EXPECT_EQ(E_ACCESSDENIED, CopySidToBlock(SystemSid(), &copy));
    EXPECT_EQ(E_ACCESSDENIED, GetTokenSid(nullptr, TokenUser, &copy));
    EXPECT_EQ(nullptr, copy);
}

TEST(ComSecurityResult, ATokenThatNeedsNoRoomIsReadAllTheSame)
{
    IMPORT_HOOK(GetTokenInformation)
    ([&](HANDLE, TOKEN_INFORMATION_CLASS, LPVOID, DWORD, PDWORD needed) {
        *needed = 0;
        SetLastError(ERROR_INVALID_HANDLE);
        return hook_GetTokenInformation.Calls() == 1;
    });
    CSecurityBlock copy;

    EXPECT_EQ(HRESULT_FROM_WIN32(ERROR_INVALID_HANDLE), GetTokenSid(nullptr, TokenUser, &copy));

    EXPECT_EQ(2, hook_GetTokenInformation.Calls());
}
