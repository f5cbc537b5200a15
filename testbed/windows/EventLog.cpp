// A log of Windows events, which Wine does not keep: one line per event in C:\testbed\events.log,
// "type=4 category=2 id=0x60000000 source=<source>: <texts>".
#include "testbed/Outcome.h"
#include "testbed/Paths.h"
#include "testbed/Recorder.h"
#include "testbed/Text.h"
#include "testbed/windows/ImportTable.h"
#include "testbed/windows/StandIns.h"

#include <windows.h>

#include <string>

namespace Testbed
{
namespace
{

HANDLE WINAPI OpenSource(LPCWSTR, LPCWSTR source)
{
    return PrescribedFailure(L"events", L"register") ? nullptr : static_cast<HANDLE>(new std::wstring{source});
}

BOOL WINAPI WriteEvent(HANDLE source, WORD type, WORD category, DWORD id, PSID, WORD count, DWORD, LPCWSTR* texts,
                       LPVOID)
{
    if (source == nullptr)
    {
        SetLastError(ERROR_INVALID_HANDLE);
        return FALSE;
    }
    if (PrescribedFailure(L"events", L"report"))
    {
        return FALSE;
    }
    std::wstring line = L"type=" + std::to_wstring(type) + L" category=" + std::to_wstring(category) + L" id=" +
                        Hex(id) + L" source=" + *static_cast<const std::wstring*>(source) + L":";
    for (WORD index = 0; index < count; ++index)
    {
        line += L" " + std::wstring{texts[index]};
    }
    AppendLine(kEventsPath, line);
    return TRUE;
}

BOOL WINAPI CloseSource(HANDLE source)
{
    delete static_cast<std::wstring*>(source);
    return TRUE;
}

} // namespace

void InstallEventLogStandIns()
{
    TESTBED_REPLACE(RegisterEventSourceW, OpenSource);
    TESTBED_REPLACE(ReportEventW, WriteEvent);
    TESTBED_REPLACE(DeregisterEventSource, CloseSource);
}

} // namespace Testbed
