/// \file
/// What the service's failure texts and codes mean and what to do about them: the one table behind "hotkeyctl explain"
/// and the page in docs/operations.md. UTF-8. No Windows header.
#pragma once

#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace HotKey
{

/// What one text or code means. The views are literals.
struct CExplanation
{
    /// A text with its printf conversions as the service has it, without blanks and line ends at its end; or a code in
    /// decimal.
    std::string_view strText;
    std::string_view strCause; ///< why it comes
    std::string_view strCure;  ///< what to do about it
};

/// Texts or codes of one subject.
struct CExplanationTopic
{
    std::string_view strTitle;                  ///< heading of the subject
    bool bCodes;                                ///< the texts are numbers
    std::span<const CExplanation> explanations; ///< in the order of the page
};

/// The whole table.
std::span<const CExplanationTopic> ExplanationTopics() noexcept;

/// An explanation and where it stands; both live for ever.
struct CExplanationMatch
{
    const CExplanationTopic* pTopic;  ///< never null
    const CExplanation* pExplanation; ///< never null
};

/// What is known of a text: a whole line of the log, its message with any numbers and names in it, a part of a text, or
/// a code (decimal or 0x hexadecimal). Exact matches hide partial ones.
std::vector<CExplanationMatch> Explain(std::string_view text);

/// The topics as tables of a Markdown page.
std::string ExplanationsPage();

} // namespace HotKey
