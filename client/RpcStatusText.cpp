#include "client/RpcStatusText.h"

#include <windows.h>

#include <rpc.h>

#include <string>

namespace
{

// The run time of some systems hands the wire's own code for a foreign context through.
constexpr std::uint32_t kFaultContextMismatch = 0x1C00001A;

struct StatusText
{
    std::uint32_t ulStatus;
    HotKey::ErrorKind eKind;
    const wchar_t* pText;
};

constexpr StatusText kStatusTexts[]{
    {RPC_S_SERVER_UNAVAILABLE, HotKey::ErrorKind::Unreachable, L"the service is not running"},
    {RPC_S_NOT_LISTENING, HotKey::ErrorKind::Unreachable, L"the service does not accept calls now"},
    {EPT_S_NOT_REGISTERED, HotKey::ErrorKind::Unreachable, L"the service is not running"},
    {RPC_S_NO_ENDPOINT_FOUND, HotKey::ErrorKind::Unreachable, L"the service is not running"},
    {RPC_S_CALL_FAILED, HotKey::ErrorKind::Unreachable, L"the service ended during the call"},
    {RPC_S_CALL_FAILED_DNE, HotKey::ErrorKind::Unreachable, L"the service ended before the call"},
    {RPC_S_UNKNOWN_IF, HotKey::ErrorKind::Unreachable, L"the service does not serve its interface now"},
    {ERROR_ACCESS_DENIED, HotKey::ErrorKind::Refused, L"the service does not admit this program"},
    {RPC_S_SERVER_TOO_BUSY, HotKey::ErrorKind::Refused, L"the service is too busy"},
    {RPC_S_OUT_OF_MEMORY, HotKey::ErrorKind::Refused, L"out of memory"},
    {RPC_S_PROCNUM_OUT_OF_RANGE, HotKey::ErrorKind::Refused, L"the service does not know this operation"},
    {RPC_X_BAD_STUB_DATA, HotKey::ErrorKind::Refused, L"the service could not read the request"},
    {RPC_X_SS_IN_NULL_CONTEXT, HotKey::ErrorKind::Refused, L"the service did not give a connection"},
    {RPC_X_SS_CONTEXT_MISMATCH, HotKey::ErrorKind::Refused, L"the service does not know this connection"},
    {kFaultContextMismatch, HotKey::ErrorKind::Refused, L"the service does not know this connection"},
    {ERROR_EXCEPTION_IN_SERVICE, HotKey::ErrorKind::Refused, L"the operation failed inside the service"},
};

} // namespace

HotKey::CError HotKey::DescribeStatus(std::uint32_t status)
{
    for (const StatusText& known : kStatusTexts)
    {
        if (known.ulStatus == status)
        {
            return CError{known.eKind, status, known.pText};
        }
    }
    return CError{ErrorKind::Refused, status, L"the call failed"};
}

bool HotKey::IsConnectionLost(std::uint32_t status) noexcept
{
    switch (status)
    {
    case RPC_S_SERVER_UNAVAILABLE:
    case RPC_S_NOT_LISTENING:
    case RPC_S_CALL_FAILED:
    case RPC_S_CALL_FAILED_DNE:
    case RPC_S_UNKNOWN_IF:
    case RPC_X_SS_CONTEXT_MISMATCH:
    case kFaultContextMismatch:
        return true;
    default:
        return false;
    }
}

bool HotKey::IsCallNotExecuted(std::uint32_t status) noexcept
{
    return IsConnectionLost(status) && status != RPC_S_CALL_FAILED;
}
