// Questions to the Service Control Manager: results, records, and handles opened against handles closed.
#include "utils/ServiceQuery.h"

#include "tests/harness/ImportHook.h"
#include "tests/harness/LogCapture.h"
#include "tests/unit/utils/ServiceQueryStandIns.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

using namespace ServiceQueryStandIns;

TEST(GetService, OpensTheManagerAndTheService)
{
    LogCapture log;
    const wchar_t* machine = L"?";
    const wchar_t* database = L"?";
    DWORD managerAccess = 0;
    SC_HANDLE openedIn = nullptr;
    std::wstring name;
    DWORD serviceAccess = 0;
    IMPORT_HOOK(OpenSCManagerW)
    ([&](const wchar_t* machineName, const wchar_t* databaseName, DWORD access) {
        machine = machineName;
        database = databaseName;
        managerAccess = access;
        return kManager;
    });
    IMPORT_HOOK(OpenServiceW)
    ([&](SC_HANDLE manager, const wchar_t* serviceName, DWORD access) {
        openedIn = manager;
        name = serviceName;
        serviceAccess = access;
        return kService;
    });
    SC_HANDLE manager = nullptr;
    SC_HANDLE service = nullptr;

    EXPECT_EQ(0, Utils::GetService(L"QuilSysInfoCap", &manager, &service, 0x00000001));

    EXPECT_EQ(kManager, manager);
    EXPECT_EQ(kService, service);
    EXPECT_EQ(nullptr, machine);
    EXPECT_EQ(nullptr, database);
    EXPECT_EQ(0x00000001u, managerAccess);
    EXPECT_EQ(kManager, openedIn);
    EXPECT_EQ(L"QuilSysInfoCap", name);
    EXPECT_EQ(0x000F01FFu, serviceAccess);
    EXPECT_RECORDS(log, L"TraceIn|Utils::GetService|Service Name = QuilSysInfoCap",
                   L"TraceOut|Utils::GetService|Return Value = 0");
}

TEST(GetService, WithoutTheManagerGivesMinusThree)
{
    LogCapture log;
    IMPORT_HOOK(OpenSCManagerW)(RefusesWith(5));
    IMPORT_HOOK(OpenServiceW)(Gives(kService));
    SC_HANDLE manager = kManager;
    SC_HANDLE service = kService;

    EXPECT_EQ(-3, Utils::GetService(L"X", &manager, &service, kAllManagerAccess));

    EXPECT_EQ(nullptr, manager);
    EXPECT_EQ(nullptr, service);
    EXPECT_EQ(0, hook_OpenServiceW.Calls());
    EXPECT_LINES(log, L"TraceIn|Service Name = X", L"Error|OpenSCManager failed w/err 0x00000005",
                 L"TraceOut|Return Value = -3");
}

TEST(GetService, OfAMissingServiceGivesMinusOneAndLeavesTheManagerToTheCaller)
{
    LogCapture log;
    IMPORT_HOOK(OpenSCManagerW)(Gives(kManager));
    IMPORT_HOOK(OpenServiceW)(RefusesWith(1060));
    IMPORT_HOOK(CloseServiceHandle)([](auto...) { return TRUE; });
    SC_HANDLE manager = nullptr;
    SC_HANDLE service = kService;

    EXPECT_EQ(-1, Utils::GetService(L"X", &manager, &service, kAllManagerAccess));

    EXPECT_EQ(kManager, manager);
    EXPECT_EQ(nullptr, service);
    EXPECT_EQ(0, hook_CloseServiceHandle.Calls());
    EXPECT_LINES(log, L"TraceIn|Service Name = X", L"Error|Service does not exist. Error 0x00000424",
                 L"TraceOut|Return Value = -1");
}

TEST(GetService, ThatCannotBeOpenedForAnotherReasonGivesMinusTwo)
{
    LogCapture log;
    IMPORT_HOOK(OpenSCManagerW)(Gives(kManager));
    IMPORT_HOOK(OpenServiceW)(RefusesWith(5));
    SC_HANDLE manager = nullptr;
    SC_HANDLE service = nullptr;

    EXPECT_EQ(-2, Utils::GetService(L"X", &manager, &service, kAllManagerAccess));

    EXPECT_LINES(log, L"TraceIn|Service Name = X", L"Error|OpenService failed w/err 0x00000005",
                 L"TraceOut|Return Value = -2");
}

TEST(GetService, OpensARealServiceForEveryUse)
{
    const InstalledService installed{L"C:\\no such file.exe"};
    SKIP_WITHOUT(installed);
    SC_HANDLE manager = nullptr;
    SC_HANDLE service = nullptr;

    EXPECT_EQ(0, Utils::GetService(installed.Name(), &manager, &service, kAllManagerAccess));

    SERVICE_STATUS status{};
    EXPECT_TRUE(QueryServiceStatus(service, &status));
    EXPECT_EQ(DWORD{SERVICE_STOPPED}, status.dwCurrentState);
    EXPECT_TRUE(CloseServiceHandle(service));
    EXPECT_TRUE(CloseServiceHandle(manager));
}

