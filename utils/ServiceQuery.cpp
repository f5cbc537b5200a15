#include "utils/ServiceQuery.h"

#include "shared/TraceScope.h"
#include "shared/UniqueHandle.h"
#include "utils/FileVersion.h"

#include <algorithm>
#include <cwchar>

using Quil::Shared::CLogName;
using Quil::Shared::CTraceScope;
using Quil::Shared::CUniqueLocal;
using Quil::Shared::CUniqueService;

namespace Utils
{

namespace
{

constexpr long kServiceMissing = -1;
constexpr long kServiceNotOpened = -2;
constexpr long kManagerNotOpened = -3;
constexpr long kInstalled = 0;
constexpr long kNotRunning = 1;
constexpr long kConfigurationUnread = 2;

// kInstalled for a running service and for one whose state cannot be read, else kNotRunning.
long RunningState(const CLogName& log, const wchar_t* serviceName, SC_HANDLE service)
{
    log.Information(L"%s Service is installed. Querying status..", serviceName);
    SERVICE_STATUS_PROCESS status{};
    DWORD needed = 0;
    if (!QueryServiceStatusEx(service, SC_STATUS_PROCESS_INFO, reinterpret_cast<BYTE*>(&status), sizeof status,
                              &needed))
    {
        return kInstalled;
    }
    log.Information(L"%s Service status = 0x%08lx", serviceName, status.dwCurrentState);
    if (status.dwCurrentState != SERVICE_RUNNING)
    {
        log.Error(L"%s Service is not running", serviceName);
        return kNotRunning;
    }
    log.Information(L"%s Service is running", serviceName);
    return kInstalled;
}

// Logs a failed reading of the configuration.
bool ConfigurationFailed(const CLogName& log, DWORD error)
{
    log.Error(L"QueryServiceConfig failed w/err 0x%08lx", error);
    return false;
}

// Fills version from the service's program file; false when the configuration cannot be read.
bool ReadProgramVersion(const CLogName& log, const wchar_t* serviceName, SC_HANDLE service, VS_FIXEDFILEINFO& version)
{
    DWORD size = 0;
    if (!QueryServiceConfigW(service, nullptr, 0, &size))
    {
        const DWORD error = GetLastError();
        if (error != ERROR_INSUFFICIENT_BUFFER)
        {
            return ConfigurationFailed(log, error);
        }
    }
    const CUniqueLocal<HLOCAL> buffer{LocalAlloc(LMEM_FIXED, size)};
    if (!buffer)
    {
        return ConfigurationFailed(log, GetLastError());
    }
    auto* const configuration = static_cast<QUERY_SERVICE_CONFIGW*>(buffer.Get());
    if (!QueryServiceConfigW(service, configuration, size, &size))
    {
        return ConfigurationFailed(log, GetLastError());
    }

    wchar_t none[] = L"";
    wchar_t* const path = configuration->lpBinaryPathName != nullptr ? configuration->lpBinaryPathName : none;
    // Deliberate: only the quotes go; arguments behind a quoted file name stay, and such a path has no version.
    *std::remove(path, path + std::wcslen(path), L'"') = L'\0';
    log.Verbose(L"%s service installed path = %s", serviceName, path);
    version = {};
    if (*path != L'\0')
    {
        version = GetVersionValue(path);
    }
    return true;
}

} // namespace

long GetService(const wchar_t* serviceName, SC_HANDLE* manager, SC_HANDLE* service, DWORD managerAccess)
{
    CTraceScope trace{"Utils::GetService", L"Service Name = %s", serviceName};

    *service = nullptr;
    *manager = OpenSCManagerW(nullptr, nullptr, managerAccess);
    if (*manager == nullptr)
    {
        trace.Error(L"OpenSCManager failed w/err 0x%08lx", GetLastError());
        return trace.ExitValue(kManagerNotOpened, L"Return Value = %d");
    }
    *service = OpenServiceW(*manager, serviceName, SERVICE_ALL_ACCESS);
    if (*service == nullptr)
    {
        const DWORD error = GetLastError();
        if (error == ERROR_SERVICE_DOES_NOT_EXIST)
        {
            trace.Error(L"Service does not exist. Error 0x%08lx", error);
            return trace.ExitValue(kServiceMissing, L"Return Value = %d");
        }
        trace.Error(L"OpenService failed w/err 0x%08lx", error);
        return trace.ExitValue(kServiceNotOpened, L"Return Value = %d");
    }
    return trace.ExitValue(0L, L"Return Value = %d");
}

long IsServicePresent(const wchar_t* serviceName, VS_FIXEDFILEINFO& version, bool checkRunning, bool getVersion,
                      DWORD managerAccess)
{
    CTraceScope trace{"Utils::IsServicePresent",
                      L"Service Name = %s, Running Status To be checked = %d, To Get version Info Status = %d",
                      serviceName, checkRunning, getVersion};

    CUniqueService manager;
    CUniqueService service;
    long result = GetService(serviceName, manager.Put(), service.Put(), managerAccess);
    if (result == kInstalled && checkRunning)
    {
        result = RunningState(trace, serviceName, service.Get());
    }
    if (result >= kInstalled && getVersion && !ReadProgramVersion(trace, serviceName, service.Get(), version))
    {
        result = kConfigurationUnread;
    }
    return trace.ExitValue(result, L"Return Value = %d");
}

} // namespace Utils
