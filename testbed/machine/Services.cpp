// The maker's other services as [services] of the profile lists them: missing, stopped or running, and optionally the
// command line that they are registered with.
#include "testbed/machine/Machine.h"

#include "testbed/Profile.h"
#include "testbed/Text.h"

#include <windows.h>

#include <memory>
#include <vector>

namespace Testbed
{
namespace
{

constexpr wchar_t kStandInProgram[] = L"\"C:\\Program Files\\Quil\\SysInfoCap\\QuilSysInfoCap.exe\"";
constexpr ULONGLONG kPatience = 10000; // milliseconds

struct ServiceCloser
{
    void operator()(SC_HANDLE handle) const { CloseServiceHandle(handle); }
};
using Service = std::unique_ptr<std::remove_pointer_t<SC_HANDLE>, ServiceCloser>;

template <typename Condition> bool WaitUntil(Condition condition)
{
    for (const ULONGLONG start = GetTickCount64(); GetTickCount64() - start < kPatience; Sleep(5))
    {
        if (condition())
        {
            return true;
        }
    }
    return false;
}

DWORD StateOf(SC_HANDLE service)
{
    SERVICE_STATUS status{};
    return QueryServiceStatus(service, &status) ? status.dwCurrentState : 0;
}

bool Remove(SC_HANDLE manager, const std::wstring& name)
{
    {
        const Service service{OpenServiceW(manager, name.c_str(), SERVICE_ALL_ACCESS)};
        if (!service)
        {
            return GetLastError() == ERROR_SERVICE_DOES_NOT_EXIST;
        }
        SERVICE_STATUS status{};
        if (ControlService(service.get(), SERVICE_CONTROL_STOP, &status) &&
            !WaitUntil([&] { return StateOf(service.get()) == SERVICE_STOPPED; }))
        {
            return false;
        }
        DeleteService(service.get());
    }
    // A deleted service lives on until its last handle is closed.
    return WaitUntil([&] {
        const Service service{OpenServiceW(manager, name.c_str(), SERVICE_QUERY_STATUS)};
        return !service && GetLastError() == ERROR_SERVICE_DOES_NOT_EXIST;
    });
}

bool Create(SC_HANDLE manager, const std::wstring& name, const std::wstring& commandLine, bool running)
{
    const Service service{CreateServiceW(manager, name.c_str(), name.c_str(), SERVICE_ALL_ACCESS,
                                         SERVICE_WIN32_OWN_PROCESS, SERVICE_DEMAND_START, SERVICE_ERROR_NORMAL,
                                         commandLine.c_str(), nullptr, nullptr, nullptr, nullptr, nullptr)};
    if (!service)
    {
        return false;
    }
    return !running || (StartServiceW(service.get(), 0, nullptr) &&
                        WaitUntil([&] { return StateOf(service.get()) == SERVICE_RUNNING; }));
}

} // namespace

bool ApplyServices(std::wstring& reason)
{
    const Service manager{OpenSCManagerW(nullptr, nullptr, SC_MANAGER_ALL_ACCESS)};
    for (const auto& [name, value] : ProfileEntries(L"services"))
    {
        const std::size_t comma = value.find(L',');
        const std::wstring state{Trimmed(std::wstring_view{value}.substr(0, comma))};
        const std::wstring commandLine{comma == std::wstring::npos
                                           ? std::wstring_view{kStandInProgram}
                                           : Trimmed(std::wstring_view{value}.substr(comma + 1))};
        if (!Remove(manager.get(), name))
        {
            reason = L"the service " + name + L" of the profile before cannot be removed";
            return false;
        }
        if (!SameName(state, L"missing") && !Create(manager.get(), name, commandLine, SameName(state, L"running")))
        {
            reason =
                L"the service " + name + L" cannot be made " + state + L": error " + std::to_wstring(GetLastError());
            return false;
        }
    }
    return true;
}

} // namespace Testbed
