#include "shared/ElapsedTimer.h"

#include <realtimeapiset.h>

namespace Quil::Shared
{

CqlElapsedTimer::CqlElapsedTimer(CqlLogger& logger, const char* functionName) noexcept
    : m_logger{logger}, m_pFunctionName{functionName}, m_ullStart{0}
{
    static_cast<void>(QueryUnbiasedInterruptTime(&m_ullStart)); // cannot fail with a valid pointer
}

CqlElapsedTimer::~CqlElapsedTimer()
{
    ULONGLONG now = m_ullStart;
    static_cast<void>(QueryUnbiasedInterruptTime(&now));
    const double milliseconds = static_cast<double>(now - m_ullStart) / 10000.0;
    if (milliseconds < 1000000.0)
    {
        m_logger.Log(Diag, m_pFunctionName, L"Elapsed time = %7.1Lf ms.", milliseconds);
    }
    else
    {
        m_logger.Log(Diag, m_pFunctionName, L"Elapsed time = %7.1Lf s.", milliseconds / 1000.0);
    }
    m_logger.AddTiming(m_pFunctionName, milliseconds);
}

} // namespace Quil::Shared
