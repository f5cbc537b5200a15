// A critical section held, or given back, for the length of a scope.
#pragma once

#include <windows.h>

namespace Quil::Shared
{

class [[nodiscard]] CSectionLock
{
  public:
    explicit CSectionLock(CRITICAL_SECTION& section) noexcept : m_section{section} { EnterCriticalSection(&m_section); }
    ~CSectionLock() { LeaveCriticalSection(&m_section); }
    CSectionLock(const CSectionLock&) = delete;
    CSectionLock& operator=(const CSectionLock&) = delete;

  private:
    CRITICAL_SECTION& m_section;
};

// Inside a CSectionLock's scope.
class [[nodiscard]] CSectionPause
{
  public:
    explicit CSectionPause(CRITICAL_SECTION& section) noexcept : m_section{section}
    {
        LeaveCriticalSection(&m_section);
    }
    ~CSectionPause() { EnterCriticalSection(&m_section); }
    CSectionPause(const CSectionPause&) = delete;
    CSectionPause& operator=(const CSectionPause&) = delete;

  private:
    CRITICAL_SECTION& m_section;
};

} // namespace Quil::Shared
