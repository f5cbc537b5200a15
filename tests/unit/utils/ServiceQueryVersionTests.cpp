// The version of a service's program: its path from the configuration, and each failing step on the way.
#include "utils/ServiceQuery.h"

#include "tests/harness/ImportHook.h"
#include "tests/harness/LogCapture.h"
#include "tests/unit/utils/ServiceQueryStandIns.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

using namespace ServiceQueryStandIns;

TEST(IsServicePresent, GivesTheVersionOfAQuotedProgramPath)
{
    LogCapture log;
    const std::wstring path = OwnPath();
    const InstalledService installed{L"\"" + path + L"\""};
    SKIP_WITHOUT(installed);
    VS_FIXEDFILEINFO version = Marked();

    EXPECT_EQ(0, Utils::IsServicePresent(installed.Name(), version, false, true, kAllManagerAccess));

    EXPECT_EQ(0xFEEF04BDu, version.dwSignature);
    EXPECT_EQ(0x00010002u, version.dwFileVersionMS);
    EXPECT_EQ(0x001E0004u, version.dwFileVersionLS);
    EXPECT_THAT(log.Lines(),
                testing::Contains(L"Verbose|" + std::wstring{installed.Name()} + L" service installed path = " + path));
    EXPECT_THAT(log.LinesOf("Utils::GetVersionValue"),
                testing::ElementsAre(L"TraceIn|Executable Complete Path = " + path, L"TraceOut|"));
}

TEST(IsServicePresent, GivesTheVersionAlsoOfAStoppedServiceWhoseStateWasChecked)
{
    const InstalledService installed{OwnPath()};
    SKIP_WITHOUT(installed);
    VS_FIXEDFILEINFO version{};

    EXPECT_EQ(1, Utils::IsServicePresent(installed.Name(), version, true, true, kAllManagerAccess));

    EXPECT_EQ(0x00010002u, version.dwFileVersionMS);
}

TEST(IsServicePresent, KeepsTheArgumentsBehindAQuotedPathSoThatItsVersionStaysZero)
{
    LogCapture log;
    const std::wstring path = OwnPath();
    const InstalledService installed{L"\"" + path + L"\" -k \"group\""};
    SKIP_WITHOUT(installed);
    VS_FIXEDFILEINFO version = Marked();

    EXPECT_EQ(0, Utils::IsServicePresent(installed.Name(), version, false, true, kAllManagerAccess));

    EXPECT_TRUE(IsZero(version));
    EXPECT_THAT(log.LinesOf("Utils::GetVersionValue"),
                testing::ElementsAre(L"TraceIn|Executable Complete Path = " + path + L" -k group",
                                     L"Error|GetFileVersionInfoSize Return Value  = 0 Error Code = ", L"TraceOut|"));
}

TEST(IsServicePresent, WithoutAProgramPathZeroesTheVersionAndReadsNoFile)
{
    wchar_t quotes[] = L"\"\"";
    for (wchar_t* const path : {quotes, static_cast<wchar_t*>(nullptr)})
    {
        LogCapture log;
        IMPORT_HOOK(OpenSCManagerW)(Gives(kManager));
        IMPORT_HOOK(OpenServiceW)(Gives(kService));
        IMPORT_HOOK(CloseServiceHandle)([](auto...) { return TRUE; });
        IMPORT_HOOK(QueryServiceConfigW)(HasPath(path));
        VS_FIXEDFILEINFO version = Marked();

        EXPECT_EQ(0, Utils::IsServicePresent(L"X", version, false, true, kAllManagerAccess));

        EXPECT_TRUE(IsZero(version));
        EXPECT_THAT(log.Lines(), testing::Contains(L"Verbose|X service installed path = "));
        EXPECT_TRUE(log.LinesOf("Utils::GetVersionValue").empty());
    }
}

TEST(IsServicePresent, AsksForTheSizeFirstAndThenForTheConfiguration)
{
    std::vector<bool> withBuffer;
    std::vector<DWORD> sizes;
    UINT flags = 99;
    SIZE_T allocated = 0;
    wchar_t path[] = L"";
    IMPORT_HOOK(OpenSCManagerW)(Gives(kManager));
    IMPORT_HOOK(OpenServiceW)(Gives(kService));
    IMPORT_HOOK(CloseServiceHandle)([](auto...) { return TRUE; });
    IMPORT_HOOK(QueryServiceConfigW)
    ([&](SC_HANDLE service, QUERY_SERVICE_CONFIGW* configuration, DWORD size, DWORD* needed) {
        withBuffer.push_back(configuration != nullptr);
        sizes.push_back(size);
        return HasPath(path)(service, configuration, size, needed);
    });
    IMPORT_HOOK(LocalAlloc)
    ([&](UINT how, SIZE_T bytes) {
        flags = how;
        allocated = bytes;
        return hook_LocalAlloc.RealOfCurrent()(how, bytes);
    });
    VS_FIXEDFILEINFO version{};

    Utils::IsServicePresent(L"X", version, false, true, kAllManagerAccess);

    EXPECT_EQ((std::vector<bool>{false, true}), withBuffer);
    EXPECT_EQ((std::vector<DWORD>{0, 512}), sizes);
    EXPECT_EQ(0u, flags);
    EXPECT_EQ(512u, allocated);
}

