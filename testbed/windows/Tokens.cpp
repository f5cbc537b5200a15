#include "testbed/windows/Tokens.h"

#include "testbed/Outcome.h"
#include "testbed/Profile.h"
#include "testbed/Text.h"
#include "testbed/windows/ImportTable.h"
#include "testbed/windows/StandIns.h"

#include <map>
#include <mutex>

namespace Testbed
{
namespace
{

struct TokenBook
{
    std::mutex lock;
    std::map<LONGLONG, TokenFacts> facts; // by token id; guarded by lock
};

TokenBook& Book()
{
    // Never destroyed: RPC threads may still launch while the process ends.
    static TokenBook& book = *new TokenBook;
    return book;
}

LONGLONG IdentityOf(HANDLE token)
{
    TOKEN_STATISTICS statistics{};
    DWORD length = 0;
    GetTokenInformation(token, TokenStatistics, &statistics, sizeof(statistics), &length);
    return (static_cast<LONGLONG>(statistics.TokenId.HighPart) << 32) | statistics.TokenId.LowPart;
}

std::wstring WordFor(TOKEN_ELEVATION_TYPE elevation)
{
    switch (elevation)
    {
    case TokenElevationTypeFull:
        return L"full";
    case TokenElevationTypeLimited:
        return L"limited";
    default:
        return L"default";
    }
}

BOOL WINAPI DuplicateWithFacts(HANDLE token, DWORD access, LPSECURITY_ATTRIBUTES attributes,
                               SECURITY_IMPERSONATION_LEVEL level, TOKEN_TYPE type, PHANDLE duplicate)
{
    if (PrescribedFailure(L"launch", L"duplicate token") ||
        !DuplicateTokenEx(token, access, attributes, level, type, duplicate))
    {
        return FALSE;
    }
    if (const std::optional<TokenFacts> facts = RecallToken(token))
    {
        RememberToken(*duplicate, *facts);
    }
    return TRUE;
}

// On Windows only the system may set it, and Wine does not know it: the wish is kept with the token.
BOOL WINAPI SetInformation(HANDLE token, TOKEN_INFORMATION_CLASS what, void* value, DWORD size)
{
    if (what != TokenUIAccess)
    {
        return SetTokenInformation(token, what, value, size);
    }
    if (PrescribedFailure(L"launch", L"ui access"))
    {
        return FALSE;
    }
    TokenFacts facts = RecallToken(token).value_or(TokenFacts{});
    facts.uiAccess = *static_cast<const DWORD*>(value) != 0;
    RememberToken(token, facts);
    return TRUE;
}

BOOL QueryLinkedToken(HANDLE token, TokenFacts facts, void* value)
{
    if (PrescribedFailure(L"session", L"linked token"))
    {
        return FALSE;
    }
    auto* const linked = static_cast<TOKEN_LINKED_TOKEN*>(value);
    if (!DuplicateTokenEx(token, MAXIMUM_ALLOWED, nullptr, SecurityIdentification, TokenPrimary, &linked->LinkedToken))
    {
        return FALSE;
    }
    facts.elevation = TokenElevationTypeFull;
    RememberToken(linked->LinkedToken, facts);
    return TRUE;
}

BOOL WINAPI GetInformation(HANDLE token, TOKEN_INFORMATION_CLASS what, void* value, DWORD size, PDWORD needed)
{
    if (what == TokenElevationType || what == TokenLinkedToken)
    {
        if (const std::optional<TokenFacts> facts = RecallToken(token))
        {
            if (what == TokenLinkedToken)
            {
                *needed = sizeof(TOKEN_LINKED_TOKEN);
                return QueryLinkedToken(token, *facts, value);
            }
            *needed = sizeof(facts->elevation);
            *static_cast<TOKEN_ELEVATION_TYPE*>(value) = facts->elevation;
            return TRUE;
        }
    }
    return GetTokenInformation(token, what, value, size, needed);
}

} // namespace

void RememberToken(HANDLE token, const TokenFacts& facts)
{
    const LONGLONG identity = IdentityOf(token);
    const std::lock_guard lock{Book().lock};
    Book().facts[identity] = facts;
}

std::optional<TokenFacts> RecallToken(HANDLE token)
{
    const LONGLONG identity = IdentityOf(token);
    const std::lock_guard lock{Book().lock};
    const auto found = Book().facts.find(identity);
    return found != Book().facts.end() ? std::optional{found->second} : std::nullopt;
}

TOKEN_ELEVATION_TYPE ProfileElevation()
{
    const std::wstring word = ProfileValue(L"session", L"elevation", L"default");
    for (const TOKEN_ELEVATION_TYPE elevation : {TokenElevationTypeFull, TokenElevationTypeLimited})
    {
        if (SameName(word, WordFor(elevation)))
        {
            return elevation;
        }
    }
    return TokenElevationTypeDefault;
}

std::wstring DescribeToken(HANDLE token)
{
    const std::optional<TokenFacts> facts = RecallToken(token);
    if (!facts)
    {
        return L"user=? session=? elevation=? ui-access=no";
    }
    return L"user=" + (facts->user.empty() ? L"?" : facts->user) + L" session=" + std::to_wstring(facts->session) +
           L" elevation=" + WordFor(facts->elevation) + L" ui-access=" + (facts->uiAccess ? L"yes" : L"no");
}

void InstallTokenStandIns()
{
    TESTBED_REPLACE(DuplicateTokenEx, DuplicateWithFacts);
    TESTBED_REPLACE(SetTokenInformation, SetInformation);
    TESTBED_REPLACE(GetTokenInformation, GetInformation);
}

} // namespace Testbed
