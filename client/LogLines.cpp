#include "client/LogLines.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <utility>

namespace
{

constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";
// 0 a digit, X a hexadecimal one; everything else is itself.
constexpr std::string_view kHead = "0000/00/00 00:00:00.000|XXXXXXXX|";
constexpr std::size_t kTimeLength = 23;

bool IsDigit(char c) noexcept
{
    return c >= '0' && c <= '9';
}

char Lower(char c) noexcept
{
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

bool EqualIgnoringCase(char left, char right) noexcept
{
    return Lower(left) == Lower(right);
}

bool Fits(char c, char pattern) noexcept
{
    switch (pattern)
    {
    case '0':
        return IsDigit(c);
    case 'X':
        return IsDigit(c) || (c >= 'A' && c <= 'F');
    default:
        return c == pattern;
    }
}

bool FitsAsFarAsItGoes(std::string_view text, std::string_view pattern) noexcept
{
    const std::size_t length = std::min(text.size(), pattern.size());
    return std::equal(text.begin(), text.begin() + static_cast<std::ptrdiff_t>(length), pattern.begin(), &Fits);
}

// A record's line has its head and the bars behind level and function.
bool BeginsRecord(std::string_view line) noexcept
{
    if (line.size() < kHead.size() || !FitsAsFarAsItGoes(line, kHead))
    {
        return false;
    }
    const std::size_t level = line.find('|', kHead.size());
    return level != std::string_view::npos && line.find('|', level + 1) != std::string_view::npos;
}

// A line without an end that may be the beginning of a record.
bool MayBeginRecord(std::string_view line) noexcept
{
    return FitsAsFarAsItGoes(line, kHead);
}

HotKey::CLogRecord Dissect(std::string text)
{
    HotKey::CLogRecord record;
    const std::string_view line{text};
    if (BeginsRecord(line))
    {
        const std::size_t level = kHead.size();
        const std::size_t levelEnd = line.find('|', level);
        const std::size_t functionEnd = line.find('|', levelEnd + 1);
        record.strTime = line.substr(0, kTimeLength);
        std::from_chars(line.data() + kTimeLength + 1, line.data() + level - 1, record.ulThread, 16);
        const std::string_view padded = line.substr(level, levelEnd - level);
        record.strLevel = padded.substr(0, padded.find_last_not_of(' ') + 1);
        record.strFunction = line.substr(levelEnd + 1, functionEnd - levelEnd - 1);
        record.strMessage = line.substr(functionEnd + 1);
    }
    else
    {
        record.strMessage = text;
    }
    record.strText = std::move(text);
    return record;
}

// A number of exactly that many digits and of that range at the text's front, which it is taken from.
bool TakeNumber(std::string_view& text, std::size_t digits, int lowest, int highest)
{
    int value = 0;
    if (text.size() < digits ||
        !std::all_of(text.begin(), text.begin() + static_cast<std::ptrdiff_t>(digits), &IsDigit))
    {
        return false;
    }
    std::from_chars(text.data(), text.data() + digits, value);
    text.remove_prefix(digits);
    return value >= lowest && value <= highest;
}

bool TakeOne(std::string_view& text, char one, char other)
{
    if (text.empty() || (text.front() != one && text.front() != other))
    {
        return false;
    }
    text.remove_prefix(1);
    return true;
}

// "14:07", "14:07:09", "14:07:09.042"
bool IsTimeOfDay(std::string_view text)
{
    if (!TakeNumber(text, 2, 0, 23) || !TakeOne(text, ':', ':') || !TakeNumber(text, 2, 0, 59))
    {
        return false;
    }
    if (text.empty())
    {
        return true;
    }
    if (!TakeOne(text, ':', ':') || !TakeNumber(text, 2, 0, 59))
    {
        return false;
    }
    return text.empty() || (TakeOne(text, '.', '.') && TakeNumber(text, 3, 0, 999) && text.empty());
}

} // namespace

namespace HotKey
{

void CLogLineReader::Feed(std::string_view bytes, std::vector<CLogRecord>& records)
{
    for (std::size_t end; (end = bytes.find('\n')) != std::string_view::npos; bytes.remove_prefix(end + 1))
    {
        if (m_strRest.empty())
        {
            TakeLine(bytes.substr(0, end), records);
        }
        else
        {
            const std::string line = std::exchange(m_strRest, {}) + std::string{bytes.substr(0, end)};
            TakeLine(line, records);
        }
    }
    m_strRest += bytes;
}

void CLogLineReader::TakeLine(std::string_view line, std::vector<CLogRecord>& records)
{
    if (!std::exchange(m_bStarted, true) && line.starts_with(kByteOrderMark))
    {
        line.remove_prefix(kByteOrderMark.size());
    }
    if (line.ends_with('\r'))
    {
        line.remove_suffix(1);
    }
    if (m_bHolding && !BeginsRecord(line))
    {
        m_strRecord += '\n';
        m_strRecord += line;
        return;
    }
    Emit(records);
    m_bHolding = true;
    m_strRecord = line;
}

void CLogLineReader::Emit(std::vector<CLogRecord>& records)
{
    if (std::exchange(m_bHolding, false))
    {
        records.push_back(Dissect(std::exchange(m_strRecord, {})));
    }
}

void CLogLineReader::Pause(std::vector<CLogRecord>& records)
{
    if (m_strRest.empty() || MayBeginRecord(m_strRest))
    {
        Emit(records);
    }
}

void CLogLineReader::Finish(std::vector<CLogRecord>& records)
{
    std::string rest = std::exchange(m_strRest, {});
    if (!m_bStarted && rest.starts_with(kByteOrderMark))
    {
        rest.erase(0, kByteOrderMark.size());
    }
    const bool unfinished = !rest.empty();
    if (unfinished)
    {
        if (MayBeginRecord(rest))
        {
            Emit(records);
        }
        m_strRecord += m_bHolding ? "\n" + rest : rest;
        m_bHolding = true;
    }
    Emit(records);
    if (unfinished)
    {
        records.back().bUnfinished = true;
    }
    m_bStarted = false;
}

int LogLevelRank(std::string_view word) noexcept
{
    constexpr std::string_view kWords[] = {"TraceIn", "TraceOut", "Verbose", "Information", "Warning", "Error", "Diag"};
    const auto found = std::find_if(std::begin(kWords), std::end(kWords), [word](std::string_view known) {
        return std::equal(known.begin(), known.end(), word.begin(), word.end(), &EqualIgnoringCase);
    });
    return found == std::end(kWords) ? -1 : static_cast<int>(found - std::begin(kWords));
}

bool CLogFilter::Passes(const CLogRecord& record) const
{
    if (nMinimumLevel >= 0 && LogLevelRank(record.strLevel) < nMinimumLevel)
    {
        return false;
    }
    const std::string& name = record.strFunction;
    if (!strFunction.empty() &&
        std::search(name.begin(), name.end(), strFunction.begin(), strFunction.end(), &EqualIgnoringCase) == name.end())
    {
        return false;
    }
    return record.strTime >= strSince;
}

std::optional<std::int64_t> ElapsedTenths(const CLogRecord& record)
{
    constexpr std::string_view kBefore = "Elapsed time = ";
    std::string_view text{record.strMessage};
    if (record.strLevel != "Diag" || record.bUnfinished || !text.starts_with(kBefore))
    {
        return std::nullopt;
    }
    text.remove_prefix(kBefore.size());
    text.remove_prefix(std::min(text.find_first_not_of(' '), text.size()));
    double value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value, std::chars_format::fixed);
    if (error != std::errc{})
    {
        return std::nullopt;
    }
    text.remove_prefix(static_cast<std::size_t>(end - text.data()));
    if (text == " ms.")
    {
        return std::llround(value * 10);
    }
    return text == " s." ? std::optional<std::int64_t>{std::llround(value * 10000)} : std::nullopt;
}

std::optional<std::int64_t> ParseDuration(std::string_view text)
{
    std::uint32_t count = 0;
    const char* const last = text.data() + text.size();
    const auto [end, error] = std::from_chars(text.data(), last, count);
    if (error != std::errc{} || last - end != 1)
    {
        return std::nullopt;
    }
    switch (*end)
    {
    case 's':
        return count * std::int64_t{1000};
    case 'm':
        return count * std::int64_t{60} * 1000;
    case 'h':
        return count * std::int64_t{60} * 60 * 1000;
    case 'd':
        return count * std::int64_t{24} * 60 * 60 * 1000;
    default:
        return std::nullopt;
    }
}

std::optional<std::string> ParseMoment(std::string_view text, std::string_view today)
{
    // Less than a whole time is a front part of it, so it compares as it should.
    if (IsTimeOfDay(text))
    {
        return std::string{today} + ' ' + std::string{text};
    }
    std::string_view rest{text};
    if (!TakeNumber(rest, 4, 1601, 9999) || !TakeOne(rest, '/', '-') || !TakeNumber(rest, 2, 1, 12) ||
        !TakeOne(rest, '/', '-') || !TakeNumber(rest, 2, 1, 31))
    {
        return std::nullopt;
    }
    std::string moment{text};
    moment[4] = moment[7] = '/';
    if (rest.empty())
    {
        return moment;
    }
    moment[10] = ' ';
    return TakeOne(rest, ' ', 'T') && IsTimeOfDay(rest) ? std::optional{moment} : std::nullopt;
}

} // namespace HotKey
