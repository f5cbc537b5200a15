// A record on its way: made a line, encoded, found to be a line, and read again by the client.
#include "FuzzInput.h"
#include "client/LogLines.h"
#include "shared/LogLevel.h"
#include "shared/LogLine.h"

#include <vector>

namespace
{

// UTF-8 with the line ends of a text file, one code point at a time.
std::string Encoded(const std::wstring& text)
{
    std::string bytes;
    for (std::size_t i = 0; i < text.size(); ++i)
    {
        char32_t code = text[i];
        const char32_t next = i + 1 < text.size() ? text[i + 1] : 0;
        if (code >= 0xD800 && code <= 0xDBFF && next >= 0xDC00 && next <= 0xDFFF)
        {
            code = 0x10000 + (code - 0xD800) * 0x400 + (next - 0xDC00);
            ++i;
        }
        else if (code >= 0xD800 && code <= 0xDFFF)
        {
            code = 0xFFFD;
        }
        if (code == U'\n')
        {
            bytes += '\r';
        }
        const int tails = code < 0x80 ? 0 : code < 0x800 ? 1 : code < 0x10000 ? 2 : 3;
        constexpr unsigned kLead[] = {0x00, 0xC0, 0xE0, 0xF0};
        bytes += static_cast<char>(kLead[tails] | (code >> (6 * tails)));
        for (int tail = tails - 1; tail >= 0; --tail)
        {
            bytes += static_cast<char>(0x80 | ((code >> (6 * tail)) & 0x3F));
        }
    }
    return bytes;
}

std::string ProductEncoded(const std::wstring& text)
{
    std::string bytes(Quil::Shared::MaximumUtf8Length(text.size()), '\0');
    bytes.resize(static_cast<std::size_t>(Quil::Shared::EncodeUtf8(bytes.data(), text) - bytes.data()));
    return bytes;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    CFuzzInput input{data, size};
    const unsigned levelByte = input.Byte();
    const int level = levelByte == 7 ? 99 : static_cast<int>(levelByte % 8);
    const std::wstring levelName = Quil::Shared::LogLevelName(level);
    if (level < 7)
    {
        HOLDS(Quil::Shared::LogLevelFromName(levelName) == level);
    }
    const unsigned year = 1601 + input.Take<std::uint16_t>() % 8399;
    const unsigned month = 1 + input.Byte() % 12;
    const unsigned day = 1 + input.Byte() % 31;
    const unsigned hour = input.Byte() % 24;
    const unsigned minute = input.Byte() % 60;
    const unsigned second = input.Byte() % 60;
    const unsigned milliseconds = input.Take<std::uint16_t>() % 1000;
    const auto thread = input.Take<std::uint32_t>();
    const std::string function = input.Narrow();
    const std::wstring message = input.WideText();

    std::wstring line = L"what was there before";
    Quil::Shared::FormatLogLine(
        line, {year, month, day, hour, minute, second, milliseconds, thread, levelName, function, message});

    char head[80];
    std::snprintf(head, sizeof head, "%04u/%02u/%02u %02u:%02u:%02u.%03u|%08X|%-11s|", year, month, day, hour, minute,
                  second, milliseconds, thread, std::string(levelName.begin(), levelName.end()).c_str());
    std::wstring expected(head, head + std::strlen(head));
    for (const char c : function)
    {
        expected += static_cast<wchar_t>(static_cast<unsigned char>(c));
    }
    expected += L'|' + message;
    HOLDS(line == expected);
    HOLDS(Quil::Shared::BeginsLikeLogLine(line));

    // Room for exactly as much as promised: the sanitizer sees a byte too many.
    const std::string bytes = ProductEncoded(line);
    HOLDS(bytes == Encoded(line));
    HOLDS(ProductEncoded(message) == Encoded(message));

    const bool oneLine = message.find(L'\n') == std::wstring::npos && !message.ends_with(L'\r');
    if (oneLine && function.find_first_of("|\n") == std::string::npos)
    {
        std::vector<HotKey::CLogRecord> records;
        HotKey::CLogLineReader reader;
        reader.Feed("\xEF\xBB\xBF" + bytes + "\r\n", records);
        reader.Finish(records);
        HOLDS(records.size() == 1);
        const HotKey::CLogRecord& record = records[0];
        HOLDS(record.IsRecord() && !record.bUnfinished && record.ulThread == thread);
        HOLDS(record.strTime == std::string(head, 23));
        HOLDS(HotKey::LogLevelRank(record.strLevel) == (level < 7 ? level : -1));
        HOLDS(record.strMessage == Encoded(message));
        HOLDS(record.strText == bytes);
    }
    // Any text is looked at without harm, and only 24 characters of it count.
    HOLDS(Quil::Shared::BeginsLikeLogLine(message) ==
          Quil::Shared::BeginsLikeLogLine(std::wstring_view{message}.substr(0, 24)));
    return 0;
}
