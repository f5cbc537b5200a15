// Times a scope: on destruction one Diag line "Elapsed time = ..." under the function's name and one entry in the
// logger's statistics. CTraceScope starts it; code rarely names it.
#pragma once

#include "shared/Logger.h"

namespace Quil::Shared
{

class [[nodiscard]] CqlElapsedTimer
{
  public:
    CqlElapsedTimer(CqlLogger& logger, const char* functionName) noexcept;
    ~CqlElapsedTimer();
    CqlElapsedTimer(const CqlElapsedTimer&) = delete;
    CqlElapsedTimer& operator=(const CqlElapsedTimer&) = delete;

  private:
    CqlLogger& m_logger;
    const char* m_pFunctionName;
    ULONGLONG m_ullStart; // unbiased interrupt time, 100 ns units
};

} // namespace Quil::Shared
