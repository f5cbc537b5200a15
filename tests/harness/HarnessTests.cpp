// The harness's own promises: hooks replace and restore, captured lines are what was logged, faults hit on the count.
#include "shared/TraceScope.h"
#include "tests/harness/AllocationFault.h"
#include "tests/harness/ImportHook.h"
#include "tests/harness/LogCapture.h"

#include <gtest/gtest.h>

#include <memory>
#include <new>

using Quil::Shared::CLogName;
using Quil::Shared::CTraceScope;

namespace
{
DWORD CallTickCount()
{
    return GetTickCount();
}
// Stands for product code: within one function the compiler may read an import slot only once.
DWORD (*volatile TickCount)() = CallTickCount;
} // namespace

TEST(ImportHook, ReplacesAFunctionForItsScopeAndCountsCalls)
{
    const DWORD real = TickCount();
    {
        IMPORT_HOOK(GetTickCount)([] { return DWORD{42}; });

        EXPECT_EQ(42u, TickCount());
        EXPECT_EQ(42u, TickCount());
        EXPECT_EQ(2, hook_GetTickCount.Calls());
        EXPECT_NE(42u, hook_GetTickCount.Real()());
    }
    EXPECT_GE(TickCount(), real);
}

namespace
{
DWORD TickCountBehindAnInnerHook()
{
    IMPORT_HOOK(GetTickCount)([] { return DWORD{2}; });
    return TickCount();
}
} // namespace

TEST(ImportHook, NestsAndRestoresInReverseOrder)
{
    IMPORT_HOOK(GetTickCount)([] { return DWORD{1}; });

    EXPECT_EQ(2u, TickCountBehindAnInnerHook());
    EXPECT_EQ(1u, TickCount());
}

TEST(LogCapture, KeepsLevelFunctionAndMessageInOrder)
{
    LogCapture log;
    {
        CTraceScope trace{"A::B", L"in %d", 1};
        trace.Warning(L"text %s", L"x");
        trace.ExitText(L"out");
    }

    EXPECT_LINES(log, L"TraceIn|in 1", L"Warning|text x", L"TraceOut|out");
    EXPECT_EQ("A::B", log.Records().at(0).function);
}

TEST(LogCapture, WithDiagnosticsTimesFunctions)
{
    const auto log = LogCapture::Diagnostics();
    {
        CTraceScope trace{"A::B"};
    }

    const auto lines = log->Lines();
    ASSERT_EQ(3u, lines.size());
    EXPECT_EQ(L"TraceOut|", lines[1]);
    EXPECT_EQ(0u, lines[2].find(L"Diag|Elapsed time = "));
}

TEST(AllocationFault, FailsTheChosenAllocationOnly)
{
    AllocationFault fault{1, 1};

    const std::unique_ptr<int> first{new (std::nothrow) int};
    const std::unique_ptr<int> second{new (std::nothrow) int};
    const std::unique_ptr<int> third{new (std::nothrow) int};

    EXPECT_NE(nullptr, first);
    EXPECT_EQ(nullptr, second);
    EXPECT_NE(nullptr, third);
    EXPECT_EQ(3, fault.Asked());
}
