/// \file
/// The line of a record and its bytes in a log file. Pure: values in, values out.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace Quil::Shared
{

/// What a line is made of; local time. The views outlive the call only.
struct CLogLineParts
{
    unsigned uYear;                   ///< four digits
    unsigned uMonth;                  ///< 1 to 12
    unsigned uDay;                    ///< 1 to 31
    unsigned uHour;                   ///< 0 to 23
    unsigned uMinute;                 ///< 0 to 59
    unsigned uSecond;                 ///< 0 to 59
    unsigned uMilliseconds;           ///< 0 to 999
    std::uint32_t uThreadId;          ///< of the thread that logs
    std::wstring_view strLevelName;   ///< as LogLevelName gives it
    std::string_view strFunctionName; ///< of one byte a character
    std::wstring_view strMessage;     ///< of any length
};

/// The line without an end, for example
///
///     2024/03/05 14:07:09.042|00001A2C|Information|CMainService::OnStart|Service started
///
/// The text goes into `line`, whose old contents are lost and whose memory is used again.
void FormatLogLine(std::wstring& line, const CLogLineParts& parts);

/// True for a text that has the separators of a line's time stamp at their places. 24 characters are looked at.
bool BeginsLikeLogLine(std::wstring_view head) noexcept;

/// The most bytes that the UTF-8 form of so many characters takes.
constexpr std::size_t MaximumUtf8Length(std::size_t characters) noexcept
{
    return characters * 3;
}

/// Writes text as a text stream does in UTF-8: line feeds become CR LF, a lone surrogate becomes U+FFFD. `out` has
/// room for MaximumUtf8Length; returns the end of what was written.
char* EncodeUtf8(char* out, std::wstring_view text) noexcept;

} // namespace Quil::Shared
