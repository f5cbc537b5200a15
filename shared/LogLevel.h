/// \file
/// Severity of a log record, with the words that stand for it in the log and in the policy.
#pragma once

#include <string_view>

namespace Quil::Shared
{

/// The numbers count: a listener admits a range of them.
enum LogLevel : int
{
    TraceIn = 0,     ///< function entry
    TraceOut = 1,    ///< function exit
    Verbose = 2,     ///< detail
    Information = 3, ///< normal events
    Warning = 4,     ///< the work goes on all the same
    Error = 5,       ///< failures
    Diag = 6,        ///< elapsed-time lines
    Never = 99       ///< only a configuration word: off
};

/// The word of a level; "Undefined" for a value without one.
const wchar_t* LogLevelName(int level) noexcept;

/// The level of a word, in any mix of case; 99 for an unknown one.
int LogLevelFromName(std::wstring_view name) noexcept;

} // namespace Quil::Shared
