#include "client/HotKeyClient.h"

#include "client/FieldText.h"
#include "client/RpcCall.h"
#include "client/RpcStatusText.h"

#include <windows.h>

#include <rpc.h>
#include <rpcndr.h>

#include <algorithm>
#include <atomic>
#include <cwchar>
#include <new>
#include <utility>

namespace HotKey
{

// A binding and the context handle on it. Whoever lets go of it last disconnects.
class CHotKeyClient::CConnection
{
  public:
    CConnection() noexcept = default;
    ~CConnection()
    {
        if (m_context != nullptr)
        {
            RpcCall call{};
            call.operation = m_bLost ? RpcForgetContext : RpcDisconnect;
            call.context = m_context;
            if (PerformRpcCall(&call) != RPC_S_OK && !m_bLost)
            {
                call.operation = RpcForgetContext;
                static_cast<void>(PerformRpcCall(&call)); // nobody is left to tell
            }
        }
        if (m_hBinding != nullptr)
        {
            static_cast<void>(RpcBindingFree(&m_hBinding));
        }
    }
    CConnection(const CConnection&) = delete;
    CConnection& operator=(const CConnection&) = delete;

    std::uint32_t Open()
    {
        wchar_t protocol[] = L"ncalrpc";
        wchar_t endpoint[] = L"TLYRpcEndpoint";
        // Whoever took the endpoint's name may learn who calls, but not act as the caller.
        wchar_t options[] = L"Security=Identification Dynamic True";
        RPC_WSTR text = nullptr;
        RPC_STATUS status =
            RpcStringBindingComposeW(nullptr, reinterpret_cast<RPC_WSTR>(protocol), nullptr,
                                     reinterpret_cast<RPC_WSTR>(endpoint), reinterpret_cast<RPC_WSTR>(options), &text);
        if (status != RPC_S_OK)
        {
            return static_cast<std::uint32_t>(status);
        }
        status = RpcBindingFromStringBindingW(text, &m_hBinding);
        static_cast<void>(RpcStringFreeW(&text));
        if (status != RPC_S_OK)
        {
            return static_cast<std::uint32_t>(status);
        }

        RpcCall call{};
        call.operation = RpcConnect;
        call.binding = m_hBinding;
        if (const unsigned long error = PerformRpcCall(&call); error != RPC_S_OK)
        {
            return error;
        }
        m_context = call.context;
        return m_context != nullptr ? RPC_S_OK : RPC_X_SS_IN_NULL_CONTEXT;
    }
    HOTKEY_CONTEXT_HANDLE Context() const noexcept { return m_context; }
    void MarkLost() noexcept { m_bLost = true; }

  private:
    handle_t m_hBinding{nullptr};
    HOTKEY_CONTEXT_HANDLE m_context{nullptr};
    std::atomic<bool> m_bLost{false}; // the server's side is gone or does not answer: do not call it again
};

// One call on its thread. The caller and the thread hold it; a caller whose time is up leaves it to the thread.
struct CHotKeyClient::CWork
{
    ~CWork()
    {
        if (call.text != nullptr)
        {
            midl_user_free(call.text);
        }
    }

    std::shared_ptr<CConnection> connection;
    RpcCall call{};
    std::uint32_t ulStatus{RPC_S_OK};
};

struct CHotKeyClient::CAnswer
{
    bool bHasText;
    bool bTerminated; // the text ends in a NUL, as it must
    std::wstring strText;
    long nAnswer;
};

class CHotKeyClient::CDeadline
{
  public:
    explicit CDeadline(std::chrono::milliseconds timeout) : m_end{std::chrono::steady_clock::now() + timeout} {}

    DWORD MillisecondsLeft() const
    {
        const auto left =
            std::chrono::duration_cast<std::chrono::milliseconds>(m_end - std::chrono::steady_clock::now()).count();
        return static_cast<DWORD>(std::clamp<long long>(left, 0, INFINITE - 1));
    }

