#include "testbed/wmi/FirmwareProfile.h"

#include "testbed/Profile.h"
#include "testbed/Text.h"

#include <algorithm>
#include <cwchar>

namespace Testbed
{
namespace
{

bool TakePrefix(std::wstring_view& text, std::wstring_view prefix)
{
    if (text.starts_with(prefix))
    {
        text.remove_prefix(prefix.size());
        return true;
    }
    return false;
}

unsigned long Number(std::wstring_view text, int base = 0)
{
    return std::wcstoul(std::wstring{text}.c_str(), nullptr, base);
}

FirmwareValue TextValue(std::wstring text)
{
    FirmwareValue value;
    value.type = VT_BSTR;
    value.text = std::move(text);
    return value;
}

FirmwareValue NumberValue(VARTYPE type, long number)
{
    FirmwareValue value;
    value.type = type;
    value.number = number;
    return value;
}

FirmwareValue ParseValue(std::wstring_view text)
{
    if (text == L"null")
    {
        return NumberValue(VT_NULL, 0);
    }
    if (text == L"empty")
    {
        return TextValue({});
    }
    if (TakePrefix(text, L"i4:"))
    {
        return NumberValue(VT_I4, static_cast<long>(Number(text)));
    }
    if (TakePrefix(text, L"u8:"))
    {
        return NumberValue(VT_UI1, static_cast<long>(Number(text)));
    }
    if (TakePrefix(text, L"bool:"))
    {
        return NumberValue(VT_BOOL, SameName(text, L"yes") ? VARIANT_TRUE : VARIANT_FALSE);
    }
    if (TakePrefix(text, L"list:"))
    {
        FirmwareValue value;
        value.type = VT_ARRAY | VT_BSTR;
        value.list = SplitList(text, L'|');
        return value;
    }
    if (TakePrefix(text, L"repeat:"))
    {
        const std::size_t colon = text.find(L':');
        std::wstring repeated;
        for (unsigned long i = Number(text.substr(0, colon), 10); i > 0 && colon != std::wstring_view::npos; --i)
        {
            repeated += text.substr(colon + 1);
        }
        return TextValue(std::move(repeated));
    }
    if (TakePrefix(text, L"utf16:"))
    {
        std::wstring units;
        for (const std::wstring& unit : SplitList(text, L' '))
        {
            units += static_cast<wchar_t>(Number(unit, 16));
        }
        return TextValue(std::move(units));
    }
    TakePrefix(text, L"text:");
    return TextValue(std::wstring{text});
}

// "*3" behind a step that is not a text of its own.
unsigned long TakeTimes(std::wstring_view& step)
{
    const std::size_t star = step.rfind(L'*');
    const bool keyword = step.starts_with(L"ok") || step.starts_with(L"null") || step.starts_with(L"empty") ||
                         step.starts_with(L"fail:") || step.starts_with(L"i4:") || step.starts_with(L"u8:") ||
                         step.starts_with(L"bool:");
    if (star == std::wstring_view::npos || !keyword)
    {
        return 1;
    }
    const unsigned long times = Number(step.substr(star + 1), 10);
    step = step.substr(0, star);
    return times;
}

FirmwareStep ParseStep(std::wstring_view text)
{
    FirmwareStep step;
    step.times = TakeTimes(text);
    if (text == L"ok")
    {
        step.kind = FirmwareStep::Kind::Ok;
    }
    else if (TakePrefix(text, L"fail:"))
    {
        step.kind = FirmwareStep::Kind::Fail;
        step.error = static_cast<HRESULT>(Number(text));
    }
    else
    {
        step.kind = FirmwareStep::Kind::Value;
        step.value = ParseValue(text);
    }
    return step;
}

// Words, quoted texts (with their opening quote) and single signs of a query.
std::vector<std::wstring> Tokens(std::wstring_view text)
{
    std::vector<std::wstring> tokens;
    while (!(text = Trimmed(text)).empty())
    {
        std::size_t length = 1;
        if (text.front() == L'\'' || text.front() == L'"')
        {
            const std::size_t end = text.find(text.front(), 1);
            tokens.push_back(L"'" + std::wstring{text.substr(1, end == std::wstring_view::npos ? end : end - 1)});
            length = end == std::wstring_view::npos ? text.size() : end + 1;
        }
        else
        {
            if (text.front() != L'=' && text.front() != L',')
            {
                length = std::min(text.find_first_of(L" \t=,'\""), text.size());
            }
            tokens.emplace_back(text.substr(0, length));
        }
        text.remove_prefix(length);
    }
    return tokens;
}

} // namespace

std::vector<FirmwareStep> ParseOutcome(std::wstring_view outcome)
{
    constexpr std::wstring_view then = L" then ";
    std::vector<FirmwareStep> steps;
    if (!outcome.starts_with(L"text:"))
    {
        for (std::size_t end = outcome.find(then); end != std::wstring_view::npos; end = outcome.find(then))
        {
            steps.push_back(ParseStep(Trimmed(outcome.substr(0, end))));
            outcome.remove_prefix(end + then.size());
        }
    }
    steps.push_back(ParseStep(steps.empty() ? outcome : Trimmed(outcome)));
    return steps;
}

FirmwareStep CFirmwareOutcome::Next()
{
    while (m_current + 1 < m_steps.size() && m_used >= m_steps[m_current].times)
    {
        ++m_current;
        m_used = 0;
    }
    ++m_used;
    return m_steps[m_current];
}

std::optional<FirmwareQuery> ParseQuery(std::wstring_view text)
{
    const std::vector<std::wstring> tokens = Tokens(text);
    const auto from = std::ranges::find_if(tokens, [](const std::wstring& token) { return SameName(token, L"FROM"); });
    if (tokens.empty() || !SameName(tokens.front(), L"SELECT") || tokens.end() - from < 2 || from - tokens.begin() < 2)
    {
        return std::nullopt;
    }
    FirmwareQuery query;
    for (auto property = tokens.begin() + 1; property != from; ++property)
    {
        if (*property != L"*" && *property != L",")
        {
            query.properties.push_back(*property);
        }
    }
    query.className = from[1];
    const auto where = from + 2;
    if (where == tokens.end())
    {
        return query;
    }
    if (tokens.end() - where != 4 || !SameName(where[0], L"WHERE") || where[2] != L"=" || !where[3].starts_with(L'\''))
    {
        return std::nullopt;
    }
    query.whereProperty = where[1];
    query.whereValue = where[3].substr(1);
    return query;
}

std::wstring PlainNamespace(std::wstring_view path)
{
    std::wstring plain{path};
    std::ranges::replace(plain, L'/', L'\\');
    if (plain.starts_with(L"\\\\.\\"))
    {
        plain.erase(0, 4);
    }
    return plain;
}

void Delay(std::wstring_view section, std::wstring_view key)
{
    if (const DWORD milliseconds = ProfileNumber(section, key, 0); milliseconds != 0)
    {
        Sleep(milliseconds);
    }
}

std::wstring NamespaceSection(std::wstring_view path)
{
    return L"wmi " + std::wstring{path};
}

std::wstring ClassSection(std::wstring_view path, std::wstring_view className)
{
    return NamespaceSection(path) + L" " + std::wstring{className};
}

bool HasNamespace(std::wstring_view path)
{
    const std::wstring section = NamespaceSection(path);
    return std::ranges::any_of(ProfileSections(), [&](const std::wstring& name) {
        return SameName(name, section) || SameName(name.substr(0, section.size() + 1), section + L" ");
    });
}

bool HasClass(std::wstring_view path, std::wstring_view className)
{
    const std::wstring section = ClassSection(path, className);
    return std::ranges::any_of(ProfileSections(), [&](const std::wstring& name) {
        return SameName(name, section) || SameName(name.substr(0, section.size() + 1), section + L" ");
    });
}

std::vector<std::wstring> SelectRows(std::wstring_view path, const FirmwareQuery& query)
{
    std::vector<std::wstring> rows;
    const std::wstring prefix = ClassSection(path, query.className) + L" ";
    for (const std::wstring& name : ProfileSections())
    {
        const bool selected =
            SameName(name.substr(0, prefix.size()), prefix) && !ProfileEntries(name).empty() &&
            (query.whereProperty.empty() || SameName(ProfileValue(name, query.whereProperty, L""), query.whereValue));
        if (selected)
        {
            rows.push_back(name);
        }
    }
    return rows;
}

} // namespace Testbed
