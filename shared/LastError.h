/// \file
/// Keeps the calling thread's last-error value over a scope: what is done inside leaves no trace in GetLastError.
#pragma once

#include <windows.h>

namespace Quil::Shared
{

/// The last-error value of one thread: made and destroyed on the same.
class [[nodiscard]] CLastErrorKeeper
{
  public:
    /// Remembers the value.
    CLastErrorKeeper() noexcept : m_dwLastError{GetLastError()} {}
    /// Puts it back.
    ~CLastErrorKeeper() { SetLastError(m_dwLastError); }
    CLastErrorKeeper(const CLastErrorKeeper&) = delete;
    CLastErrorKeeper& operator=(const CLastErrorKeeper&) = delete;

  private:
    const DWORD m_dwLastError;
};

} // namespace Quil::Shared
