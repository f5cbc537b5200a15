// The time and the trace of a function: what a scope writes, when, and in which order.
#include "shared/TraceScope.h"

#include "tests/harness/ImportHook.h"
#include "tests/harness/LogCapture.h"

#include <gtest/gtest.h>

#include <windows.h>

using namespace Quil::Shared;

TEST(ElapsedTimer, WritesMillisecondsAndKeepsThem)
{
    auto log = LogCapture::Diagnostics();
    ULONGLONG now = 1000;
    IMPORT_HOOK(QueryUnbiasedInterruptTime)
    ([&](ULONGLONG* time) -> BOOL {
        *time = now;
        return TRUE;
    });
    {
        CqlElapsedTimer timer{*CqlLogger::GetInstance(), "A::B"};
        now += 123456; // 12.3 ms
    }
    EXPECT_RECORDS(*log, L"Diag|A::B|Elapsed time =    12.3 ms.");
    EXPECT_EQ(12.3456, CqlLogger::GetInstance()->Timings().at("A::B").dTotalMilliseconds);
}

TEST(ElapsedTimer, WritesSecondsFromAMillionMillisecondsOn)
{
    auto log = LogCapture::Diagnostics();
    ULONGLONG now = 0;
    IMPORT_HOOK(QueryUnbiasedInterruptTime)
    ([&](ULONGLONG* time) -> BOOL {
        *time = now;
        return TRUE;
    });
    for (const ULONGLONG elapsed : {9999999999ULL, 10000000000ULL, 123450000000ULL})
    {
        CqlElapsedTimer timer{*CqlLogger::GetInstance(), "A::B"};
        now += elapsed;
    }
    EXPECT_LINES(*log, L"Diag|Elapsed time = 1000000.0 ms.", L"Diag|Elapsed time =  1000.0 s.",
                 L"Diag|Elapsed time = 12345.0 s.");
}

TEST(TraceScope, WithoutDiagnosticsMakesNoTimer)
{
    LogCapture log;
    IMPORT_HOOK(QueryUnbiasedInterruptTime)([](auto...) { return TRUE; });
    {
        CTraceScope trace{"A::B"};
    }
    EXPECT_EQ(0, hook_QueryUnbiasedInterruptTime.Calls());
    EXPECT_RECORDS(log, L"TraceIn|A::B|", L"TraceOut|A::B|");
}

TEST(TraceScope, StoresTheLastExitTextAndHandsTheResultBack)
{
    LogCapture log;
    const auto function = [] {
        CTraceScope trace{"A::B", L"Id = %d", 7};
        trace.ExitText(L"first");
        return trace.Exit(5, L"Result %s", L"five");
    };

    EXPECT_EQ(5, function());

    EXPECT_LINES(log, L"TraceIn|Id = 7", L"TraceOut|Result five");
}

TEST(TraceScope, WritesTheExitRecordAtOnceOrNotAtAllWhenAsked)
{
    LogCapture log;
    {
        CTraceScope now{"A::Now"};
        now.ExitNow(L"early");
        now.Information(L"later");
    }
    {
        CTraceScope none{"A::None"};
        none.NoExit();
    }
    EXPECT_RECORDS(log, L"TraceIn|A::Now|", L"TraceOut|A::Now|early", L"Information|A::Now|later", L"TraceIn|A::None|");
}

TEST(TraceScope, TheElapsedTimeFollowsTheExitRecordUnlessTheFunctionIsUntimed)
{
    auto log = LogCapture::Diagnostics();
    IMPORT_HOOK(QueryUnbiasedInterruptTime)
    ([](ULONGLONG* time) -> BOOL {
        *time = 5;
        return TRUE;
    });
    {
        CTraceScope timed{"A::Timed"};
    }
    {
        CTraceScope untimed{"A::Untimed", Untimed};
    }
    EXPECT_RECORDS(*log, L"TraceIn|A::Timed|", L"TraceOut|A::Timed|", L"Diag|A::Timed|Elapsed time =     0.0 ms.",
                   L"TraceIn|A::Untimed|", L"TraceOut|A::Untimed|");
}
