// Formatted wide text: the same with the fast way and with the C run time's.
#include "shared/WideText.h"

#include "shared/WideFormat.h"

#include <gtest/gtest.h>

#include <climits>
#include <cstdio>

using namespace Quil::Shared;

namespace
{

std::wstring ByRunTime(const wchar_t* format, ...)
{
    wchar_t buffer[512];
    va_list arguments;
    va_start(arguments, format);
    const int length = _vsnwprintf(buffer, 512, format, arguments);
    va_end(arguments);
    return {buffer, static_cast<std::size_t>(length)};
}

std::wstring Simple(const wchar_t* format, ...)
{
    wchar_t buffer[512];
    va_list arguments;
    va_start(arguments, format);
    const std::optional<std::size_t> length = FormatSimple(buffer, 512, format, arguments);
    va_end(arguments);
    return length ? std::wstring{buffer, *length} : L"(not simple)";
}

std::wstring Cut(std::size_t size, const wchar_t* format, ...)
{
    wchar_t buffer[64];
    std::fill_n(buffer, 64, L'#');
    va_list arguments;
    va_start(arguments, format);
    const std::size_t length = FormatBuffer(buffer, size, format, arguments);
    va_end(arguments);
    EXPECT_EQ(L'\0', buffer[length]);
    EXPECT_EQ(L'#', buffer[size]);
    return {buffer, length};
}

} // namespace

#define EXPECT_SAME(...) EXPECT_EQ(ByRunTime(__VA_ARGS__), Simple(__VA_ARGS__))

TEST(FormatSimple, GivesWhatTheRunTimeGivesForNumbers)
{
    for (const int value : {0, 1, -1, 9, 10, 255, -12345, INT_MAX, INT_MIN})
    {
        EXPECT_SAME(L"<%d> <%u> <%x> <%X>", value, value, value, value);
        EXPECT_SAME(L"<%5d> <%-5d> <%05d> <%-05d> <%012u>", value, value, value, value, value);
        EXPECT_SAME(L"<0x%08lX> <0x%08x> <%ld> <%lu>", value, value, value, value);
    }
    for (const long long value : {0LL, -1LL, LLONG_MAX, LLONG_MIN, 1234567890123LL})
    {
        EXPECT_SAME(L"<%lld> <%llu> <%llx> <%25lld> <%-25lld> <%025lld>", value, value, value, value, value, value);
    }
}

TEST(FormatSimple, GivesWhatTheRunTimeGivesForTexts)
{
    EXPECT_SAME(L"<%s> <%S>", L"wide \u20AC", "narrow \xE9");
    EXPECT_SAME(L"<%10s> <%-10s> <%10S> <%-10S> <%2s>", L"wide", L"wide", "thin", "thin", L"wide");
    EXPECT_SAME(L"<%s> <%S>", static_cast<const wchar_t*>(nullptr), static_cast<const char*>(nullptr));
    EXPECT_SAME(L"100%% %s%%", L"");
    EXPECT_SAME(L"");
}

TEST(FormatSimple, LeavesEveryOtherConversionToTheRunTime)
{
    for (const wchar_t* const format : {L"%f", L"%7.1Lf", L"%p", L"%.3s", L"%ls", L"%hs", L"%+d", L"% d", L"%#x", L"%c",
                                        L"%*d", L"%I64d", L"%i", L"%08s", L"%", L"%llld", L"x %5"})
    {
        EXPECT_EQ(L"(not simple)", Simple(format, 1, 2, 3, 4)) << format;
    }
}

TEST(FormatBuffer, CutsWhatDoesNotFitAndTerminates)
{
    EXPECT_EQ(L"123", Cut(4, L"%d", 123));
    EXPECT_EQ(L"123", Cut(4, L"%d", 12345));
    EXPECT_EQ(L"abc", Cut(4, L"abcdef"));
    EXPECT_EQ(L"ab ", Cut(4, L"%-10s", L"ab"));
    EXPECT_EQ(L"", Cut(1, L"%d", 5));
    EXPECT_EQ(L"1.2", Cut(4, L"%f", 1.25));
    EXPECT_EQ(L"1.3", Cut(4, L"%.1f", 1.3));
}

TEST(FormatText, HasNoLimit)
{
    EXPECT_EQ(std::wstring(5000, L'x') + L" 5 1.5", FormatText(L"%s %d %.1f", std::wstring(5000, L'x'), 5, 1.5));
    EXPECT_EQ(L"", FormatText(L"%s", L""));
}

TEST(DirectoryOf, IsWhatStandsBeforeTheLastBackslash)
{
    EXPECT_EQ(L"C:\\a", DirectoryOf(L"C:\\a\\b.exe"));
    EXPECT_EQ(L"b.exe", DirectoryOf(L"b.exe"));
    EXPECT_EQ(L"", DirectoryOf(L"\\b.exe"));
}

TEST(FormatSimple, LeavesWidthsOfFiveDigitsAndLongNarrowTextsToTheRunTime)
{
    for (const wchar_t* const format : {L"%12345d", L"%lS", L"%08S"})
    {
        EXPECT_EQ(L"(not simple)", Simple(format, 1, 2, 3, 4)) << format;
    }
}
