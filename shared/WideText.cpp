#include "shared/WideText.h"

#include <cstdio>
#include <cwchar>

namespace Quil::Shared
{

namespace WideTextDetail
{

std::wstring FormatText(const wchar_t* format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    va_list counted;
    va_copy(counted, arguments);
    const int length = _vscwprintf(format, counted);
    va_end(counted);
    std::wstring text;
    if (length > 0)
    {
        text.resize(static_cast<std::size_t>(length));
        // The buffer is exactly as long as the text; std::wstring has room for the NUL that is not written.
        static_cast<void>(_vsnwprintf(text.data(), text.size(), format, arguments));
    }
    va_end(arguments);
    return text;
}

int PrintText(const wchar_t* format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    const int printed = vwprintf_s(format, arguments);
    va_end(arguments);
    return printed;
}

} // namespace WideTextDetail

std::size_t FormatBuffer(wchar_t* buffer, std::size_t size, const wchar_t* format, va_list arguments) noexcept
{
    const int written = _vsnwprintf(buffer, size - 1, format, arguments);
    // Cut or failed: what fits stays, terminated at the last position.
    buffer[size - 1] = L'\0';
    if (written >= 0)
    {
        buffer[written] = L'\0';
        return static_cast<std::size_t>(written);
    }
    return wcsnlen(buffer, size);
}

std::wstring DirectoryOf(std::wstring_view path)
{
    return std::wstring{path.substr(0, path.find_last_of(L'\\'))};
}

} // namespace Quil::Shared
