#include "client/Doctor.h"

#include <algorithm>
#include <cwctype>
#include <string_view>

namespace HotKey
{

namespace
{

constexpr const wchar_t* kInstall =
    L"install it: msiexec /i HotKeyServiceTLY-<version>-x64.msi, or HotKeyServiceTLY.exe -install";
constexpr const wchar_t* kStart = L"start it: sc start HotKeyServiceTLY; read hotkeyctl log --level Warning";

std::wstring Upper(std::wstring text)
{
    std::transform(text.begin(), text.end(), text.begin(), [](wchar_t c) { return static_cast<wchar_t>(towupper(c)); });
    return text;
}

std::wstring Joined(const std::vector<std::wstring>& texts)
{
    std::wstring joined;
    for (const std::wstring& text : texts)
    {
        joined += (joined.empty() ? L"" : L", ") + text;
    }
    return joined;
}

bool IsRegistered(const CDoctorFacts& facts)
{
    return !facts.service.strCommandLine.empty();
}

CFinding JudgeRegistration(const CDoctorFacts& facts)
{
    constexpr const wchar_t* kSubject = L"service";
    if (!IsRegistered(facts))
    {
        return {kSubject, Verdict::Problem, facts.service.strState, kInstall};
    }
    if (facts.service.strState != L"running")
    {
        return {kSubject, Verdict::Problem, facts.service.strState, kStart};
    }
    return {kSubject, Verdict::Ok, L"running, version " + facts.service.strVersion, {}};
}

CFinding JudgePath(const CDoctorFacts& facts)
{
    constexpr const wchar_t* kSubject = L"program path";
    const std::wstring& line = facts.service.strCommandLine;
    if (!IsRegistered(facts))
    {
        return {kSubject, Verdict::Unknown, L"not registered", {}};
    }
    if (!line.starts_with(L'"') && line.find(L' ') != std::wstring::npos)
    {
        return {kSubject, Verdict::Problem, L"not in quotation marks: " + line,
                L"another program may be run instead; register it anew: -remove, then -install"};
    }
    if (line.find(L'%') != std::wstring::npos)
    {
        return {kSubject, Verdict::Problem, L"has a percent sign: " + line,
                L"the service takes its path for a format; install it into another folder"};
    }
    return {kSubject, Verdict::Ok, line, {}};
}

CFinding JudgeWriters(const CDoctorFacts& facts)
{
    constexpr const wchar_t* kSubject = L"program folder";
    if (facts.strProgramFolder.empty() || facts.writers.dwError != 0)
    {
        return {kSubject, Verdict::Unknown,
                facts.strProgramFolder.empty()
                    ? L"not known"
                    : L"its rights cannot be read, error " + std::to_wstring(facts.writers.dwError),
                L"ask as administrator: icacls on the folder of the program"};
    }
    if (!facts.writers.accounts.empty())
    {
        return {kSubject, Verdict::Problem, L"others than administrators may write: " + Joined(facts.writers.accounts),
                L"whoever writes there runs code as the system; install below Program Files"};
    }
    return {kSubject, Verdict::Ok, L"only administrators write: " + facts.strProgramFolder, {}};
}

CFinding JudgeRecovery(const CDoctorFacts& facts)
{
    constexpr const wchar_t* kSubject = L"recovery";
    if (facts.dwRecoveryError != 0)
    {
        return {kSubject, Verdict::Unknown,
                L"the failure actions cannot be read, error " + std::to_wstring(facts.dwRecoveryError),
                L"ask as administrator: sc qfailure HotKeyServiceTLY"};
    }
    if (facts.dwRecoveryActions == 0)
    {
        return {kSubject, Verdict::Warning, L"no failure actions: a crash stays",
                L"start the service once, it sets them; or sc failure HotKeyServiceTLY reset= 3600 "
                L"actions= restart/120000/restart/240000/restart/360000"};
    }
    return {kSubject, Verdict::Ok, std::to_wstring(facts.dwRecoveryActions) + L" failure actions", {}};
}

CFinding JudgeEndpoint(const CDoctorFacts& facts)
{
    constexpr const wchar_t* kSubject = L"endpoint";
    const bool runs = facts.service.strState == L"running";
    if (!facts.bAnswers)
    {
        return {kSubject, Verdict::Problem, runs ? L"the service runs, but does not answer" : L"nobody answers",
                runs ? L"restart the service; read hotkeyctl log --function RpcServer" : kStart};
    }
    if (!runs)
    {
        return {kSubject, Verdict::Problem, L"answers although the service does not run: another program has its name",
                L"end that program (HotKeyServiceTLY.exe -console, or an impostor), then start the service"};
    }
    if (facts.eSystemServer == Answer::No)
    {
        return {kSubject, Verdict::Problem, L"whoever answers is not the system: an impostor took its name first",
                L"find and end that program, then restart the service"};
    }
    if (facts.eSystemServer == Answer::Unknown)
    {
        return {kSubject, Verdict::Unknown, L"answers; this system cannot tell who", L"ask on Windows"};
    }
    return {kSubject, Verdict::Ok, L"answered by the system", {}};
}

CFinding JudgeLogFolder(const CDoctorFacts& facts)
{
    constexpr const wchar_t* kSubject = L"log folder";
    switch (facts.dwLogFolderError)
    {
    case ERROR_SUCCESS:
        return {kSubject, Verdict::Ok, L"can be written: " + facts.strLogFolder, {}};
    case ERROR_ACCESS_DENIED:
        return {kSubject, Verdict::Unknown, L"not to be written by this account: " + facts.strLogFolder,
                L"ask as administrator"};
    case ERROR_PATH_NOT_FOUND:
        return {kSubject, Verdict::Warning, L"there is none: " + facts.strLogFolder,
                L"start the service, it makes it; look at MinLogLevel and LoggingType"};
    default:
        return {kSubject, Verdict::Problem,
                L"error " + std::to_wstring(facts.dwLogFolderError) + L": " + facts.strLogFolder,
                L"free the disk, mend the folder's rights"};
    }
}

CFinding JudgeOldLogs(const CDoctorFacts& facts)
{
    constexpr const wchar_t* kSubject = L"old logs";
    if (facts.dwOldLogsError != 0)
    {
        return {kSubject, Verdict::Unknown, L"cannot be counted, error " + std::to_wstring(facts.dwOldLogsError),
                L"ask as administrator"};
    }
    if (facts.nOldLogs > 9)
    {
        return {kSubject, Verdict::Warning,
                std::to_wstring(facts.nOldLogs) + L": rotation no longer removes the oldest",
                L"delete those with numbers above _0009"};
    }
    return {kSubject, Verdict::Ok, std::to_wstring(facts.nOldLogs), {}};
}

// Empty when the value means what it says.
std::wstring Trouble(const CPolicyValue& value)
{
    const std::wstring text = Upper(value.strText);
    if (value.strName == L"MinLogLevel" || value.strName == L"MaxLogLevel")
    {
        constexpr std::wstring_view kWords[] = {L"TRACEIN", L"TRACEOUT", L"VERBOSE", L"INFORMATION",
                                                L"WARNING", L"ERROR",    L"DIAG",    L"NEVER"};
        if (value.dwType != REG_SZ)
        {
            return L"is no text and is not read";
        }
        if (!text.empty() && std::find(std::begin(kWords), std::end(kWords), text) == std::end(kWords))
        {
            return value.strName == L"MinLogLevel" ? L"is misspelt and switches logging off: " + value.strText
                                                   : L"is misspelt and lets everything through: " + value.strText;
        }
    }
    else if (value.strName == L"LoggingType")
    {
        constexpr std::wstring_view kWords[] = {L"EVENT", L"FILE", L"CONSOLE", L"DEBUG"};
        if (std::none_of(std::begin(kWords), std::end(kWords),
                         [&text](std::wstring_view word) { return text.find(word) != std::wstring::npos; }))
        {
            return L"names no kind of log and is not used: " + value.strText;
        }
    }
    else if (value.dwType != REG_DWORD)
    {
        return L"is no number and is not read";
    }
    return {};
}

CFinding JudgePolicy(const CDoctorFacts& facts)
{
    std::vector<std::wstring> troubles;
    for (const CPolicyValue& value : facts.policy)
    {
        if (const std::wstring trouble = Trouble(value); !trouble.empty())
        {
            troubles.push_back(value.strKey + L"\\" + value.strName + L" " + trouble);
        }
    }
    if (!troubles.empty())
    {
        return {L"policy", Verdict::Problem, Joined(troubles),
                L"levels are TraceIn, TraceOut, Verbose, Information, Warning, Error, Diag, Never; kinds EVENT, FILE, "
                L"CONSOLE, DEBUG; restart the service"};
    }
    return {L"policy", Verdict::Ok, std::to_wstring(facts.policy.size()) + L" values set", {}};
}

CFinding JudgeFramework(const CDoctorFacts& facts)
{
    constexpr const wchar_t* kSubject = L"device framework";
    if (!facts.presence)
    {
        return {kSubject, Verdict::Unknown, L"the service does not answer", {}};
    }
    const auto [service, node] = *facts.presence;
    if (service != node)
    {
        return {kSubject, Verdict::Warning,
                service ? L"its service without its device node" : L"its device node without its service",
                L"install the device framework's package whole"};
    }
    return {kSubject, Verdict::Ok, service ? L"service and device node are there" : L"not on this PC", {}};
}

CFinding JudgeWmi(const CDoctorFacts& facts)
{
    constexpr const wchar_t* kSubject = L"WMI";
    switch (facts.eWmi)
    {
    case Answer::Yes:
        return {kSubject, Verdict::Ok, L"answers", {}};
    case Answer::No:
        return {kSubject, Verdict::Problem, facts.strWmiTrouble, L"winmgmt /verifyrepository; sc query winmgmt"};
    case Answer::Unknown:
        break;
    }
    return {kSubject, Verdict::Problem, L"did not answer in 10 s", L"restart the service winmgmt, then this one"};
}

} // namespace

std::vector<CFinding> Judge(const CDoctorFacts& facts)
{
    return {JudgeRegistration(facts), JudgePath(facts),      JudgeWriters(facts), JudgeRecovery(facts),
            JudgeEndpoint(facts),     JudgeLogFolder(facts), JudgeOldLogs(facts), JudgePolicy(facts),
            JudgeFramework(facts),    JudgeWmi(facts)};
}

} // namespace HotKey
