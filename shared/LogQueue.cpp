#include "shared/LogQueue.h"

#include <deque>
#include <new>
#include <utility>

namespace Quil::Shared
{

namespace
{

constexpr int kDestructionRounds = 2;
constexpr DWORD kPause = 100;
constexpr DWORD kWorkerWait = 500;

} // namespace

// What the queue and its worker share; whoever leaves last frees it.
struct CLogQueue::State
{
    explicit State(std::shared_ptr<CLogFile> logFile) : file{std::move(logFile)} { InitializeCriticalSection(&lock); }
    ~State() { DeleteCriticalSection(&lock); }
    State(const State&) = delete;
    State& operator=(const State&) = delete;

    CRITICAL_SECTION lock;                       // guards what follows
    std::deque<CqlLogListener::LogData> records; // in order of arrival
    bool workerRunning{false};
    CUniqueHandle worker;

    const std::shared_ptr<CLogFile> file;
};

namespace
{

class CSectionLock
{
  public:
    explicit CSectionLock(CRITICAL_SECTION& section) noexcept : m_section{section} { EnterCriticalSection(&m_section); }
    ~CSectionLock() { LeaveCriticalSection(&m_section); }
    CSectionLock(const CSectionLock&) = delete;
    CSectionLock& operator=(const CSectionLock&) = delete;

  private:
    CRITICAL_SECTION& m_section;
};

// The lock given back for a scope.
class CSectionPause
{
  public:
    explicit CSectionPause(CRITICAL_SECTION& section) noexcept : m_section{section}
    {
        LeaveCriticalSection(&m_section);
    }
    ~CSectionPause() { EnterCriticalSection(&m_section); }
    CSectionPause(const CSectionPause&) = delete;
    CSectionPause& operator=(const CSectionPause&) = delete;

  private:
    CRITICAL_SECTION& m_section;
};

} // namespace

CLogQueue::CLogQueue(std::shared_ptr<CLogFile> file) : m_state{std::make_shared<State>(std::move(file))} {}

CLogQueue::~CLogQueue()
{
    const CSectionLock lock{m_state->lock};
    for (int round = 0; round < kDestructionRounds && m_state->workerRunning; ++round)
    {
        Sleep(kPause);
        DWORD waited = WAIT_TIMEOUT;
        {
            const CSectionPause pause{m_state->lock};
            waited = WaitForSingleObject(m_state->worker.Get(), kWorkerWait);
        }
        if (waited != WAIT_TIMEOUT)
        {
            break;
        }
    }
    // Deliberate: what is still queued is lost.
    m_state->records.clear();
    m_state->worker.Reset();
}

void CLogQueue::Push(const CqlLogListener::LogData& record)
{
    const CSectionLock lock{m_state->lock};
    m_state->records.push_back(record);
    if (m_state->workerRunning)
    {
        return;
    }
    m_state->worker.Reset();
    auto* const share = new (std::nothrow) std::shared_ptr<State>{m_state};
    if (share == nullptr)
    {
        return; // the next record tries again
    }
    DWORD threadId = 0;
    m_state->worker.Reset(CreateThread(nullptr, 0, &CLogQueue::Work, share, 0, &threadId));
    m_state->workerRunning = static_cast<bool>(m_state->worker);
    if (!m_state->workerRunning)
    {
        delete share;
    }
}

DWORD WINAPI CLogQueue::Work(void* parameter)
{
    const std::unique_ptr<std::shared_ptr<State>> share{static_cast<std::shared_ptr<State>*>(parameter)};
    State& state = **share;
    CLogFile& file = *state.file;

    if (!file.Acquire())
    {
        // The records stay; the next one starts a new worker.
        const CSectionLock lock{state.lock};
        state.workerRunning = false;
        return 0;
    }
    {
        const CSectionLock lock{state.lock};
        while (!state.records.empty())
        {
            const CqlLogListener::LogData record{std::move(state.records.front())};
            state.records.pop_front();
            const CSectionPause pause{state.lock};
            try
            {
                file.WriteLine(record.Line());
            }
            catch (...)
            {
                // Out of memory: this record is lost.
            }
        }
        state.workerRunning = false;
    }
    file.Release();
    return 0;
}

} // namespace Quil::Shared
