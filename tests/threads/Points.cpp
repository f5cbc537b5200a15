#include "tests/threads/Points.h"

#include "tests/threads/Schedule.h"

#include "compat/MissingDeclarations.h"
#include "tests/harness/ImportHook.h"

#include <windows.h>

#include <aclapi.h>
#include <objbase.h>
#include <ole2.h>
#include <oleauto.h>
#include <realtimeapiset.h>
#include <rpc.h>
#include <setupapi.h>
#include <shlobj.h>
#include <tlhelp32.h>
#include <userenv.h>
#include <wtsapi32.h>

#include <type_traits>

namespace Threads
{

namespace
{

enum class Kind
{
    Plain,
    Opens,  // gives out a handle
    Closes, // takes it back
    Starts  // makes a thread
};

struct Entry
{
    const char* name;
    void* interposed;
    void** real;
};

template <typename Tag, typename Function> struct Interposed;

template <typename Tag, typename R, typename... Args> struct Interposed<Tag, R(Args...)>
{
    static inline R (*s_real)(Args...) = nullptr;

    static R Call(Args... args)
    {
        Point();
        if constexpr (Tag::kKind == Kind::Plain)
        {
            return s_real(args...);
        }
        else
        {
            Actor* const actor = Actor::Current();
            if (actor == nullptr)
            {
                return s_real(args...);
            }
            Schedule& schedule = actor->Of();
            if constexpr (Tag::kKind == Kind::Closes)
            {
                schedule.Closing(args...);
                const R closed = s_real(args...);
                if (!closed)
                {
                    schedule.ClosedInVain();
                }
                return closed;
            }
            else
            {
                HANDLE opened = nullptr;
                if constexpr (Tag::kKind == Kind::Starts)
                {
                    opened = schedule.Start(s_real, args...);
                }
                else
                {
                    opened = s_real(args...);
                }
                if (opened != nullptr && opened != INVALID_HANDLE_VALUE)
                {
                    schedule.Opened(opened, Tag::kName);
                }
                return opened;
            }
        }
    }
};

// What the product imports, the C run time apart.
// clang-format off
#define POINTS(X) \
    X(AcquireSRWLockExclusive, Plain) X(ActivateActCtx, Plain) X(AddAccessAllowedAce, Plain) X(AddAce, Plain) \
    X(AdjustTokenPrivileges, Plain) X(AllocateAndInitializeSid, Plain) X(ChangeServiceConfig2W, Plain) \
    X(CloseHandle, Closes) X(CloseServiceHandle, Plain) X(CoCreateInstance, Plain) X(CoInitializeEx, Plain) \
    X(CoInitializeSecurity, Plain) X(CoSetProxyBlanket, Plain) X(CoUninitialize, Plain) X(ControlService, Plain) \
    X(CopySid, Plain) X(CreateActCtxW, Plain) X(CreateDirectoryW, Plain) X(CreateEnvironmentBlock, Plain) \
    X(CreateEventW, Opens) X(CreateFileW, Opens) X(CreateMutexW, Opens) X(CreateProcessAsUserW, Plain) \
    X(CreateServiceW, Plain) X(CreateThread, Starts) X(CreateThreadpoolWork, Plain) \
    X(CreateToolhelp32Snapshot, Opens) X(CreateWellKnownSid, Plain) X(DeactivateActCtx, Plain) \
    X(DeleteCriticalSection, Plain) X(DeleteFileW, Plain) X(DeleteService, Plain) X(DeregisterEventSource, Plain) \
    X(DeriveCapabilitySidsFromName, Plain) X(DestroyEnvironmentBlock, Plain) X(DuplicateTokenEx, Plain) \
    X(EnterCriticalSection, Plain) X(FindClose, Closes) X(FindFirstFileW, Opens) X(FindNextFileW, Plain) \
    X(FreeSid, Plain) X(GetAce, Plain) X(GetCurrentProcess, Plain) X(GetCurrentThread, Plain) \
    X(GetCurrentThreadId, Plain) X(GetEnvironmentVariableW, Plain) X(GetFileAttributesExW, Plain) \
    X(GetFileSizeEx, Plain) X(GetFileVersionInfoSizeW, Plain) X(GetFileVersionInfoW, Plain) \
    X(GetFullPathNameW, Plain) X(GetLastError, Plain) X(GetLengthSid, Plain) X(GetLocaleInfoW, Plain) \
    X(GetLocalTime, Plain) X(GetModuleFileNameW, Plain) X(GetTempFileNameW, Plain) X(GetTickCount64, Plain) \
    X(GetTokenInformation, Plain) X(ImpersonateLoggedOnUser, Plain) X(InitializeAcl, Plain) \
    X(InitializeCriticalSection, Plain) X(InitializeCriticalSectionAndSpinCount, Plain) \
    X(InitializeSecurityDescriptor, Plain) X(IsValidSid, Plain) X(LeaveCriticalSection, Plain) X(LocalAlloc, Plain) \
    X(LocalFree, Plain) X(LookupPrivilegeValueW, Plain) X(lstrcmpiW, Plain) X(MoveFileW, Plain) \
    X(MultiByteToWideChar, Plain) X(OleRun, Plain) X(OpenProcess, Plain) X(OpenProcessToken, Plain) \
    X(OpenSCManagerW, Plain) X(OpenServiceW, Plain) X(OpenThreadToken, Plain) X(OutputDebugStringW, Plain) \
    X(Process32FirstW, Plain) X(Process32NextW, Plain) X(QueryServiceConfigW, Plain) X(QueryServiceStatus, Plain) \
    X(QueryServiceStatusEx, Plain) X(QueryUnbiasedInterruptTime, Plain) X(ReadFile, Plain) X(RegCloseKey, Plain) \
    X(RegisterEventSourceW, Plain) X(RegisterServiceCtrlHandlerExW, Plain) X(RegOpenKeyExW, Plain) \
    X(RegQueryValueExW, Plain) X(ReleaseActCtx, Plain) X(ReleaseMutex, Plain) X(ReleaseSRWLockExclusive, Plain) \
    X(ReportEventW, Plain) X(ResetEvent, Plain) X(RevertToSelf, Plain) X(RpcMgmtStopServerListening, Plain) \
    X(RpcServerListen, Plain) X(RpcServerRegisterIf3, Plain) X(RpcServerUnregisterIf, Plain) \
    X(RpcServerUseProtseqEpW, Plain) X(SafeArrayAccessData, Plain) X(SafeArrayGetDim, Plain) \
    X(SafeArrayUnaccessData, Plain) X(SetEntriesInAclW, Plain) X(SetEvent, Plain) X(SetLastError, Plain) \
    X(SetSecurityDescriptorDacl, Plain) X(SetSecurityDescriptorGroup, Plain) X(SetSecurityDescriptorOwner, Plain) \
    X(SetServiceStatus, Plain) X(SetTokenInformation, Plain) X(SetupDiBuildDriverInfoList, Plain) \
    X(SetupDiDestroyDeviceInfoList, Plain) X(SetupDiEnumDeviceInfo, Plain) X(SetupDiEnumDriverInfoW, Plain) \
    X(SetupDiGetClassDevsW, Plain) X(SHCreateDirectoryExW, Plain) X(SHGetFolderPathW, Plain) X(Sleep, Plain) \
    X(SleepConditionVariableCS, Plain) X(StartServiceCtrlDispatcherW, Plain) X(SubmitThreadpoolWork, Plain) \
    X(SwitchToThread, Plain) X(SysAllocString, Plain) X(SysFreeString, Plain) X(TerminateProcess, Plain) \
    X(VariantClear, Plain) X(VariantInit, Plain) X(VerQueryValueW, Plain) X(WaitForSingleObject, Plain) \
    X(WakeConditionVariable, Plain) X(WriteFile, Plain) X(WTSEnumerateProcessesW, Plain) \
    X(WTSEnumerateSessionsW, Plain) X(WTSFreeMemory, Plain) X(WTSGetActiveConsoleSessionId, Plain) \
    X(WTSQueryUserToken, Plain)
// clang-format on

#define POINT_TAG(function, kind)                                                                                      \
    struct Tag_##function                                                                                              \
    {                                                                                                                  \
        [[maybe_unused]] static constexpr const char* kName = #function;                                               \
        static constexpr Kind kKind = Kind::kind;                                                                      \
    };
POINTS(POINT_TAG)

#define POINT_ENTRY(function, kind)                                                                                    \
    {#function,                                                                                                        \
     reinterpret_cast<void*>(&Interposed<Tag_##function, std::remove_pointer_t<decltype(&function)>>::Call),           \
     reinterpret_cast<void**>(&Interposed<Tag_##function, std::remove_pointer_t<decltype(&function)>>::s_real)},
const Entry kEntries[] = {POINTS(POINT_ENTRY)};

} // namespace

Points::Points()
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

Points::~Points()
{
    for (const Entry& entry : kEntries)
    {
        if (void** const slot = Harness::FindImportSlot(GetModuleHandleW(nullptr), entry.name))
        {
            Harness::ExchangeImportSlot(slot, *entry.real);
        }
    }
}

} // namespace Threads
