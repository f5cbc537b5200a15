// What the stand-ins know about the tokens that they handed out. A token is recognised by its identity in the system,
// so that duplicated handles are told apart and reused handle values never lie.
#pragma once

#include <windows.h>

#include <optional>
#include <string>

namespace Testbed
{

struct TokenFacts
{
    std::wstring user;
    DWORD session{};
    TOKEN_ELEVATION_TYPE elevation{TokenElevationTypeDefault};
    bool uiAccess{};
};

void RememberToken(HANDLE token, const TokenFacts& facts);
std::optional<TokenFacts> RecallToken(HANDLE token);

// The elevation type that the profile gives the users' tokens.
TOKEN_ELEVATION_TYPE ProfileElevation();

// For a record: user, session, elevation and UI access.
std::wstring DescribeToken(HANDLE token);

} // namespace Testbed
