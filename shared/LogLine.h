// The line of a record and its bytes in a log file. Pure: values in, values out.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace Quil::Shared
{

struct CLogLineParts
{
    unsigned uYear;
    unsigned uMonth;
    unsigned uDay;
    unsigned uHour;
    unsigned uMinute;
    unsigned uSecond;
    unsigned uMilliseconds;
    std::uint32_t uThreadId;
    std::wstring_view strLevelName;
    std::string_view strFunctionName;
    std::wstring_view strMessage;
};

// "2024/03/05 14:07:09.042|00001A2C|Information|CMainService::OnStart|Service started", without an end.
// The text goes into `line`, whose old contents are lost and whose memory is used again.
void FormatLogLine(std::wstring& line, const CLogLineParts& parts);

// True for a text that has the separators of a line's time stamp at their places. 24 characters are looked at.
bool BeginsLikeLogLine(std::wstring_view head) noexcept;

// The most bytes that the UTF-8 form of so many characters takes.
constexpr std::size_t MaximumUtf8Length(std::size_t characters) noexcept
{
    return characters * 3;
}

// Writes text as a text stream does in UTF-8: line feeds become CR LF, a lone surrogate becomes U+FFFD. `out` has
// room for MaximumUtf8Length; returns the end of what was written.
char* EncodeUtf8(char* out, std::wstring_view text) noexcept;

} // namespace Quil::Shared
