#include "shared/Logger.h"

#include "shared/LastError.h"
#include "shared/LogListenerConsole.h"
#include "shared/LogListenerDebug.h"
#include "shared/LogListenerEvent.h"
#include "shared/LogListenerFile.h"
#include "shared/LogPolicy.h"
#include "shared/SectionLock.h"
#include "shared/WideText.h"

#include <algorithm>
#include <cstdarg>
#include <cstring>
#include <new>
#include <utility>

namespace Quil::Shared
{

namespace
{

// Calls that are still inside when the process ends are waited for at most this long.
constexpr ULONGLONG kExitPatienceMilliseconds = 1000;

class CCreationLock
{
  public:
    explicit CCreationLock(SRWLOCK& lock) noexcept : m_lock{lock} { AcquireSRWLockExclusive(&m_lock); }
    ~CCreationLock() { ReleaseSRWLockExclusive(&m_lock); }
    CCreationLock(const CCreationLock&) = delete;
    CCreationLock& operator=(const CCreationLock&) = delete;

  private:
    SRWLOCK& m_lock;
};

// Null when memory ran out.
template <typename Listener, typename... Args> std::unique_ptr<CqlLogListener> TryMake(Args... args) noexcept
{
    try
    {
        return std::unique_ptr<CqlLogListener>{new (std::nothrow) Listener{args...}};
    }
    catch (...)
    {
        return nullptr;
    }
}

} // namespace

// Creation and end of the process's logger.
struct CqlLogger::Instance
{
    // From the first call on the end of the process finds the logger that is in place then.
    static void ExpectEnd() noexcept { static const Instance ending; }

    // At process exit the listeners go. The logger itself stays, shut, because a thread-pool or reading thread may
    // still be about to log.
    ~Instance()
    {
        const CCreationLock guard{s_lock};
        s_bEnded = true;
        if (CqlLogger* const logger = s_pInstance.load())
        {
            logger->Shut();
        }
    }

    static inline SRWLOCK s_lock = SRWLOCK_INIT;
    static inline bool s_bEnded = false; // guarded by s_lock
};

std::atomic<CqlLogger*> CqlLogger::s_pInstance{nullptr};

// Registers the call with its logger, so that the end of the process waits for it. Not admitted once that has begun.
class CqlLogger::CCallInside
{
  public:
    explicit CCallInside(CqlLogger& logger) noexcept : m_logger{logger}
    {
        ++m_logger.m_nCallsInside;
        m_bAdmitted = !m_logger.m_bShut;
    }
    ~CCallInside() { --m_logger.m_nCallsInside; }
    CCallInside(const CCallInside&) = delete;
    CCallInside& operator=(const CCallInside&) = delete;

    explicit operator bool() const noexcept { return m_bAdmitted; }

  private:
    CqlLogger& m_logger;
    bool m_bAdmitted;
};

CqlLogger* CqlLogger::CreateInstance() noexcept
{
    const CLastErrorKeeper keeper;
    const CCreationLock guard{Instance::s_lock};
    CqlLogger* logger = s_pInstance.load();
    if (logger != nullptr || Instance::s_bEnded)
    {
        return logger;
    }
    try
    {
        Instance::ExpectEnd();
        logger = new (std::nothrow) CqlLogger{TraceIn, kDefaultListenerMask};
    }
    catch (...)
    {
        logger = nullptr; // a later call tries again
    }
    s_pInstance.store(logger, std::memory_order_release);
    return logger;
}

std::unique_ptr<CqlLogger> CqlLogger::ExchangeInstance(std::unique_ptr<CqlLogger> logger) noexcept
{
    const CCreationLock guard{Instance::s_lock};
    Instance::ExpectEnd();
    return std::unique_ptr<CqlLogger>{s_pInstance.exchange(logger.release())};
}

CqlLogger::CqlLogger(std::size_t bufferSize) noexcept
    : m_nBufferSize{std::clamp(bufferSize, std::size_t{1}, kMaximumBufferSize)}, m_nListeners{0},
      m_nMinimumLevel{Never}, m_nMaximumLevel{Error}, m_bDiagnostics{false}, m_nCallsInside{0}, m_bShut{false},
      m_pFileListener{nullptr}, m_nLongestName{0}
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
}

