// Schedules: sixteen threads make the same operations at once, and every call that they, and the threads that the
// product starts, make of Windows is a point (Points.cpp) at which a generator decides how the thread goes on: at once,
// after some yields, together with another thread that comes to a point, or after others have passed some points.
//
//   PlaySchedules(1000, [&](Schedule& schedule) {
//       Queue queue;
//       schedule.Run([&](int caller) { ... });              on the sixteen threads, each with its number
//       schedule.AwaitStarted();                            those that the product started have ended
//       EXPECT_EQ("", schedule.HandleComplaint());
//   });
//
// A schedule is its seed: every thread has a generator of its own, made from the seed and the thread's number. What
// Windows does between two points is Windows's, so a seed repeats a schedule often, not always.
//
// HOTKEY_SCHEDULES=all in the environment plays all schedules, a number that many of each test; without it a part is
// played. HOTKEY_SCHEDULE_SEED plays one seed only.
#pragma once

#include <windows.h>

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>

namespace Threads
{

inline constexpr int kCallers = 16;

class Crew;
class Schedule;

// A thread in a schedule, for as long as the object lives.
class Actor
{
  public:
    // Callers have the numbers 0 to 15, the test's own thread 16, threads that the product starts those behind.
    Actor(Schedule& schedule, int number);
    ~Actor();
    Actor(const Actor&) = delete;
    Actor& operator=(const Actor&) = delete;

    // The calling thread's; null outside of schedules.
    static Actor* Current();

    // A number below the limit.
    unsigned Draw(unsigned limit);
    // Goes on in the way that the generator chooses.
    void Pass();

    Schedule& Of() const { return m_schedule; }

  private:
    Schedule& m_schedule;
    std::uint64_t m_state;
};

class Schedule
{
  public:
    Schedule(unsigned seed, Crew& crew);
    // Every thread that the product started has ended.
    ~Schedule();
    Schedule(const Schedule&) = delete;
    Schedule& operator=(const Schedule&) = delete;

    // The operation on all callers at once; returns when they are back.
    void Run(const std::function<void(int caller)>& operation);
    // Returns when the threads that the product started so far have ended.
    void AwaitStarted();
    // For a caller: goes on when they have ended, or after a while.
    void LetEnd() const;
    // How many the product started.
    int Started() const { return m_started; }

    // Names of the functions whose handles are open, and closings of what was not open; empty when all is closed once.
    std::string HandleComplaint();

    // What the points do.
    void Opened(HANDLE handle, const char* function);
    void Closing(HANDLE handle);
    void ClosedInVain() { ++m_closedInVain; }
    HANDLE Start(decltype(&CreateThread) real, LPSECURITY_ATTRIBUTES security, SIZE_T stack,
                 LPTHREAD_START_ROUTINE routine, LPVOID parameter, DWORD flags, LPDWORD id);

    unsigned Seed() const { return m_seed; }
    int Points() const { return m_points; }

  private:
    friend class Actor;
    struct Beginning;

    // How often, of 64 points, a thread yields, meets another or lets others pass.
    struct Style
    {
        unsigned yields;
        unsigned meetings;
        unsigned stays;
    };
    struct Open
    {
        HANDLE handle;
        const char* function;
    };
    static constexpr std::size_t kMostOpen = 512;

    static DWORD WINAPI Begin(void* beginning);
    void Meet();
    void LetPass(unsigned points);
    void LockOpen();

    const unsigned m_seed;
    const Style m_style;
    Crew& m_crew;
    std::atomic<int> m_points{0};
    std::atomic<unsigned> m_met{0};
    std::atomic<int> m_started{0};
    std::atomic<int> m_ended{0};

    std::atomic_flag m_openLock; // guards m_open and m_opens; a lock of Windows would be a point
    Open m_open[kMostOpen];
    std::size_t m_opens{0};
    std::atomic<int> m_closedInVain{0};

    Actor m_owner; // the test's own thread; last, because it needs the rest
};

// Plays that many schedules, each with the memory that it frees overwritten and looked at in the end. Stops at the
// first that fails and says how to play it again.
void PlaySchedules(int schedules, const std::function<void(Schedule&)>& play);

// A choice of the calling thread's generator, for what a test replaces; 0 outside of schedules.
unsigned Draw(unsigned limit);

// Between two points, for stand-ins.
void Point();

} // namespace Threads
