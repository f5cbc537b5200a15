// The logger: which listeners the policy gives it, what reaches them, and what a caller never notices.
#include "shared/Logger.h"

#include "shared/TraceScope.h"
#include "tests/harness/AllocationFault.h"
#include "tests/harness/ImportHook.h"
#include "tests/harness/LogCapture.h"
#include "tests/harness/RegistryScope.h"
#include "tests/unit/shared/LogFolder.h"

#include <gtest/gtest.h>

#include <windows.h>

#include <shlobj.h>

#include <cstdio>
#include <new>
#include <thread>

using namespace Quil::Shared;

namespace
{

const std::wstring kProduct = L"Software\\Policies\\Quil\\Tests in Windows characters";

// A listener that notes in a journal what reaches it.
class Note final : public CqlLogListener
{
  public:
    Note(std::vector<std::wstring>& journal, const wchar_t* name, int minimum, int maximum, DWORD type = Console)
        : CqlLogListener{minimum, nullptr, nullptr, true}, m_journal{journal}, m_name{name}, m_type{type}
    {
        m_nMaximumLevel = maximum;
    }
    ~Note() override { m_journal.push_back(m_name + L" ends"); }
    void Write(const LogData& record) override
    {
        m_journal.push_back(m_name + L":" + std::wstring{record.Message()});
        SetLastError(1);
    }
    DWORD Type() const override { return m_type; }

  private:
    std::vector<std::wstring>& m_journal;
    const std::wstring m_name;
    const DWORD m_type;
};

class Thrower final : public CqlLogListener
{
  public:
    Thrower() : CqlLogListener{0, nullptr, nullptr, true} {}
    void Write(const LogData&) override { throw std::bad_alloc{}; }
    DWORD Type() const override { return Console; }
};

// A logger made from the policy, whose file is in a folder of its own and whose events and debugger texts are noted.
struct PolicyLogger : testing::Test
{
    struct FolderTag
    {
        static const wchar_t* Module() { return nullptr; }
        static const char* Name() { return "SHGetFolderPathW"; }
    };
    struct ReportTag
    {
        static const wchar_t* Module() { return nullptr; }
        static const char* Name() { return "ReportEventW"; }
    };
    struct DebugTag
    {
        static const wchar_t* Module() { return nullptr; }
        static const char* Name() { return "OutputDebugStringW"; }
    };

    RegistryScope registry;
    LogFolder folder;
    std::vector<std::wstring> order; // of the listeners that one record reached
    Harness::ImportHook<FolderTag, decltype(SHGetFolderPathW)> appData{
        [this](HWND, int, HANDLE, DWORD, wchar_t* path) -> HRESULT {
            folder.Path().copy(path, MAX_PATH);
            return S_OK;
        }};
    Harness::ImportHook<ReportTag, decltype(ReportEventW)> report{[this](auto...) -> BOOL {
        order.push_back(L"event");
        return TRUE;
    }};
    Harness::ImportHook<DebugTag, decltype(OutputDebugStringW)> debug{
        [this](const wchar_t*) { order.push_back(L"debug"); }};

    ~PolicyLogger() override
    {
        DeleteFileW(folder.File(L"quilLog\\shared_tests.log").c_str());
        RemoveDirectoryW(folder.File(L"quilLog").c_str());
    }
    std::unique_ptr<CqlLogger> Make() { return std::make_unique<CqlLogger>(0, CqlLogger::kDefaultListenerMask); }
    std::vector<std::string> FileLines() const { return folder.Lines(L"quilLog\\shared_tests.log"); }
};

} // namespace

TEST_F(PolicyLogger, WithoutPolicyWritesTraceInToErrorToAQueuedFileAndNoDiag)
{
    auto logger = Make();
    IMPORT_HOOK(CreateThread)([&](auto... arguments) { return hook_CreateThread.Real()(arguments...); });
    for (int level = 0; level <= 7; ++level)
    {
        logger->Log(level, "A::B", L"x");
    }
    EXPECT_LE(1, hook_CreateThread.Calls());
    EXPECT_FALSE(logger->IsDiagnostics());
    logger.reset();

    EXPECT_EQ((std::vector<std::string>{"TraceIn    |A::B|x", "TraceOut   |A::B|x", "Verbose    |A::B|x",
                                        "Information|A::B|x", "Warning    |A::B|x", "Error      |A::B|x"}),
              FileLines());
}

