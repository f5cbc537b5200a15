/// \file
/// A critical section held, or given back, for the length of a scope.
#pragma once

#include <windows.h>

namespace Quil::Shared
{

/// Holds a section; one of the same thread may be inside another.
class [[nodiscard]] CSectionLock
{
  public:
    /// Waits for the section, which outlives the object.
    explicit CSectionLock(CRITICAL_SECTION& section) noexcept : m_section{section} { EnterCriticalSection(&m_section); }
    /// Leaves the section.
    ~CSectionLock() { LeaveCriticalSection(&m_section); }
    CSectionLock(const CSectionLock&) = delete;
    CSectionLock& operator=(const CSectionLock&) = delete;

  private:
    CRITICAL_SECTION& m_section;
};

/// Gives the section back for a scope inside that of a CSectionLock.
class [[nodiscard]] CSectionPause
{
  public:
    /// Leaves the section, once.
    explicit CSectionPause(CRITICAL_SECTION& section) noexcept : m_section{section}
    {
        LeaveCriticalSection(&m_section);
    }
    /// Waits for the section again.
    ~CSectionPause() { EnterCriticalSection(&m_section); }
    CSectionPause(const CSectionPause&) = delete;
    CSectionPause& operator=(const CSectionPause&) = delete;

  private:
    CRITICAL_SECTION& m_section;
};

} // namespace Quil::Shared
