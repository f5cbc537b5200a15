// The threads that an operation starts, one after the other and never beside
// it: each begins when it is made or when it is awaited, and the operation
// stands still until it has ended. So the calls of a run have one order, and a
// thread never outlives the stand-ins that it uses. An exception that leaves a
// thread ends that thread here and counts; in the product it would end the
// process.
#pragma once

#include "tests/harness/ImportHook.h"

#include <gtest/gtest.h>

#include <windows.h>

#include <memory>
#include <vector>

namespace Faults
{

enum class ThreadStart
{
    WhenMade,
    WhenAwaited, // for one that needs a lock of the operation
};

class ThreadsOfTheRun
{
  public:
    explicit ThreadsOfTheRun(ThreadStart start) : m_start{start} {}
    ~ThreadsOfTheRun()
    {
        AwaitAll();
        for (const HANDLE thread : m_threads)
        {
            CloseHandle(thread);
        }
    }
    ThreadsOfTheRun(const ThreadsOfTheRun&) = delete;
    ThreadsOfTheRun& operator=(const ThreadsOfTheRun&) = delete;

    void AwaitAll() const
    {
        for (const HANDLE thread : m_threads)
        {
            ResumeThread(thread); // nothing for one that runs
            // Not the function that operations wait with: this wait never fails, and
            // is no call of theirs.
            EXPECT_EQ(DWORD{WAIT_OBJECT_0}, WaitForSingleObjectEx(thread, 30000, FALSE));
        }
    }
    int Count() const { return static_cast<int>(m_threads.size()); }
    // Threads that an exception ended.
    int Thrown() const { return m_thrown; }

  private:
    struct Entry
    {
        LPTHREAD_START_ROUTINE routine;
        LPVOID argument;
        int& thrown;
    };

    static void Run(const Entry& entry)
    {
        try
        {
            entry.routine(entry.argument);
        }
        catch (...)
        {
            ++entry.thrown;
        }
    }

    static DWORD WINAPI Guarded(LPVOID argument)
    {
        Run(*std::unique_ptr<Entry>{static_cast<Entry*>(argument)});
        // Without the end of the compiler's run time, which closes handles of its
        // own that were never seen opened.
        TerminateThread(GetCurrentThread(), 0);
        return 0;
    }

    const ThreadStart m_start;
    std::vector<HANDLE> m_threads;
    int m_thrown{0};
    IMPORT_HOOK(CreateThread){[this](LPSECURITY_ATTRIBUTES security, SIZE_T stack, LPTHREAD_START_ROUTINE routine,
                                     LPVOID argument, DWORD flags, LPDWORD id) {
        auto entry = std::make_unique<Entry>(Entry{routine, argument, m_thrown});
        const HANDLE thread =
            hook_CreateThread.Real()(security, stack, &Guarded, entry.release(), flags | CREATE_SUSPENDED, id);
        HANDLE own = nullptr;
        EXPECT_TRUE(
            DuplicateHandle(GetCurrentProcess(), thread, GetCurrentProcess(), &own, 0, FALSE, DUPLICATE_SAME_ACCESS));
        m_threads.push_back(own);
        if (m_start == ThreadStart::WhenMade)
        {
            AwaitAll();
        }
        return thread;
    }};
};

} // namespace Faults