TEST_F(PolicyLogger, EventFileGivesAnEventLogAndADirectFile)
{
    registry.SetText(kProduct, L"LoggingType", L"event,file");
    auto logger = Make();
    IMPORT_HOOK(CreateThread)([&](auto... arguments) { return hook_CreateThread.Real()(arguments...); });

    logger->Log(Error, "A::B", L"x");

    EXPECT_EQ(0, hook_CreateThread.Calls());
    EXPECT_EQ(std::vector<std::wstring>{L"event"}, order);
    EXPECT_EQ(std::vector<std::string>{"Error      |A::B|x"}, FileLines());
}

TEST_F(PolicyLogger, ConsoleDebugGivesTheDebuggerThenTheConsole)
{
    registry.SetText(kProduct, L"LoggingType", L"console debug");
    const auto logger = Make();
    IMPORT_HOOK(OutputDebugStringW)([](const wchar_t*) { std::puts("debugger"); });
    testing::internal::CaptureStdout();

    logger->Log(Error, "A::B", L"x");

    EXPECT_EQ("debugger\nA::B : x\r\n", testing::internal::GetCapturedStdout());
    EXPECT_EQ("(missing)", folder.Read(L"quilLog\\shared_tests.log"));
}

TEST_F(PolicyLogger, ATextWithoutAKnownWordLeavesTheDefault)
{
    registry.SetText(kProduct, L"LoggingType", L"syslog");
    auto logger = Make();
    logger->Log(Error, "A::B", L"x");
    logger.reset();

    EXPECT_EQ(std::vector<std::string>{"Error      |A::B|x"}, FileLines());
}

TEST_F(PolicyLogger, AMaskOfBothFileKindsMeansTheQueuedOne)
{
    IMPORT_HOOK(CreateThread)([&](auto... arguments) { return hook_CreateThread.Real()(arguments...); });
    auto logger = std::make_unique<CqlLogger>(0, 12u);
    logger->Log(Error, "A::B", L"once");
    logger.reset();

    EXPECT_EQ(1, hook_CreateThread.Calls());
    EXPECT_EQ(std::vector<std::string>{"Error      |A::B|once"}, FileLines());
}

TEST_F(PolicyLogger, MaxLogLevelDiagInAnyCaseTurnsOnDiagLinesAndTimers)
{
    registry.SetText(kProduct, L"LoggingType", L"file");
    registry.SetText(kProduct, L"MaxLogLevel", L"dIaG");
    const auto logger = Make();

    logger->Log(Diag, "A::B", L"x");
    logger->Log(7, "A::B", L"x");

    EXPECT_TRUE(logger->IsDiagnostics());
    EXPECT_EQ(std::vector<std::string>{"Diag       |A::B|x"}, FileLines());
}

TEST_F(PolicyLogger, WithAnEventLogOnlyRunsNoTimer)
{
    registry.SetText(kProduct, L"LoggingType", L"event");
    registry.SetText(kProduct, L"MaxLogLevel", L"Diag");

    EXPECT_FALSE(Make()->IsDiagnostics());
}

TEST_F(PolicyLogger, AMisspeltMaximumOpensEveryLevelAndLevelSevenIsUndefined)
{
    registry.SetText(kProduct, L"LoggingType", L"file");
    registry.SetText(kProduct, L"MaxLogLevel", L"Eror");
    const auto logger = Make();

    logger->Log(7, "A::B", L"x");

    EXPECT_TRUE(logger->IsDiagnostics());
    EXPECT_EQ(std::vector<std::string>{"Undefined  |A::B|x"}, FileLines());
}

