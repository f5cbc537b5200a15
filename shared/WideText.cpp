#include "shared/WideText.h"

#include "shared/WideFormat.h"

#include <cstdio>
#include <cwchar>
#include <optional>

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
        // The text and the NUL that std::wstring has room for.
        text.resize(static_cast<std::size_t>(length));
        static_cast<void>(FormatBuffer(text.data(), text.size() + 1, format, arguments));
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
    va_list again;
    va_copy(again, arguments);
    std::size_t length = 0;
    if (const std::optional<std::size_t> simple = FormatSimple(buffer, size, format, arguments))
    {
        length = *simple;
    }
    else
    {
        const int written = _vsnwprintf(buffer, size - 1, format, again);
        // Cut or failed: what fits stays, terminated at the last position.
        buffer[size - 1] = L'\0';
        length = written >= 0 ? static_cast<std::size_t>(written) : wcsnlen(buffer, size);
        buffer[length] = L'\0';
    }
    va_end(again);
    return length;
}

std::wstring DirectoryOf(std::wstring_view path)
{
    return std::wstring{path.substr(0, path.find_last_of(L'\\'))};
}

} // namespace Quil::Shared
