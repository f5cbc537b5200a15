#include "tests/threads/Schedule.h"

#include "tests/threads/Points.h"

#include "tests/unit/service/StopMachine.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <string_view>
#include <thread>
#include <vector>

namespace Threads
{

namespace
{

// Of every hundred schedules, when the environment asks for none.
constexpr int kPercentOfDefault = 10;
// Yields that a thread spends at most on waiting for others at a point.
constexpr int kPatience = 100;
// On a machine that is busy otherwise a single yield may take longer.
constexpr LONGLONG kPatienceMicroseconds = 1000;
// A thread of the product's takes longer to its end than to its next point.
constexpr int kEndYields = 1000;
constexpr LONGLONG kEndMicroseconds = 20000;
constexpr DWORD kHangMilliseconds = 60000;

// Behind the import slots: the points must not pass points.
template <typename Function> Function* SystemFunction(const char* name)
{
    return reinterpret_cast<Function*>(
        reinterpret_cast<void*>(GetProcAddress(GetModuleHandleW(L"kernel32.dll"), name)));
}
const auto s_yield = SystemFunction<decltype(SwitchToThread)>("SwitchToThread");
const auto s_getLastError = SystemFunction<decltype(GetLastError)>("GetLastError");
const auto s_setLastError = SystemFunction<decltype(SetLastError)>("SetLastError");
const auto s_queryCounter = SystemFunction<decltype(QueryPerformanceCounter)>("QueryPerformanceCounter");
const auto s_getTickCount = SystemFunction<decltype(GetTickCount64)>("GetTickCount64");
const auto s_tlsGetValue = SystemFunction<decltype(TlsGetValue)>("TlsGetValue");
const DWORD s_actor = TlsAlloc(); // thread_local allocates on its first use in a thread

char s_playing[200] = "";

const LONGLONG s_countsPerMillisecond = [] {
    LARGE_INTEGER frequency{};
    QueryPerformanceFrequency(&frequency);
    return frequency.QuadPart / 1000;
}();

LONGLONG Microseconds()
{
    LARGE_INTEGER now{};
    s_queryCounter(&now);
    return now.QuadPart * 1000 / s_countsPerMillisecond;
}

// Yields while the others are to come forward, so many times or so long at most.
template <typename Waiting> void YieldWhile(int yields, LONGLONG microseconds, Waiting waiting)
{
    const LONGLONG until = Microseconds() + microseconds;
    while (yields-- > 0 && waiting() && Microseconds() < until)
    {
        s_yield();
    }
}

[[noreturn]] void EndProcess(const char* what)
{
    std::printf("%s: %s\n", what, s_playing);
    std::fflush(stdout);
    TerminateProcess(GetCurrentProcess(), 1);
    std::abort();
}

LONG CALLBACK NoteFault(EXCEPTION_POINTERS* fault)
{
    std::printf("exception 0x%08lX at %p: %s\n", fault->ExceptionRecord->ExceptionCode,
                fault->ExceptionRecord->ExceptionAddress, s_playing);
    std::fflush(stdout);
    return EXCEPTION_CONTINUE_SEARCH;
}

// A process that ends on a fault or an exception says in which schedule.
class FaultNotes
{
  public:
    FaultNotes()
        : m_filter{SetUnhandledExceptionFilter(&NoteFault)}, m_terminate{std::set_terminate([] {
              EndProcess("an exception came out of a thread");
          })}
    {
    }
    ~FaultNotes()
    {
        SetUnhandledExceptionFilter(m_filter);
        std::set_terminate(m_terminate);
    }
    FaultNotes(const FaultNotes&) = delete;
    FaultNotes& operator=(const FaultNotes&) = delete;

  private:
    LPTOP_LEVEL_EXCEPTION_FILTER m_filter;
    std::terminate_handler m_terminate;
};

// The seeds to play.
std::vector<unsigned> Seeds(int schedules)
{
    if (const char* const one = std::getenv("HOTKEY_SCHEDULE_SEED"))
    {
        return {static_cast<unsigned>(std::strtoul(one, nullptr, 10))};
    }
    const char* const wanted = std::getenv("HOTKEY_SCHEDULES");
    int played = schedules * kPercentOfDefault / 100;
    if (wanted != nullptr)
    {
        played = std::string_view{wanted} == "all" ? schedules : std::atoi(wanted);
    }
    std::vector<unsigned> seeds;
    for (int seed = 1; seed <= played; ++seed)
    {
        seeds.push_back(static_cast<unsigned>(seed));
    }
    return seeds;
}

std::uint64_t Mix(std::uint64_t value)
{
    value += 0x9E3779B97F4A7C15;
    value = (value ^ (value >> 30)) * 0xBF58476D1CE4E5B9;
    value = (value ^ (value >> 27)) * 0x94D049BB133111EB;
    return value ^ (value >> 31);
}

} // namespace

// The callers' threads, the same ones for all schedules of a test.
class Crew
{
  public:
    Crew()
    {
        for (int number = 0; number < kCallers; ++number)
        {
            m_threads.emplace_back([this, number] { Serve(number); });
        }
    }
    ~Crew()
    {
        AcquireSRWLockExclusive(&m_lock);
        m_over = true;
        ReleaseSRWLockExclusive(&m_lock);
        WakeAllConditionVariable(&m_begins);
        for (std::thread& thread : m_threads)
        {
            thread.join();
        }
    }
    Crew(const Crew&) = delete;
    Crew& operator=(const Crew&) = delete;

