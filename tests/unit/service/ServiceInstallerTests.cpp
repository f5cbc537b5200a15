// InstallService and UninstallService: what reaches the service database and what the user reads, for each outcome.
#include "service/ServiceInstaller.h"

#include "tests/unit/service/ProcessListStandIn.h"
#include "tests/unit/service/ServiceDatabaseStandIn.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cwchar>
#include <functional>
#include <string>

using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;

namespace
{

std::string PrintedBy(const std::function<void()>& action)
{
    testing::internal::CaptureStdout();
    action();
    return testing::internal::GetCapturedStdout();
}

class Install : public testing::Test
{
  protected:
    std::string Printed()
    {
        IMPORT_HOOK(GetModuleFileNameW)
        ([&](HMODULE module, LPWSTR buffer, DWORD size) -> DWORD {
            EXPECT_EQ(nullptr, module);
            EXPECT_EQ(260u, size);
            if (path.empty())
            {
                SetLastError(0xABC);
                return 0;
            }
            std::wcscpy(buffer, path.c_str());
            return static_cast<DWORD>(path.size());
        });
        return PrintedBy([] { InstallService(L"Name", L"Shown name", L"What it does", 2, L"", nullptr, nullptr); });
    }

    std::wstring path{L"C:\\Service\\Program.exe"}; // empty: cannot be had
    ServiceDatabaseStandIn database;
};

class Remove : public testing::Test
{
  protected:
    std::string Printed()
    {
        return PrintedBy([] { UninstallService(L"Name"); });
    }

    ServiceDatabaseStandIn database;
    ProcessListStandIn processes{{}};
};

} // namespace

TEST_F(Install, CreatesTheServiceDescribesItAndClosesTheManagerFirst)
{
    Printed();

    EXPECT_THAT(database.Calls(),
                ElementsAre(L"OpenSCManager 0x3",
                            L"CreateService Name|Shown name|0xf01ff|0x110|2|1|\"C:\\Service\\Program.exe\"|(null)||"
                            L"(null)|(null)",
                            L"ChangeServiceConfig2 1 What it does", L"close manager", L"close service"));
}

TEST_F(Install, SaysThatItIsInstalled)
{
    EXPECT_EQ("Name is installed.\n", Printed());
}

TEST_F(Install, PassesAccountPasswordAndDependenciesOn)
{
    PrintedBy([] { InstallService(L"N", L"D", L"T", 3, L"RpcSs", L".\\user", L"secret"); });

    ASSERT_LE(2u, database.Calls().size());
    EXPECT_TRUE(database.Calls()[1].starts_with(L"CreateService N|D|0xf01ff|0x110|3|1|\"")) << database.Calls()[1];
    EXPECT_TRUE(database.Calls()[1].ends_with(L"\"|(null)|RpcSs|.\\user|secret")) << database.Calls()[1];
}

TEST_F(Install, WithoutModulePathPrintsTheErrorAndTouchesNothing)
{
    path.clear();

    EXPECT_EQ("GetModuleFileName failed w/err 0x00000abc\n", Printed());
    EXPECT_THAT(database.Calls(), IsEmpty());
}

TEST_F(Install, WithoutManagerPrintsTheErrorAndClosesNothing)
{
    database.Fail(L"OpenSCManager", ERROR_ACCESS_DENIED);

    EXPECT_EQ("OpenSCManager failed w/err 0x00000005\n", Printed());
    EXPECT_THAT(database.Calls(), ElementsAre(L"OpenSCManager 0x3"));
}

TEST_F(Install, InstallingTwicePrintsThatTheServiceExists)
{
    database.Fail(L"CreateService", ERROR_SERVICE_EXISTS);

    EXPECT_EQ("CreateService failed w/err 0x00000431\n", Printed());
    ASSERT_EQ(3u, database.Calls().size());
    EXPECT_EQ(L"close manager", database.Calls()[2]);
}

TEST_F(Install, WithoutDescriptionTheServiceStaysInstalled)
{
    database.Fail(L"ChangeServiceConfig2 1", 0x7B);

    EXPECT_EQ("ChangeServiceConfig2 (SERVICE_CONFIG_DESCRIPTION) failed w/err 0x0000007b\nName is installed.\n",
              Printed());
    EXPECT_THAT(database.Calls(), Contains(L"close service"));
    EXPECT_THAT(database.Calls(), testing::Not(Contains(L"DeleteService")));
}