TEST(IsServicePresent, LogsItsQuestionAndTheReturnValue)
{
    LogCapture log;
    IMPORT_HOOK(OpenSCManagerW)(Gives(kManager));
    IMPORT_HOOK(OpenServiceW)(Gives(kService));
    IMPORT_HOOK(CloseServiceHandle)([](auto...) { return TRUE; });
    VS_FIXEDFILEINFO version{};

    EXPECT_EQ(0, Utils::IsServicePresent(L"X", version, false, false, kAllManagerAccess));

    EXPECT_RECORDS(log,
                   L"TraceIn|Utils::IsServicePresent|Service Name = X, Running Status To be checked = 0, To Get "
                   L"version Info Status = 0",
                   L"TraceIn|Utils::GetService|Service Name = X", L"TraceOut|Utils::GetService|Return Value = 0",
                   L"TraceOut|Utils::IsServicePresent|Return Value = 0");
}

TEST(IsServicePresent, PassesTheManagerAccessOn)
{
    DWORD managerAccess = 0;
    IMPORT_HOOK(OpenSCManagerW)
    ([&](const wchar_t*, const wchar_t*, DWORD access) -> SC_HANDLE {
        managerAccess = access;
        return nullptr;
    });
    VS_FIXEDFILEINFO version{};

    Utils::IsServicePresent(L"X", version, true, true, 0x000F003F);

    EXPECT_EQ(0x000F003Fu, managerAccess);
}

TEST(IsServicePresent, HandsTheNegativeCodesOnAndLeavesTheVersionAlone)
{
    const struct
    {
        SC_HANDLE manager;
        DWORD error;
        long result;
        const wchar_t* exit;
        std::vector<SC_HANDLE> closed;
    } cases[] = {
        {kManager, 1060, -1, L"TraceOut|Return Value = -1", {kManager}},
        {kManager, 5, -2, L"TraceOut|Return Value = -2", {kManager}},
        {nullptr, 5, -3, L"TraceOut|Return Value = -3", {}},
    };
    for (const auto& failure : cases)
    {
        LogCapture log;
        std::vector<SC_HANDLE> closed;
        IMPORT_HOOK(OpenSCManagerW)(Gives(failure.manager));
        IMPORT_HOOK(OpenServiceW)(RefusesWith(failure.error));
        IMPORT_HOOK(CloseServiceHandle)(Records(closed));
        VS_FIXEDFILEINFO version = Marked();

        EXPECT_EQ(failure.result, Utils::IsServicePresent(L"X", version, true, true, kAllManagerAccess));

        EXPECT_TRUE(IsMarked(version));
        EXPECT_EQ(failure.closed, closed);
        EXPECT_THAT(log.LinesOf("Utils::IsServicePresent"),
                    testing::ElementsAre(L"TraceIn|Service Name = X, Running Status To be checked = 1, To Get version "
                                         L"Info Status = 1",
                                         failure.exit));
    }
}

TEST(IsServicePresent, RunningServiceGivesZero)
{
    LogCapture log;
    IMPORT_HOOK(OpenSCManagerW)(Gives(kManager));
    IMPORT_HOOK(OpenServiceW)(Gives(kService));
    IMPORT_HOOK(CloseServiceHandle)([](auto...) { return TRUE; });
    IMPORT_HOOK(QueryServiceStatusEx)(HasState(4));
    VS_FIXEDFILEINFO version{};

    EXPECT_EQ(0, Utils::IsServicePresent(L"X", version, true, false, kAllManagerAccess));

    EXPECT_THAT(log.LinesOf("Utils::IsServicePresent"),
                testing::ElementsAre(L"TraceIn|Service Name = X, Running Status To be checked = 1, To Get version Info "
                                     L"Status = 0",
                                     L"Information|X Service is installed. Querying status..",
                                     L"Information|X Service status = 0x00000004", L"Information|X Service is running",
                                     L"TraceOut|Return Value = 0"));
}

TEST(IsServicePresent, ServiceInAnyOtherStateGivesOne)
{
    LogCapture log;
    IMPORT_HOOK(OpenSCManagerW)(Gives(kManager));
    IMPORT_HOOK(OpenServiceW)(Gives(kService));
    IMPORT_HOOK(CloseServiceHandle)([](auto...) { return TRUE; });
    IMPORT_HOOK(QueryServiceStatusEx)(HasState(2));
    VS_FIXEDFILEINFO version{};

    EXPECT_EQ(1, Utils::IsServicePresent(L"X", version, true, false, kAllManagerAccess));

    EXPECT_THAT(log.LinesOf("Utils::IsServicePresent"),
                testing::ElementsAre(L"TraceIn|Service Name = X, Running Status To be checked = 1, To Get version Info "
                                     L"Status = 0",
                                     L"Information|X Service is installed. Querying status..",
                                     L"Information|X Service status = 0x00000002", L"Error|X Service is not running",
                                     L"TraceOut|Return Value = 1"));
}

