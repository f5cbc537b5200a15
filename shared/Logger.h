/// \file
/// The process-wide logger: hands each record to the listeners whose levels admit it.
/// Call sites use CLogName and CTraceScope (TraceScope.h), which check formats and levels before anything is formatted.
/// Any thread may log. Logging never throws and never changes the thread's last-error value.
#pragma once

#include "shared/LogLevel.h"
#include "shared/LogListener.h"

#include <windows.h>

#include <array>
#include <atomic>
#include <cstddef>
#include <map>
#include <memory>
#include <string>
#include <string_view>

/// The logging library, owners of system resources, the process helper.
namespace Quil::Shared
{

/// A table of listeners, the range of levels that they admit together, and the times of functions.
class CqlLogger
{
  public:
    /// All runs of one function.
    struct TimingStatistics
    {
        double dTotalMilliseconds; ///< of all runs together
        DWORD dwCount;             ///< of runs
    };

    static constexpr std::size_t kMaximumListeners = 10; ///< size of the table
    /// CqlLogListener::TypeCode bits, without LoggingType.
    static constexpr DWORD kDefaultListenerMask = CqlLogListener::FileQueued;
    /// Characters of a message with its NUL.
    static constexpr std::size_t kDefaultBufferSize = 512;
    /// Deliberate: 8096, not 8192.
    static constexpr std::size_t kMaximumBufferSize = 8096;

    /// The process's logger, made on the first call from the policy in the registry. Null when memory ran out, or when
    /// the process ends before it was made. Stays the process's: the caller deletes nothing.
    static CqlLogger* GetInstance() noexcept
    {
        CqlLogger* const instance = s_pInstance.load(std::memory_order_acquire);
        return instance != nullptr ? instance : CreateInstance();
    }

    /// Puts another logger in place (null: the next GetInstance makes one) and hands back the old one.
    /// For tools and tests that bring their own listeners; no other thread may be logging.
    static std::unique_ptr<CqlLogger> ExchangeInstance(std::unique_ptr<CqlLogger> logger) noexcept;

    /// A logger without listeners; AddListener gives it some. A larger buffer than the maximum becomes the maximum.
    explicit CqlLogger(std::size_t bufferSize = kDefaultBufferSize) noexcept;
    /// The listeners that LoggingType names, else those of the mask (CqlLogListener::TypeCode bits).
    CqlLogger(int defaultMinimumLevel, DWORD defaultListenerMask);
    /// Waits up to a second for calls that are inside, then destroys the listeners in their order.
    ~CqlLogger();
    CqlLogger(const CqlLogger&) = delete;
    CqlLogger& operator=(const CqlLogger&) = delete;

    /// Adds one listener at the end and widens the level range; false when the table of ten is full.
    bool AddListener(std::unique_ptr<CqlLogListener> listener) noexcept;

    /// True when a record of this level would reach a listener: two comparisons.
    bool IsEnabled(int level) const noexcept
    {
        return level >= m_nMinimumLevel.load(std::memory_order_relaxed) &&
               level <= m_nMaximumLevel.load(std::memory_order_relaxed);
    }
    /// True when function times are wanted: the file listener writes Diag records.
    bool IsDiagnostics() const noexcept { return m_bDiagnostics.load(std::memory_order_relaxed); }

    /// Writes one record. format follows Microsoft's wide printf rules; null or empty gives an empty message.
    void Log(int level, const char* functionName, const wchar_t* format, ...) noexcept;

    /// Adds one measurement of a function.
    void AddTiming(const char* functionName, double milliseconds) noexcept;
    /// The measurements so far, by function name.
    std::map<std::string, TimingStatistics> Timings() const;
    /// Length of the longest function name measured.
    std::size_t LongestTimedName() const noexcept;

  private:
    struct Instance;
    class CCallInside;

    static CqlLogger* CreateInstance() noexcept;
    void Shut() noexcept;
    void Hand(int level, const char* functionName, std::wstring_view message) noexcept;

    static std::atomic<CqlLogger*> s_pInstance;

    std::size_t m_nBufferSize;
    std::array<std::unique_ptr<CqlLogListener>, kMaximumListeners> m_listeners;
    std::size_t m_nListeners;
    std::atomic<int> m_nMinimumLevel;
    std::atomic<int> m_nMaximumLevel;
    std::atomic<bool> m_bDiagnostics;
    std::atomic<int> m_nCallsInside;
    std::atomic<bool> m_bShut; // no call may enter any more
    CqlLogListener* m_pFileListener;
    std::map<std::string, TimingStatistics> m_timings; // guarded by m_timingLock
    std::size_t m_nLongestName;                        // guarded by m_timingLock
    mutable CRITICAL_SECTION m_timingLock;
};

} // namespace Quil::Shared
