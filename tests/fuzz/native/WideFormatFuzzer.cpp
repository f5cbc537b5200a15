// The fast formatter beside one that does each conversion by the C library, with buffers of every size.
#include "MicrosoftRuntime.h"

#include "FuzzInput.h"
#include "shared/LogLevel.h"
#include "shared/WideFormat.h"
#include "shared/WideText.h"

#include <optional>
#include <vector>

namespace
{

std::optional<std::size_t> Simple(wchar_t* buffer, std::size_t size, const wchar_t* format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    const auto length = Quil::Shared::FormatSimple(buffer, size, format, arguments);
    va_end(arguments);
    return length;
}

std::size_t Buffered(wchar_t* buffer, std::size_t size, const wchar_t* format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    const std::size_t length = Quil::Shared::FormatBuffer(buffer, size, format, arguments);
    va_end(arguments);
    return length;
}

std::wstring Slow(const wchar_t* format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    std::wstring text(static_cast<std::size_t>(_vscwprintf(format, arguments)), L'\0');
    static_cast<void>(_vsnwprintf(text.data(), text.size(), format, arguments));
    va_end(arguments);
    return text;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    CFuzzInput input{data, size};
    const std::size_t room = 1 + input.Take<std::uint16_t>() % 700;
    const std::string narrow = input.Narrow();
    const std::wstring wide = input.WideText();

    std::wstring format;
    std::uint64_t slots[6]{};
    for (std::uint64_t& slot : slots)
    {
        // Whatever stands between two conversions, then one whose type is known.
        for (const wchar_t c : input.WideText())
        {
            format += c == L'%' ? L"%%" : std::wstring(1, c);
        }
        const unsigned kind = input.Byte();
        const unsigned width = 1 + input.Byte() % 40;
        const bool number = kind % 8 >= 2;
        format += L'%';
        format += (kind & 0x80) != 0 ? L"-" : L"";
        format += number && (kind & 0x40) != 0 ? L"0" : L"";
        format += (kind & 0x20) != 0 ? std::to_wstring(width) : L"";
        constexpr const wchar_t* kTypes[] = {L"s", L"S", L"d", L"u", L"X", L"lx", L"lld", L"llu"};
        format += kTypes[kind % 8];
        const auto value = input.Take<std::uint64_t>();
        const bool null = (kind & 0x10) != 0;
        slot = kind % 8 == 0   ? (null ? 0 : reinterpret_cast<std::uint64_t>(wide.c_str()))
               : kind % 8 == 1 ? (null ? 0 : reinterpret_cast<std::uint64_t>(narrow.c_str()))
                               : value;
    }

    // Of exactly the promised size: the sanitizer sees a character too many. All arguments take one slot of the same
    // size on this machine.
    const auto call = [&](auto function, auto... to) {
        return function(to..., format.c_str(), slots[0], slots[1], slots[2], slots[3], slots[4], slots[5]);
    };
    const std::wstring expected = call(&Slow);
    std::vector<wchar_t> buffer(room, L'x');
    const auto length = call(&Simple, buffer.data(), room);
    HOLDS(length.has_value());
    HOLDS(*length == std::min(expected.size(), room - 1));
    HOLDS(buffer[*length] == L'\0');
    HOLDS(std::equal(buffer.begin(), buffer.begin() + static_cast<std::ptrdiff_t>(*length), expected.begin()));

    // Any text as a format: with arguments that fit every conversion that it may hold, it ends in time and in bounds.
    std::wstring any = wide;
    std::replace(any.begin(), any.end(), L'n', L'd');
    std::replace(any.begin(), any.end(), L'*', L'd');
    for (std::uint64_t& slot : slots)
    {
        slot = 0;
    }
    const bool few = std::count(any.begin(), any.end(), L'%') <= 6;
    if (few && any.find_first_of(L"123456789f") == std::wstring::npos)
    {
        format = any;
        const std::size_t used = call(&Buffered, buffer.data(), room);
        HOLDS(used < room && buffer[used] == L'\0');
    }

    // A word is a level whatever its case.
    const int level = Quil::Shared::LogLevelFromName(wide);
    HOLDS(level == 99 || std::wstring{Quil::Shared::LogLevelName(level)}.size() == wide.size());
    HOLDS((level >= 0 && level <= 6) || level == 99);
    return 0;
}
