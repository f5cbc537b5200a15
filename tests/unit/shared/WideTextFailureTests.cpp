// What becomes of a text when the C run time cannot format it.
#include "shared/WideText.h"

#include "tests/harness/ImportHook.h"

#include <cstdarg>

using namespace Quil::Shared;

namespace
{

// The attributes of these functions keep the macro from naming them; a va_list is a char*.
template <const auto& kName> struct RunTimeFunction
{
    static const wchar_t* Module() { return nullptr; }
    static const char* Name() { return kName; }
};
constexpr char kCount[] = "_vscwprintf";
constexpr char kFormat[] = "_vsnwprintf";
constexpr char kPrint[] = "vwprintf_s";
using CountHook = Harness::ImportHook<RunTimeFunction<kCount>, int(const wchar_t*, char*)>;
using FormatHook = Harness::ImportHook<RunTimeFunction<kFormat>, int(wchar_t*, std::size_t, const wchar_t*, char*)>;
using PrintHook = Harness::ImportHook<RunTimeFunction<kPrint>, int(const wchar_t*, char*)>;

std::size_t Format(wchar_t* buffer, std::size_t size, const wchar_t* format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    const std::size_t length = FormatBuffer(buffer, size, format, arguments);
    va_end(arguments);
    return length;
}

} // namespace

TEST(FormatText, IsEmptyWhenTheRunTimeCannotCount)
{
    const CountHook hook{[](auto...) { return -1; }};

    EXPECT_EQ(L"", FormatText(L"%d", 5));
    EXPECT_EQ(1, hook.Calls());
}

TEST(FormatBuffer, EndsWhatTheRunTimeCannotFormat)
{
    const FormatHook hook{[](wchar_t* buffer, std::size_t, const wchar_t*, char*) {
        buffer[0] = L'a';
        buffer[1] = L'\0';
        return -1;
    }};
    wchar_t buffer[4] = {L'#', L'#', L'#', L'#'};

    EXPECT_EQ(1u, Format(buffer, 4, L"%e", 1.0));
    EXPECT_EQ(std::wstring{L"a"}, buffer);
    EXPECT_EQ(L'\0', buffer[3]);
    EXPECT_EQ(1, hook.Calls());
}

TEST(PrintText, GoesOnWhenNothingCanBePrinted)
{
    const PrintHook hook{[](auto...) { return -1; }};

    EXPECT_NO_THROW(PrintText(L"%s", L"text"));
    EXPECT_EQ(1, hook.Calls());
}
