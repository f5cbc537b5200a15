#include "shared/Logger.h"

#include "shared/LastError.h"
#include "shared/LogListenerConsole.h"
#include "shared/LogListenerDebug.h"
#include "shared/LogListenerEvent.h"
#include "shared/LogListenerFile.h"
#include "shared/LogPolicy.h"
#include "shared/WideText.h"

#include <algorithm>
#include <cstdarg>
#include <cstring>
#include <mutex>
#include <new>
#include <utility>

namespace Quil::Shared
{

namespace
{

constexpr std::size_t kBufferSize = 512;
// Deliberate: 8096, not 8192.
constexpr std::size_t kLargestBufferSize = 8096;
// Calls that are still inside when the process ends are waited for at most this long.
constexpr int kDestructionRounds = 200;

// Null when memory ran out.
template <typename Listener, typename... Args> std::unique_ptr<CqlLogListener> TryMake(Args... args)
{
    return std::unique_ptr<CqlLogListener>{new (std::nothrow) Listener{args...}};
}

// Owns the process's logger. At process exit the listeners go; the logger itself stays, shut, because a thread-pool or
// reading thread may still be about to log.
struct InstanceOwner
{
    std::mutex lock; // guards pLogger
    std::unique_ptr<CqlLogger> pLogger;

    ~InstanceOwner()
    {
        if (pLogger != nullptr)
        {
            pLogger->Shut();
            static_cast<void>(pLogger.release());
        }
    }
};

InstanceOwner& Owner()
{
    static InstanceOwner owner;
    return owner;
}

} // namespace

std::atomic<CqlLogger*> CqlLogger::s_pInstance{nullptr};

CqlLogger* CqlLogger::CreateInstance() noexcept
{
    const CLastErrorKeeper keeper;
    try
    {
        InstanceOwner& owner = Owner();
        const std::lock_guard guard{owner.lock};
        if (owner.pLogger == nullptr)
        {
            owner.pLogger.reset(new (std::nothrow) CqlLogger{TraceIn, kDefaultListenerMask});
            s_pInstance.store(owner.pLogger.get(), std::memory_order_release);
        }
        return owner.pLogger.get();
    }
    catch (...)
    {
        return nullptr; // a later call tries again
    }
}

std::unique_ptr<CqlLogger> CqlLogger::ExchangeInstance(std::unique_ptr<CqlLogger> logger) noexcept
{
    InstanceOwner& owner = Owner();
    const std::lock_guard guard{owner.lock};
    owner.pLogger.swap(logger);
    s_pInstance.store(owner.pLogger.get(), std::memory_order_release);
    return logger;
}

CqlLogger::CqlLogger() noexcept
    : m_nBufferSize{std::min(kBufferSize, kLargestBufferSize)}, m_nListeners{0}, m_nMinimumLevel{Never},
      m_nMaximumLevel{Error}, m_bDiagnostics{false}, m_pFileListener{nullptr}, m_nLongestName{0}
{
    InitializeCriticalSection(&m_timingLock);
}

CqlLogger::CqlLogger(int defaultMinimumLevel, DWORD defaultListenerMask) : CqlLogger{}
{
    DWORD mask = defaultListenerMask;
    if ((mask & CqlLogListener::FileQueued) != 0 && (mask & CqlLogListener::FileDirect) != 0)
    {
        mask &= ~static_cast<DWORD>(CqlLogListener::FileDirect);
    }
    const DWORD wanted = CLogPolicy{}.ListenerMask();
    mask = wanted != 0 ? wanted : mask;

    if ((mask & CqlLogListener::EventLog) != 0)
    {
        AddListener(TryMake<CqlLogListenerEvent>(defaultMinimumLevel));
    }
    if ((mask & CqlLogListener::FileDirect) != 0)
    {
        AddListener(TryMake<CqlLogListenerFile>(false, defaultMinimumLevel));
    }
    if ((mask & CqlLogListener::FileQueued) != 0)
    {
        AddListener(TryMake<CqlLogListenerFile>(true, defaultMinimumLevel));
    }
    if ((mask & CqlLogListener::Debugger) != 0)
    {
        AddListener(TryMake<CqlLogListenerDebug>(defaultMinimumLevel));
    }
    if ((mask & CqlLogListener::Console) != 0)
    {
        AddListener(TryMake<CqlLogListenerConsole>(defaultMinimumLevel));
    }
}

CqlLogger::~CqlLogger()
{
    Shut();
    DeleteCriticalSection(&m_timingLock);
}

void CqlLogger::Shut() noexcept
{
    m_nMinimumLevel.store(Never);
    m_nMaximumLevel.store(Error);
    m_bDiagnostics.store(false);
    for (int round = 0; m_nCallsInside.load() != 0; ++round)
    {
        if (round == kDestructionRounds)
        {
            // A call hangs inside a listener: all of them stay, so that it finds them when it goes on.
            for (std::unique_ptr<CqlLogListener>& listener : m_listeners)
            {
                static_cast<void>(listener.release());
            }
            break;
        }
        Sleep(5);
    }
    m_pFileListener = nullptr;
    for (std::unique_ptr<CqlLogListener>& listener : m_listeners)
    {
        listener.reset();
    }
    m_nListeners = 0;
}

bool CqlLogger::AddListener(std::unique_ptr<CqlLogListener> listener) noexcept
{
    if (m_nListeners == kMaximumListeners)
    {
        return false;
    }
    // Deliberate: a listener that could not be made leaves a hole in the table, which logging skips.
    CqlLogListener* const added = listener.get();
    m_listeners[m_nListeners++] = std::move(listener);
    if (added == nullptr)
    {
        return true;
    }
    if (added->Type() == CqlLogListener::FileQueued || added->Type() == CqlLogListener::FileDirect)
    {
        m_pFileListener = added;
        m_bDiagnostics = added->MaximumLevel() >= Diag && added->MinimumLevel() <= Diag;
    }
    m_nMinimumLevel = std::min(m_nMinimumLevel.load(), added->MinimumLevel());
    m_nMaximumLevel = std::max(m_nMaximumLevel.load(), added->MaximumLevel());
    return true;
}

void CqlLogger::Log(int level, const char* functionName, const wchar_t* format, ...) noexcept
{
    if (!IsEnabled(level))
    {
        return;
    }
    const CLastErrorKeeper keeper;
    ++m_nCallsInside;
    // Asked again now that Shut waits for this call.
    if (level >= m_nMinimumLevel.load() && level <= m_nMaximumLevel.load())
    {
        wchar_t message[kBufferSize];
        std::size_t length = 0;
        if (format != nullptr && *format != L'\0')
        {
            va_list arguments;
            va_start(arguments, format);
            length = FormatBuffer(message, m_nBufferSize, format, arguments);
            va_end(arguments);
        }
        try
        {
            const CqlLogListener::LogData record{level, functionName, std::wstring{message, length}};
            for (std::size_t i = 0; i < m_nListeners; ++i)
            {
                CqlLogListener* const listener = m_listeners[i].get();
                if (listener != nullptr && level >= listener->MinimumLevel() && level <= listener->MaximumLevel())
                {
                    listener->Write(record);
                }
            }
        }
        catch (...)
        {
            // Out of memory: the record is lost, the caller is not disturbed.
        }
    }
    --m_nCallsInside;
}

void CqlLogger::AddTiming(const char* functionName, double milliseconds) noexcept
{
    EnterCriticalSection(&m_timingLock);
    try
    {
        TimingStatistics& entry = m_timings[functionName];
        entry.dTotalMilliseconds += milliseconds;
        ++entry.dwCount;
        m_nLongestName = std::max(m_nLongestName, std::strlen(functionName));
    }
    catch (...)
    {
        // Out of memory: this measurement is lost.
    }
    LeaveCriticalSection(&m_timingLock);
}

std::map<std::string, CqlLogger::TimingStatistics> CqlLogger::Timings() const
{
    EnterCriticalSection(&m_timingLock);
    try
    {
        auto copy = m_timings;
        LeaveCriticalSection(&m_timingLock);
        return copy;
    }
    catch (...)
    {
        LeaveCriticalSection(&m_timingLock);
        throw;
    }
}

std::size_t CqlLogger::LongestTimedName() const noexcept
{
    EnterCriticalSection(&m_timingLock);
    const std::size_t length = m_nLongestName;
    LeaveCriticalSection(&m_timingLock);
    return length;
}

} // namespace Quil::Shared
