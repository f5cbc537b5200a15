// The log under sixteen writers at once: every line that is queued is written exactly once, whole, and in the order of
// its thread; handles are closed once, and nothing is used after it is freed.
//
// Accepted, and therefore not looked at:
//   - the order of lines of different threads;
//   - the order of numbered files: two that are rotated within one tick of the file system's clock may change places;
//   - a second worker that starts while the one before gives the file back: the file's mutex parts them;
//   - what is queued when the queue ends before its worker (Deliberate in shared/LogQueue.cpp): the tail is lost.
#include "shared/LogLevel.h"
#include "shared/LogListenerFile.h"
#include "shared/LogQueue.h"
#include "tests/harness/ImportHook.h"
#include "tests/harness/RegistryScope.h"
#include "tests/threads/Schedule.h"
#include "tests/unit/shared/LogFolder.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <cstdio>
#include <functional>
#include <iterator>
#include <memory>
#include <string>
#include <vector>

using namespace Quil::Shared;
using Threads::Draw;
using Threads::kCallers;
using Threads::PlaySchedules;
using Threads::Schedule;

namespace
{

using LogData = CqlLogListener::LogData;

constexpr int kRecords = 8; // of each caller

using Lines = std::vector<std::string>;

// What is wrong with the lines of the files; empty when each caller's are there once, and in order in every file.
// tailLost: the last ones of a caller may be missing.
std::string Complaint(const std::vector<Lines>& files, bool tailLost = false)
{
    unsigned written[kCallers]{};
    for (const Lines& lines : files)
    {
        int last[kCallers];
        std::fill(std::begin(last), std::end(last), -1);
        for (const std::string& line : lines)
        {
            int caller = -1;
            int number = -1;
            int end = -1;
            std::sscanf(line.c_str(), "Error      |A::B|%d %d%n", &caller, &number, &end);
            if (end != static_cast<int>(line.size()) || caller < 0 || caller >= kCallers || number < 0 ||
                number >= kRecords)
            {
                return "not a line: " + line;
            }
            const unsigned bit = 1u << number;
            if ((written[caller] & bit) != 0)
            {
                return "twice: " + line;
            }
            if (number <= last[caller])
            {
                return "out of order: " + line;
            }
            written[caller] |= bit;
            last[caller] = number;
        }
    }
    for (const unsigned lines : written)
    {
        const bool whole = lines == (1u << kRecords) - 1;
        const bool fromTheFirstOn = (lines & (lines + 1)) == 0;
        if (!whole && !(tailLost && fromTheFirstOn))
        {
            return "lost lines";
        }
    }
    return "";
}

// Hands a caller's records on, with pauses in which workers end.
void Write(Schedule& schedule, int caller, const std::function<void(const LogData& record)>& hand)
{
    for (int number = 0; number < kRecords; ++number)
    {
        const std::wstring message = std::to_wstring(caller) + L" " + std::to_wstring(number);
        hand(LogData{Error, "A::B", message});
        if (Draw(8) == 0)
        {
            schedule.LetEnd();
        }
    }
}

struct LogSchedules : testing::Test
{
    void Push(Schedule& schedule, CLogQueue& queue)
    {
        schedule.Run([&](int caller) { Write(schedule, caller, [&](const LogData& record) { queue.Push(record); }); });
    }

    LogFolder folder;
    std::wstring path = folder.File(L"App.log");

    // The worker gathers for another while each time, seldom as long as it wants to.
    IMPORT_HOOK(SleepConditionVariableCS){[this](PCONDITION_VARIABLE enough, PCRITICAL_SECTION lock, DWORD time) {
        const DWORD times[] = {time, 1, 1, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0};
        return hook_SleepConditionVariableCS.Real()(enough, lock, times[Draw(16)]);
    }};
    // The queue's end does not pause.
    IMPORT_HOOK(Sleep){[](DWORD) {}};
};

} // namespace

TEST_F(LogSchedules, QueueWritesEveryLineOnceAndInOrder)
{
    PlaySchedules(1500, [&](Schedule& schedule) {
        auto file = std::make_shared<CLogFile>(path, 2048);
        auto queue = std::make_unique<CLogQueue>(file);

        Push(schedule, *queue);
        schedule.AwaitStarted();
        queue.reset();
        file.reset();

        EXPECT_EQ("", Complaint({folder.Lines(L"App.log")}));
        EXPECT_EQ("", schedule.HandleComplaint());
        DeleteFileW(path.c_str());
    });
}