    void Run(Schedule& schedule, const std::function<void(int)>& operation)
    {
        AcquireSRWLockExclusive(&m_lock);
        m_schedule = &schedule;
        m_operation = &operation;
        m_ready = 0;
        m_busy = kCallers;
        ++m_turn;
        WakeAllConditionVariable(&m_begins);
        while (m_busy != 0)
        {
            if (!SleepConditionVariableSRW(&m_ended, &m_lock, kHangMilliseconds, 0))
            {
                EndProcess("callers have not come back");
            }
        }
        ReleaseSRWLockExclusive(&m_lock);
    }

  private:
    void Serve(int number)
    {
        unsigned turn = 0;
        AcquireSRWLockExclusive(&m_lock);
        for (;;)
        {
            while (turn == m_turn && !m_over)
            {
                SleepConditionVariableSRW(&m_begins, &m_lock, INFINITE, 0);
            }
            if (m_over)
            {
                break;
            }
            turn = m_turn;
            ReleaseSRWLockExclusive(&m_lock);
            ++m_ready;
            while (m_ready < kCallers)
            {
                s_yield();
            }
            {
                const Actor actor{*m_schedule, number};
                (*m_operation)(number);
            }
            AcquireSRWLockExclusive(&m_lock);
            if (--m_busy == 0)
            {
                WakeConditionVariable(&m_ended);
            }
        }
        ReleaseSRWLockExclusive(&m_lock);
    }

    SRWLOCK m_lock = SRWLOCK_INIT; // guards what follows
    CONDITION_VARIABLE m_begins = CONDITION_VARIABLE_INIT;
    CONDITION_VARIABLE m_ended = CONDITION_VARIABLE_INIT;
    unsigned m_turn{0};
    int m_busy{0};
    bool m_over{false};
    Schedule* m_schedule{nullptr};
    const std::function<void(int)>* m_operation{nullptr};

