/// \file
/// Times a scope: on destruction one Diag line "Elapsed time = ..." under the function's name and one entry in the
/// logger's statistics. CTraceScope starts it; code rarely names it.
#pragma once

#include "shared/Logger.h"

namespace Quil::Shared
{

/// Measures from its construction to its destruction, in unbiased time: a sleeping system does not count.
class [[nodiscard]] CqlElapsedTimer
{
  public:
    /// Both the logger and the name outlive the timer; neither is copied.
    CqlElapsedTimer(CqlLogger& logger, const char* functionName) noexcept;
    /// Writes the line in milliseconds, from 1000 s on in seconds.
    ~CqlElapsedTimer();
    CqlElapsedTimer(const CqlElapsedTimer&) = delete;
    CqlElapsedTimer& operator=(const CqlElapsedTimer&) = delete;

  private:
    CqlLogger& m_logger;
    const char* m_pFunctionName;
    ULONGLONG m_ullStart; // unbiased interrupt time, 100 ns units
};

} // namespace Quil::Shared
