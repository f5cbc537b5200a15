#include "client/CtlDoctor.h"

#include "client/CtlCommands.h"
#include "client/Doctor.h"
#include "client/Explanations.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <charconv>
#include <cstdint>

namespace HotKey
{

namespace
{

using Json = nlohmann::ordered_json;

const wchar_t* Word(Verdict verdict)
{
    switch (verdict)
    {
    case Verdict::Ok:
        return L"ok";
    case Verdict::Unknown:
        return L"unknown";
    case Verdict::Warning:
        return L"warning";
    case Verdict::Problem:
        break;
    }
    return L"problem";
}

std::wstring Line(const CFinding& finding)
{
    constexpr std::size_t kVerdictWidth = 9;
    constexpr std::size_t kSubjectWidth = 18;
    std::wstring line = Word(finding.eVerdict);
    line.resize(std::max(line.size() + 1, kVerdictWidth), L' ');
    line += finding.pSubject;
    line.resize(std::max(line.size() + 1, kVerdictWidth + kSubjectWidth), L' ');
    line += finding.strFinding + L"\n";
    if (!finding.strCure.empty())
    {
        line += std::wstring(kVerdictWidth + kSubjectWidth, L' ') + L"-> " + finding.strCure + L"\n";
    }
    return line;
}

// What Windows itself says of a code; empty when it knows none.
std::wstring SystemText(const std::string& text)
{
    std::uint32_t code = 0;
    const bool hexadecimal = text.starts_with("0x") || text.starts_with("0X");
    const char* const begin = text.data() + (hexadecimal ? 2 : 0);
    const char* const end = text.data() + text.size();
    if (begin == end || std::from_chars(begin, end, code, hexadecimal ? 16 : 10).ptr != end)
    {
        return {};
    }
    wchar_t message[512]{};
    DWORD length = FormatMessageW(FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS, nullptr, code, 0, message,
                                  512, nullptr);
    while (length > 0 && (message[length - 1] == L'\n' || message[length - 1] == L'\r' || message[length - 1] == L' '))
    {
        --length;
    }
    return {message, length};
}

} // namespace

int RunDoctor(CHotKeyClient& client, const CCtlOutput& output, bool json)
{
    const std::vector<CFinding> findings = Judge(GatherDoctorFacts(client));
    Json list = Json::array();
    for (const CFinding& finding : findings)
    {
        if (json)
        {
            list.push_back({{"check", ToUtf8(finding.pSubject)},
                            {"verdict", ToUtf8(Word(finding.eVerdict))},
                            {"finding", ToUtf8(finding.strFinding)},
                            {"cure", ToUtf8(finding.strCure)}});
        }
        else
        {
            output.Print(Line(finding));
        }
    }
    if (json)
    {
        output.Print(FromUtf8(Json{{"checks", list}}.dump()) + L"\n");
    }
    const bool problem = std::any_of(findings.begin(), findings.end(),
                                     [](const CFinding& finding) { return finding.eVerdict == Verdict::Problem; });
    return problem ? ExitProblem : ExitAnswered;
}

int RunExplain(const std::string& text, const CCtlOutput& output, bool json)
{
    const std::vector<CExplanationMatch> matches = Explain(text);
    const std::wstring system = SystemText(text);
    Json list = Json::array();
    std::wstring lines;
    for (const CExplanationMatch& match : matches)
    {
        const CExplanation& explanation = *match.pExplanation;
        list.push_back({{"topic", match.pTopic->strTitle},
                        {"text", explanation.strText},
                        {"cause", explanation.strCause},
                        {"cure", explanation.strCure}});
        lines += (lines.empty() ? L"" : L"\n") + FromUtf8(explanation.strText) + L"  (" +
                 FromUtf8(match.pTopic->strTitle) + L")\n    " + FromUtf8(explanation.strCause) + L"\n    -> " +
                 FromUtf8(explanation.strCure) + L"\n";
    }
    if (!system.empty())
    {
        lines += (lines.empty() ? L"Windows says: " : L"\nWindows says: ") + system + L"\n";
    }
    output.Print(json ? FromUtf8(Json{{"explanations", list}, {"windows", ToUtf8(system)}}.dump()) + L"\n" : lines);
    if (matches.empty() && system.empty())
    {
        output.Complain(L"nothing is known of \"" + FromUtf8(text) + L"\"");
        return ExitEmpty;
    }
    return ExitAnswered;
}

} // namespace HotKey
