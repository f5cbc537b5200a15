/// \file
/// Writes records to the Windows event log under the program's base name: event id = level, text = the whole line.
#pragma once

#include "shared/LogListener.h"

#include <windows.h>

namespace Quil::Shared
{

/// Output of type EventLog. Diag records never get there.
class CqlLogListenerEvent final : public CqlLogListener
{
  public:
    /// Opens the event source. minimumLevel counts unless the policy has one.
    explicit CqlLogListenerEvent(int minimumLevel);
    /// Closes the event source.
    ~CqlLogListenerEvent() override;

    void Write(const LogData& record) override;
    DWORD Type() const override;

  private:
    const HANDLE m_hSource; // may be null: records are then lost
};

} // namespace Quil::Shared
