#include "shared/LogListenerConsole.h"

#include "shared/WideText.h"

namespace Quil::Shared
{

CqlLogListenerConsole::CqlLogListenerConsole(int minimumLevel) : CqlLogListener{minimumLevel, nullptr, nullptr, false}
{
}

void CqlLogListenerConsole::Write(const LogData& record)
{
    PrintText(L"%S : %s\r\n", record.FunctionName().data(), record.Message().data());
}

DWORD CqlLogListenerConsole::Type() const
{
    return Console;
}

} // namespace Quil::Shared
