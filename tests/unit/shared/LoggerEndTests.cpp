// The end of the process: listeners go, calls that are inside are waited for, and what comes later is harmless.
// Each case ends a process of its own, which writes what it saw to standard error.
#include "shared/Logger.h"

#include "tests/harness/ImportHook.h"

#include <gtest/gtest.h>

#include <windows.h>

#include <cstdio>
#include <cstdlib>
#include <memory>
#include <thread>

using namespace Quil::Shared;

namespace
{

void Say(const char* word)
{
    std::fprintf(stderr, "%s;", word);
    std::fflush(stderr);
}

// Says when it writes and when it ends. A write waits for the event, if there is one.
class Speaker final : public CqlLogListener
{
  public:
    explicit Speaker(HANDLE inside = nullptr, HANDLE goOn = nullptr)
        : CqlLogListener{0, nullptr, nullptr, true}, m_inside{inside}, m_goOn{goOn}
    {
    }
    ~Speaker() override { Say("listener ends"); }
    void Write(const LogData&) override
    {
        if (m_inside != nullptr)
        {
            SetEvent(m_inside);
            WaitForSingleObject(m_goOn, INFINITE);
        }
        Say("record");
    }
    DWORD Type() const override { return Console; }

  private:
    const HANDLE m_inside;
    const HANDLE m_goOn;
};

void PutInPlace(std::unique_ptr<CqlLogListener> listener)
{
    auto logger = std::make_unique<CqlLogger>();
    logger->AddListener(std::move(listener));
    static_cast<void>(CqlLogger::ExchangeInstance(std::move(logger)).release());
}

// Runs after the logger's end, because it is registered before the logger expects one.
void Afterwards(void (*look)())
{
    std::atexit(look);
}

// A thread that is inside a record when the process ends.
struct Writer
{
    HANDLE inside{CreateEventW(nullptr, TRUE, FALSE, nullptr)};
    HANDLE goOn{CreateEventW(nullptr, TRUE, FALSE, nullptr)};

    void Start() const
    {
        PutInPlace(std::make_unique<Speaker>(inside, goOn));
        std::thread{[] { CqlLogger::GetInstance()->Log(Error, "A::B", L"x"); }}.detach();
        WaitForSingleObject(inside, INFINITE);
    }
};

[[noreturn]] void EndWithAListener()
{
    Afterwards([] {
        CqlLogger* const logger = CqlLogger::GetInstance();
        logger->Log(Error, "A::B", L"lost");
        logger->AddTiming("A::B", 1.0);
        Say(logger->Timings().empty() ? "no timings" : "timings");
        CqlLogger::ExchangeInstance(nullptr).reset();
        Say("gone");
    });
    PutInPlace(std::make_unique<Speaker>());
    CqlLogger::GetInstance()->Log(Error, "A::B", L"x");
    std::exit(0);
}

[[noreturn]] void EndWithoutALogger()
{
    Afterwards([] { Say(CqlLogger::GetInstance() == nullptr ? "no logger" : "a logger"); });
    static_cast<void>(CqlLogger::ExchangeInstance(nullptr));
    std::exit(0);
}

[[noreturn]] void EndWithACallThatComesOut()
{
    const Writer writer;
    IMPORT_HOOK(SwitchToThread)
    ([&] {
        SetEvent(writer.goOn);
        return hook_SwitchToThread.Real()();
    });
    writer.Start();
    std::exit(0);
}

[[noreturn]] void EndWithACallThatHangs()
{
    Afterwards([] { Say("afterwards"); });
    const Writer writer;
    ULONGLONG now = 0;
    IMPORT_HOOK(GetTickCount64)([&] { return now += 400; });
    writer.Start();
    std::exit(0);
}

} // namespace

TEST(LoggerEnd, TheListenersGoAndTheLoggerTakesNothingMore)
{
    EXPECT_EXIT(EndWithAListener(), testing::ExitedWithCode(0), "record;listener ends;no timings;gone;");
}

TEST(LoggerEnd, NoLoggerIsMadeAfterwards)
{
    EXPECT_EXIT(EndWithoutALogger(), testing::ExitedWithCode(0), "no logger;");
}

TEST(LoggerEnd, ACallThatIsInsideIsWaitedFor)
{
    EXPECT_EXIT(EndWithACallThatComesOut(), testing::ExitedWithCode(0), "record;listener ends;");
}

TEST(LoggerEnd, ACallThatHangsIsWaitedForOneSecondAndKeepsItsListener)
{
    EXPECT_EXIT(EndWithACallThatHangs(), testing::ExitedWithCode(0), "^afterwards;$");
}

// Whoever waits for another's logger to be made takes that one.
TEST(LoggerStart, OfASecondThreadFindsTheLoggerOfTheFirst)
{
    auto previous = CqlLogger::ExchangeInstance(nullptr);
    CqlLogger* first = nullptr;
    IMPORT_HOOK(AcquireSRWLockExclusive)
    ([&](SRWLOCK* lock) {
        if (hook_AcquireSRWLockExclusive.Calls() == 1)
        {
            auto logger = std::make_unique<CqlLogger>();
            first = logger.get();
            static_cast<void>(CqlLogger::ExchangeInstance(std::move(logger)));
        }
        hook_AcquireSRWLockExclusive.Real()(lock);
    });

    CqlLogger* const second = CqlLogger::GetInstance();

    EXPECT_NE(nullptr, first);
    EXPECT_EQ(first, second);
    CqlLogger::ExchangeInstance(std::move(previous));
}
