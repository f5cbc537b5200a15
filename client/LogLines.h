/// \file
/// The lines of the service's log: bytes in, records out, and which of them somebody wants to see. Texts are UTF-8 as
/// in the file. No Windows header.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace HotKey
{

/// One line with the lines that continue it, or lines that continue nothing: those have a text and a message only.
struct CLogRecord
{
    std::string strText;       ///< all of it, lines divided by a line feed, none at the end
    std::string strMessage;    ///< likewise
    std::string strTime;       ///< "2024/03/05 14:07:09.042"
    std::uint32_t ulThread{0}; ///< id of the thread that logged
    std::string strLevel;      ///< the word
    std::string strFunction;   ///< the name under which the record stands
    bool bUnfinished{false};   ///< the file ended before the line

    /// False for lines that continue nothing.
    bool IsRecord() const noexcept { return !strTime.empty(); }
};

/// Makes records of a file's bytes, whatever pieces they come in.
class CLogLineReader
{
  public:
    /// Adds the records that are known to be whole: those that another one follows.
    void Feed(std::string_view bytes, std::vector<CLogRecord>& records);
    /// Nothing is being written: adds the record that was held back, unless half a line is there that may continue it.
    /// What comes later begins a new one.
    void Pause(std::vector<CLogRecord>& records);
    /// The file has ended: adds whatever was held back.
    void Finish(std::vector<CLogRecord>& records);

  private:
    void TakeLine(std::string_view line, std::vector<CLogRecord>& records);
    void Emit(std::vector<CLogRecord>& records);

    bool m_bStarted{false};
    std::string m_strRest;   // a line whose end has not come yet
    bool m_bHolding{false};  // a record that lines may still continue
    std::string m_strRecord; // its text
};

/// Place of a level's word in the service's order, 0 TraceIn to 6 Diag, in any mix of case; -1 for other words.
int LogLevelRank(std::string_view word) noexcept;

/// What a record must have to be shown.
struct CLogFilter
{
    int nMinimumLevel{-1};   ///< as LogLevelRank has it; -1 admits all
    std::string strFunction; ///< part of the function's name, in any mix of case
    std::string strSince;    ///< time as in the log

    /// Lines that are no record have no level, function or time: they pass an empty filter only.
    bool Passes(const CLogRecord& record) const;
};

/// The time that an elapsed-time line tells, in tenths of a millisecond; empty for every other record.
std::optional<std::int64_t> ElapsedTenths(const CLogRecord& record);

/// "90s", "15m", "2h", "1d" in milliseconds; nothing for any other text.
std::optional<std::int64_t> ParseDuration(std::string_view text);

/// A time as in the log out of "2024/03/05 14:07:09.042" or less of it, with "-" and "T" instead of "/" and the blank,
/// or "14:07" on the day given as "2024/03/05"; nothing for any other text.
std::optional<std::string> ParseMoment(std::string_view text, std::string_view today);

} // namespace HotKey
