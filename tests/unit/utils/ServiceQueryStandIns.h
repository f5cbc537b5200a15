// What the tests of service queries share: answers of the Service Control Manager, versions, a service for real.
#pragma once

#include <gtest/gtest.h>

#include <windows.h>

#include <cstring>
#include <string>
#include <vector>

namespace ServiceQueryStandIns
{

inline const SC_HANDLE kManager = reinterpret_cast<SC_HANDLE>(0x91910);
inline const SC_HANDLE kService = reinterpret_cast<SC_HANDLE>(0x92920);
inline constexpr DWORD kAllManagerAccess = 0x000F003F;

inline auto Gives(SC_HANDLE handle)
{
    return [handle](auto...) { return handle; };
}
inline auto RefusesWith(DWORD error)
{
    return [error](auto...) -> SC_HANDLE {
        SetLastError(error);
        return nullptr;
    };
}
inline auto FailsWith(DWORD error)
{
    return [error](auto...) {
        SetLastError(error);
        return FALSE;
    };
}
inline auto Records(std::vector<SC_HANDLE>& closed)
{
    return [&closed](SC_HANDLE handle) {
        closed.push_back(handle);
        return TRUE;
    };
}
inline auto HasState(DWORD state)
{
    return [state](SC_HANDLE, SC_STATUS_TYPE, BYTE* buffer, DWORD, DWORD*) {
        reinterpret_cast<SERVICE_STATUS_PROCESS*>(buffer)->dwCurrentState = state;
        return TRUE;
    };
}
// Answers for QueryServiceConfigW: the size first, then a configuration with this program path.
inline auto HasPath(wchar_t* path)
{
    return [path](SC_HANDLE, QUERY_SERVICE_CONFIGW* configuration, DWORD size, DWORD* needed) {
        *needed = 512;
        if (configuration == nullptr || size < 512)
        {
            SetLastError(ERROR_INSUFFICIENT_BUFFER);
            return FALSE;
        }
        configuration->lpBinaryPathName = path;
        return TRUE;
    };
}

inline VS_FIXEDFILEINFO Marked()
{
    VS_FIXEDFILEINFO version{};
    version.dwFileVersionMS = 0x12345678;
    return version;
}
inline bool IsMarked(const VS_FIXEDFILEINFO& version)
{
    return version.dwFileVersionMS == 0x12345678;
}
inline bool IsZero(const VS_FIXEDFILEINFO& version)
{
    const VS_FIXEDFILEINFO zeros{};
    return std::memcmp(&zeros, &version, sizeof zeros) == 0;
}

// The test program's own file; its resource says 1.2.30.4.
inline std::wstring OwnPath()
{
    wchar_t path[MAX_PATH]{};
    GetModuleFileNameW(nullptr, path, MAX_PATH);
    return path;
}

// A stopped service that is really installed; removed at the end of the scope.
class InstalledService
{
  public:
    explicit InstalledService(const std::wstring& binaryPath)
        : m_name{L"QuilUtilsTest" + std::to_wstring(GetCurrentProcessId())}, m_manager{
                                                                                 OpenSCManagerW(nullptr, nullptr,
                                                                                                SC_MANAGER_ALL_ACCESS)}
    {
        m_service = CreateServiceW(m_manager, m_name.c_str(), m_name.c_str(), SERVICE_ALL_ACCESS,
                                   SERVICE_WIN32_OWN_PROCESS, SERVICE_DEMAND_START, SERVICE_ERROR_NORMAL,
                                   binaryPath.c_str(), nullptr, nullptr, nullptr, nullptr, nullptr);
    }
    ~InstalledService()
    {
        if (m_service != nullptr)
        {
            DeleteService(m_service);
            CloseServiceHandle(m_service);
        }
        if (m_manager != nullptr)
        {
            CloseServiceHandle(m_manager);
        }
    }
    InstalledService(const InstalledService&) = delete;
    InstalledService& operator=(const InstalledService&) = delete;

    bool Made() const noexcept { return m_service != nullptr; }
    const wchar_t* Name() const noexcept { return m_name.c_str(); }

  private:
    std::wstring m_name;
    SC_HANDLE m_manager;
    SC_HANDLE m_service{};
};

} // namespace ServiceQueryStandIns

#define SKIP_WITHOUT(service)                                                                                          \
    if (!(service).Made())                                                                                             \
    GTEST_SKIP() << "services can be installed only by an administrator"
