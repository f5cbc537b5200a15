#include "tests/faults/Faults.h"

#include "tests/faults/FaultRun.h"

#include "compat/MissingDeclarations.h"
#include "tests/harness/AllocationFault.h"
#include "tests/harness/ImportHook.h"

#include <windows.h>

#include <aclapi.h>
#include <objbase.h>
#include <ole2.h>
#include <oleauto.h>
#include <rpc.h>
#include <setupapi.h>
#include <shlobj.h>
#include <tlhelp32.h>
#include <userenv.h>
#include <wtsapi32.h>

#include <cstdint>
#include <type_traits>
#include <utility>

namespace Faults
{

DWORD EnterCall(const char* function);
void HoldChange(const char* what, int change);
bool IsOperationThread();

namespace
{

// Calls that the stand-ins make themselves are none of the product's. One depth for the operation's thread and one for
// its only other thread.
int s_depth[2];

// Inside a call that has been counted.
class Inside
{
  public:
    explicit Inside(int& depth) : m_depth{depth} { m_depth = 1; }
    ~Inside() { m_depth = 0; }
    Inside(const Inside&) = delete;
    Inside& operator=(const Inside&) = delete;

  private:
    int& m_depth;
    const UnobservedAllocations m_own;
};

template <typename R> bool Succeeded(R result)
{
    if constexpr (std::is_pointer_v<R>)
    {
        return result != nullptr && result != reinterpret_cast<R>(INVALID_HANDLE_VALUE);
    }
    else if constexpr (std::is_same_v<R, long>)
    {
        return result == 0; // HRESULT, LSTATUS, RPC_STATUS
    }
    else
    {
        return result != R{};
    }
}

template <typename First, typename... Rest> bool IsSomething(First first, Rest...)
{
    if constexpr (std::is_pointer_v<First>)
    {
        return Succeeded(first);
    }
    else
    {
        return true;
    }
}
inline bool IsSomething()
{
    return true;
}

// Tag: Name, Failure(code), kHeld and kChange: what a success opens (1) or a call closes (-1).
template <typename Tag, typename Function> struct Interposed;

template <typename Tag, typename R, typename... Args> struct Interposed<Tag, R(Args...)>
{
    using Pointer = R (*)(Args...);
    static inline Pointer s_real = nullptr;

    static R Call(Args... args)
    {
        int& depth = s_depth[IsOperationThread() ? 0 : 1];
        if (depth != 0)
        {
            return s_real(args...);
        }
        const DWORD error = GetLastError();
        const DWORD code = Tag::kFaulty ? EnterCall(Tag::kName) : 0;
        if (Tag::kChange < 0 && IsSomething(args...))
        {
            HoldChange(Tag::kHeld, Tag::kChange);
        }
        SetLastError(error);
        if (code != 0 && Tag::kChange >= 0)
        {
            SetLastError(code);
            return Tag::Failure(code);
        }
        const Inside inside{depth};
        if constexpr (std::is_void_v<R>)
        {
            s_real(args...);
        }
        else
        {
            R result = s_real(args...);
            if (code != 0)
            {
                SetLastError(code); // closed all the same, so that nothing stays behind
                return Tag::Failure(code);
            }
            if (Tag::kChange > 0 && Succeeded(result) && Tag::Opens(args...))
            {
                const DWORD after = GetLastError();
                HoldChange(Tag::kHeld, Tag::kChange);
                SetLastError(after);
            }
            return result;
        }
    }
};

// A limited user's full token is a handle of its own.
bool OpensToken(HANDLE, TOKEN_INFORMATION_CLASS kind, auto...)
{
    return kind == TokenLinkedToken;
}

struct Entry
{
    const char* name;
    bool faulty;
    void* interposed;
    void** real;
};

// X(function, whether it fails, what it then returns, what it opens (1) or closes (-1), when it does)
// Functions that only close are counted; they cannot fail.
// clang-format off
#define FAULTS(X) \
    X(ActivateActCtx, true, FALSE, "", 0, true) \
    X(AddAccessAllowedAce, true, FALSE, "", 0, true) \
    X(AddAce, true, FALSE, "", 0, true) \
    X(AdjustTokenPrivileges, true, FALSE, "", 0, true) \
    X(AllocateAndInitializeSid, true, FALSE, "SID", 1, true) \
    X(ChangeServiceConfig2W, true, FALSE, "", 0, true) \
    X(CloseHandle, true, FALSE, "handle", -1, true) \
    X(CloseServiceHandle, true, FALSE, "service manager", -1, true) \
    X(CoCreateInstance, true, HRESULT_FROM_WIN32(code), "", 0, true) \
    X(CoInitializeEx, true, HRESULT_FROM_WIN32(code), "COM", 1, true) \
    X(CoInitializeSecurity, true, HRESULT_FROM_WIN32(code), "", 0, true) \
    X(ControlService, true, FALSE, "", 0, true) \
    X(CopySid, true, FALSE, "", 0, true) \
    X(CoSetProxyBlanket, true, HRESULT_FROM_WIN32(code), "", 0, true) \
    X(CoUninitialize, false, decltype(ResultOf(&CoUninitialize))(), "COM", -1, true) \
    X(CreateActCtxW, true, INVALID_HANDLE_VALUE, "activation context", 1, true) \
    X(CreateDirectoryW, true, FALSE, "", 0, true) \
    X(CreateEnvironmentBlock, true, FALSE, "environment", 1, true) \
    X(CreateEventW, true, nullptr, "handle", 1, true) \
    X(CreateFileW, true, INVALID_HANDLE_VALUE, "handle", 1, true) \
    X(CreateMutexW, true, nullptr, "handle", 1, true) \
    X(CreateProcessAsUserW, true, FALSE, "handle", 2, true) \
    X(CreateServiceW, true, nullptr, "service manager", 1, true) \
    X(CreateThread, true, nullptr, "handle", 1, true) \
    X(CreateThreadpoolWork, true, nullptr, "", 0, true) \
    X(CreateToolhelp32Snapshot, true, INVALID_HANDLE_VALUE, "handle", 1, true) \
    X(CreateWellKnownSid, true, FALSE, "", 0, true) \
    X(DeactivateActCtx, true, FALSE, "", 0, true) \
    X(DeleteFileW, true, FALSE, "", 0, true) \
    X(DeleteService, true, FALSE, "", 0, true) \
    X(DeregisterEventSource, true, FALSE, "event source", -1, true) \
    X(DeriveCapabilitySidsFromName, true, FALSE, "", 0, true) \
    X(DestroyEnvironmentBlock, true, FALSE, "environment", -1, true) \
    X(DuplicateTokenEx, true, FALSE, "handle", 1, true) \
    X(FindClose, true, FALSE, "search", -1, true) \
    X(FindFirstFileW, true, INVALID_HANDLE_VALUE, "search", 1, true) \
    X(FindNextFileW, true, FALSE, "", 0, true) \
    X(FreeSid, false, decltype(ResultOf(&FreeSid))(), "SID", -1, true) \
    X(GetAce, true, FALSE, "", 0, true) \
    X(GetEnvironmentVariableW, true, DWORD{0}, "", 0, true) \
    X(GetFileAttributesExW, true, FALSE, "", 0, true) \
    X(GetFileSizeEx, true, FALSE, "", 0, true) \
    X(GetFileVersionInfoSizeW, true, DWORD{0}, "", 0, true) \
    X(GetFileVersionInfoW, true, FALSE, "", 0, true) \
    X(GetFullPathNameW, true, DWORD{0}, "", 0, true) \
    X(GetLocaleInfoW, true, 0, "", 0, true) \
    X(GetModuleFileNameW, true, DWORD{0}, "", 0, true) \
    X(GetModuleHandleW, true, nullptr, "", 0, true) \
    X(GetTempFileNameW, true, UINT{0}, "", 0, true) \
    X(GetTokenInformation, true, FALSE, "handle", 1, OpensToken(args...)) \
    X(ImpersonateLoggedOnUser, true, FALSE, "impersonation", 1, true) \
    X(InitializeAcl, true, FALSE, "", 0, true) \
    X(InitializeSecurityDescriptor, true, FALSE, "", 0, true) \
    X(IsValidSid, true, FALSE, "", 0, true) \
    X(LocalAlloc, true, nullptr, "local memory", 1, true) \
    X(LocalFree, false, decltype(ResultOf(&LocalFree))(), "local memory", -1, true) \
    X(LookupPrivilegeValueW, true, FALSE, "", 0, true) \
    X(MoveFileW, true, FALSE, "", 0, true) \
    X(MultiByteToWideChar, true, 0, "", 0, true) \
    X(OleRun, true, HRESULT_FROM_WIN32(code), "", 0, true) \
    X(OpenProcess, true, nullptr, "handle", 1, true) \
    X(OpenProcessToken, true, FALSE, "handle", 1, true) \
    X(OpenSCManagerW, true, nullptr, "service manager", 1, true) \
    X(OpenServiceW, true, nullptr, "service manager", 1, true) \
    X(OpenThreadToken, true, FALSE, "handle", 1, true) \
    X(Process32FirstW, true, FALSE, "", 0, true) \
    X(Process32NextW, true, FALSE, "", 0, true) \
    X(QueryServiceConfigW, true, FALSE, "", 0, true) \
    X(QueryServiceStatus, true, FALSE, "", 0, true) \
    X(QueryServiceStatusEx, true, FALSE, "", 0, true) \
    X(ReadFile, true, FALSE, "", 0, true) \
    X(RegCloseKey, true, static_cast<LSTATUS>(code), "key", -1, true) \
    X(RegisterEventSourceW, true, nullptr, "event source", 1, true) \
    X(RegisterServiceCtrlHandlerExW, true, nullptr, "", 0, true) \
    X(RegOpenKeyExW, true, static_cast<LSTATUS>(code), "key", 1, true) \
    X(RegQueryValueExW, true, static_cast<LSTATUS>(code), "", 0, true) \
    X(ReleaseActCtx, false, decltype(ResultOf(&ReleaseActCtx))(), "activation context", -1, true) \
    X(ReleaseMutex, true, FALSE, "", 0, true) \
    X(ReportEventW, true, FALSE, "", 0, true) \
    X(ResetEvent, true, FALSE, "", 0, true) \
    X(RevertToSelf, true, FALSE, "", 0, true) \
    X(RpcMgmtStopServerListening, true, static_cast<RPC_STATUS>(code), "", 0, true) \
    X(RpcServerListen, true, static_cast<RPC_STATUS>(code), "", 0, true) \
    X(RpcServerRegisterIf3, true, static_cast<RPC_STATUS>(code), "", 0, true) \
    X(RpcServerUnregisterIf, true, static_cast<RPC_STATUS>(code), "", 0, true) \
    X(RpcServerUseProtseqEpW, true, static_cast<RPC_STATUS>(code), "", 0, true) \
    X(SafeArrayAccessData, true, HRESULT_FROM_WIN32(code), "array", 1, true) \
    X(SafeArrayGetDim, true, UINT{0}, "", 0, true) \
    X(SafeArrayUnaccessData, true, HRESULT_FROM_WIN32(code), "array", -1, true) \
    X(SetEntriesInAclW, true, code, "", 0, true) \
    X(SetEvent, true, FALSE, "", 0, true) \
    X(SetSecurityDescriptorDacl, true, FALSE, "", 0, true) \
    X(SetSecurityDescriptorGroup, true, FALSE, "", 0, true) \
    X(SetSecurityDescriptorOwner, true, FALSE, "", 0, true) \
    X(SetServiceStatus, true, FALSE, "", 0, true) \
    X(SetTokenInformation, true, FALSE, "", 0, true) \
    X(SetupDiBuildDriverInfoList, true, FALSE, "", 0, true) \
    X(SetupDiDestroyDeviceInfoList, true, FALSE, "device set", -1, true) \
    X(SetupDiEnumDeviceInfo, true, FALSE, "", 0, true) \
    X(SetupDiEnumDriverInfoW, true, FALSE, "", 0, true) \
    X(SetupDiGetClassDevsW, true, INVALID_HANDLE_VALUE, "device set", 1, true) \
    X(SHCreateDirectoryExW, true, static_cast<int>(code), "", 0, true) \
    X(SHGetFolderPathW, true, HRESULT_FROM_WIN32(code), "", 0, true) \
    X(SleepConditionVariableCS, true, FALSE, "", 0, true) \
    X(StartServiceCtrlDispatcherW, true, FALSE, "", 0, true) \
    X(SysAllocString, true, nullptr, "BSTR", 1, true) \
    X(SysFreeString, false, decltype(ResultOf(&SysFreeString))(), "BSTR", -1, true) \
    X(TerminateProcess, true, FALSE, "", 0, true) \
    X(VariantClear, true, HRESULT_FROM_WIN32(code), "", 0, true) \
    X(VerQueryValueW, true, FALSE, "", 0, true) \
    X(WaitForSingleObject, true, WAIT_FAILED, "", 0, true) \
    X(WriteFile, true, FALSE, "", 0, true) \
    X(WTSEnumerateProcessesW, true, FALSE, "list", 1, true) \
    X(WTSEnumerateSessionsW, true, FALSE, "list", 1, true) \
    X(WTSFreeMemory, false, decltype(ResultOf(&WTSFreeMemory))(), "list", -1, true) \
    X(WTSGetActiveConsoleSessionId, true, DWORD{0xFFFFFFFF}, "", 0, true) \
    X(WTSQueryUserToken, true, FALSE, "handle", 1, true)
// clang-format on

template <typename R, typename... Args> R ResultOf(R (*)(Args...));

#define FAULT_TAG(function, faulty, failing, held, change, opens)                                                      \
    struct Tag_##function                                                                                              \
    {                                                                                                                  \
        static constexpr const char* kName = #function;                                                                \
        static constexpr const char* kHeld = held;                                                                     \
        static constexpr bool kFaulty = faulty;                                                                        \
        static constexpr int kChange = change;                                                                         \
        static auto Failure([[maybe_unused]] DWORD code) -> decltype(ResultOf(&function))                              \
        {                                                                                                              \
            return static_cast<decltype(ResultOf(&function))>(failing);                                                \
        }                                                                                                              \
        static bool Opens([[maybe_unused]] auto... args) { return opens; }                                             \
    };
FAULTS(FAULT_TAG)

#define FAULT_ENTRY(function, faulty, failing, held, change, opens)                                                    \
    {#function, faulty,                                                                                                \
     reinterpret_cast<void*>(&Interposed<Tag_##function, std::remove_pointer_t<decltype(&function)>>::Call),           \
     reinterpret_cast<void**>(&Interposed<Tag_##function, std::remove_pointer_t<decltype(&function)>>::s_real)},
const Entry kEntries[] = {FAULTS(FAULT_ENTRY)};

} // namespace

Callback::Callback() : m_depth{std::exchange(s_depth[IsOperationThread() ? 0 : 1], 0)} {}

Callback::~Callback()
{
    s_depth[IsOperationThread() ? 0 : 1] = m_depth;
}

Interposition::Interposition()
{
    for (const Entry& entry : kEntries)
    {
        if (void** const slot = Harness::FindImportSlot(GetModuleHandleW(nullptr), entry.name))
        {
            *entry.real = *slot;
            Harness::ExchangeImportSlot(slot, entry.interposed);
        }
    }
}

Interposition::~Interposition()
{
    for (const Entry& entry : kEntries)
    {
        if (void** const slot = Harness::FindImportSlot(GetModuleHandleW(nullptr), entry.name))
        {
            Harness::ExchangeImportSlot(slot, *entry.real);
        }
    }
}

} // namespace Faults
