#include "MicrosoftRuntime.h"

#include <algorithm>
#include <cerrno>
#include <climits>
#include <string>

namespace
{

using Wide = std::basic_string<char16_t>;

void PutPadded(Wide& out, const Wide& text, long width, long precision, bool left)
{
    const Wide shown = precision >= 0 ? text.substr(0, static_cast<std::size_t>(precision)) : text;
    const auto size = static_cast<long>(shown.size());
    const Wide padding(static_cast<std::size_t>(std::max(width - size, 0L)), u' ');
    out += left ? shown + padding : padding + shown;
}

template <typename Unit> Wide Widened(const Unit* text)
{
    Wide wide;
    for (; *text != 0; ++text)
    {
        wide +=
            sizeof(Unit) == 1 ? static_cast<char16_t>(static_cast<unsigned char>(*text)) : static_cast<char16_t>(*text);
    }
    return wide;
}

// Each conversion on its own, by the narrow printf of the system.
Wide Formatted(const wchar_t* in, va_list arguments)
{
    va_list from;
    va_copy(from, arguments);
    Wide out;
    while (*in != L'\0')
    {
        if (*in != L'%')
        {
            out += static_cast<char16_t>(*in++);
            continue;
        }
        std::string flags;
        for (++in; *in == L'-' || *in == L'0' || *in == L'+' || *in == L' ' || *in == L'#'; ++in)
        {
            flags += static_cast<char>(*in);
        }
        long width = 0;
        for (; *in >= L'0' && *in <= L'9'; ++in)
        {
            width = width * 10 + (*in - L'0');
        }
        long precision = -1;
        if (*in == L'.')
        {
            precision = 0;
            for (++in; *in >= L'0' && *in <= L'9'; ++in)
            {
                precision = precision * 10 + (*in - L'0');
            }
        }
        int longs = 0;
        for (; *in == L'l' || *in == L'L'; ++in)
        {
            longs += *in == L'l' ? 1 : 0;
        }
        const char type = static_cast<char>(*in);
        in += type != '\0' ? 1 : 0;
        const bool left = flags.find('-') != std::string::npos;
        std::string spec = "%" + flags + (width > 0 ? std::to_string(width) : "");
        spec += precision >= 0 ? "." + std::to_string(precision) : "";
        std::string text(static_cast<std::size_t>(width) + 512, '\0');
        const auto put = [&](auto value, const std::string& conversion) {
            const int length = std::snprintf(text.data(), text.size(), (spec + conversion).c_str(), value);
            text.resize(static_cast<std::size_t>(length));
            out += Widened(text.c_str());
        };
        if (type == 's')
        {
            const wchar_t* const value = va_arg(from, const wchar_t*);
            PutPadded(out, Widened(value != nullptr ? value : L"(null)"), width, precision, left);
        }
        else if (type == 'S')
        {
            const char* const value = va_arg(from, const char*);
            PutPadded(out, Widened(value != nullptr ? value : "(null)"), width, precision, left);
        }
        else if (type == 'f')
        {
            put(va_arg(from, double), "f");
        }
        else if (type == 'd' || type == 'u' || type == 'x' || type == 'X')
        {
            // long has 32 bits on Windows.
            longs >= 2 ? put(va_arg(from, long long), std::string{"ll"} + type)
                       : put(va_arg(from, int), std::string{type});
        }
        else if (type != '\0')
        {
            out += static_cast<char16_t>(type);
        }
    }
    va_end(from);
    return out;
}

} // namespace

extern "C"
{

    int _vscwprintf(const wchar_t* format, va_list arguments)
    {
        return static_cast<int>(Formatted(format, arguments).size());
    }

    int _vsnwprintf(wchar_t* buffer, std::size_t count, const wchar_t* format, va_list arguments)
    {
        const Wide text = Formatted(format, arguments);
        std::copy_n(text.begin(), std::min(text.size(), count), buffer);
        if (text.size() > count)
        {
            return -1;
        }
        if (text.size() < count)
        {
            buffer[text.size()] = L'\0';
        }
        return static_cast<int>(text.size());
    }

    // Of std::to_wstring.
    int vswprintf(wchar_t* buffer, std::size_t count, const wchar_t* format, va_list arguments)
    {
        // %lu there is the system's own long.
        std::string narrow;
        for (; *format != L'\0'; ++format)
        {
            narrow += static_cast<char>(*format);
        }
        std::string text(count, '\0');
        const int length = std::vsnprintf(text.data(), count, narrow.c_str(), arguments);
        std::copy_n(text.begin(), std::min(static_cast<std::size_t>(length) + 1, count), buffer);
        return length;
    }

    int vwprintf_s(const wchar_t* format, va_list arguments)
    {
        return _vscwprintf(format, arguments);
    }

    int _wcsnicmp(const wchar_t* left, const wchar_t* right, std::size_t count)
    {
        const auto lower = [](wchar_t c) { return c >= L'A' && c <= L'Z' ? c + (L'a' - L'A') : int{c}; };
        for (; count != 0; --count, ++left, ++right)
        {
            const int difference = lower(*left) - lower(*right);
            if (difference != 0 || *left == L'\0')
            {
                return difference;
            }
        }
        return 0;
    }

    std::size_t wcsnlen(const wchar_t* text, std::size_t size)
    {
        return static_cast<std::size_t>(std::find(text, text + size, L'\0') - text);
    }

    std::size_t wcslen(const wchar_t* text) noexcept
    {
        std::size_t length = 0;
        while (text[length] != L'\0')
        {
            ++length;
        }
        return length;
    }

    wchar_t* wmemcpy(wchar_t* to, const wchar_t* from, std::size_t count) noexcept
    {
        std::copy_n(from, count, to);
        return to;
    }

    wchar_t* wmemmove(wchar_t* to, const wchar_t* from, std::size_t count) noexcept
    {
        to <= from ? static_cast<void>(std::copy_n(from, count, to))
                   : static_cast<void>(std::copy_backward(from, from + count, to + count));
        return to;
    }

    wchar_t* wmemset(wchar_t* to, wchar_t character, std::size_t count) noexcept
    {
        std::fill_n(to, count, character);
        return to;
    }

    int wmemcmp(const wchar_t* left, const wchar_t* right, std::size_t count) noexcept
    {
        for (std::size_t i = 0; i < count; ++i)
        {
            if (left[i] != right[i])
            {
                return left[i] < right[i] ? -1 : 1;
            }
        }
        return 0;
    }

    long long wcstoll(const wchar_t* text, wchar_t** end, int base) noexcept
    {
        // ASCII is all that counts; everything else ends the number.
        std::string narrow;
        for (const wchar_t* in = text; *in > 0 && *in < 0x80; ++in)
        {
            narrow += static_cast<char>(*in);
        }
        char* narrowEnd = nullptr;
        const long long value = std::strtoll(narrow.c_str(), &narrowEnd, base);
        if (end != nullptr)
        {
            *end = const_cast<wchar_t*>(text) + (narrowEnd - narrow.c_str());
        }
        return value;
    }

} // extern "C"

// The one that glibc declares with two versions.
wchar_t* wmemchrOf(const wchar_t* text, wchar_t character, std::size_t count) asm("wmemchr");
wchar_t* wmemchrOf(const wchar_t* text, wchar_t character, std::size_t count)
{
    for (; count != 0; --count, ++text)
    {
        if (*text == character)
        {
            return const_cast<wchar_t*>(text);
        }
    }
    return nullptr;
}
