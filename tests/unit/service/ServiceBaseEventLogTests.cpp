// CServiceBase::WriteEventLogEntry: what reaches the event log for each type, text and failure.
#include "service/ServiceBase.h"

#include "tests/harness/ImportHook.h"
#include "tests/unit/service/EventLogRecorder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <windows.h>

#include <cstdint>
#include <string>

using testing::ElementsAre;

TEST(WriteEventLogEntry, GivesEachTypeItsEventId)
{
    EventLogRecorder events;

    CServiceBase::WriteEventLogEntry(EVENTLOG_SUCCESS, L"success");
    CServiceBase::WriteEventLogEntry(EVENTLOG_ERROR_TYPE, L"error");
    CServiceBase::WriteEventLogEntry(EVENTLOG_WARNING_TYPE, L"warning");
    CServiceBase::WriteEventLogEntry(EVENTLOG_INFORMATION_TYPE, L"information");
    CServiceBase::WriteEventLogEntry(EVENTLOG_AUDIT_SUCCESS, L"another");

    EXPECT_THAT(events.Entries(), ElementsAre(L"0|20000000|success", L"1|E0000000|error", L"2|A0000000|warning",
                                              L"4|60000000|information", L"8|60000000|another"));
}

TEST(WriteEventLogEntry, FormatsByWidePrintfRules)
{
    EventLogRecorder events;

    CServiceBase::WriteEventLogEntry(EVENTLOG_INFORMATION_TYPE, L"%s %S 0x%08lx %d%%", L"wide", "narrow", DWORD{0xAB},
                                     -3);

    EXPECT_THAT(events.Entries(), ElementsAre(L"4|60000000|wide narrow 0x000000ab -3%"));
}

TEST(WriteEventLogEntry, CutsTheTextAt1023Characters)
{
    EventLogRecorder events;

    CServiceBase::WriteEventLogEntry(EVENTLOG_INFORMATION_TYPE, L"%s", std::wstring(1023, L'x'));
    CServiceBase::WriteEventLogEntry(EVENTLOG_INFORMATION_TYPE, L"%s", std::wstring(5000, L'y'));

    EXPECT_THAT(events.Entries(),
                ElementsAre(L"4|60000000|" + std::wstring(1023, L'x'), L"4|60000000|" + std::wstring(1023, L'y')));
}

TEST(WriteEventLogEntry, WithoutSourceReportsAndClosesNothing)
{
    IMPORT_HOOK(RegisterEventSourceW)([](auto...) -> HANDLE { return nullptr; });
    IMPORT_HOOK(ReportEventW)([](auto...) { return TRUE; });
    IMPORT_HOOK(DeregisterEventSource)([](auto...) { return TRUE; });

    CServiceBase::WriteEventLogEntry(EVENTLOG_INFORMATION_TYPE, L"lost");

    EXPECT_EQ(1, hook_RegisterEventSourceW.Calls());
    EXPECT_EQ(0, hook_ReportEventW.Calls());
    EXPECT_EQ(0, hook_DeregisterEventSource.Calls());
}

TEST(WriteEventLogEntry, ClosesTheSourceWhenReportingFails)
{
    IMPORT_HOOK(RegisterEventSourceW)([](auto...) { return reinterpret_cast<HANDLE>(std::uintptr_t{0x77}); });
    IMPORT_HOOK(ReportEventW)([](auto...) { return FALSE; });
    HANDLE closed = nullptr;
    IMPORT_HOOK(DeregisterEventSource)
    ([&](HANDLE source) {
        closed = source;
        return TRUE;
    });

    CServiceBase::WriteEventLogEntry(EVENTLOG_ERROR_TYPE, L"lost");

    EXPECT_EQ(reinterpret_cast<HANDLE>(std::uintptr_t{0x77}), closed);
}

// What an operation throws ends in its wrapper, also when it comes from the entry that the operation writes.
TEST(WriteEventLogEntry, LetsAnExceptionOutAndClosesTheSource)
{
    IMPORT_HOOK(RegisterEventSourceW)([](auto...) { return reinterpret_cast<HANDLE>(std::uintptr_t{0x77}); });
    IMPORT_HOOK(ReportEventW)([](auto...) -> BOOL { throw DWORD{5}; });
    IMPORT_HOOK(DeregisterEventSource)([](auto...) { return TRUE; });

    EXPECT_THROW(CServiceBase::WriteEventLogEntry(EVENTLOG_INFORMATION_TYPE, L"lost"), DWORD);

    EXPECT_EQ(1, hook_DeregisterEventSource.Calls());
}