TEST_F(Install, QuotesEveryPathAsItStands)
{
    const std::wstring longest = L"C:\\" + std::wstring(252, L'p') + L".exe"; // 259 characters
    ASSERT_EQ(259u, longest.size());
    for (const std::wstring& shape : {
             std::wstring{L"C:\\a.exe"},
             std::wstring{L"C:\\Program Files\\Quil\\HotKeyServiceTLY.exe"},
             std::wstring{L"C:\\two  blanks\\a.exe"},
             std::wstring{L"C:\\ leading\\a.exe"},
             std::wstring{L"C:\\trailing \\a.exe"},
             std::wstring{L"C:\\tab\there\\a.exe"},
             std::wstring{L"C:\\percent %s %d %n\\a.exe"},
             std::wstring{L"C:\\100%\\a.exe"},
             std::wstring{L"C:\\comma,semicolon;\\a.exe"},
             std::wstring{L"C:\\(parentheses) [brackets] {braces}\\a.exe"},
             std::wstring{L"C:\\apostrophe's\\a.exe"},
             std::wstring{L"C:\\am&per^sand\\a.exe"},
             std::wstring{L"C:\\-install\\a.exe"},
             std::wstring{L"\\\\server\\share\\a.exe"},
             std::wstring{L"\\\\?\\C:\\verbatim\\a.exe"},
             std::wstring{L"a.exe"},
             std::wstring{L"C:\\\x00FCml\x00E4ut\\a.exe"},
             std::wstring{L"C:\\\x65E5\x672C\x8A9E\\a.exe"},
             std::wstring{L"C:\\\xD83D\xDE00\\a.exe"},
             longest,
         })
    {
        ServiceDatabaseStandIn own;
        path = shape;

        Printed();

        EXPECT_THAT(own.Calls(), Contains(L"CreateService Name|Shown name|0xf01ff|0x110|2|1|\"" + shape +
                                          L"\"|(null)||(null)|(null)"));
    }
}

TEST_F(Remove, StopsDeletesAndClosesTheManagerFirst)
{
    EXPECT_EQ("Stopping Name.\nName is stopped.\nName is removed.\n", Printed());
    EXPECT_THAT(database.Calls(),
                ElementsAre(L"OpenSCManager 0x1", L"OpenService Name 0x10024", L"ControlService 1", L"Sleep 1000",
                            L"QueryServiceStatus", L"DeleteService", L"close manager", L"close service"));
}

TEST_F(Remove, PrintsAPointForEachSecondOfStopping)
{
    database.states = {SERVICE_STOP_PENDING, SERVICE_STOP_PENDING, SERVICE_STOP_PENDING, SERVICE_STOP_PENDING,
                       SERVICE_STOPPED};

    EXPECT_EQ("Stopping Name....\nName is stopped.\nName is removed.\n", Printed());
    EXPECT_THAT(database.Calls(),
                ElementsAre(L"OpenSCManager 0x1", L"OpenService Name 0x10024", L"ControlService 1", L"Sleep 1000",
                            L"QueryServiceStatus", L"Sleep 1000", L"QueryServiceStatus", L"Sleep 1000",
                            L"QueryServiceStatus", L"Sleep 1000", L"QueryServiceStatus", L"DeleteService",
                            L"close manager", L"close service"));
}

TEST_F(Remove, WaitsAsLongAsTheServiceIsStopping)
{
    database.states.assign(1001, SERVICE_STOP_PENDING);
    database.states.push_back(SERVICE_STOPPED);

    EXPECT_EQ("Stopping Name." + std::string(1000, '.') + "\nName is stopped.\nName is removed.\n", Printed());
}

TEST_F(Remove, ServiceThatRunsOnFailedToStopAndIsDeletedAllTheSame)
{
    database.states = {SERVICE_STOP_PENDING, SERVICE_RUNNING};

    EXPECT_EQ("Stopping Name.\nName failed to stop.\nName is removed.\n", Printed());
}

TEST_F(Remove, FailedQueryLeavesTheLastKnownState)
{
    database.states = {SERVICE_STOP_PENDING};
    database.Fail(L"QueryServiceStatus", 5);

    EXPECT_EQ("Stopping Name.\nName failed to stop.\nName is removed.\n", Printed());
}

TEST_F(Remove, FailedQueryAfterAnImmediateStopStillCountsAsStopped)
{
    database.states = {SERVICE_STOPPED};
    database.Fail(L"QueryServiceStatus", 5);

    EXPECT_EQ("Stopping Name.\nName is stopped.\nName is removed.\n", Printed());
}

TEST_F(Remove, ServiceThatIsNotRunningIsDeletedWithoutAWordAboutStopping)
{
    database.Fail(L"ControlService", ERROR_SERVICE_NOT_ACTIVE);

    EXPECT_EQ("Name is removed.\n", Printed());
    EXPECT_THAT(database.Calls(), ElementsAre(L"OpenSCManager 0x1", L"OpenService Name 0x10024", L"ControlService 1",
                                              L"DeleteService", L"close manager", L"close service"));
}

