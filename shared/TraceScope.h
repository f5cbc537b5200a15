/// \file
/// The two ways to log.
///
///     CTraceScope trace{"Utils::GetCurrentSessionID"};      entry record now, exit record and elapsed time at the end
///     trace.Information(L"Session Count = %d", count);
///     return trace.Exit(id, L"Session Id = %d", id);        stores the exit text, hands the value back
///
///     CLogName{"CMainService::OnStart"}.Error(L"...");      lines under a name, without entry and exit
///
/// Declare the scope first: what is declared after it is cleaned up before the exit record is written.
/// Names are literals, equal to the qualified function name, so that a line of the log can be searched in the sources.
#pragma once

#include "shared/ElapsedTimer.h"
#include "shared/LastError.h"
#include "shared/LogFormat.h"
#include "shared/Logger.h"
#include "shared/WideText.h"

#include <cstddef>
#include <optional>
#include <string>
#include <utility>

namespace Quil::Shared
{

/// For functions that trace but are not timed.
struct UntimedTag
{
};
/// Makes a CTraceScope without a time.
inline constexpr UntimedTag Untimed{};

/// Writes records under one function name. Any thread; a record that no listener admits is not formatted.
class CLogName
{
  public:
    /// The literal is not copied.
    template <std::size_t N> explicit constexpr CLogName(const char (&name)[N]) noexcept : m_pName{name} {}

    /// A record of detail.
    template <typename... Args>
    void Verbose(CLogFormat<std::type_identity_t<Args>...> format, const Args&... args) const noexcept
    {
        Write(LogLevel::Verbose, format.Text(), args...);
    }
    /// A record of a normal event.
    template <typename... Args>
    void Information(CLogFormat<std::type_identity_t<Args>...> format, const Args&... args) const noexcept
    {
        Write(LogLevel::Information, format.Text(), args...);
    }
    /// A record of something that goes on all the same.
    template <typename... Args>
    void Warning(CLogFormat<std::type_identity_t<Args>...> format, const Args&... args) const noexcept
    {
        Write(LogLevel::Warning, format.Text(), args...);
    }
    /// A record of a failure.
    template <typename... Args>
    void Error(CLogFormat<std::type_identity_t<Args>...> format, const Args&... args) const noexcept
    {
        Write(LogLevel::Error, format.Text(), args...);
    }
    /// An entry record.
    template <typename... Args>
    void TraceIn(CLogFormat<std::type_identity_t<Args>...> format, const Args&... args) const noexcept
    {
        Write(LogLevel::TraceIn, format.Text(), args...);
    }
    /// An exit record.
    template <typename... Args>
    void TraceOut(CLogFormat<std::type_identity_t<Args>...> format, const Args&... args) const noexcept
    {
        Write(LogLevel::TraceOut, format.Text(), args...);
    }
    /// Deliberate: the text itself is the format. Zeros stand behind it, so that a conversion in it reads no stack.
    void Information(CRuntimeFormat format) const noexcept
    {
        Write(LogLevel::Information, format.m_pText, 0LL, 0LL, 0LL, 0LL, 0LL, 0LL, 0LL, 0LL, 0LL, 0LL, 0LL, 0LL, 0LL,
              0LL, 0LL, 0LL);
    }

    /// The literal.
    const char* Name() const noexcept { return m_pName; }

  private:
    template <typename... Args> void Write(int level, const wchar_t* format, const Args&... args) const noexcept
    {
        CqlLogger* const logger = CqlLogger::GetInstance();
        if (logger != nullptr && logger->IsEnabled(level))
        {
            logger->Log(level, m_pName, format, ToVariadic(args)...);
        }
    }

    const char* m_pName;
};

/// Entry record on construction; on destruction the exit record, then the elapsed-time line when diagnostics are on.
class [[nodiscard]] CTraceScope : public CLogName
{
  public:
    /// Timed, with an empty entry text.
    template <std::size_t N> explicit CTraceScope(const char (&name)[N]) : CLogName{name}
    {
        TraceIn(L"");
        StartTimer();
    }
    /// Not timed, with an empty entry text.
    template <std::size_t N> CTraceScope(const char (&name)[N], UntimedTag) : CLogName{name} { TraceIn(L""); }
    /// Timed, with an entry text.
    template <std::size_t N, typename... Args>
    CTraceScope(const char (&name)[N], CLogFormat<std::type_identity_t<Args>...> entry, const Args&... args)
        : CLogName{name}
    {
        TraceIn<Args...>(entry, args...);
        StartTimer();
    }
    ~CTraceScope()
    {
        if (m_bExitWanted)
        {
            TraceOut(L"%s", m_strExit);
        }
    }
    CTraceScope(const CTraceScope&) = delete;
    CTraceScope& operator=(const CTraceScope&) = delete;

    /// Stores the text of the exit record; the last one stored counts. Out of memory leaves it empty.
    template <typename... Args>
    void ExitText(CLogFormat<std::type_identity_t<Args>...> format, const Args&... args) noexcept
    {
        CqlLogger* const logger = CqlLogger::GetInstance();
        if (logger != nullptr && logger->IsEnabled(LogLevel::TraceOut))
        {
            const CLastErrorKeeper keeper;
            try
            {
                m_strExit = FormatText<Args...>(format, args...);
            }
            catch (...)
            {
                m_strExit.clear();
            }
        }
    }
    /// The same, and hands the result back.
    template <typename Result, typename... Args>
    Result Exit(Result result, CLogFormat<std::type_identity_t<Args>...> format, const Args&... args)
    {
        ExitText<Args...>(format, args...);
        return result;
    }
    /// The exit text shows the result itself.
    template <typename Result> Result ExitValue(Result result, CLogFormat<std::type_identity_t<Result>> format)
    {
        ExitText<Result>(format, result);
        return result;
    }
    /// Writes the exit record here instead of at the end of the scope.
    template <typename... Args> void ExitNow(CLogFormat<std::type_identity_t<Args>...> format, const Args&... args)
    {
        TraceOut<Args...>(format, args...);
        m_bExitWanted = false;
    }
    /// Drops the exit record on this path.
    void NoExit() noexcept { m_bExitWanted = false; }

  private:
    void StartTimer() noexcept
    {
        CqlLogger* const logger = CqlLogger::GetInstance();
        if (logger != nullptr && logger->IsDiagnostics())
        {
            m_timer.emplace(*logger, Name());
        }
    }

    std::optional<CqlElapsedTimer> m_timer;
    std::wstring m_strExit;
    bool m_bExitWanted{true};
};

} // namespace Quil::Shared
