// The logged-on user's language and country, which Wine takes from the Unix environment: [locale] language, country.
#include "testbed/Outcome.h"
#include "testbed/Profile.h"
#include "testbed/windows/ImportTable.h"
#include "testbed/windows/StandIns.h"

#include <windows.h>

#include <string>

namespace Testbed
{
namespace
{

int Answer(const std::wstring& text, LPWSTR buffer, int size)
{
    const int needed = static_cast<int>(text.size()) + 1;
    if (size == 0)
    {
        return needed;
    }
    if (size < needed)
    {
        SetLastError(ERROR_INSUFFICIENT_BUFFER);
        return 0;
    }
    text.copy(buffer, text.size());
    buffer[text.size()] = L'\0';
    return needed;
}

int WINAPI GetUserLocale(LCID locale, LCTYPE what, LPWSTR buffer, int size)
{
    const bool language = what == LOCALE_SISO639LANGNAME;
    if (language || what == LOCALE_SISO3166CTRYNAME)
    {
        if (PrescribedFailure(L"locale", language ? L"language error" : L"country error"))
        {
            return 0;
        }
        const std::wstring text = ProfileValue(L"locale", language ? L"language" : L"country", L"");
        if (!text.empty())
        {
            return Answer(text, buffer, size);
        }
    }
    return GetLocaleInfoW(locale, what, buffer, size);
}

} // namespace

void InstallLocaleStandIns()
{
    TESTBED_REPLACE(GetLocaleInfoW, GetUserLocale);
}

} // namespace Testbed
