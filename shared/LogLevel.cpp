#include "shared/LogLevel.h"

#include <cwchar>

namespace Quil::Shared
{

namespace
{

struct LevelName
{
    LogLevel level;
    const wchar_t* name;
};

constexpr LevelName kLevelNames[] = {
    {TraceIn, L"TraceIn"}, {TraceOut, L"TraceOut"}, {Verbose, L"Verbose"}, {Information, L"Information"},
    {Warning, L"Warning"}, {Error, L"Error"},       {Diag, L"Diag"}};

bool EqualIgnoringCase(std::wstring_view left, std::wstring_view right) noexcept
{
    return left.size() == right.size() && _wcsnicmp(left.data(), right.data(), left.size()) == 0;
}

} // namespace

const wchar_t* LogLevelName(int level) noexcept
{
    for (const LevelName& entry : kLevelNames)
    {
        if (entry.level == level)
        {
            return entry.name;
        }
    }
    return L"Undefined";
}

int LogLevelFromName(std::wstring_view name) noexcept
{
    for (const LevelName& entry : kLevelNames)
    {
        if (EqualIgnoringCase(name, entry.name))
        {
            return entry.level;
        }
    }
    // Deliberate: "Never" and every misspelt word are the same; as a minimum they switch off, as a maximum they open
    // up.
    return Never;
}

} // namespace Quil::Shared
