// Queued writes: callers return at once, one worker at a time writes everything in order, the end waits a little.
#include "shared/LogQueue.h"

#include "shared/LogLevel.h"
#include "shared/RecordFifo.h"
#include "tests/harness/AllocationFault.h"
#include "tests/harness/ImportHook.h"
#include "tests/unit/shared/LogFolder.h"

#include <gtest/gtest.h>

#include <atomic>
#include <mutex>
#include <optional>
#include <thread>

using namespace Quil::Shared;

namespace
{

using LogData = CqlLogListener::LogData;

void Push(CLogQueue& queue, const std::wstring& message)
{
    queue.Push(LogData{Error, "A::B", message});
}

// Sees every worker thread that is started.
class Workers
{
  public:
    Workers()
        : m_start{[this](LPSECURITY_ATTRIBUTES attributes, SIZE_T stack, LPTHREAD_START_ROUTINE routine,
                         LPVOID argument, DWORD flags, LPDWORD id) {
              EXPECT_EQ(0u, stack);
              const HANDLE thread = m_start.Real()(attributes, stack, routine, argument, flags, id);
              HANDLE own = nullptr;
              DuplicateHandle(GetCurrentProcess(), thread, GetCurrentProcess(), &own, SYNCHRONIZE, FALSE, 0);
              const std::lock_guard guard{m_lock};
              m_threads.push_back(own);
              return thread;
          }}
    {
    }
    ~Workers()
    {
        AwaitAll();
        for (const HANDLE thread : m_threads)
        {
            CloseHandle(thread);
        }
    }
    void AwaitAll()
    {
        const std::lock_guard guard{m_lock};
        for (const HANDLE thread : m_threads)
        {
            EXPECT_EQ(WAIT_OBJECT_0, WaitForSingleObject(thread, 30000));
        }
    }
    int Count() const { return m_start.Calls(); }

  private:
    struct Tag
    {
        static const wchar_t* Module() { return nullptr; }
        static const char* Name() { return "CreateThread"; }
    };
    std::mutex m_lock;
    std::vector<HANDLE> m_threads;
    Harness::ImportHook<Tag, decltype(CreateThread)> m_start;
};

struct LogQueue : testing::Test
{
    LogFolder folder;
    std::wstring path = folder.File(L"App.log");
    Workers workers;
    std::shared_ptr<CLogFile> file = std::make_shared<CLogFile>(path, 2048);
    std::unique_ptr<CLogQueue> queue = std::make_unique<CLogQueue>(file);
};

std::vector<std::string> Numbered(int from, int to)
{
    std::vector<std::string> lines;
    for (int i = from; i <= to; ++i)
    {
        lines.push_back("Error      |A::B|" + std::to_string(i));
    }
    return lines;
}

} // namespace

TEST_F(LogQueue, ReturnsWhileTheFileIsHeldByAnotherAndWritesInOrderAfterwards)
{
    MutexHeld other{path};

    for (int i = 1; i <= 1000; ++i)
    {
        Push(*queue, std::to_wstring(i));
    }
    EXPECT_EQ("(missing)", folder.Read(L"App.log"));
    EXPECT_EQ(1, workers.Count());
    other.Release();
    workers.AwaitAll();

    EXPECT_EQ(Numbered(1, 1000), folder.Lines(L"App.log"));
}

TEST_F(LogQueue, StartsAWorkerForEachBurstAndClosesTheHandleOfTheOldOne)
{
    Push(*queue, L"1");
    workers.AwaitAll();
    Push(*queue, L"2");
    workers.AwaitAll();

    EXPECT_EQ(2, workers.Count());
    EXPECT_EQ(Numbered(1, 2), folder.Lines(L"App.log"));
}

TEST_F(LogQueue, KeepsItsRecordsWhenTheFileCannotBeAcquiredUntilTheNextWrite)
{
    {
        IMPORT_HOOK(CreateFileW)([](auto...) { return INVALID_HANDLE_VALUE; });
        Push(*queue, L"1");
        workers.AwaitAll();
        EXPECT_EQ(1, workers.Count());
    }

    Push(*queue, L"2");
    workers.AwaitAll();

    EXPECT_EQ(2, workers.Count());
    EXPECT_EQ(Numbered(1, 2), folder.Lines(L"App.log"));
}

TEST_F(LogQueue, KeepsItsRecordsWhenNoThreadCanBeMadeUntilTheNextWrite)
{
    {
        IMPORT_HOOK(CreateThread)([](auto...) { return HANDLE{nullptr}; });
        Push(*queue, L"1");
        Push(*queue, L"2");
        EXPECT_EQ(2, hook_CreateThread.Calls());
    }

    Push(*queue, L"3");
    workers.AwaitAll();

    EXPECT_EQ(Numbered(1, 3), folder.Lines(L"App.log"));
}

