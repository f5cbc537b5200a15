#include "sysinfo/SysInfoText.h"

#include "shared/WideText.h"

#include <algorithm>
#include <cwchar>
#include <regex>

using Quil::Shared::FormatText;

namespace RpcServer
{

namespace
{

// ASCII only: the codes of a model do not depend on a locale.
constexpr wchar_t Upper(wchar_t character) noexcept
{
    return character >= L'a' && character <= L'z' ? static_cast<wchar_t>(character - L'a' + L'A') : character;
}

constexpr bool EqualIgnoringCase(std::wstring_view left, std::wstring_view right) noexcept
{
    return std::ranges::equal(left, right, {}, Upper, Upper);
}

// The expression's own idea of a word character.
bool IsWordCharacter(wchar_t character)
{
    static const std::regex_traits<wchar_t>& traits = *new std::regex_traits<wchar_t>;
    static constexpr wchar_t kWord[] = L"w";
    static const auto word = traits.lookup_classname(kWord, kWord + 1);
    return traits.isctype(character, word);
}

} // namespace

std::wstring_view OptionCode(std::wstring_view sku) noexcept
{
    const std::size_t mark = sku.find(L'#');
    return mark == std::wstring_view::npos ? sku : sku.substr(mark + 1);
}

std::wstring_view FamilyCode(std::wstring_view family) noexcept
{
    const std::size_t blank = family.find(L' ');
    if (blank == std::wstring_view::npos)
    {
        return {};
    }
    const std::wstring_view first = family.substr(0, blank);
    return first.substr(first.size() - std::min<std::size_t>(first.size(), 2));
}

bool IsListed(std::wstring_view code, std::span<const std::wstring_view> table) noexcept
{
    return std::ranges::any_of(table, [code](std::wstring_view entry) { return EqualIgnoringCase(code, entry); });
}

std::int64_t LeadingNumber(const std::wstring& text) noexcept
{
    return std::wcstoll(text.c_str(), nullptr, 10);
}

std::int64_t WrappingSum(std::int64_t left, std::int64_t right) noexcept
{
    return static_cast<std::int64_t>(static_cast<std::uint64_t>(left) + static_cast<std::uint64_t>(right));
}

std::wstring MemoryText(std::int64_t installedMiB, std::int64_t usableMiB)
{
    // Deliberate: the usable amount alone chooses the unit.
    if (usableMiB >= 1024)
    {
        return FormatText(L"%.2f GB (%.2f GB %s)", static_cast<double>(installedMiB) / 1024.0,
                          static_cast<double>(usableMiB) / 1024.0, L"usable");
    }
    return FormatText(L"%lld MB (%lld MB %s)", installedMiB, usableMiB, L"usable");
}

std::optional<OemField> FindOemField(std::wstring_view oemStrings, std::wstring_view tag) noexcept
{
    const std::size_t found = oemStrings.find(tag);
    if (found == std::wstring_view::npos)
    {
        return std::nullopt;
    }
    const std::wstring_view rest = oemStrings.substr(found + tag.size());
    const std::size_t end = rest.find(L';');
    return OemField{rest.substr(0, end), end != std::wstring_view::npos};
}

bool IsFactoryBuild(const std::wstring& build)
{
    // Never destroyed: a reading may still run while the process ends.
    static const std::wregex& expression = *new std::wregex{L"\\w{10,}#{1}\\w{4}#{1}\\w{4};?"};

    // The matcher goes one call deeper per character, so a long text would overflow the stack. All that may follow the
    // first ten characters and precede the last eleven is more word characters of the first group; they are checked
    // here and left out, which changes nothing for the rest.
    constexpr std::size_t head = 10;
    constexpr std::size_t tail = 11;
    if (build.size() <= head + tail)
    {
        return std::regex_match(build, expression);
    }
    const auto middle = build.begin() + head;
    const auto end = build.end() - tail;
    if (!std::all_of(middle, end, IsWordCharacter))
    {
        return false;
    }
    return std::regex_match(std::wstring{build.begin(), middle} + std::wstring{end, build.end()}, expression);
}

std::wstring JoinFields(std::span<std::wstring* const> fields)
{
    std::wstring text;
    const wchar_t* separator = L"";
    for (std::wstring* field : fields)
    {
        if (field->empty())
        {
            *field = L"null";
        }
        text += separator;
        text += *field;
        separator = L"<.^.>";
    }
    return text;
}

} // namespace RpcServer
