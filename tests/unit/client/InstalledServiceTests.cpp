// What the Service Control Manager knows of the service, and what remains when it does not tell all of it.
#include "client/InstalledService.h"

#include "tests/harness/ImportHook.h"
#include "tests/unit/client/InstalledServiceStandIn.h"

#include <gtest/gtest.h>

#include <windows.h>

#include <string>

using HotKey::CInstalledService;
using HotKey::QueryInstalledService;

TEST(InstalledService, TellsStateProcessAndProgram)
{
    InstalledServiceStandIn manager;
    IMPORT_HOOK(GetFileVersionInfoSizeW)([](auto...) -> DWORD { return 0; });

    const CInstalledService service = QueryInstalledService();

    EXPECT_EQ(L"running", service.strState);
    EXPECT_EQ(42U, service.dwProcessId);
    EXPECT_EQ(L"\"C:\\Program Files\\Quil\\HotKeyServiceTLY.exe\" -x", service.strCommandLine);
    EXPECT_EQ(L"C:\\Program Files\\Quil\\HotKeyServiceTLY.exe", service.strProgram);
    EXPECT_EQ(L"", service.strVersion);
}

TEST(InstalledService, APathWithoutQuotationMarksIsTheProgram)
{
    InstalledServiceStandIn manager;
    manager.strCommandLine = L"C:\\Quil\\HotKeyServiceTLY.exe";

    EXPECT_EQ(L"C:\\Quil\\HotKeyServiceTLY.exe", QueryInstalledService().strProgram);
}

TEST(InstalledService, NamesEachState)
{
    const struct
    {
        DWORD state;
        const wchar_t* text;
    } states[] = {{SERVICE_STOPPED, L"stopped"},
                  {SERVICE_START_PENDING, L"starting"},
                  {SERVICE_STOP_PENDING, L"stopping"},
                  {SERVICE_RUNNING, L"running"},
                  {SERVICE_PAUSED, L"state 7"}};
    for (const auto& expected : states)
    {
        InstalledServiceStandIn manager;
        manager.dwState = expected.state;

        EXPECT_EQ(expected.text, QueryInstalledService().strState);
    }
}

TEST(InstalledService, OneThatDoesNotExistIsNotInstalled)
{
    InstalledServiceStandIn manager;
    manager.dwOpenError = ERROR_SERVICE_DOES_NOT_EXIST;

    const CInstalledService service = QueryInstalledService();

    EXPECT_EQ(L"not installed", service.strState);
    EXPECT_EQ(0U, service.dwProcessId);
    EXPECT_EQ(L"", service.strCommandLine);
}

TEST(InstalledService, OneThatMayNotBeOpenedIsUnknownWithTheError)
{
    InstalledServiceStandIn manager;
    manager.dwOpenError = ERROR_ACCESS_DENIED;

    EXPECT_EQ(L"unknown (error 5)", QueryInstalledService().strState);
}

TEST(InstalledService, WithoutAManagerItIsUnknownWithTheError)
{
    InstalledServiceStandIn manager;
    manager.dwManagerError = RPC_S_SERVER_UNAVAILABLE;

    EXPECT_EQ(L"unknown (error 1722)", QueryInstalledService().strState);
}

TEST(InstalledService, WithoutAStatusThePathIsKnownAllTheSame)
{
    InstalledServiceStandIn manager;
    manager.dwStatusError = ERROR_ACCESS_DENIED;

    const CInstalledService service = QueryInstalledService();

    EXPECT_EQ(L"unknown", service.strState);
    EXPECT_EQ(0U, service.dwProcessId);
    EXPECT_EQ(L"C:\\Program Files\\Quil\\HotKeyServiceTLY.exe", service.strProgram);
}

TEST(InstalledService, WithoutAConfigurationThereIsNoPath)
{
    InstalledServiceStandIn manager;
    manager.bConfigKnown = false;

    const CInstalledService service = QueryInstalledService();

    EXPECT_EQ(L"running", service.strState);
    EXPECT_EQ(L"", service.strCommandLine);
    EXPECT_EQ(L"", service.strProgram);
}

TEST(InstalledService, AConfigurationThatCannotBeReadHasNoPath)
{
    InstalledServiceStandIn manager;
    manager.dwConfigError = ERROR_ACCESS_DENIED;

    EXPECT_EQ(L"", QueryInstalledService().strCommandLine);
}

TEST(InstalledService, AConfigurationWithoutAPathHasNone)
{
    InstalledServiceStandIn manager;
    manager.strCommandLine.reset();

    EXPECT_EQ(L"", QueryInstalledService().strCommandLine);
}

namespace
{

// A program file whose version is read from memory.
struct InstalledServiceVersion : testing::Test
{
    InstalledServiceStandIn manager;
    VS_FIXEDFILEINFO record{};
    BOOL readable{TRUE};
    BOOL known{TRUE};
    UINT length{sizeof record};

    InstalledServiceVersion()
    {
        record.dwFileVersionMS = 0x00010002;
        record.dwFileVersionLS = 0x00030004;
    }

    IMPORT_HOOK(GetFileVersionInfoSizeW){[](LPCWSTR path, LPDWORD) -> DWORD {
        EXPECT_STREQ(L"C:\\Program Files\\Quil\\HotKeyServiceTLY.exe", path);
        return 16;
    }};
    IMPORT_HOOK(GetFileVersionInfoW){[this](LPCWSTR, DWORD, DWORD, LPVOID) { return readable; }};
    IMPORT_HOOK(VerQueryValueW){[this](LPCVOID, LPCWSTR, LPVOID* value, PUINT size) {
        *value = &record;
        *size = length;
        return known;
    }};
};

} // namespace

TEST_F(InstalledServiceVersion, HasFourNumbers)
{
    EXPECT_EQ(L"1.2.3.4", QueryInstalledService().strVersion);
}

TEST_F(InstalledServiceVersion, IsEmptyWhenTheFileCannotBeRead)
{
    readable = FALSE;

    EXPECT_EQ(L"", QueryInstalledService().strVersion);
}

TEST_F(InstalledServiceVersion, IsEmptyWithoutAVersionRecord)
{
    known = FALSE;

    EXPECT_EQ(L"", QueryInstalledService().strVersion);
}

TEST_F(InstalledServiceVersion, IsEmptyWhenTheRecordIsTooShort)
{
    length = 8;

    EXPECT_EQ(L"", QueryInstalledService().strVersion);
}
