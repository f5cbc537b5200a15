// The log files of the installed service, and the policy that governs them.
#include "testbed/Text.h"
#include "tests/e2e/Pc.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using namespace E2e;
using testing::Contains;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::StartsWith;

TEST(LogPolicy, WithoutPolicyNoDiagnosticsAreWritten)
{
    Pc pc;
    pc.InstallAndStart();

    pc.Control(L"stop");
    pc.WaitForEnd();

    EXPECT_THAT(pc.Log(), Contains(StartsWith(L"TraceIn|")));
    EXPECT_THAT(pc.Log(), Not(Contains(StartsWith(L"Diag|"))));
}

TEST(LogPolicy, DiagAddsAnElapsedTimeBehindEachTimedFunction)
{
    Pc pc{L"full-diagnostics"};

    pc.InstallAndStart();

    const Lines lines = pc.LogOf(L"CMainService::OnStart");
    ASSERT_THAT(lines, testing::SizeIs(testing::Ge(2u)));
    EXPECT_EQ(L"TraceOut|", lines[lines.size() - 2]);
    EXPECT_THAT(lines.back(), testing::AllOf(StartsWith(L"Diag|Elapsed time = "), testing::EndsWith(L" ms.")));
}

TEST(LogPolicy, MinimumLevelDropsWhatIsBelow)
{
    Pc pc;
    pc.SetPolicy(L"MinLogLevel", L"Information");
    pc.SetPolicy(L"QueuedWrites", L"0");

    pc.InstallAndStart();

    EXPECT_THAT(pc.Log(), Contains(StartsWith(L"Information|CMainService::OnStart|")));
    EXPECT_THAT(pc.Log(), Not(Contains(StartsWith(L"Trace"))));
    EXPECT_THAT(pc.Log(), Not(Contains(StartsWith(L"Verbose"))));
}

TEST(LogPolicy, NeverWritesNothing)
{
    Pc pc;
    pc.SetPolicy(L"MinLogLevel", L"Never");

    pc.InstallAndStart();
    pc.Control(L"stop");
    pc.WaitForEnd();

    EXPECT_THAT(pc.Log(), IsEmpty());
}

TEST(LogPolicy, EventListenerWritesWholeLinesUnderTheirLevel)
{
    Pc pc;
    pc.SetPolicy(L"LoggingType", L"event,file");

    pc.InstallAndStart();

    EXPECT_THAT(pc.Events(),
                Contains(testing::AllOf(
                    StartsWith(L"type=4 category=0 id=0x3 source=HotKeyServiceTLY: "),
                    HasSubstr(L"|Information|CMainService::OnStart|Quil TLY Service (1.0.0.0) in OnStart"))));
    EXPECT_THAT(pc.Log(), Contains(L"Information|CMainService::OnStart|Quil TLY Service (1.0.0.0) in OnStart"));
}

TEST(LogFile, StartsWithAByteOrderMarkAndEndsItsLinesWithCrLf)
{
    Pc pc;
    pc.SetPolicy(L"QueuedWrites", L"0");

    pc.InstallAndStart();

    const std::string bytes = pc.LogBytes(L"HotKeyServiceTLY.log");
    EXPECT_THAT(bytes, StartsWith("\xEF\xBB\xBF"));
    EXPECT_THAT(bytes, testing::EndsWith("\r\n"));
}

TEST(LogFile, ForeignTextIsMovedToNumberOneAtTheStart)
{
    Pc pc;
    pc.WriteLog(L"HotKeyServiceTLY.log", "somebody else's notes\r\n");

    pc.InstallAndStart();

    EXPECT_EQ("somebody else's notes\r\n", pc.LogBytes(L"HotKeyServiceTLY_0001.log"));
    EXPECT_TRUE(Eventually([&] { return !pc.Log().empty(); }));
}

TEST(LogFile, RotatesAsSoonAsItExceedsItsSizeAtACheck)
{
    Pc pc;
    pc.SetPolicy(L"MaxLogSize", L"1");
    pc.SetPolicy(L"QueuedWrites", L"0");

    pc.InstallAndStart();

    EXPECT_THAT(pc.LogBytes(L"HotKeyServiceTLY_0001.log"), Not(IsEmpty()));
}