TEST_F(LogSchedules, QueueThatEndsAtOnceWaitsForItsWorker)
{
    IMPORT_HOOK(WaitForSingleObject)
    ([&](HANDLE handle, DWORD time) { return hook_WaitForSingleObject.Real()(handle, time == 500 ? 30000 : time); });

    PlaySchedules(400, [&](Schedule& schedule) {
        auto file = std::make_shared<CLogFile>(path, 2048);
        auto queue = std::make_unique<CLogQueue>(file);

        Push(schedule, *queue);
        queue.reset();
        file.reset();
        schedule.AwaitStarted();

        EXPECT_EQ("", Complaint({folder.Lines(L"App.log")}));
        EXPECT_EQ("", schedule.HandleComplaint());
        DeleteFileW(path.c_str());
    });
}

TEST_F(LogSchedules, QueueThatEndsBeforeItsWorkerLosesTheTailOnly)
{
    IMPORT_HOOK(WaitForSingleObject)
    ([&](HANDLE handle, DWORD time) {
        return time == 500 ? DWORD{WAIT_TIMEOUT} : hook_WaitForSingleObject.Real()(handle, time);
    });

    PlaySchedules(400, [&](Schedule& schedule) {
        auto file = std::make_shared<CLogFile>(path, 2048);
        auto queue = std::make_unique<CLogQueue>(file);

        Push(schedule, *queue);
        queue.reset();
        file.reset();
        schedule.AwaitStarted();

        EXPECT_EQ("", Complaint({folder.Lines(L"App.log")}, true));
        EXPECT_EQ("", schedule.HandleComplaint());
        DeleteFileW(path.c_str());
    });
}

TEST_F(LogSchedules, QueueKeepsItsLinesWhileTheFileCannotBeOpened)
{
    bool fails = false;
    IMPORT_HOOK(CreateFileW)
    ([&](auto... arguments) {
        if (fails && Draw(2) == 0)
        {
            SetLastError(ERROR_SHARING_VIOLATION);
            return INVALID_HANDLE_VALUE;
        }
        return hook_CreateFileW.Real()(arguments...);
    });

    PlaySchedules(700, [&](Schedule& schedule) {
        auto file = std::make_shared<CLogFile>(path, 2048);
        auto queue = std::make_unique<CLogQueue>(file);
        fails = true;
        Push(schedule, *queue);
        schedule.AwaitStarted();
        fails = false;

        queue->Push(LogData{Error, "A::B", L"last"});
        schedule.AwaitStarted();
        queue.reset();
        file.reset();

        Lines lines = folder.Lines(L"App.log");
        EXPECT_EQ("Error      |A::B|last", lines.empty() ? "nothing" : lines.back());
        lines.resize(std::max(lines.size(), std::size_t{1}) - 1);
        EXPECT_EQ("", Complaint({lines}));
        EXPECT_EQ("", schedule.HandleComplaint());
        DeleteFileW(path.c_str());
    });
}

TEST_F(LogSchedules, TwoListenersOfOneFileThatRotatesKeepEveryLine)
{
    RegistryScope registry;
    registry.SetNumber(L"Software\\Policies\\Quil\\Tests in Windows characters", L"MaxLogSize", 1);

    PlaySchedules(500, [&](Schedule& schedule) {
        std::unique_ptr<CqlLogListenerFile> listeners[] = {std::make_unique<CqlLogListenerFile>(true, TraceIn, path),
                                                           std::make_unique<CqlLogListenerFile>(true, TraceIn, path)};

        schedule.Run([&](int caller) {
            Write(schedule, caller, [&](const LogData& record) { listeners[caller % 2]->Write(record); });
        });
        schedule.AwaitStarted();
        listeners[0].reset();
        listeners[1].reset();

        std::vector<Lines> files;
        for (const std::wstring& name : folder.Names())
        {
            files.push_back(folder.Lines(name));
            DeleteFileW(folder.File(name).c_str());
        }
        EXPECT_LT(1u, files.size());
        EXPECT_EQ("", Complaint(files));
        EXPECT_EQ("", schedule.HandleComplaint());
    });
}
