// The client's reader of logs on any bytes: the pieces that they come in do not matter and nothing is lost. And the
// texts that its options take.
#include "FuzzInput.h"
#include "client/LogLines.h"

#include <vector>

namespace
{

using Records = std::vector<HotKey::CLogRecord>;

bool Same(const HotKey::CLogRecord& left, const HotKey::CLogRecord& right)
{
    return left.strText == right.strText && left.strMessage == right.strMessage && left.strTime == right.strTime &&
           left.ulThread == right.ulThread && left.strLevel == right.strLevel &&
           left.strFunction == right.strFunction && left.bUnfinished == right.bUnfinished;
}

// All lines of a file without their ends.
std::string LinesOf(std::string_view bytes)
{
    if (bytes.starts_with("\xEF\xBB\xBF"))
    {
        bytes.remove_prefix(3);
    }
    std::string lines;
    for (std::size_t i = 0; i < bytes.size(); ++i)
    {
        const bool end = bytes[i] == '\r' && i + 1 < bytes.size() && bytes[i + 1] == '\n';
        if (!end)
        {
            lines += bytes[i];
        }
    }
    return lines;
}

void Read(std::string_view bytes, std::size_t piece)
{
    Records whole;
    HotKey::CLogLineReader reader;
    reader.Feed(bytes, whole);
    reader.Finish(whole);

    Records pieces;
    HotKey::CLogLineReader other;
    for (std::string_view rest = bytes; !rest.empty(); rest.remove_prefix(std::min(piece, rest.size())))
    {
        other.Feed(rest.substr(0, piece), pieces);
    }
    other.Finish(pieces);
    HOLDS(std::equal(whole.begin(), whole.end(), pieces.begin(), pieces.end(), &Same));

    std::string lines;
    for (const HotKey::CLogRecord& record : whole)
    {
        HOLDS(!record.bUnfinished || &record == &whole.back());
        HOLDS(record.strText.ends_with(record.strMessage));
        HOLDS(record.IsRecord() || record.strText == record.strMessage);
        lines += record.strText;
        lines += record.bUnfinished ? "" : "\n";
        static_cast<void>(HotKey::ElapsedTenths(record));
        HOLDS(HotKey::CLogFilter{}.Passes(record));
    }
    HOLDS(lines == LinesOf(bytes));
}

void Duration(const std::string& text)
{
    const auto milliseconds = HotKey::ParseDuration(text);
    const std::size_t digits = std::min(text.find_first_not_of("0123456789"), text.size());
    const bool form = digits >= 1 && text.size() == digits + 1 && std::strchr("smhd", text.back()) != nullptr;
    const std::size_t zeros = std::min(text.find_first_not_of('0'), digits);
    const unsigned long long count =
        form && digits - zeros <= 10 ? std::strtoull(text.substr(zeros).c_str(), nullptr, 10) : ~0ULL;
    HOLDS(milliseconds.has_value() == (form && count <= 0xFFFFFFFF));
    if (milliseconds)
    {
        const std::int64_t unit = text.back() == 's'   ? 1000
                                  : text.back() == 'm' ? 60000
                                  : text.back() == 'h' ? 3600000
                                                       : 86400000;
        HOLDS(*milliseconds == static_cast<std::int64_t>(count) * unit);
    }
}

void Moment(const std::string& text)
{
    const auto moment = HotKey::ParseMoment(text, "2024/03/05");
    if (moment)
    {
        HOLDS(moment->size() <= 23);
        // A time as in the log is taken as it is.
        HOLDS(HotKey::ParseMoment(*moment, "1999/01/01") == moment);
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    CFuzzInput input{data, size};
    const std::string option = input.Narrow();
    Duration(option);
    Moment(option);
    HOLDS(HotKey::LogLevelRank(option) >= -1 && HotKey::LogLevelRank(option) <= 6);
    HotKey::CLogRecord timing;
    timing.strLevel = "Diag";
    timing.strMessage = "Elapsed time = " + option;
    static_cast<void>(HotKey::ElapsedTenths(timing));

    const std::size_t piece = 1 + input.Byte() % 64;
    Read(input.Bytes(), piece);
    return 0;
}
