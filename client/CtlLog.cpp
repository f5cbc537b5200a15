#include "client/CtlLog.h"

#include "client/CtlCommands.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <cmath>
#include <utility>

namespace
{

using Json = nlohmann::ordered_json;

constexpr DWORD kFollowMs = 100;

// What a log cut in the middle of a character still gives.
std::string JsonLine(const Json& object)
{
    return object.dump(-1, ' ', false, Json::error_handler_t::replace) + "\n";
}

std::string RecordJson(const HotKey::CLogRecord& record)
{
    Json object;
    if (record.IsRecord())
    {
        std::string time = record.strTime;
        time[4] = time[7] = '-';
        time[10] = 'T';
        object["time"] = time;
        object["thread"] = record.ulThread;
        object["level"] = record.strLevel;
        object["function"] = record.strFunction;
    }
    object["message"] = record.strMessage;
    if (record.bUnfinished)
    {
        object["unfinished"] = true;
    }
    return JsonLine(object);
}

std::string RecordText(const HotKey::CLogRecord& record)
{
    return record.strText + (record.bUnfinished ? " [unfinished]\n" : "\n");
}

std::string Tenths(std::int64_t tenths)
{
    return std::to_string(tenths / 10) + "." + std::to_string(tenths % 10);
}

std::string Right(const std::string& text, std::size_t width)
{
    return std::string(width - std::min(width, text.size()), ' ') + text;
}

// "%04u/%02u/%02u %02u:%02u:%02u.%03u"
std::string LogTime(const SYSTEMTIME& time)
{
    const auto digits = [](WORD value, std::size_t width) {
        const std::string text = std::to_string(value);
        return std::string(width - std::min(width, text.size()), '0') + text;
    };
    return digits(time.wYear, 4) + "/" + digits(time.wMonth, 2) + "/" + digits(time.wDay, 2) + " " +
           digits(time.wHour, 2) + ":" + digits(time.wMinute, 2) + ":" + digits(time.wSecond, 2) + "." +
           digits(time.wMilliseconds, 3);
}

std::wstring WhyNot(DWORD error)
{
    switch (error)
    {
    case ERROR_FILE_NOT_FOUND:
    case ERROR_PATH_NOT_FOUND:
        return L"does not exist";
    case ERROR_ACCESS_DENIED:
        return L"access denied; an administrator may read it";
    default:
        return L"cannot be opened, error " + std::to_wstring(error);
    }
}

} // namespace

