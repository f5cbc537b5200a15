#include "testbed/windows/Sessions.h"

#include "testbed/Profile.h"
#include "testbed/Text.h"
#include "testbed/windows/ImportTable.h"
#include "testbed/windows/StandIns.h"

#include <iterator>

namespace Testbed
{
namespace
{

constexpr wchar_t kSection[] = L"session";
constexpr DWORD kNoSession = 0xFFFFFFFF;

WTS_CONNECTSTATE_CLASS StateOf(std::wstring_view word)
{
    static constexpr const wchar_t* words[] = {L"active", L"connected", L"connectquery", L"shadow", L"disconnected",
                                               L"idle",   L"listen",    L"reset",        L"down",   L"init"};
    for (std::size_t state = 0; state < std::size(words); ++state)
    {
        if (SameName(word, words[state]))
        {
            return static_cast<WTS_CONNECTSTATE_CLASS>(state);
        }
    }
    return WTSDisconnected;
}

DWORD WINAPI GetConsoleSessionId()
{
    return ConsoleSession();
}

} // namespace

std::vector<Session> Sessions()
{
    std::vector<Session> sessions;
    for (const auto& [key, value] : ProfileEntries(kSection))
    {
        if (key.empty() || key.find_first_not_of(L"0123456789") != std::wstring::npos)
        {
            continue;
        }
        std::vector<std::wstring> parts = SplitList(value, L',');
        parts.resize(3);
        sessions.push_back({std::wcstoul(key.c_str(), nullptr, 10), StateOf(parts[0]), parts[1], parts[2]});
    }
    return sessions;
}

DWORD ConsoleSession()
{
    return ProfileNumber(kSection, L"console", kNoSession);
}

void InstallSessionStandIns()
{
    TESTBED_REPLACE(WTSGetActiveConsoleSessionId, GetConsoleSessionId);
}

} // namespace Testbed
