#include "client/InstalledService.h"

#include <winver.h>

#include <cstddef>
#include <memory>
#include <type_traits>
#include <vector>

namespace
{

struct CloseService
{
    using pointer = SC_HANDLE;
    void operator()(SC_HANDLE handle) const noexcept { CloseServiceHandle(handle); }
};
using ServiceHandle = std::unique_ptr<std::remove_pointer_t<SC_HANDLE>, CloseService>;

std::wstring StateText(DWORD state)
{
    switch (state)
    {
    case SERVICE_STOPPED:
        return L"stopped";
    case SERVICE_START_PENDING:
        return L"starting";
    case SERVICE_STOP_PENDING:
        return L"stopping";
    case SERVICE_RUNNING:
        return L"running";
    default:
        return L"state " + std::to_wstring(state);
    }
}

// The program's path out of the command line that starts it.
std::wstring ProgramOf(const std::wstring& commandLine)
{
    if (commandLine.starts_with(L'"'))
    {
        return commandLine.substr(1, commandLine.find(L'"', 1) - 1);
    }
    return commandLine;
}

std::wstring CommandLine(SC_HANDLE service)
{
    DWORD size = 0;
    static_cast<void>(QueryServiceConfigW(service, nullptr, 0, &size)); // asks for the size only
    if (size < sizeof(QUERY_SERVICE_CONFIGW))
    {
        return {};
    }
    const auto buffer = std::make_unique<std::byte[]>(size);
    auto* const config = reinterpret_cast<QUERY_SERVICE_CONFIGW*>(buffer.get());
    if (!QueryServiceConfigW(service, config, size, &size) || config->lpBinaryPathName == nullptr)
    {
        return {};
    }
    return config->lpBinaryPathName;
}

std::wstring FileVersion(const std::wstring& path)
{
    DWORD ignored = 0;
    const DWORD size = GetFileVersionInfoSizeW(path.c_str(), &ignored);
    if (size == 0)
    {
        return {};
    }
    std::vector<std::byte> block(size);
    void* record = nullptr;
    UINT length = 0;
    if (!GetFileVersionInfoW(path.c_str(), 0, size, block.data()) ||
        !VerQueryValueW(block.data(), L"\\", &record, &length) || length < sizeof(VS_FIXEDFILEINFO))
    {
        return {};
    }
    const auto* const version = static_cast<const VS_FIXEDFILEINFO*>(record);
    return std::to_wstring(HIWORD(version->dwFileVersionMS)) + L"." +
           std::to_wstring(LOWORD(version->dwFileVersionMS)) + L"." +
           std::to_wstring(HIWORD(version->dwFileVersionLS)) + L"." + std::to_wstring(LOWORD(version->dwFileVersionLS));
}

} // namespace

HotKey::CInstalledService HotKey::QueryInstalledService()
{
    CInstalledService result{L"unknown", 0, {}, {}, {}};
    const ServiceHandle manager{OpenSCManagerW(nullptr, nullptr, SC_MANAGER_CONNECT)};
    const ServiceHandle service{
        manager ? OpenServiceW(manager.get(), L"HotKeyServiceTLY", SERVICE_QUERY_STATUS | SERVICE_QUERY_CONFIG)
                : nullptr};
    if (!service)
    {
        const DWORD error = GetLastError();
        result.strState = error == ERROR_SERVICE_DOES_NOT_EXIST ? L"not installed"
                                                                : L"unknown (error " + std::to_wstring(error) + L")";
        return result;
    }
    SERVICE_STATUS_PROCESS status{};
    DWORD size = 0;
    if (QueryServiceStatusEx(service.get(), SC_STATUS_PROCESS_INFO, reinterpret_cast<BYTE*>(&status), sizeof(status),
                             &size))
    {
        result.strState = StateText(status.dwCurrentState);
        result.dwProcessId = status.dwProcessId;
    }
    result.strCommandLine = CommandLine(service.get());
    result.strProgram = ProgramOf(result.strCommandLine);
    result.strVersion = FileVersion(result.strProgram);
    return result;
}