TEST_F(PolicyLogger, AMinimumOfNeverOrAMisspeltOneWritesNothing)
{
    for (const wchar_t* const word : {L"Never", L"Worning"})
    {
        registry.SetText(kProduct, L"LoggingType", L"debug");
        registry.SetText(kProduct, L"MinLogLevel", word);
        const auto logger = Make();

        for (int level = 0; level <= 7; ++level)
        {
            logger->Log(level, "A::B", L"x");
            EXPECT_FALSE(logger->IsEnabled(level));
        }
    }
    EXPECT_TRUE(order.empty());
}

TEST_F(PolicyLogger, ReadsThePolicyOnceAndClosesEveryKey)
{
    registry.SetText(kProduct + L"\\shared_tests", L"LoggingType", L"debug");
    int opened = 0;
    IMPORT_HOOK(RegOpenKeyExW)
    ([&](auto... arguments) {
        const LSTATUS result = hook_RegOpenKeyExW.Real()(arguments...);
        opened += result == ERROR_SUCCESS ? 1 : 0;
        return result;
    });
    IMPORT_HOOK(RegCloseKey)([&](HKEY key) { return hook_RegCloseKey.Real()(key); });
    const auto logger = Make();
    EXPECT_LT(0, opened);
    EXPECT_EQ(opened, hook_RegCloseKey.Calls());

    registry.SetText(kProduct, L"MinLogLevel", L"Never");
    logger->Log(Error, "A::B", L"x");

    EXPECT_EQ(std::vector<std::wstring>{L"debug"}, order);
}

TEST_F(PolicyLogger, AListenerThatCannotBeMadeLeavesTheOthersWorking)
{
    registry.SetText(kProduct, L"LoggingType", L"event console debug");
    // The version block of the policy, then the event listener.
    std::unique_ptr<CqlLogger> logger;
    {
        IMPORT_HOOK(RegisterEventSourceW)([](auto...) { return HANDLE{nullptr}; });
        AllocationFault fault{1, 1};
        logger = Make();
        EXPECT_EQ(0, hook_RegisterEventSourceW.Calls());
    }

    logger->Log(Error, "A::B", L"x");

    EXPECT_EQ(std::vector<std::wstring>{L"debug"}, order);
}

TEST(Logger, ReachesListenersInOrderAndOnlyInsideTheirLevels)
{
    std::vector<std::wstring> journal;
    CqlLogger logger;
    logger.AddListener(std::make_unique<Note>(journal, L"a", 0, 3));
    logger.AddListener(std::make_unique<Note>(journal, L"b", 3, 5));

    logger.Log(2, "A::B", L"two");
    logger.Log(3, "A::B", L"three");
    logger.Log(5, "A::B", L"five");
    logger.Log(6, "A::B", L"six");

    EXPECT_EQ((std::vector<std::wstring>{L"a:two", L"a:three", L"b:three", L"b:five"}), journal);
}

TEST(Logger, WithoutListenersBuildsNoRecord)
{
    CqlLogger logger;
    IMPORT_HOOK(GetLocalTime)([](auto...) {});

    for (int level = -1; level <= 100; ++level)
    {
        logger.Log(level, "A::B", L"x");
    }

    EXPECT_EQ(0, hook_GetLocalTime.Calls());
}

TEST(Logger, FiltersBeforeAnythingIsFormatted)
{
    std::vector<std::wstring> journal;
    CqlLogger logger;
    logger.AddListener(std::make_unique<Note>(journal, L"a", 5, 5));
    IMPORT_HOOK(GetLocalTime)([](auto...) {});

    // Formatting it would read through the pointer.
    logger.Log(4, "A::B", L"%s", reinterpret_cast<const wchar_t*>(1));

    EXPECT_EQ(0, hook_GetLocalTime.Calls());
    EXPECT_TRUE(journal.empty());
}

TEST(Logger, TakesTenListenersAndNoMore)
{
    std::vector<std::wstring> journal;
    CqlLogger logger;
    for (int i = 0; i < 10; ++i)
    {
        EXPECT_TRUE(logger.AddListener(std::make_unique<Note>(journal, L"a", 0, 5)));
    }

    EXPECT_FALSE(logger.AddListener(std::make_unique<Note>(journal, L"late", 0, 5)));

    EXPECT_EQ(std::vector<std::wstring>{L"late ends"}, journal);
}

