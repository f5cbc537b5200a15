#include "shared/LogLine.h"

#include <emmintrin.h>

#include <algorithm>

namespace Quil::Shared
{

namespace
{

constexpr std::size_t kLevelWidth = 11;
// Digits of the time stamp (17), its separators (6) and bar, thread id and bar, and the bar behind the level.
constexpr std::size_t kPrefixWithoutLevel = 17 + 6 + 1 + 8 + 1 + 1;

// %0<width>u for numbers that fit; a time stamp has no others.
wchar_t* PutDecimal(wchar_t* out, unsigned value, int width) noexcept
{
    for (int i = width - 1; i >= 0; --i)
    {
        out[i] = static_cast<wchar_t>(L'0' + value % 10);
        value /= 10;
    }
    return out + width;
}

// %08X
wchar_t* PutHexadecimal(wchar_t* out, std::uint32_t value) noexcept
{
    constexpr wchar_t kDigits[] = L"0123456789ABCDEF";
    for (int i = 7; i >= 0; --i)
    {
        out[i] = kDigits[value & 0xF];
        value >>= 4;
    }
    return out + 8;
}

constexpr bool IsHighSurrogate(unsigned unit) noexcept
{
    return unit >= 0xD800 && unit < 0xDC00;
}

constexpr bool IsLowSurrogate(unsigned unit) noexcept
{
    return unit >= 0xDC00 && unit < 0xE000;
}

char* PutCodePoint(char* out, unsigned code) noexcept
{
    const auto tail = [&code](unsigned shift) { return static_cast<char>(0x80 | (code >> shift & 0x3F)); };
    if (code < 0x800)
    {
        *out++ = static_cast<char>(0xC0 | code >> 6);
    }
    else if (code < 0x10000)
    {
        *out++ = static_cast<char>(0xE0 | code >> 12);
        *out++ = tail(6);
    }
    else
    {
        *out++ = static_cast<char>(0xF0 | code >> 18);
        *out++ = tail(12);
        *out++ = tail(6);
    }
    *out++ = tail(0);
    return out;
}

} // namespace

// "%04d/%02d/%02d %02d:%02d:%02d.%03d|%08X|%-11s|" and "%S|%s", by hand: this is most of what a record costs.
void FormatLogLine(std::wstring& line, const CLogLineParts& parts)
{
    const std::size_t levelWidth = std::max(parts.strLevelName.size(), kLevelWidth);
    line.resize(kPrefixWithoutLevel + levelWidth + parts.strFunctionName.size() + 1 + parts.strMessage.size());

    wchar_t* out = PutDecimal(line.data(), parts.uYear, 4);
    *out++ = L'/';
    out = PutDecimal(out, parts.uMonth, 2);
    *out++ = L'/';
    out = PutDecimal(out, parts.uDay, 2);
    *out++ = L' ';
    out = PutDecimal(out, parts.uHour, 2);
    *out++ = L':';
    out = PutDecimal(out, parts.uMinute, 2);
    *out++ = L':';
    out = PutDecimal(out, parts.uSecond, 2);
    *out++ = L'.';
    out = PutDecimal(out, parts.uMilliseconds, 3);
    *out++ = L'|';
    out = PutHexadecimal(out, parts.uThreadId);
    *out++ = L'|';
    out = std::copy(parts.strLevelName.begin(), parts.strLevelName.end(), out);
    out = std::fill_n(out, levelWidth - parts.strLevelName.size(), L' ');
    *out++ = L'|';
    // In the C locale a narrow character is the wide one of the same number.
    out = std::transform(parts.strFunctionName.begin(), parts.strFunctionName.end(), out,
                         [](char c) { return static_cast<wchar_t>(static_cast<unsigned char>(c)); });
    *out++ = L'|';
    std::copy(parts.strMessage.begin(), parts.strMessage.end(), out);
}

bool BeginsLikeLogLine(std::wstring_view head) noexcept
{
    return head.size() >= 24 && head[4] == L'/' && head[7] == L'/' && head[10] == L' ' && head[13] == L':' &&
           head[16] == L':' && head[19] == L'.' && head[23] == L'|';
}

char* EncodeUtf8(char* out, std::wstring_view text) noexcept
{
    const wchar_t* in = text.data();
    const wchar_t* const end = in + text.size();
    const __m128i beyondAscii = _mm_set1_epi16(static_cast<short>(0xFF80));
    const __m128i lineFeed = _mm_set1_epi16(L'\n');
    while (in != end)
    {
        // Eight plain characters at a time; nearly all of a log is that.
        for (; end - in >= 8; in += 8, out += 8)
        {
            const __m128i eight = _mm_loadu_si128(reinterpret_cast<const __m128i*>(in));
            const __m128i plain = _mm_cmpeq_epi16(_mm_and_si128(eight, beyondAscii), _mm_setzero_si128());
            if (_mm_movemask_epi8(_mm_andnot_si128(_mm_cmpeq_epi16(eight, lineFeed), plain)) != 0xFFFF)
            {
                break;
            }
            _mm_storel_epi64(reinterpret_cast<__m128i*>(out), _mm_packus_epi16(eight, eight));
        }
        // Up to eight of any kind, then the fast way is tried again.
        for (const wchar_t* const stop = end - in >= 8 ? in + 8 : end; in < stop; ++in)
        {
            const unsigned unit = *in;
            if (unit < 0x80)
            {
                if (unit == L'\n')
                {
                    *out++ = '\r';
                }
                *out++ = static_cast<char>(unit);
            }
            else if (IsHighSurrogate(unit) && end - in > 1 && IsLowSurrogate(in[1]))
            {
                ++in;
                out = PutCodePoint(out, 0x10000 + ((unit - 0xD800) << 10) + (static_cast<unsigned>(*in) - 0xDC00));
            }
            else
            {
                out = PutCodePoint(out, IsHighSurrogate(unit) || IsLowSurrogate(unit) ? 0xFFFD : unit);
            }
        }
    }
    return out;
}

} // namespace Quil::Shared
