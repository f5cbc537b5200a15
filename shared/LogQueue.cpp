#include "shared/LogQueue.h"

#include "shared/LogLevel.h"
#include "shared/RecordFifo.h"
#include "shared/SectionLock.h"
#include "shared/UniqueHandle.h"

#include <windows.h>

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
// A request logs a dozen records in quick succession. A worker that gathers for a moment writes them, and those of the
// requests behind it, with one opening of the file.
constexpr DWORD kGatherMilliseconds = 20;
constexpr std::size_t kGatherRecords = 8192;

} // namespace

// What the queue and its worker share; whoever leaves last frees it.
struct CLogQueue::State
{
    explicit State(std::shared_ptr<CLogFile> file) : pFile{std::move(file)}
    {
        // Cannot fail since Windows Vista.
        static_cast<void>(InitializeCriticalSectionAndSpinCount(&lock, kSpinCount));
    }
    ~State() { DeleteCriticalSection(&lock); }
    State(const State&) = delete;
    State& operator=(const State&) = delete;

    void Gather() noexcept;
    void Drain();
    static DWORD WINAPI Work(void* parameter);

    const std::shared_ptr<CLogFile> pFile; // the worker writes it, while it owns the file's mutex
    CRITICAL_SECTION lock;                 // guards what follows
    CRecordFifo records;                   // in order of arrival
    bool bWorkerRunning{false};
    CUniqueHandle hWorker;
    CONDITION_VARIABLE enough = CONDITION_VARIABLE_INIT; // ends the gathering
};

CLogQueue::CLogQueue(std::shared_ptr<CLogFile> file) : m_pState{std::make_shared<State>(std::move(file))} {}

CLogQueue::~CLogQueue()
{
    const CSectionLock lock{m_pState->lock};
    WakeConditionVariable(&m_pState->enough);
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
    m_pState->records.Clear();
    m_pState->hWorker.Reset();
}

void CLogQueue::Push(const CqlLogListener::LogData& record)
{
    const CSectionLock lock{m_pState->lock};
    m_pState->records.Append(record);
    if (m_pState->bWorkerRunning)
    {
        if (m_pState->records.Count() == kGatherRecords)
        {
            WakeConditionVariable(&m_pState->enough);
        }
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

DWORD WINAPI CLogQueue::State::Work(void* parameter)
{
    const std::unique_ptr<std::shared_ptr<State>> share{static_cast<std::shared_ptr<State>*>(parameter)};
    State& state = **share;
    state.Gather();
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

void CLogQueue::State::Gather() noexcept
{
    const CSectionLock guard{lock};
    if (records.Count() < kGatherRecords)
    {
        // Enough records, the time and the queue's end are all the same: the worker goes on.
        static_cast<void>(SleepConditionVariableCS(&enough, &lock, kGatherMilliseconds));
    }
}

// Writes one record after the other until none is left, and says that the worker ends.
void CLogQueue::State::Drain()
{
    CqlLogListener::LogData record{TraceIn, "", L""};
    const CSectionLock guard{lock};
    do
    {
        while (!records.IsEmpty())
        {
            try
            {
                static_cast<void>(records.Take(record));
                const CSectionPause pause{lock};
                pFile->WriteLine(record.Line());
            }
            catch (...)
            {
                // Out of memory: this record is lost.
            }
        }
        // Before the end is announced, so that a process that ends then has lost nothing. New records may have come.
        {
            const CSectionPause pause{lock};
            pFile->Flush();
        }
    } while (!records.IsEmpty());
    bWorkerRunning = false;
}

} // namespace Quil::Shared