TEST(IsServicePresent, WhoseConfigurationSizeCannotBeReadGivesTwo)
{
    LogCapture log;
    IMPORT_HOOK(OpenSCManagerW)(Gives(kManager));
    IMPORT_HOOK(OpenServiceW)(Gives(kService));
    IMPORT_HOOK(CloseServiceHandle)([](auto...) { return TRUE; });
    IMPORT_HOOK(QueryServiceConfigW)(FailsWith(5));
    VS_FIXEDFILEINFO version = Marked();

    EXPECT_EQ(2, Utils::IsServicePresent(L"X", version, false, true, kAllManagerAccess));

    EXPECT_TRUE(IsMarked(version));
    EXPECT_THAT(log.LinesOf("Utils::IsServicePresent"),
                testing::ElementsAre(L"TraceIn|Service Name = X, Running Status To be checked = 0, To Get version Info "
                                     L"Status = 1",
                                     L"Error|QueryServiceConfig failed w/err 0x00000005",
                                     L"TraceOut|Return Value = 2"));
}

TEST(IsServicePresent, WhoseConfigurationCannotBeReadGivesTwoAndFreesTheBuffer)
{
    LogCapture log;
    std::vector<HLOCAL> allocated;
    std::vector<HLOCAL> freed;
    IMPORT_HOOK(OpenSCManagerW)(Gives(kManager));
    IMPORT_HOOK(OpenServiceW)(Gives(kService));
    IMPORT_HOOK(CloseServiceHandle)([](auto...) { return TRUE; });
    IMPORT_HOOK(QueryServiceConfigW)
    ([](SC_HANDLE, QUERY_SERVICE_CONFIGW* configuration, DWORD, DWORD* needed) {
        *needed = 512;
        SetLastError(configuration == nullptr ? ERROR_INSUFFICIENT_BUFFER : 1115);
        return FALSE;
    });
    IMPORT_HOOK(LocalAlloc)
    ([&](UINT how, SIZE_T bytes) {
        allocated.push_back(hook_LocalAlloc.RealOfCurrent()(how, bytes));
        return allocated.back();
    });
    IMPORT_HOOK(LocalFree)
    ([&](HLOCAL memory) {
        freed.push_back(memory);
        return hook_LocalFree.RealOfCurrent()(memory);
    });
    VS_FIXEDFILEINFO version{};

    EXPECT_EQ(2, Utils::IsServicePresent(L"X", version, false, true, kAllManagerAccess));

    EXPECT_EQ(1u, allocated.size());
    EXPECT_EQ(allocated, freed);
    EXPECT_THAT(log.Lines(), testing::Contains(L"Error|QueryServiceConfig failed w/err 0x0000045b"));
}

TEST(IsServicePresent, WithoutMemoryForTheConfigurationGivesTwo)
{
    LogCapture log;
    wchar_t path[] = L"C:\\a.exe";
    IMPORT_HOOK(OpenSCManagerW)(Gives(kManager));
    IMPORT_HOOK(OpenServiceW)(Gives(kService));
    IMPORT_HOOK(CloseServiceHandle)([](auto...) { return TRUE; });
    IMPORT_HOOK(QueryServiceConfigW)(HasPath(path));
    IMPORT_HOOK(LocalAlloc)
    ([](auto...) -> HLOCAL {
        SetLastError(ERROR_NOT_ENOUGH_MEMORY);
        return nullptr;
    });
    VS_FIXEDFILEINFO version{};

    EXPECT_EQ(2, Utils::IsServicePresent(L"X", version, false, true, kAllManagerAccess));

    EXPECT_EQ(1, hook_QueryServiceConfigW.Calls());
    EXPECT_THAT(log.Lines(), testing::Contains(L"Error|QueryServiceConfig failed w/err 0x00000008"));
}

TEST(IsServicePresent, StoppedServiceWhoseConfigurationCannotBeReadGivesTwo)
{
    IMPORT_HOOK(OpenSCManagerW)(Gives(kManager));
    IMPORT_HOOK(OpenServiceW)(Gives(kService));
    IMPORT_HOOK(CloseServiceHandle)([](auto...) { return TRUE; });
    IMPORT_HOOK(QueryServiceStatusEx)(HasState(1));
    IMPORT_HOOK(QueryServiceConfigW)(FailsWith(5));
    VS_FIXEDFILEINFO version{};

    EXPECT_EQ(2, Utils::IsServicePresent(L"X", version, true, true, kAllManagerAccess));
}