  private:
    const std::chrono::steady_clock::time_point m_end;
};

CHotKeyClient::CHotKeyClient(std::chrono::milliseconds timeout) : m_timeout{timeout} {}

CHotKeyClient::~CHotKeyClient()
{
    try
    {
        Disconnect();
    }
    catch (const std::bad_alloc&) // the member's destructor says goodbye then
    {
    }
}

DWORD WINAPI CHotKeyClient::WorkThread(void* parameter)
{
    const std::unique_ptr<std::shared_ptr<CWork>> start{static_cast<std::shared_ptr<CWork>*>(parameter)};
    CWork& work = **start;
    switch (work.call.operation)
    {
    case RpcConnect:
        work.ulStatus = work.connection->Open();
        break;
    case RpcDisconnect:
        work.connection.reset();
        break;
    default:
        work.call.context = work.connection->Context();
        work.ulStatus = PerformRpcCall(&work.call);
        // If the connection was given up meanwhile, it ends on this thread and not on the caller's.
        work.connection.reset();
        break;
    }
    return 0;
}

// The work's status; empty when the time is up before the work is done.
std::optional<std::uint32_t> CHotKeyClient::Run(const std::shared_ptr<CWork>& work, const CDeadline& deadline)
{
    auto start = std::make_unique<std::shared_ptr<CWork>>(work);
    const HANDLE thread = CreateThread(nullptr, 0, &CHotKeyClient::WorkThread, start.get(), 0, nullptr);
    if (thread == nullptr)
    {
        return RPC_S_OUT_OF_THREADS;
    }
    static_cast<void>(start.release()); // the thread's now
    const DWORD waited = WaitForSingleObject(thread, deadline.MillisecondsLeft());
    CloseHandle(thread);
    if (waited != WAIT_OBJECT_0)
    {
        return std::nullopt;
    }
    return work->ulStatus;
}

CError CHotKeyClient::TimedOut() const
{
    return CError{ErrorKind::TimedOut, 0,
                  L"the service did not answer within " + std::to_wstring(m_timeout.count()) + L" ms"};
}

std::shared_ptr<CHotKeyClient::CConnection> CHotKeyClient::CurrentConnection()
{
    const std::lock_guard guard{m_mutex};
    return m_pConnection;
}

CResult<std::shared_ptr<CHotKeyClient::CConnection>> CHotKeyClient::TakeConnection(const CDeadline& deadline)
{
    if (std::shared_ptr<CConnection> current = CurrentConnection())
    {
        return current;
    }
    // One at a time in the process: run times put connections that are made at the same moment into groups that do not
    // know each other's context handles.
    static std::timed_mutex s_connecting;
    const std::unique_lock connecting{s_connecting, std::chrono::milliseconds{deadline.MillisecondsLeft()}};
    if (!connecting)
    {
        return TimedOut();
    }
    if (std::shared_ptr<CConnection> current = CurrentConnection())
    {
        return current; // another thread was first
    }
    const auto work = std::make_shared<CWork>();
    work->call.operation = RpcConnect;
    work->connection = std::make_shared<CConnection>();
    const std::optional<std::uint32_t> status = Run(work, deadline);
    if (!status)
    {
        return TimedOut();
    }
    if (*status != RPC_S_OK)
    {
        return DescribeStatus(*status);
    }
    const std::lock_guard guard{m_mutex};
    m_pConnection = work->connection;
    return m_pConnection;
}

// Makes sure that no further call uses the connection. The pointer is only compared: the connection may be gone.
void CHotKeyClient::Drop(const CConnection* connection)
{
    std::shared_ptr<CConnection> dropped;
    const std::lock_guard guard{m_mutex};
    if (m_pConnection.get() == connection)
    {
        m_pConnection->MarkLost();
        dropped.swap(m_pConnection);
    }
}

CResult<CHotKeyClient::CAnswer> CHotKeyClient::Call(int operation, bool repeatable)
{
    const CDeadline deadline{m_timeout};
    for (int attempt = 1;; ++attempt)
    {
        const auto work = std::make_shared<CWork>();
        {
            CResult<std::shared_ptr<CConnection>> connection = TakeConnection(deadline);
            if (!connection)
            {
                return connection.Error();
            }
            work->connection = std::move(connection.Value());
        }
        const CConnection* const connection = work->connection.get();
        work->call.operation = static_cast<RpcOperation>(operation);
        const std::optional<std::uint32_t> status = Run(work, deadline);
        if (!status)
        {
            // The next call must not queue behind this one.
            Drop(connection);
            return TimedOut();
        }
        if (*status == RPC_S_OK)
        {
            const RpcCall& call = work->call;
            CAnswer answer{call.text != nullptr && call.size > 0, true, {}, call.answer};
            if (answer.bHasText)
            {
                const std::size_t size = static_cast<std::size_t>(call.size);
                answer.strText.assign(call.text, wcsnlen(call.text, size));
                answer.bTerminated = answer.strText.size() < size;
            }
            return answer;
        }
        if (IsConnectionLost(*status))
        {
            Drop(connection);
            if (attempt == 1 && (repeatable || IsCallNotExecuted(*status)))
            {
                continue;
            }
        }
        return DescribeStatus(*status);
    }
}

CResult<CNothing> CHotKeyClient::Connect()
{
    const CResult<std::shared_ptr<CConnection>> connection = TakeConnection(CDeadline{m_timeout});
    if (!connection)
    {
        return connection.Error();
    }
    return CNothing{};
}

void CHotKeyClient::Disconnect()
{
    const auto work = std::make_shared<CWork>();
    work->call.operation = RpcDisconnect;
    {
        const std::lock_guard guard{m_mutex};
        work->connection.swap(m_pConnection);
    }
    if (work->connection)
    {
        static_cast<void>(Run(work, CDeadline{m_timeout})); // a service that does not answer is left alone
    }
}

CResult<std::wstring> CHotKeyClient::ReadText(int operation)
{
    CResult<CAnswer> answer = Call(operation, true);
    if (!answer)
    {
        return answer.Error();
    }
    if (!answer.Value().bTerminated)
    {
        return NotUnderstood(L"the text that the service sent has no end");
    }
    return std::move(answer.Value().strText);
}

CResult<bool> CHotKeyClient::ReadYesNo(int operation)
{
    const CResult<CAnswer> answer = Call(operation, true);
    if (!answer)
    {
        return answer.Error();
    }
    const long value = answer.Value().nAnswer;
    if (value != 0 && value != 1)
    {
        return NotUnderstood(L"the service answered " + std::to_wstring(value) + L" instead of 0 or 1");
    }
    return value == 1;
}

CResult<CNothing> CHotKeyClient::Launch(int operation)
{
    // A launch that may have happened is not repeated.
    const CResult<CAnswer> answer = Call(operation, false);
    if (!answer)
    {
        return answer.Error();
    }
    return CNothing{};
}

CResult<std::wstring> CHotKeyClient::ReadSysInfoText()
{
    return ReadText(RpcReadSysInfo);
}

CResult<std::optional<CSysInfo>> CHotKeyClient::ReadSysInfo()
{
    const CResult<std::wstring> text = ReadSysInfoText();
    if (!text)
    {
        return text.Error();
    }
    if (text.Value().empty())
    {
        return std::optional<CSysInfo>{};
    }
    CResult<CSysInfo> record = ParseSysInfo(text.Value());
    if (!record)
    {
        return record.Error();
    }
    return std::optional<CSysInfo>{std::move(record.Value())};
}

CResult<std::wstring> CHotKeyClient::ReadUsbTypeCText()
{
    return ReadText(RpcReadUSBTypeCInfo);
}

CResult<std::optional<CUsbTypeC>> CHotKeyClient::ReadUsbTypeC()
{
    const CResult<std::wstring> text = ReadUsbTypeCText();
    if (!text)
    {
        return text.Error();
    }
    if (text.Value().empty())
    {
        return std::optional<CUsbTypeC>{};
    }
    const CResult<CUsbTypeC> record = ParseUsbTypeC(text.Value());
    if (!record)
    {
        return record.Error();
    }
    return std::optional<CUsbTypeC>{record.Value()};
}

CResult<bool> CHotKeyClient::IsFennixServiceInstalled()
{
    return ReadYesNo(RpcIsFennixServiceInstalled);
}

CResult<bool> CHotKeyClient::IsFennixNodePresent()
{
    return ReadYesNo(RpcIsFennixNodePresent);
}

CResult<CPresence> CHotKeyClient::ReadPresence()
{
    const CResult<bool> service = IsFennixServiceInstalled();
    if (!service)
    {
        return service.Error();
    }
    const CResult<bool> node = IsFennixNodePresent();
    if (!node)
    {
        return node.Error();
    }
    return CPresence{service.Value(), node.Value()};
}

CResult<CNothing> CHotKeyClient::LaunchSystemInformation()
{
    return Launch(RpcProcessCommand);
}

CResult<CNothing> CHotKeyClient::LaunchUsbCApp()
{
    return Launch(RpcLaunchUsbCApp);
}

} // namespace HotKey