TEST(IsServicePresent, AsksForTheProcessStatusRecordOf36Bytes)
{
    SC_HANDLE asked = nullptr;
    SC_STATUS_TYPE level{};
    DWORD size = 0;
    IMPORT_HOOK(OpenSCManagerW)(Gives(kManager));
    IMPORT_HOOK(OpenServiceW)(Gives(kService));
    IMPORT_HOOK(CloseServiceHandle)([](auto...) { return TRUE; });
    IMPORT_HOOK(QueryServiceStatusEx)
    ([&](SC_HANDLE service, SC_STATUS_TYPE type, BYTE*, DWORD bytes, DWORD*) {
        asked = service;
        level = type;
        size = bytes;
        return FALSE;
    });
    VS_FIXEDFILEINFO version{};

    Utils::IsServicePresent(L"X", version, true, false, kAllManagerAccess);

    EXPECT_EQ(kService, asked);
    EXPECT_EQ(SC_STATUS_PROCESS_INFO, level);
    EXPECT_EQ(36u, size);
}

TEST(IsServicePresent, ServiceWhoseStateCannotBeReadGivesZeroWithoutAFurtherLine)
{
    LogCapture log;
    IMPORT_HOOK(OpenSCManagerW)(Gives(kManager));
    IMPORT_HOOK(OpenServiceW)(Gives(kService));
    IMPORT_HOOK(CloseServiceHandle)([](auto...) { return TRUE; });
    IMPORT_HOOK(QueryServiceStatusEx)(FailsWith(5));
    VS_FIXEDFILEINFO version{};

    EXPECT_EQ(0, Utils::IsServicePresent(L"X", version, true, false, kAllManagerAccess));

    EXPECT_THAT(log.LinesOf("Utils::IsServicePresent"),
                testing::ElementsAre(L"TraceIn|Service Name = X, Running Status To be checked = 1, To Get version Info "
                                     L"Status = 0",
                                     L"Information|X Service is installed. Querying status..",
                                     L"TraceOut|Return Value = 0"));
}

TEST(IsServicePresent, RealStoppedServiceGivesOneWithTheCheckAndZeroWithoutIt)
{
    const InstalledService installed{L"C:\\no such file.exe"};
    SKIP_WITHOUT(installed);
    VS_FIXEDFILEINFO version{};

    EXPECT_EQ(1, Utils::IsServicePresent(installed.Name(), version, true, false, kAllManagerAccess));
    EXPECT_EQ(0, Utils::IsServicePresent(installed.Name(), version, false, false, kAllManagerAccess));
}

TEST(IsServicePresent, RealServiceThatIsMissingGivesMinusOne)
{
    LogCapture log;
    VS_FIXEDFILEINFO version{};

    EXPECT_EQ(-1, Utils::IsServicePresent(L"No such service of anybody", version, true, true, kAllManagerAccess));

    EXPECT_THAT(log.LinesOf("Utils::GetService"),
                testing::ElementsAre(L"TraceIn|Service Name = No such service of anybody",
                                     L"Error|Service does not exist. Error 0x00000424", L"TraceOut|Return Value = -1"));
}

TEST(IsServicePresent, ClosesServiceAndManagerOnceAfterFreeingTheBufferAndBeforeTheExitRecord)
{
    LogCapture log;
    std::vector<std::wstring> order;
    wchar_t path[] = L"";
    IMPORT_HOOK(OpenSCManagerW)(Gives(kManager));
    IMPORT_HOOK(OpenServiceW)(Gives(kService));
    IMPORT_HOOK(QueryServiceConfigW)(HasPath(path));
    IMPORT_HOOK(LocalFree)
    ([&](HLOCAL memory) {
        order.push_back(L"free");
        return hook_LocalFree.RealOfCurrent()(memory);
    });
    IMPORT_HOOK(CloseServiceHandle)
    ([&](SC_HANDLE handle) {
        order.push_back(handle == kService ? L"service" : L"manager");
        order.push_back(log.Lines().back());
        return TRUE;
    });
    VS_FIXEDFILEINFO version{};

    Utils::IsServicePresent(L"X", version, false, true, kAllManagerAccess);

    EXPECT_EQ((std::vector<std::wstring>{L"free", L"service", L"Verbose|X service installed path = ", L"manager",
                                         L"Verbose|X service installed path = "}),
              order);
    EXPECT_EQ(L"TraceOut|Return Value = 0", log.Lines().back());
}

TEST(IsServicePresent, IsTimedWithTheQueryInsideIt)
{
    const auto log = LogCapture::Diagnostics();
    IMPORT_HOOK(OpenSCManagerW)(RefusesWith(5));
    VS_FIXEDFILEINFO version{};

    Utils::IsServicePresent(L"X", version, false, false, kAllManagerAccess);

    EXPECT_EQ(0u, log->LinesOf("Utils::GetService").back().find(L"Diag|Elapsed time = "));
    EXPECT_EQ(0u, log->LinesOf("Utils::IsServicePresent").back().find(L"Diag|Elapsed time = "));
}