    std::atomic<int> m_ready{0};
    std::vector<std::thread> m_threads;
};

Actor::Actor(Schedule& schedule, int number)
    : m_schedule{schedule}, m_state{Mix(Mix(schedule.Seed()) + static_cast<std::uint64_t>(number))}
{
    TlsSetValue(s_actor, this);
}

Actor::~Actor()
{
    TlsSetValue(s_actor, nullptr);
}

Actor* Actor::Current()
{
    const DWORD error = s_getLastError();
    auto* const actor = static_cast<Actor*>(s_tlsGetValue(s_actor)); // clears the last error
    s_setLastError(error);
    return actor;
}

unsigned Actor::Draw(unsigned limit)
{
    m_state = Mix(m_state);
    return static_cast<unsigned>(m_state >> 32) % limit;
}

void Actor::Pass()
{
    ++m_schedule.m_points;
    const Schedule::Style& style = m_schedule.m_style;
    const unsigned draw = Draw(64);
    if (draw < style.yields)
    {
        YieldWhile(1 + static_cast<int>(Draw(4)), kPatienceMicroseconds, [] { return true; });
    }
    else if (draw < style.yields + style.meetings)
    {
        m_schedule.Meet();
    }
    else if (draw < style.yields + style.meetings + style.stays)
    {
        m_schedule.LetPass(1 + Draw(128));
    }
}

namespace
{

// From single yields to threads that hardly come forward, so that each kind of race has its schedules.
unsigned ByStyle(unsigned seed, unsigned first, unsigned second, unsigned third, unsigned fourth)
{
    const unsigned values[] = {first, second, third, fourth};
    return values[seed % 4];
}

} // namespace

Schedule::Schedule(unsigned seed, Crew& crew)
    : m_seed{seed}, m_style{ByStyle(seed, 4, 24, 4, 8), ByStyle(seed, 1, 1, 12, 2), ByStyle(seed, 1, 1, 1, 6)},
      m_crew{crew}, m_owner{*this, kCallers}
{
}

Schedule::~Schedule()
{
    AwaitStarted();
}

void Schedule::Run(const std::function<void(int)>& operation)
{
    m_crew.Run(*this, operation);
}

struct Schedule::Beginning
{
    Schedule* schedule;
    int number;
    LPTHREAD_START_ROUTINE routine;
    void* parameter;
};

HANDLE Schedule::Start(decltype(&CreateThread) real, LPSECURITY_ATTRIBUTES security, SIZE_T stack,
                       LPTHREAD_START_ROUTINE routine, LPVOID parameter, DWORD flags, LPDWORD id)
{
    auto* const beginning = new Beginning{this, kCallers + 1 + m_started++, routine, parameter};
    const HANDLE thread = real(security, stack, &Schedule::Begin, beginning, flags, id);
    if (thread == nullptr)
    {
        const DWORD error = s_getLastError();
        --m_started;
        delete beginning;
        s_setLastError(error);
    }
    return thread;
}

DWORD WINAPI Schedule::Begin(void* beginning)
{
    const auto [schedule, number, routine, parameter] = *static_cast<Beginning*>(beginning);
    delete static_cast<Beginning*>(beginning); // while the schedule lives
    DWORD result = 0;
    {
        const Actor actor{*schedule, number};
        result = routine(parameter);
    }
    ++schedule->m_ended;
    return result;
}

void Schedule::AwaitStarted()
{
    const ULONGLONG began = s_getTickCount();
    while (m_ended != m_started)
    {
        if (s_getTickCount() - began > kHangMilliseconds)
        {
            EndProcess("a thread of the product has not ended");
        }
        s_yield();
    }
}

void Schedule::LetEnd() const
{
    YieldWhile(kEndYields, kEndMicroseconds, [this] { return m_ended != m_started; });
}

// Two threads that come to a meeting go on at the same time.
void Schedule::Meet()
{
    const unsigned number = m_met++;
    YieldWhile(kPatience, kPatienceMicroseconds, [&] { return number % 2 == 0 && m_met == number + 1; });
}

void Schedule::LetPass(unsigned points)
{
    const int until = m_points + static_cast<int>(points);
    YieldWhile(kPatience, kPatienceMicroseconds, [&] { return m_points < until; });
}

void Schedule::LockOpen()
{
    while (m_openLock.test_and_set(std::memory_order_acquire))
    {
        s_yield();
    }
}

void Schedule::Opened(HANDLE handle, const char* function)
{
    LockOpen();
    if (m_opens != kMostOpen)
    {
        m_open[m_opens++] = {handle, function};
    }
    m_openLock.clear(std::memory_order_release);
}

// What was opened outside of the schedule is not known and may be closed all the same.
void Schedule::Closing(HANDLE handle)
{
    LockOpen();
    Open* const found = std::find_if(m_open, m_open + m_opens, [&](const Open& one) { return one.handle == handle; });
    if (found != m_open + m_opens)
    {
        *found = m_open[--m_opens];
    }
    m_openLock.clear(std::memory_order_release);
}

std::string Schedule::HandleComplaint()
{
    std::string text;
    for (std::size_t i = 0; i < m_opens; ++i)
    {
        text += std::string{m_open[i].function} + " left open; ";
    }
    const int inVain = m_closedInVain;
    return inVain != 0 ? text + std::to_string(inVain) + " closed twice" : text;
}

void Point()
{
    const DWORD error = s_getLastError();
    if (Actor* const actor = Actor::Current())
    {
        actor->Pass();
    }
    s_setLastError(error);
}

unsigned Draw(unsigned limit)
{
    Actor* const actor = Actor::Current();
    return actor != nullptr ? actor->Draw(limit) : 0;
}

void PlaySchedules(int schedules, const std::function<void(Schedule&)>& play)
{
    const testing::TestInfo& test = *testing::UnitTest::GetInstance()->current_test_info();
    const FaultNotes notes;
    const Points points;
    Crew crew;
    long long passed = 0;
    long long started = 0;
    int played = 0;
    for (const unsigned seed : Seeds(schedules))
    {
        std::snprintf(s_playing, sizeof s_playing, "schedule %u; HOTKEY_SCHEDULE_SEED=%u --gtest_filter=%s.%s", seed,
                      seed, test.test_suite_name(), test.name());
        SCOPED_TRACE(s_playing);
        {
            const FreedMemory freed;
            Schedule schedule{seed, crew};
            play(schedule);
            schedule.AwaitStarted();
            passed += schedule.Points();
            started += schedule.Started();
        }
        ++played;
        if (testing::Test::HasFailure())
        {
            break;
        }
    }
    std::printf("%d of %d schedules, %lld points, %lld threads started\n", played, schedules, passed, started);
    EXPECT_LT(0, played);
}

} // namespace Threads
