// The schedules themselves: all callers at once, decisions that a seed repeats, threads and handles that are counted.
#include "tests/threads/Schedule.h"

#include <gtest/gtest.h>

#include <array>
#include <atomic>
#include <set>
#include <vector>

using Threads::Draw;
using Threads::kCallers;
using Threads::PlaySchedules;
using Threads::Schedule;

TEST(Schedule, RunsTheOperationOnSixteenThreadsAtOnce)
{
    PlaySchedules(50, [](Schedule& schedule) {
        std::array<DWORD, kCallers> threads{};
        std::atomic<int> inside{0};

        schedule.Run([&](int caller) {
            threads.at(static_cast<std::size_t>(caller)) = GetCurrentThreadId();
            ++inside;
            while (inside != 16)
            {
                SwitchToThread();
            }
        });

        EXPECT_EQ(16u, (std::set<DWORD>{threads.begin(), threads.end()}.size()));
    });
}

TEST(Schedule, IsItsSeed)
{
    std::vector<std::vector<unsigned>> drawn;
    for (int time = 0; time < 2; ++time)
    {
        PlaySchedules(50, [&](Schedule& schedule) {
            std::array<unsigned, kCallers> draws{};
            schedule.Run([&](int caller) {
                for (int i = 0; i < 10; ++i)
                {
                    GetTickCount64(); // a point
                }
                draws.at(static_cast<std::size_t>(caller)) = Draw(1u << 30);
            });
            drawn.emplace_back(draws.begin(), draws.end());
        });
    }

    const std::size_t half = drawn.size() / 2;
    const std::set<std::vector<unsigned>> different{drawn.begin(), drawn.end()};
    EXPECT_EQ((std::vector<std::vector<unsigned>>{drawn.begin() + static_cast<std::ptrdiff_t>(half), drawn.end()}),
              (std::vector<std::vector<unsigned>>{drawn.begin(), drawn.begin() + static_cast<std::ptrdiff_t>(half)}));
    EXPECT_EQ(half, different.size());
}

TEST(Schedule, CountsThreadsAndHandles)
{
    PlaySchedules(50, [](Schedule& schedule) {
        static std::atomic<int> s_ended;
        s_ended = 0;
        HANDLE event = nullptr;
        schedule.Run([&](int caller) {
            const auto routine = [](void*) -> DWORD { return static_cast<DWORD>(++s_ended); };
            CloseHandle(CreateThread(nullptr, 0, routine, nullptr, 0, nullptr));
            if (caller == 3)
            {
                event = CreateEventW(nullptr, TRUE, FALSE, nullptr);
            }
        });

        schedule.AwaitStarted();
        const std::string open = schedule.HandleComplaint();
        CloseHandle(event);
        const std::string closed = schedule.HandleComplaint();
        CloseHandle(event);
        const std::string twice = schedule.HandleComplaint();

        EXPECT_EQ(16, s_ended);
        EXPECT_EQ(16, schedule.Started());
        EXPECT_EQ("CreateEventW left open; ", open);
        EXPECT_EQ("", closed);
        EXPECT_EQ("1 closed twice", twice);
    });
}