TEST(Logger, SkipsAHoleInItsTable)
{
    std::vector<std::wstring> journal;
    CqlLogger logger;
    EXPECT_TRUE(logger.AddListener(nullptr));
    logger.AddListener(std::make_unique<Note>(journal, L"a", 0, 5));

    logger.Log(3, "A::B", L"x");

    EXPECT_EQ(std::vector<std::wstring>{L"a:x"}, journal);
}

TEST(Logger, DestroysItsListenersInTableOrder)
{
    std::vector<std::wstring> journal;
    {
        CqlLogger logger;
        logger.AddListener(std::make_unique<Note>(journal, L"a", 0, 5));
        logger.AddListener(std::make_unique<Note>(journal, L"b", 0, 5));
    }
    EXPECT_EQ((std::vector<std::wstring>{L"a ends", L"b ends"}), journal);
}

TEST(Logger, DiagnosticsFollowTheLastFileListener)
{
    std::vector<std::wstring> journal;
    CqlLogger logger;
    logger.AddListener(std::make_unique<Note>(journal, L"console", 0, 99));
    EXPECT_FALSE(logger.IsDiagnostics());
    logger.AddListener(std::make_unique<Note>(journal, L"file", 6, 6, 8u));
    EXPECT_TRUE(logger.IsDiagnostics());
    logger.AddListener(std::make_unique<Note>(journal, L"file", 99, 99, 4u));
    EXPECT_FALSE(logger.IsDiagnostics());
}

TEST(Logger, KeepsTheLastErrorOnEveryPath)
{
    std::vector<std::wstring> journal;
    CqlLogger logger;
    logger.AddListener(std::make_unique<Note>(journal, L"a", 3, 5));
    SetLastError(4711);

    logger.Log(0, "A::B", L"filtered");
    EXPECT_EQ(4711u, GetLastError());
    logger.Log(3, "A::B", L"plain");
    EXPECT_EQ(4711u, GetLastError());
    logger.Log(3, "A::B", L"formatted %d", 1);
    EXPECT_EQ(4711u, GetLastError());
    logger.Log(3, "A::B", nullptr);
    EXPECT_EQ(4711u, GetLastError());
    logger.AddTiming("A::B", 1.0);
    EXPECT_EQ(4711u, GetLastError());
}

TEST(Logger, LetsNoExceptionOutAndServesTheListenersBehind)
{
    std::vector<std::wstring> journal;
    CqlLogger logger;
    logger.AddListener(std::make_unique<Thrower>());
    logger.AddListener(std::make_unique<Note>(journal, L"a", 0, 5));
    SetLastError(4711);

    EXPECT_NO_THROW(logger.Log(3, "A::B", L"x"));

    EXPECT_EQ(4711u, GetLastError());
    EXPECT_EQ(std::vector<std::wstring>{L"a:x"}, journal);
}

TEST(Logger, TakesANullOrEmptyFormatForAnEmptyMessage)
{
    std::vector<std::wstring> journal;
    CqlLogger logger;
    logger.AddListener(std::make_unique<Note>(journal, L"a", 0, 5));

    logger.Log(3, "A::B", nullptr);
    logger.Log(3, "A::B", L"");

    EXPECT_EQ((std::vector<std::wstring>{L"a:", L"a:"}), journal);
}

TEST(Logger, FormatsWideAndNarrowTextsAndNumbers)
{
    std::vector<std::wstring> journal;
    CqlLogger logger;
    logger.AddListener(std::make_unique<Note>(journal, L"a", 0, 5));

    logger.Log(3, "A::B", L"%s %S %d 0x%08x %.1f", L"wide", "narrow", -5, 0xBEEF, 2.5);

    EXPECT_EQ(std::vector<std::wstring>{L"a:wide narrow -5 0x0000beef 2.5"}, journal);
}

