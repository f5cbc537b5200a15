#include "shared/LogListenerConsole.h"

#include "shared/WideText.h"

namespace Quil::Shared
{

CqlLogListenerConsole::CqlLogListenerConsole(int minimumLevel) : CqlLogListener{minimumLevel, nullptr, nullptr, false}
{
}

void CqlLogListenerConsole::Write(const LogData& record)
{
    PrintText(L"%S : %s\r\n", record.FunctionName(), record.Message());
}

DWORD CqlLogListenerConsole::Type() const
{
    return Console;
}

} // namespace Quil::Shared
