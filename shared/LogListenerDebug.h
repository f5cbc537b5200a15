// Sends "function : message" to the debugger.
#pragma once

#include "shared/LogListener.h"

namespace Quil::Shared
{

class CqlLogListenerDebug final : public CqlLogListener
{
  public:
    explicit CqlLogListenerDebug(int minimumLevel);

    void Write(const LogData& record) override;
    DWORD Type() const override;
};

} // namespace Quil::Shared
