/// \file
/// Sends "function : message" to the debugger.
#pragma once

#include "shared/LogListener.h"

namespace Quil::Shared
{

/// Output of type Debugger. Out of memory loses the record.
class CqlLogListenerDebug final : public CqlLogListener
{
  public:
    /// minimumLevel counts unless the policy has one.
    explicit CqlLogListenerDebug(int minimumLevel);

    void Write(const LogData& record) override;
    DWORD Type() const override;
};

} // namespace Quil::Shared
