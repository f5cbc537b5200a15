#include "shared/LogQueue.h"

#include "shared/SectionLock.h"
#include "shared/UniqueHandle.h"

#include <windows.h>

#include <list>
#include <new>
#include <utility>

namespace Quil::Shared
{

namespace
{

constexpr int kDestructionRounds = 2;
constexpr DWORD kPauseMilliseconds = 100;
constexpr DWORD kWorkerWaitMilliseconds = 500;
// Callers and worker hold the lock for some copying only: it is cheaper to spin that long than to sleep.
constexpr DWORD kSpinCount = 4000;
// Written records that are kept for their memory.
constexpr std::size_t kMaximumSpare = 256;

} // namespace

// What the queue and its worker share; whoever leaves last frees it.
struct CLogQueue::State
{
    using Records = std::list<CqlLogListener::LogData>;

    explicit State(std::shared_ptr<CLogFile> file) : pFile{std::move(file)}
    {
        // Cannot fail since Windows Vista.
        static_cast<void>(InitializeCriticalSectionAndSpinCount(&lock, kSpinCount));
    }
    ~State() { DeleteCriticalSection(&lock); }
    State(const State&) = delete;
    State& operator=(const State&) = delete;

    void Append(const CqlLogListener::LogData& record);
    void Drain();
    static DWORD WINAPI Work(void* parameter);

    const std::shared_ptr<CLogFile> pFile; // the worker writes it, while it owns the file's mutex
    CRITICAL_SECTION lock;                 // guards what follows
    Records records;                       // in order of arrival
    Records spare;
    bool bWorkerRunning{false};
    CUniqueHandle hWorker;
};

CLogQueue::CLogQueue(std::shared_ptr<CLogFile> file) : m_pState{std::make_shared<State>(std::move(file))} {}

CLogQueue::~CLogQueue()
{
    const CSectionLock lock{m_pState->lock};
    for (int round = 0; round < kDestructionRounds && m_pState->bWorkerRunning; ++round)
    {
        Sleep(kPauseMilliseconds);
        const CSectionPause pause{m_pState->lock};
        if (WaitForSingleObject(m_pState->hWorker.Get(), kWorkerWaitMilliseconds) != WAIT_TIMEOUT)
        {
            break;
        }
    }
    // Deliberate: what is still queued is lost.
    m_pState->records.clear();
    m_pState->hWorker.Reset();
}

void CLogQueue::Push(const CqlLogListener::LogData& record)
{
    const CSectionLock lock{m_pState->lock};
    m_pState->Append(record);
    if (m_pState->bWorkerRunning)
    {
        return;
    }
    m_pState->hWorker.Reset();
    auto* const share = new (std::nothrow) std::shared_ptr<State>{m_pState};
    if (share == nullptr)
    {
        return; // the next record tries again
    }
    m_pState->hWorker.Reset(CreateThread(nullptr, 0, &State::Work, share, 0, nullptr));
    m_pState->bWorkerRunning = static_cast<bool>(m_pState->hWorker);
    if (!m_pState->bWorkerRunning)
    {
        delete share;
    }
}

void CLogQueue::State::Append(const CqlLogListener::LogData& record)
{
    if (spare.empty())
    {
        records.push_back(record);
        return;
    }
    spare.front() = record;
    records.splice(records.end(), spare, spare.begin());
}

DWORD WINAPI CLogQueue::State::Work(void* parameter)
{
    const std::unique_ptr<std::shared_ptr<State>> share{static_cast<std::shared_ptr<State>*>(parameter)};
    State& state = **share;
    if (!state.pFile->Acquire())
    {
        // The records stay; the next one starts a new worker.
        const CSectionLock lock{state.lock};
        state.bWorkerRunning = false;
        return 0;
    }
    state.Drain();
    state.pFile->Release();
    return 0;
}

// Writes one record after the other until none is left, and says that the worker ends.
void CLogQueue::State::Drain()
{
    Records current;
    const CSectionLock guard{lock};
    do
    {
        while (!records.empty())
        {
            current.splice(current.begin(), records, records.begin());
            {
                const CSectionPause pause{lock};
                try
                {
                    pFile->WriteLine(current.front().Line());
                }
                catch (...)
                {
                    // Out of memory: this record is lost.
                }
            }
            if (spare.size() < kMaximumSpare)
            {
                spare.splice(spare.begin(), current);
            }
            else
            {
                current.clear();
            }
        }
        // Before the end is announced, so that a process that ends then has lost nothing. New records may have come.
        {
            const CSectionPause pause{lock};
            pFile->Flush();
        }
    } while (!records.empty());
    bWorkerRunning = false;
}

} // namespace Quil::Shared
