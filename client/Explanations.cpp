#include "client/Explanations.h"

#include <algorithm>
#include <cctype>
#include <charconv>
#include <cstdint>
#include <optional>

namespace HotKey
{

namespace
{

// Where the text, the position behind it and the number of bars in front of a log line's message are.
constexpr std::size_t kLogPrefixBars = 4;

std::string_view Trim(std::string_view text)
{
    constexpr std::string_view kBlank = " \t\r\n";
    const std::size_t begin = text.find_first_not_of(kBlank);
    return begin == std::string_view::npos ? std::string_view{}
                                           : text.substr(begin, text.find_last_not_of(kBlank) - begin + 1);
}

// The message of a whole log line, any other text as it is.
std::string_view MessageOf(std::string_view text)
{
    const bool stamped = text.size() > 24 && text[4] == '/' && text[7] == '/' && text[13] == ':' && text[23] == '|';
    for (std::size_t bars = 0; stamped && bars < kLogPrefixBars; ++bars)
    {
        const std::size_t bar = text.find('|');
        if (bar == std::string_view::npos)
        {
            break;
        }
        text.remove_prefix(bar + 1);
    }
    return Trim(text);
}

// The length of the printf conversion that a text begins with, 0 for none.
std::size_t ConversionLength(std::string_view text)
{
    if (!text.starts_with('%'))
    {
        return 0;
    }
    const std::size_t end = text.find_first_of("dusxXSp", 1);
    const bool conversion = end != std::string_view::npos &&
                            text.substr(1, end - 1).find_first_not_of("0123456789l-") == std::string_view::npos;
    return conversion ? end + 1 : 0;
}

// The texts between the conversions of a format.
std::vector<std::string_view> PiecesOf(std::string_view format)
{
    std::vector<std::string_view> pieces;
    std::size_t begin = 0;
    for (std::size_t at = 0; at < format.size();)
    {
        const std::size_t length = ConversionLength(format.substr(at));
        if (length != 0)
        {
            pieces.push_back(format.substr(begin, at - begin));
            begin = at + length;
        }
        at += std::max<std::size_t>(length, 1);
    }
    pieces.push_back(format.substr(begin));
    return pieces;
}

// Whether a format could have printed the text; the format itself counts.
bool CouldPrint(std::string_view format, std::string_view text)
{
    const std::vector<std::string_view> pieces = PiecesOf(format);
    if (pieces.size() == 1)
    {
        return text == format;
    }
    if (!text.starts_with(pieces.front()) || !text.ends_with(pieces.back()) ||
        text.size() < pieces.front().size() + pieces.back().size())
    {
        return false;
    }
    text.remove_prefix(pieces.front().size());
    text.remove_suffix(pieces.back().size());
    for (std::size_t i = 1; i + 1 < pieces.size(); ++i)
    {
        const std::size_t found = text.find(pieces[i]);
        if (found == std::string_view::npos)
        {
            return false;
        }
        text.remove_prefix(found + pieces[i].size());
    }
    return true;
}

std::string Lower(std::string_view text)
{
    std::string lower{text};
    std::transform(lower.begin(), lower.end(), lower.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return lower;
}

// Codes are compared as the 32 bits that the service prints.
std::optional<std::uint32_t> CodeOf(std::string_view text)
{
    const bool negative = text.starts_with('-');
    const bool hexadecimal = text.starts_with("0x") || text.starts_with("0X");
    text.remove_prefix(negative ? 1 : hexadecimal ? 2 : 0);
    std::uint32_t value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value, hexadecimal ? 16 : 10);
    if (text.empty() || error != std::errc{} || end != text.data() + text.size())
    {
        return std::nullopt;
    }
    return negative ? 0U - value : value;
}

template <typename Predicate> std::vector<CExplanationMatch> Select(Predicate matches)
{
    std::vector<CExplanationMatch> found;
    for (const CExplanationTopic& topic : ExplanationTopics())
    {
        for (const CExplanation& explanation : topic.explanations)
        {
            if (matches(topic, explanation))
            {
                found.push_back({&topic, &explanation});
            }
        }
    }
    return found;
}

// A cell of a Markdown table.
std::string Cell(std::string_view text)
{
    std::string cell;
    for (const char c : text)
    {
        if (c == '|')
        {
            cell += '\\';
        }
        cell += c;
    }
    return cell;
}

} // namespace

std::vector<CExplanationMatch> Explain(std::string_view text)
{
    const std::string_view message = MessageOf(text);
    if (message.empty())
    {
        return {};
    }
    if (const std::optional<std::uint32_t> code = CodeOf(message))
    {
        return Select([&](const CExplanationTopic& topic, const CExplanation& explanation) {
            return topic.bCodes && CodeOf(explanation.strText) == code;
        });
    }
    std::vector<CExplanationMatch> found = Select([&](const CExplanationTopic& topic, const CExplanation& explanation) {
        return !topic.bCodes && (explanation.strText == message || CouldPrint(explanation.strText, message));
    });
    if (found.empty())
    {
        const std::string part = Lower(message);
        found = Select([&](const CExplanationTopic& topic, const CExplanation& explanation) {
            return !topic.bCodes && Lower(explanation.strText).find(part) != std::string::npos;
        });
    }
    return found;
}

std::string ExplanationsPage()
{
    std::string page;
    for (const CExplanationTopic& topic : ExplanationTopics())
    {
        page += "### " + std::string{topic.strTitle} + "\n\n";
        page += topic.bCodes ? "| code | cause | what to do |\n" : "| text | cause | what to do |\n";
        page += "| --- | --- | --- |\n";
        for (const CExplanation& explanation : topic.explanations)
        {
            page += "| `" + Cell(explanation.strText) + "` | " + Cell(explanation.strCause) + " | " +
                    Cell(explanation.strCure) + " |\n";
        }
        page += "\n";
    }
    return page;
}

} // namespace HotKey