namespace HotKey
{

std::string SinceText(std::string_view text)
{
    const auto duration = ParseDuration(text);
    FILETIME now{};
    GetSystemTimeAsFileTime(&now);
    ULARGE_INTEGER ticks{};
    ticks.LowPart = now.dwLowDateTime;
    ticks.HighPart = now.dwHighDateTime;
    const ULONGLONG back = static_cast<ULONGLONG>(duration.value_or(0)) * 10000;
    ticks.QuadPart -= std::min(back, ticks.QuadPart);
    const FILETIME then{ticks.LowPart, ticks.HighPart};
    SYSTEMTIME utc{};
    SYSTEMTIME local{};
    if (!FileTimeToSystemTime(&then, &utc) || !SystemTimeToTzSpecificLocalTime(nullptr, &utc, &local))
    {
        return {};
    }
    const std::string time = LogTime(local);
    return duration ? time : ParseMoment(text, std::string_view{time}.substr(0, 10)).value_or(std::string{});
}

int CCtlLog::Run()
{
    const std::wstring path = FindLog();
    if (path.empty())
    {
        return ExitEmpty;
    }
    CLogFiles files{path};
    return Copy(files);
}

// Empty, and the reason said, when there is none.
std::wstring CCtlLog::FindLog()
{
    const std::vector<std::wstring> paths =
        m_request.strPath.empty() ? ServiceLogPaths() : std::vector{m_request.strPath};
    std::wstring trouble;
    bool denied = false;
    for (const std::wstring& path : paths)
    {
        const DWORD error = CLogFiles{path}.Look();
        if (error == ERROR_SUCCESS)
        {
            if (denied)
            {
                m_output.Complain(L"this is " + path + L", not the service's own log:" + trouble);
            }
            return path;
        }
        denied = denied || error == ERROR_ACCESS_DENIED;
        trouble += L"\n  " + path + L": " + WhyNot(error);
    }
    m_output.Complain(L"no log found:" + trouble);
    return {};
}

int CCtlLog::Copy(CLogFiles& files)
{
    CLogLineReader reader;
    std::string bytes;
    std::vector<CLogRecord> records;
    bool idle = false; // there was nothing more before the last sleep
    for (;;)
    {
        const CLogFiles::Step step = files.Read(bytes);
        switch (step)
        {
        case CLogFiles::Step::Bytes:
            reader.Feed(bytes, records);
            break;
        case CLogFiles::Step::NextFile:
            reader.Finish(records);
            break;
        case CLogFiles::Step::End:
            if (!m_request.bFollow)
            {
                reader.Finish(records);
            }
            else if (idle)
            {
                reader.Pause(records);
            }
            break;
        }
        const bool written = Write(std::exchange(records, {}));
        idle = step == CLogFiles::Step::End;
        if (!written || (idle && !m_request.bFollow))
        {
            break;
        }
        if (idle)
        {
            Sleep(kFollowMs);
        }
    }
    if (m_request.bTimings && m_bAny)
    {
        m_output.Print(FromUtf8(TimingsText()));
    }
    return m_bAny ? ExitAnswered : ExitEmpty;
}

// False when the output cannot be written.
bool CCtlLog::Write(const std::vector<CLogRecord>& records)
{
    std::string text;
    for (const CLogRecord& record : records)
    {
        // Lines that are no record go with the one before them.
        m_bPassed = (!record.IsRecord() && m_bPassed) || m_request.filter.Passes(record);
        if (!m_bPassed)
        {
            continue;
        }
        if (m_request.bTimings)
        {
            Sum(record);
            continue;
        }
        m_bAny = true;
        text += m_request.bJson ? RecordJson(record) : RecordText(record);
    }
    return text.empty() || m_output.Print(FromUtf8(text));
}

void CCtlLog::Sum(const CLogRecord& record)
{
    if (const auto tenths = ElapsedTenths(record))
    {
        CTiming& timing = m_mapTimings[record.strFunction];
        ++timing.llCount;
        timing.llTotal += *tenths;
        timing.llLongest = std::max(timing.llLongest, *tenths);
        m_bAny = true;
    }
}

// The function that took most comes first.
std::string CCtlLog::TimingsText() const
{
    std::vector<std::pair<std::string, CTiming>> rows{m_mapTimings.begin(), m_mapTimings.end()};
    std::stable_sort(rows.begin(), rows.end(),
                     [](const auto& left, const auto& right) { return left.second.llTotal > right.second.llTotal; });
    std::string text = m_request.bJson ? "" : "   count    total ms     mean ms  longest ms  function\n";
    for (const auto& [function, timing] : rows)
    {
        const std::int64_t mean = (timing.llTotal + timing.llCount / 2) / timing.llCount;
        if (m_request.bJson)
        {
            text += JsonLine(Json{{"function", function},
                                  {"count", timing.llCount},
                                  {"totalMs", static_cast<double>(timing.llTotal) / 10},
                                  {"meanMs", static_cast<double>(mean) / 10},
                                  {"longestMs", static_cast<double>(timing.llLongest) / 10}});
            continue;
        }
        text += Right(std::to_string(timing.llCount), 8) + Right(Tenths(timing.llTotal), 12) + Right(Tenths(mean), 12) +
                Right(Tenths(timing.llLongest), 12) + "  " + function + "\n";
    }
    return text;
}

} // namespace HotKey
