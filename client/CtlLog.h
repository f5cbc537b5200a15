/// \file
/// `hotkeyctl log`: the log of the service of this PC on standard output, filtered, followed or summed up.
#pragma once

#include "client/CtlOutput.h"
#include "client/LogFiles.h"
#include "client/LogLines.h"

#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace HotKey
{

/// The options of the command.
struct CLogRequest
{
    std::wstring strPath; ///< empty: the service's log
    CLogFilter filter;    ///< which records are shown
    bool bFollow{false};  ///< go on with what is written from now on
    bool bJson{false};    ///< a JSON object a line
    bool bTimings{false}; ///< sums of the elapsed-time lines instead of the lines
};

/// One run of the command, on one thread.
class CCtlLog
{
  public:
    /// Request and output outlive the object.
    CCtlLog(const CLogRequest& request, const CCtlOutput& output) noexcept : m_request{request}, m_output{output} {}

    /// Writes the log and returns the program's exit code: answered, or empty when there is no log or nothing in it
    /// that passes. Following ends when nobody reads what is written.
    int Run();

  private:
    struct CTiming
    {
        std::int64_t llCount{0};
        std::int64_t llTotal{0}; // tenths of a millisecond
        std::int64_t llLongest{0};
    };

    std::wstring FindLog();
    int Copy(CLogFiles& files);
    bool Write(const std::vector<CLogRecord>& records);
    void Sum(const CLogRecord& record);
    std::string TimingsText() const;

    const CLogRequest& m_request;
    const CCtlOutput& m_output;
    bool m_bPassed{false}; // whether the last record did
    bool m_bAny{false};
    std::map<std::string, CTiming> m_mapTimings;
};

/// The text of --since as a time in the log: a duration before now, a day, or a time. Empty when it is none of them.
std::string SinceText(std::string_view text);

} // namespace HotKey