TEST(Logger, CutsAMessageTo511Characters)
{
    const std::wstring text(600, L'x');
    std::vector<std::wstring> journal;
    CqlLogger logger;
    logger.AddListener(std::make_unique<Note>(journal, L"a", 0, 5));

    logger.Log(3, "A::B", L"%s", text.c_str());
    logger.Log(3, "A::B", text.c_str());
    logger.Log(3, "A::B", L"%f%s", 1.0, text.c_str());
    logger.Log(3, "A::B", L"%s", text.substr(0, 511).c_str());
    logger.Log(3, "A::B", text.substr(0, 511).c_str());

    const std::wstring full = L"a:" + std::wstring(511, L'x');
    EXPECT_EQ((std::vector<std::wstring>{full, full, L"a:1.000000" + std::wstring(503, L'x'), full, full}), journal);
}

TEST(Logger, CutsAMessageToAtMost8095CharactersWhateverBufferIsAskedFor)
{
    std::vector<std::wstring> journal;
    CqlLogger logger{1000000};
    logger.AddListener(std::make_unique<Note>(journal, L"a", 0, 5));

    logger.Log(3, "A::B", L"%s", std::wstring(9000, L'x').c_str());

    EXPECT_EQ(L"a:" + std::wstring(8095, L'x'), journal.at(0));
}

TEST(Logger, KeepsTimingsByFunctionName)
{
    CqlLogger logger;

    logger.AddTiming("A::B", 1.5);
    logger.AddTiming("A::Longer", 10);
    logger.AddTiming("A::B", 2.5);

    const auto timings = logger.Timings();
    ASSERT_EQ(2u, timings.size());
    EXPECT_EQ(4.0, timings.at("A::B").dTotalMilliseconds);
    EXPECT_EQ(2u, timings.at("A::B").dwCount);
    EXPECT_EQ(10.0, timings.at("A::Longer").dTotalMilliseconds);
    EXPECT_EQ(1u, timings.at("A::Longer").dwCount);
    EXPECT_EQ(9u, logger.LongestTimedName());
}

TEST_F(PolicyLogger, IsMadeOnTheFirstCallAndOnceForAllThreads)
{
    auto previous = CqlLogger::ExchangeInstance(nullptr);
    std::vector<CqlLogger*> seen(16);
    std::vector<std::thread> threads;
    for (CqlLogger*& instance : seen)
    {
        threads.emplace_back([&instance] { instance = CqlLogger::GetInstance(); });
    }
    SetLastError(4711);
    CqlLogger* const own = CqlLogger::GetInstance();
    EXPECT_EQ(4711u, GetLastError());
    for (std::thread& thread : threads)
    {
        thread.join();
    }

    EXPECT_NE(nullptr, own);
    EXPECT_EQ(std::vector<CqlLogger*>(16, own), seen);
    CqlLogger::ExchangeInstance(std::move(previous));
}

TEST_F(PolicyLogger, IsMadeByALaterCallWhenTheFirstOneFailed)
{
    auto previous = CqlLogger::ExchangeInstance(nullptr);
    {
        AllocationFault fault{0, 1};
        EXPECT_EQ(nullptr, CqlLogger::GetInstance());
    }
    EXPECT_NE(nullptr, CqlLogger::GetInstance());
    CqlLogger::ExchangeInstance(std::move(previous));
}

TEST(LogName, LogsNothingWhileThereIsNoLogger)
{
    auto previous = CqlLogger::ExchangeInstance(nullptr);
    AllocationFault fault{0};
    CTraceScope trace{"A::B"};

    EXPECT_NO_THROW(trace.Error(L"lost %d", 1));
    trace.NoExit();

    EXPECT_EQ(nullptr, CqlLogger::GetInstance());
    CqlLogger::ExchangeInstance(std::move(previous));
}

TEST_F(PolicyLogger, WithAMaskWithoutAFileWritesNone)
{
    const auto logger = std::make_unique<CqlLogger>(0, DWORD{CqlLogListener::Debugger});

    logger->Log(Error, "A::B", L"x");

    EXPECT_EQ(std::vector<std::wstring>{L"debug"}, order);
    EXPECT_EQ("(missing)", folder.Read(L"quilLog\\shared_tests.log"));
}
