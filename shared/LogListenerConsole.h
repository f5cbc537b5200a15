/// \file
/// Prints "function : message" to standard output, for programs that run in a console.
#pragma once

#include "shared/LogListener.h"

namespace Quil::Shared
{

/// Output of type Console.
class CqlLogListenerConsole final : public CqlLogListener
{
  public:
    /// minimumLevel counts unless the policy has one.
    explicit CqlLogListenerConsole(int minimumLevel);

    void Write(const LogData& record) override;
    DWORD Type() const override;
};

} // namespace Quil::Shared
