#include "shared/WideFormat.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <cwchar>
#include <string_view>

namespace Quil::Shared
{

namespace
{

// Text that is cut at the end of its buffer.
class COutput
{
  public:
    COutput(wchar_t* begin, std::size_t size) noexcept : m_pBegin{begin}, m_pOut{begin}, m_pEnd{begin + size} {}

    void Put(wchar_t character) noexcept
    {
        if (m_pOut != m_pEnd)
        {
            *m_pOut++ = character;
        }
    }
    void Fill(wchar_t character, std::size_t count) noexcept
    {
        m_pOut = std::fill_n(m_pOut, std::min(count, Room()), character);
    }
    // Narrow characters become the wide ones of the same number, as in the C locale.
    template <typename Character> void Put(std::basic_string_view<Character> text) noexcept
    {
        const auto part = text.substr(0, Room());
        if constexpr (sizeof(Character) == sizeof(wchar_t))
        {
            m_pOut = std::copy(part.begin(), part.end(), m_pOut);
        }
        else
        {
            m_pOut = std::transform(part.begin(), part.end(), m_pOut, [](Character character) {
                return static_cast<wchar_t>(static_cast<unsigned char>(character));
            });
        }
    }
    std::size_t End() noexcept
    {
        *m_pOut = L'\0';
        return static_cast<std::size_t>(m_pOut - m_pBegin);
    }

  private:
    std::size_t Room() const noexcept { return static_cast<std::size_t>(m_pEnd - m_pOut); }

    wchar_t* m_pBegin;
    wchar_t* m_pOut;
    wchar_t* m_pEnd; // one more character fits there
};

struct CConversion
{
    bool bLeft{false};
    bool bZeros{false};
    std::size_t nWidth{0};
    int nLongs{0};
    wchar_t cType{L'\0'};
};

// Reads what stands behind the percent sign and gives its end.
const wchar_t* Parse(const wchar_t* in, CConversion& conversion) noexcept
{
    for (; *in == L'-' || *in == L'0'; ++in)
    {
        (*in == L'-' ? conversion.bLeft : conversion.bZeros) = true;
    }
    for (int digits = 0; *in >= L'0' && *in <= L'9' && digits < 4; ++in, ++digits)
    {
        conversion.nWidth = conversion.nWidth * 10 + static_cast<std::size_t>(*in - L'0');
    }
    for (; *in == L'l'; ++in)
    {
        ++conversion.nLongs;
    }
    conversion.cType = *in;
    return *in == L'\0' ? in : in + 1;
}

template <typename Character>
void PutText(COutput& output, const CConversion& conversion, std::basic_string_view<Character> text) noexcept
{
    const std::size_t padding = conversion.nWidth > text.size() ? conversion.nWidth - text.size() : 0;
    output.Fill(L' ', conversion.bLeft ? 0 : padding);
    output.Put(text);
    output.Fill(L' ', conversion.bLeft ? padding : 0);
}

void PutNumber(COutput& output, const CConversion& conversion, std::uint64_t magnitude, bool negative) noexcept
{
    const unsigned base = conversion.cType == L'x' || conversion.cType == L'X' ? 16 : 10;
    const char* const digits = conversion.cType == L'X' ? "0123456789ABCDEF" : "0123456789abcdef";
    wchar_t text[24];
    wchar_t* const end = text + 24;
    wchar_t* begin = end;
    do
    {
        *--begin = static_cast<wchar_t>(digits[magnitude % base]);
        magnitude /= base;
    } while (magnitude != 0);

    const std::wstring_view number{begin, static_cast<std::size_t>(end - begin)};
    const std::size_t length = number.size() + (negative ? 1 : 0);
    const std::size_t padding = conversion.nWidth > length ? conversion.nWidth - length : 0;
    const bool zeros = conversion.bZeros && !conversion.bLeft;
    output.Fill(L' ', conversion.bLeft || zeros ? 0 : padding);
    if (negative)
    {
        output.Put(L'-');
    }
    output.Fill(L'0', zeros ? padding : 0);
    output.Put(number);
    output.Fill(L' ', conversion.bLeft ? padding : 0);
}

} // namespace

std::optional<std::size_t> FormatSimple(wchar_t* buffer, std::size_t size, const wchar_t* format,
                                        va_list arguments) noexcept
{
    COutput output{buffer, size - 1};
    const wchar_t* in = format;
    while (*in != L'\0')
    {
        if (*in != L'%')
        {
            output.Put(*in++);
            continue;
        }
        if (in[1] == L'%')
        {
            output.Put(L'%');
            in += 2;
            continue;
        }
        CConversion conversion;
        in = Parse(in + 1, conversion);
        const bool wideNumber = conversion.nLongs == 2;
        const bool plain = conversion.nLongs == 0 && !conversion.bZeros;
        if (conversion.nLongs > 2)
        {
            return std::nullopt;
        }
        if (conversion.cType == L's' && plain)
        {
            const wchar_t* const text = va_arg(arguments, const wchar_t*);
            PutText<wchar_t>(output, conversion, text != nullptr ? text : L"(null)");
        }
        else if (conversion.cType == L'S' && plain)
        {
            const char* const text = va_arg(arguments, const char*);
            PutText<char>(output, conversion, text != nullptr ? text : "(null)");
        }
        else if (conversion.cType == L'd')
        {
            const std::int64_t value = wideNumber ? va_arg(arguments, long long) : va_arg(arguments, int);
            const auto magnitude = static_cast<std::uint64_t>(value);
            PutNumber(output, conversion, value < 0 ? 0 - magnitude : magnitude, value < 0);
        }
        else if (conversion.cType == L'u' || conversion.cType == L'x' || conversion.cType == L'X')
        {
            PutNumber(output, conversion,
                      wideNumber ? va_arg(arguments, unsigned long long) : va_arg(arguments, unsigned int), false);
        }
        else
        {
            return std::nullopt;
        }
    }
    return output.End();
}

} // namespace Quil::Shared
