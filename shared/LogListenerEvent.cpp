#include "shared/LogListenerEvent.h"

#include "shared/LogLevel.h"
#include "shared/LogPolicy.h"

namespace Quil::Shared
{

namespace
{

WORD EventType(int level) noexcept
{
    switch (level)
    {
    case Warning:
        return EVENTLOG_WARNING_TYPE;
    case Error:
        return EVENTLOG_ERROR_TYPE;
    default:
        return EVENTLOG_INFORMATION_TYPE;
    }
}

} // namespace

CqlLogListenerEvent::CqlLogListenerEvent(int minimumLevel)
    : CqlLogListener{minimumLevel, nullptr, nullptr, false}, m_hSource{RegisterEventSourceW(nullptr,
                                                                                            ProgramBaseName().c_str())}
{
}

CqlLogListenerEvent::~CqlLogListenerEvent()
{
    // Deliberate: also without a source, as it came.
    static_cast<void>(DeregisterEventSource(m_hSource));
}

void CqlLogListenerEvent::Write(const LogData& record)
{
    // Deliberate: Diag lines never reach the event log, whatever the maximum level says.
    if (record.Level() < m_nMinimumLevel || record.Level() > Error)
    {
        return;
    }
    const wchar_t* strings[] = {record.Line().c_str()};
    // A lost event is not reported.
    static_cast<void>(ReportEventW(m_hSource, EventType(record.Level()), 0, static_cast<DWORD>(record.Level()), nullptr,
                                   1, 0, strings, nullptr));
}

DWORD CqlLogListenerEvent::Type() const
{
    return EventLog;
}

} // namespace Quil::Shared