TEST_F(LogQueue, KeepsItsRecordsWhenMemoryForAWorkerRunsOut)
{
    {
        AllocationFault fault{0};
        Push(*queue, L"1");
    }
    EXPECT_EQ(0, workers.Count());

    Push(*queue, L"2");
    workers.AwaitAll();

    EXPECT_EQ(Numbered(1, 2), folder.Lines(L"App.log"));
}

TEST_F(LogQueue, HoldsTheFileOncePerBatch)
{
    IMPORT_HOOK(CreateFileW)([&](auto... arguments) { return hook_CreateFileW.Real()(arguments...); });
    MutexHeld other{path};
    for (int i = 1; i <= 100; ++i)
    {
        Push(*queue, std::to_wstring(i));
    }

    other.Release();
    workers.AwaitAll();

    EXPECT_EQ(1, hook_CreateFileW.Calls());
    EXPECT_EQ(Numbered(1, 100), folder.Lines(L"App.log"));
}

TEST_F(LogQueue, AtItsEndWaitsForTheWorker)
{
    MutexHeld other{path};
    for (int i = 1; i <= 10; ++i)
    {
        Push(*queue, std::to_wstring(i));
    }
    std::vector<DWORD> waits;
    IMPORT_HOOK(Sleep)([&](DWORD time) { waits.push_back(time); });
    IMPORT_HOOK(WaitForSingleObject)
    ([&](HANDLE handle, DWORD timeout) {
        if (timeout == 500)
        {
            waits.push_back(timeout);
            other.Release();
            return hook_WaitForSingleObject.Real()(handle, 30000);
        }
        return hook_WaitForSingleObject.Real()(handle, timeout);
    });

    queue.reset();

    EXPECT_EQ((std::vector<DWORD>{100, 500}), waits);
    EXPECT_EQ(Numbered(1, 10), folder.Lines(L"App.log"));
}

TEST_F(LogQueue, AtItsEndGivesUpAfterTwoWaitsAndLosesWhatIsQueued)
{
    MutexHeld other{path};
    Push(*queue, L"1");
    std::vector<DWORD> waits;
    {
        IMPORT_HOOK(Sleep)([&](DWORD time) { waits.push_back(time); });
        IMPORT_HOOK(WaitForSingleObject)
        ([&](HANDLE handle, DWORD timeout) {
            if (timeout == 500)
            {
                waits.push_back(timeout);
                return DWORD{WAIT_TIMEOUT};
            }
            return hook_WaitForSingleObject.Real()(handle, timeout);
        });

        queue.reset();

        EXPECT_EQ((std::vector<DWORD>{100, 500, 100, 500}), waits);
        // The worker goes on with what it shares with the queue, and finds nothing to write.
        file.reset();
        other.Release();
        workers.AwaitAll();
    }
    EXPECT_EQ(std::vector<std::string>{}, folder.Lines(L"App.log"));
}

TEST_F(LogQueue, WithoutAWorkerEndsAtOnce)
{
    Push(*queue, L"1");
    workers.AwaitAll();
    IMPORT_HOOK(Sleep)([](DWORD) {});

    queue.reset();

    EXPECT_EQ(0, hook_Sleep.Calls());
}

TEST_F(LogQueue, ClosesEveryThreadHandle)
{
    std::atomic<int> closed{0};
    IMPORT_HOOK(CloseHandle)
    ([&](HANDLE handle) {
        ++closed;
        return hook_CloseHandle.Real()(handle);
    });
    Push(*queue, L"1");
    workers.AwaitAll();
    Push(*queue, L"2");
    workers.AwaitAll();

    queue.reset();

    // Two threads, two files; the mutex lives with the file.
    EXPECT_EQ(4, closed);
}

TEST_F(LogQueue, LosesNothingAndKeepsEachThreadsOrderWhileWorkersComeAndGo)
{
    constexpr int kThreads = 16;
    constexpr int kRecords = 200;
    std::vector<std::thread> threads;
    for (int thread = 0; thread < kThreads; ++thread)
    {
        threads.emplace_back([this, thread] {
            for (int i = 0; i < kRecords; ++i)
            {
                Push(*queue, std::to_wstring(thread) + L" " + std::to_wstring(i));
                if (i % 10 == 0)
                {
                    SwitchToThread();
                }
            }
        });
    }
    for (std::thread& thread : threads)
    {
        thread.join();
    }
    workers.AwaitAll();

    std::vector<int> next(kThreads, 0);
    const std::vector<std::string> lines = folder.Lines(L"App.log");
    ASSERT_EQ(static_cast<std::size_t>(kThreads * kRecords), lines.size());
    for (const std::string& line : lines)
    {
        int thread = -1;
        int number = -1;
        ASSERT_EQ(2, std::sscanf(line.c_str(), "Error      |A::B|%d %d", &thread, &number)) << line;
        ASSERT_EQ(next.at(static_cast<std::size_t>(thread))++, number) << line;
    }
}

