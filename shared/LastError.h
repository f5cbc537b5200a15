// Keeps the calling thread's last-error value over a scope: what is done inside leaves no trace in GetLastError.
#pragma once

#include <windows.h>

namespace Quil::Shared
{

class [[nodiscard]] CLastErrorKeeper
{
  public:
    CLastErrorKeeper() noexcept : m_dwLastError{GetLastError()} {}
    ~CLastErrorKeeper() { SetLastError(m_dwLastError); }
    CLastErrorKeeper(const CLastErrorKeeper&) = delete;
    CLastErrorKeeper& operator=(const CLastErrorKeeper&) = delete;

  private:
    const DWORD m_dwLastError;
};

} // namespace Quil::Shared
