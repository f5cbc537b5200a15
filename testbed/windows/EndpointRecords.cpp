// The RPC endpoint and interface as the service opens them. Wine ignores their security descriptors, so the records
// keep them as text for the tests.
#include "testbed/Outcome.h"
#include "testbed/Recorder.h"
#include "testbed/Text.h"
#include "testbed/windows/ImportTable.h"
#include "testbed/windows/StandIns.h"

#include "compat/MissingDeclarations.h"

#include <sddl.h>

#include <string>

namespace Testbed
{
namespace
{

std::wstring SecurityText(PSECURITY_DESCRIPTOR descriptor)
{
    if (descriptor == nullptr)
    {
        return L"none";
    }
    constexpr SECURITY_INFORMATION everything =
        OWNER_SECURITY_INFORMATION | GROUP_SECURITY_INFORMATION | DACL_SECURITY_INFORMATION | SACL_SECURITY_INFORMATION;
    LPWSTR text = nullptr;
    if (!ConvertSecurityDescriptorToStringSecurityDescriptorW(descriptor, SDDL_REVISION_1, everything, &text, nullptr))
    {
        return L"error " + std::to_wstring(GetLastError());
    }
    std::wstring copy{text};
    LocalFree(text);
    return copy;
}

RPC_STATUS RPC_ENTRY OpenEndpoint(RPC_WSTR sequence, unsigned int queue, RPC_WSTR endpoint, void* security)
{
    Record(L"RpcServerUseProtseqEpW",
           std::wstring{reinterpret_cast<const wchar_t*>(sequence)} + L" queue=" + std::to_wstring(queue) +
               L" endpoint=" + reinterpret_cast<const wchar_t*>(endpoint) + L" security=" + SecurityText(security));
    const DWORD error = PrescribedError(L"rpc", L"endpoint");
    return error != ERROR_SUCCESS ? static_cast<RPC_STATUS>(error)
                                  : RpcServerUseProtseqEpW(sequence, queue, endpoint, security);
}

RPC_STATUS RPC_ENTRY RegisterInterface(RPC_IF_HANDLE specification, UUID* managerType, RPC_MGR_EPV* managerVector,
                                       unsigned int flags, unsigned int maximumCalls, unsigned int maximumSize,
                                       RPC_IF_CALLBACK_FN* callback, void* security)
{
    Record(L"RpcServerRegisterIf3",
           L"manager-type=" + std::wstring{managerType != nullptr ? L"given" : L"null"} + L" manager-vector=" +
               (managerVector != nullptr ? L"given" : L"null") + L" flags=" + Hex(flags) + L" maximum-calls=" +
               std::to_wstring(maximumCalls) + L" maximum-size=" + std::to_wstring(maximumSize) + L" callback=" +
               (callback != nullptr ? L"given" : L"null") + L" security=" + SecurityText(security));
    const DWORD error = PrescribedError(L"rpc", L"interface");
    return error != ERROR_SUCCESS ? static_cast<RPC_STATUS>(error)
                                  : RpcServerRegisterIf3(specification, managerType, managerVector, flags, maximumCalls,
                                                         maximumSize, callback, security);
}

RPC_STATUS RPC_ENTRY Listen(unsigned int minimumThreads, unsigned int maximumCalls, unsigned int dontWait)
{
    Record(L"RpcServerListen", L"minimum-threads=" + std::to_wstring(minimumThreads) + L" maximum-calls=" +
                                   std::to_wstring(maximumCalls) + L" dont-wait=" + std::to_wstring(dontWait));
    const DWORD error = PrescribedError(L"rpc", L"listen");
    return error != ERROR_SUCCESS ? static_cast<RPC_STATUS>(error)
                                  : RpcServerListen(minimumThreads, maximumCalls, dontWait);
}

} // namespace

void InstallEndpointStandIns()
{
    TESTBED_REPLACE(RpcServerUseProtseqEpW, OpenEndpoint);
    TESTBED_REPLACE(RpcServerRegisterIf3, RegisterInterface);
    TESTBED_REPLACE(RpcServerListen, Listen);
}

} // namespace Testbed