// Lets no further call in, waits for those that are inside, then destroys listeners in table order and the statistics.
void CqlLogger::Shut() noexcept
{
    if (m_bShut.exchange(true))
    {
        return;
    }
    m_nMinimumLevel = Never;
    m_nMaximumLevel = Error;
    m_bDiagnostics = false;
    const ULONGLONG started = GetTickCount64();
    while (m_nCallsInside != 0)
    {
        if (GetTickCount64() - started > kExitPatienceMilliseconds)
        {
            return; // A call hangs in a listener: everything stays where it is, so that it finds it when it goes on.
        }
        static_cast<void>(SwitchToThread());
    }
    for (std::unique_ptr<CqlLogListener>& listener : m_listeners)
    {
        listener.reset();
    }
    m_pFileListener = nullptr;
    m_timings.clear();
    DeleteCriticalSection(&m_timingLock);
}

bool CqlLogger::AddListener(std::unique_ptr<CqlLogListener> listener) noexcept
{
    if (m_nListeners == kMaximumListeners)
    {
        return false;
    }
    // A listener that could not be made leaves a hole in the table, which logging skips.
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
    // Without listeners the range is empty.
    if (!IsEnabled(level))
    {
        return;
    }
    const CCallInside call{*this};
    if (!call)
    {
        return;
    }
    const CLastErrorKeeper keeper;
    if (format == nullptr)
    {
        Hand(level, functionName, L"");
        return;
    }
    const std::wstring_view text{format};
    if (text.size() < m_nBufferSize && text.find(L'%') == std::wstring_view::npos)
    {
        Hand(level, functionName, text); // nothing to format
        return;
    }
    wchar_t standard[kDefaultBufferSize];
    std::unique_ptr<wchar_t[]> large;
    wchar_t* buffer = standard;
    std::size_t size = m_nBufferSize;
    if (size > kDefaultBufferSize)
    {
        large.reset(new (std::nothrow) wchar_t[size]);
        buffer = large != nullptr ? large.get() : standard;
        size = large != nullptr ? size : kDefaultBufferSize;
    }
    va_list arguments;
    va_start(arguments, format);
    const std::size_t length = FormatBuffer(buffer, size, format, arguments);
    va_end(arguments);
    Hand(level, functionName, {buffer, length});
}

// Builds the one record and gives it to every listener that wants its level.
void CqlLogger::Hand(int level, const char* functionName, std::wstring_view message) noexcept
{
    const CqlLogListener::LogData record{level, functionName, message};
    for (std::size_t i = 0; i < m_nListeners; ++i)
    {
        CqlLogListener* const listener = m_listeners[i].get();
        if (listener == nullptr || level < listener->MinimumLevel() || level > listener->MaximumLevel())
        {
            continue;
        }
        try
        {
            listener->Write(record);
        }
        catch (...)
        {
            // Out of memory: this listener loses the record, the caller is not disturbed.
        }
    }
}

void CqlLogger::AddTiming(const char* functionName, double milliseconds) noexcept
{
    const CCallInside call{*this};
    if (!call)
    {
        return;
    }
    const CLastErrorKeeper keeper;
    const CSectionLock lock{m_timingLock};
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
}

std::map<std::string, CqlLogger::TimingStatistics> CqlLogger::Timings() const
{
    const CSectionLock lock{m_timingLock};
    return m_timings;
}

std::size_t CqlLogger::LongestTimedName() const noexcept
{
    const CSectionLock lock{m_timingLock};
    return m_nLongestName;
}

} // namespace Quil::Shared