TEST_F(Remove, FailedDeletionPrintsTheError)
{
    database.Fail(L"ControlService", ERROR_SERVICE_NOT_ACTIVE);
    database.Fail(L"DeleteService", ERROR_SERVICE_MARKED_FOR_DELETE);

    EXPECT_EQ("DeleteService failed w/err 0x00000430\n", Printed());
}

TEST_F(Remove, WithoutManagerPrintsTheErrorAndClosesNothing)
{
    database.Fail(L"OpenSCManager", ERROR_ACCESS_DENIED);

    EXPECT_EQ("OpenSCManager failed w/err 0x00000005\n", Printed());
    EXPECT_THAT(database.Calls(), ElementsAre(L"OpenSCManager 0x1"));
}

TEST_F(Remove, ServiceThatIsNotInstalledPrintsTheErrorAndClosesTheManagerOnly)
{
    database.Fail(L"OpenService", ERROR_SERVICE_DOES_NOT_EXIST);

    EXPECT_EQ("OpenService failed w/err 0x00000424\n", Printed());
    EXPECT_THAT(database.Calls(), ElementsAre(L"OpenSCManager 0x1", L"OpenService Name 0x10024", L"close manager"));
}

TEST(RemoveNotification, EndsFiveProgramsInFivePassesAndNoOthers)
{
    ServiceDatabaseStandIn database;
    ProcessListStandIn processes{{L"explorer.exe", L"QuilHotkeyNotification.exe", L"quilhotkeynotification.EXE",
                                  L"QuilHotkeyNotification.exe.bak", L"QuilHotkeyNotification.exe",
                                  L"QUILHOTKEYNOTIFICATION.EXE", L"QuilHotkeyNotification.exe"}};

    PrintedBy([] { UninstallService(L"Name"); });

    EXPECT_EQ(5, processes.Terminations());
    EXPECT_THAT(processes.Names(), ElementsAre(L"explorer.exe", L"QuilHotkeyNotification.exe.bak"));
}

TEST(RemoveNotification, EndsThemAlsoWhenTheServiceIsNotInstalled)
{
    ServiceDatabaseStandIn database;
    database.Fail(L"OpenService", ERROR_SERVICE_DOES_NOT_EXIST);
    ProcessListStandIn processes{{L"QuilHotkeyNotification.exe"}};

    PrintedBy([] { UninstallService(L"Name"); });

    EXPECT_THAT(processes.Names(), IsEmpty());
}

TEST(RemoveNotification, EndsThemAlsoWithoutTheManager)
{
    ServiceDatabaseStandIn database;
    database.Fail(L"OpenSCManager", ERROR_ACCESS_DENIED);
    ProcessListStandIn processes{{L"QuilHotkeyNotification.exe"}};

    PrintedBy([] { UninstallService(L"Name"); });

    EXPECT_THAT(processes.Names(), IsEmpty());
}

TEST(RemoveNotification, GivesUpAfterAHundredPassesWithoutPause)
{
    ServiceDatabaseStandIn database;
    database.Fail(L"OpenService", ERROR_SERVICE_DOES_NOT_EXIST);
    ProcessListStandIn processes{{L"QuilHotkeyNotification.exe"}};
    processes.comesBack = true;

    PrintedBy([] { UninstallService(L"Name"); });

    EXPECT_EQ(100, processes.Terminations());
    EXPECT_THAT(database.Calls(), testing::Not(Contains(L"Sleep 1000")));
}

TEST(RemoveNotification, OnePassWhenNoneRuns)
{
    ServiceDatabaseStandIn database;
    ProcessListStandIn processes{{L"explorer.exe"}};

    PrintedBy([] { UninstallService(L"Name"); });

    // One search to end the first, one to ask whether another is left.
    EXPECT_EQ(0, processes.Terminations());
    EXPECT_EQ(2, processes.Snapshots());
}

TEST(RemoveNotification, HandlesStayOpenUntilTheProgramsHaveEnded)
{
    ServiceDatabaseStandIn database;
    ProcessListStandIn processes{{L"QuilHotkeyNotification.exe"}};
    std::size_t callsAtTermination = 0;
    processes.onTermination = [&] { callsAtTermination = database.Calls().size(); };

    PrintedBy([] { UninstallService(L"Name"); });

    ASSERT_LT(callsAtTermination, database.Calls().size());
    EXPECT_EQ(L"close manager", database.Calls()[callsAtTermination]);
}
