// The configuration of a service whose size is no question: the query succeeds without a buffer.
#include "utils/ServiceQuery.h"

#include "tests/harness/ImportHook.h"
#include "tests/harness/LogCapture.h"

#include <gtest/gtest.h>

#include <windows.h>

TEST(IsServicePresent, AsksForTheConfigurationAgainWhenTheSizeIsNotRefused)
{
    LogCapture log;
    IMPORT_HOOK(OpenSCManagerW)([](LPCWSTR, LPCWSTR, DWORD) { return reinterpret_cast<SC_HANDLE>(0x51); });
    IMPORT_HOOK(OpenServiceW)([](SC_HANDLE, LPCWSTR, DWORD) { return reinterpret_cast<SC_HANDLE>(0x52); });
    IMPORT_HOOK(CloseServiceHandle)([](SC_HANDLE) { return TRUE; });
    IMPORT_HOOK(QueryServiceConfigW)
    ([&](SC_HANDLE, LPQUERY_SERVICE_CONFIGW, DWORD, LPDWORD needed) {
        *needed = 0;
        SetLastError(ERROR_ACCESS_DENIED);
        return hook_QueryServiceConfigW.Calls() == 1;
    });
    VS_FIXEDFILEINFO version{};

    EXPECT_EQ(2, Utils::IsServicePresent(L"Some", version, false, true, SC_MANAGER_CONNECT));

    EXPECT_EQ(2, hook_QueryServiceConfigW.Calls());
    EXPECT_EQ(
        (std::vector<std::wstring>{L"TraceIn|Service Name = Some, Running Status To be checked = 0, To Get version "
                                   L"Info Status = 1",
                                   L"Error|QueryServiceConfig failed w/err 0x00000005", L"TraceOut|Return Value = 2"}),
        log.LinesOf("Utils::IsServicePresent"));
}
