#include "testbed/fennix/FennixAnswer.h"

#include "testbed/Text.h"

#include <wtypes.h>

#include <cwchar>
#include <optional>
#include <string>

namespace Testbed
{
namespace
{

// Decimal or 0x-prefixed, all of it, taken as 32 bits.
std::optional<long> Number(std::wstring_view text)
{
    const std::wstring copy{Trimmed(text)};
    wchar_t* end = nullptr;
    const long long number = std::wcstoll(copy.c_str(), &end, 0);
    if (copy.empty() || *end != L'\0')
    {
        return std::nullopt;
    }
    return static_cast<long>(number);
}

} // namespace

FennixAnswer ParseFennixAnswer(std::wstring_view text)
{
    constexpr std::wstring_view fail = L"fail:";
    const std::wstring_view answer = Trimmed(text);
    if (SameName(answer, L"yes") || SameName(answer, L"no"))
    {
        return {S_OK, SameName(answer, L"yes") ? VARIANT_TRUE : VARIANT_FALSE, false};
    }
    if (SameName(answer, L"throw"))
    {
        return {S_OK, 0, true};
    }
    if (SameName(answer.substr(0, fail.size()), fail))
    {
        return {Number(answer.substr(fail.size())).value_or(E_INVALIDARG), 0, false};
    }
    const std::optional<long> number = Number(answer);
    return number ? FennixAnswer{S_OK, *number, false} : FennixAnswer{E_INVALIDARG, 0, false};
}

} // namespace Testbed
