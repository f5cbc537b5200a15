#include "service/ServiceInstaller.h"

#include "shared/Process.h"
#include "shared/UniqueHandle.h"
#include "shared/WideText.h"

#include <iterator>
#include <string>

using Quil::Shared::CqlProcess;
using Quil::Shared::CUniqueService;
using Quil::Shared::FormatText;
using Quil::Shared::PrintText;

namespace
{

constexpr DWORD kPollMilliseconds = 1000;
constexpr int kMaximumKillPasses = 100;
constexpr wchar_t kNotificationProgram[] = L"QuilHotkeyNotification.exe";

void StopService(SC_HANDLE service, const wchar_t* serviceName)
{
    SERVICE_STATUS status{};
    if (!ControlService(service, SERVICE_CONTROL_STOP, &status))
    {
        // Not running, or not to be stopped: it is removed all the same.
        return;
    }
    PrintText(L"Stopping %s.", serviceName);
    Sleep(kPollMilliseconds);
    // Deliberate: no limit, the service may take as long as it says that it is stopping.
    while (QueryServiceStatus(service, &status) && status.dwCurrentState == SERVICE_STOP_PENDING)
    {
        PrintText(L".");
        Sleep(kPollMilliseconds);
    }
    if (status.dwCurrentState == SERVICE_STOPPED)
    {
        PrintText(L"\n%s is stopped.\n", serviceName);
    }
    else
    {
        PrintText(L"\n%s failed to stop.\n", serviceName);
    }
}

// Stops and deletes the service; the handles stay with the caller.
void RemoveService(const wchar_t* serviceName, CUniqueService& manager, CUniqueService& service)
{
    manager.Reset(OpenSCManagerW(nullptr, nullptr, SC_MANAGER_CONNECT));
    if (!manager)
    {
        const DWORD error = GetLastError();
        PrintText(L"OpenSCManager failed w/err 0x%08lx\n", error);
        return;
    }
    service.Reset(OpenServiceW(manager.Get(), serviceName, SERVICE_STOP | SERVICE_QUERY_STATUS | DELETE));
    if (!service)
    {
        const DWORD error = GetLastError();
        PrintText(L"OpenService failed w/err 0x%08lx\n", error);
        return;
    }
    StopService(service.Get(), serviceName);
    if (!DeleteService(service.Get()))
    {
        const DWORD error = GetLastError();
        PrintText(L"DeleteService failed w/err 0x%08lx\n", error);
        return;
    }
    PrintText(L"%s is removed.\n", serviceName);
}

// Deliberate: no pause between the passes, and no more of them however many programs run.
void EndNotificationPrograms(CqlProcess& process)
{
    for (int pass = 0; pass < kMaximumKillPasses; ++pass)
    {
        // What counts is what still runs.
        static_cast<void>(process.KillProcessByName(kNotificationProgram));
        DWORD processId = 0;
        static_cast<void>(process.GetProcessIdByName(kNotificationProgram, &processId));
        if (processId == 0)
        {
            return;
        }
    }
}

} // namespace

void InstallService(const wchar_t* serviceName, const wchar_t* displayName, const wchar_t* description, DWORD startType,
                    const wchar_t* dependencies, const wchar_t* account, const wchar_t* password)
{
    wchar_t path[MAX_PATH]{};
    if (GetModuleFileNameW(nullptr, path, static_cast<DWORD>(std::size(path))) == 0)
    {
        const DWORD error = GetLastError();
        PrintText(L"GetModuleFileName failed w/err 0x%08lx\n", error);
        return;
    }
    // In quotation marks the service manager takes a path with blanks as one word.
    const std::wstring quotedPath = FormatText(L"\"%s\"", path);

    // In this order, so that the manager is closed first.
    CUniqueService service;
    const CUniqueService manager{OpenSCManagerW(nullptr, nullptr, SC_MANAGER_CONNECT | SC_MANAGER_CREATE_SERVICE)};
    if (!manager)
    {
        const DWORD error = GetLastError();
        PrintText(L"OpenSCManager failed w/err 0x%08lx\n", error);
        return;
    }
    service.Reset(CreateServiceW(manager.Get(), serviceName, displayName, SERVICE_ALL_ACCESS,
                                 SERVICE_WIN32_OWN_PROCESS | SERVICE_INTERACTIVE_PROCESS, startType,
                                 SERVICE_ERROR_NORMAL, quotedPath.c_str(), nullptr, nullptr, dependencies, account,
                                 password));
    if (!service)
    {
        const DWORD error = GetLastError();
        PrintText(L"CreateService failed w/err 0x%08lx\n", error);
        return;
    }
    SERVICE_DESCRIPTIONW descriptionSetting{const_cast<wchar_t*>(description)};
    if (!ChangeServiceConfig2W(service.Get(), SERVICE_CONFIG_DESCRIPTION, &descriptionSetting))
    {
        const DWORD error = GetLastError();
        PrintText(L"ChangeServiceConfig2 (SERVICE_CONFIG_DESCRIPTION) failed w/err 0x%08lx\n", error);
    }
    PrintText(L"%s is installed.\n", serviceName);
}

void UninstallService(const wchar_t* serviceName)
{
    CqlProcess process;
    // In this order, so that the manager is closed first.
    CUniqueService service;
    CUniqueService manager;
    RemoveService(serviceName, manager, service);
    EndNotificationPrograms(process);
}