TEST(RecordFifo, GivesRecordsBackInOrder)
{
    CRecordFifo fifo;
    LogData record{0, "", L""};
    for (int round = 0; round < 3; ++round)
    {
        // More than one block's worth, each of another length.
        for (int i = 0; i < 1000; ++i)
        {
            fifo.Append(LogData{Error, "A::B", std::wstring(static_cast<std::size_t>(i), L'x')});
        }
        EXPECT_EQ(1000u, fifo.Count());
        for (int i = 0; i < 1000; ++i)
        {
            ASSERT_TRUE(fifo.Take(record));
            ASSERT_EQ(std::wstring(static_cast<std::size_t>(i), L'x'), record.Message());
        }
        EXPECT_FALSE(fifo.Take(record));
        EXPECT_TRUE(fifo.IsEmpty());
    }
}

TEST(RecordFifo, TakesRecordsLargerThanABlock)
{
    CRecordFifo fifo;
    LogData record{0, "", L""};
    fifo.Append(LogData{Error, "small", L"1"});
    fifo.Append(LogData{Error, "large", std::wstring(100000, L'x')});
    fifo.Append(LogData{Error, "small", L"2"});

    fifo.Take(record);
    EXPECT_EQ(L"1", record.Message());
    fifo.Take(record);
    EXPECT_EQ(std::wstring(100000, L'x'), record.Message());
    fifo.Take(record);
    EXPECT_EQ(L"2", record.Message());
}

TEST(RecordFifo, IsEmptyAfterClear)
{
    CRecordFifo fifo;
    LogData record{0, "", L""};
    fifo.Append(LogData{Error, "A::B", L"1"});

    fifo.Clear();

    EXPECT_TRUE(fifo.IsEmpty());
    EXPECT_FALSE(fifo.Take(record));
    fifo.Append(LogData{Error, "A::B", L"2"});
    EXPECT_TRUE(fifo.Take(record));
    EXPECT_EQ(L"2", record.Message());
}

TEST_F(LogQueue, EndsTheGatheringWhenEnoughRecordsHaveCome)
{
    const CUniqueHandle gathering{CreateEventW(nullptr, TRUE, FALSE, nullptr)};
    bool woken = false; // under the queue's lock
    IMPORT_HOOK(WakeConditionVariable)
    ([&](PCONDITION_VARIABLE condition) {
        woken = true;
        hook_WakeConditionVariable.Real()(condition);
    });
    IMPORT_HOOK(SleepConditionVariableCS)
    ([&](PCONDITION_VARIABLE condition, PCRITICAL_SECTION lock, DWORD) {
        SetEvent(gathering.Get());
        while (!woken)
        {
            hook_SleepConditionVariableCS.Real()(condition, lock, 60000);
        }
        return TRUE;
    });
    Push(*queue, L"1");
    ASSERT_EQ(WAIT_OBJECT_0, WaitForSingleObject(gathering.Get(), 30000));

    for (int i = 2; i < 8192; ++i)
    {
        Push(*queue, std::to_wstring(i));
    }
    EXPECT_EQ(0, hook_WakeConditionVariable.Calls());
    Push(*queue, L"8192");
    workers.AwaitAll();

    EXPECT_EQ(1, hook_WakeConditionVariable.Calls());
    EXPECT_EQ(8192u, folder.Lines(L"App.log").size());
}

TEST_F(LogQueue, DoesNotGatherWhenEnoughRecordsAreThere)
{
    IMPORT_HOOK(SleepConditionVariableCS)([](auto...) { return FALSE; });
    HANDLE worker = nullptr;
    {
        IMPORT_HOOK(CreateThread)
        ([&](LPSECURITY_ATTRIBUTES attributes, SIZE_T stack, LPTHREAD_START_ROUTINE routine, LPVOID argument, DWORD,
             LPDWORD id) {
            return worker = hook_CreateThread.Real()(attributes, stack, routine, argument, DWORD{CREATE_SUSPENDED}, id);
        });
        Push(*queue, L"1");
    }

    for (int i = 2; i <= 8192; ++i)
    {
        Push(*queue, std::to_wstring(i));
    }
    ResumeThread(worker);
    workers.AwaitAll();

    EXPECT_EQ(0, hook_SleepConditionVariableCS.Calls());
    EXPECT_EQ(8192u, folder.Lines(L"App.log").size());
}

TEST_F(LogQueue, LosesARecordForWhoseLineThereIsNoMemoryAndWritesTheNext)
{
    const HANDLE pushed = CreateEventW(nullptr, TRUE, FALSE, nullptr);
    std::optional<ThrowingAllocationFault> fault;
    IMPORT_HOOK(SleepConditionVariableCS)
    ([&](PCONDITION_VARIABLE, PCRITICAL_SECTION lock, DWORD) {
        LeaveCriticalSection(lock);
        WaitForMultipleObjects(1, &pushed, FALSE, INFINITE);
        EnterCriticalSection(lock);
        fault.emplace(0);
        return FALSE;
    });

    Push(*queue, L"1");
    Push(*queue, L"2");
    SetEvent(pushed);
    workers.AwaitAll();
    fault.reset();

    EXPECT_EQ(Numbered(2, 2), folder.Lines(L"App.log"));
    CloseHandle(pushed);
}
