// SetServiceRestartRecoveryOnFailure: the two settings as they reach the service database, and the result codes.
#include "service/ServiceRecovery.h"

#include "tests/harness/LogCapture.h"
#include "tests/unit/service/ServiceDatabaseStandIn.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using testing::ElementsAre;

namespace
{

class ServiceRecovery : public testing::Test
{
  protected:
    int Result() { return Utils::SetServiceRestartRecoveryOnFailure(L"Name"); }

    ServiceDatabaseStandIn database;
};

} // namespace

TEST_F(ServiceRecovery, RestartsAfterTwoFourAndSixMinutesAndAfterFailuresThatAreNotCrashes)
{
    EXPECT_EQ(0, Result());
    EXPECT_THAT(database.Calls(),
                ElementsAre(L"OpenSCManager 0xf003f", L"OpenService Name 0xf01ff",
                            L"ChangeServiceConfig2 2 reset 3600|(null)|(null)|type 1 after 120000|type 1 after "
                            L"240000|type 1 after 360000",
                            L"ChangeServiceConfig2 4 1", L"close manager", L"close service"));
}

TEST_F(ServiceRecovery, TracesNameAndResult)
{
    LogCapture log;

    Result();

    EXPECT_RECORDS(log, L"TraceIn|Utils::SetServiceRestartRecoveryOnFailure|Service Name = Name",
                   L"TraceIn|Utils::GetService|Service Name = Name", L"TraceOut|Utils::GetService|Return Value = 0",
                   L"TraceOut|Utils::SetServiceRestartRecoveryOnFailure|Return Value = 0");
}

TEST_F(ServiceRecovery, WithoutActionsTheFlagIsStillSetAndTheResultIsOne)
{
    LogCapture log;
    database.Fail(L"ChangeServiceConfig2 2", ERROR_ACCESS_DENIED);

    EXPECT_EQ(1, Result());
    EXPECT_THAT(database.Calls(), testing::Contains(L"ChangeServiceConfig2 4 1"));
    EXPECT_THAT(log.LinesOf("Utils::SetServiceRestartRecoveryOnFailure"),
                ElementsAre(L"TraceIn|Service Name = Name",
                            L"Error|ChangeServiceConfig2 (SERVICE_CONFIG_FAILURE_ACTIONS) failed w/err 0x00000005\n",
                            L"TraceOut|Return Value = 1"));
}

TEST_F(ServiceRecovery, WithoutFlagTheResultIsSixteen)
{
    LogCapture log;
    database.Fail(L"ChangeServiceConfig2 4", ERROR_INVALID_LEVEL);

    EXPECT_EQ(16, Result());
    EXPECT_THAT(
        log.LinesOf("Utils::SetServiceRestartRecoveryOnFailure"),
        ElementsAre(L"TraceIn|Service Name = Name",
                    L"Error|ChangeServiceConfig2 (SERVICE_CONFIG_FAILURE_ACTIONS_FLAG) failed w/err 0x0000007c\n",
                    L"TraceOut|Return Value = 16"));
}

TEST_F(ServiceRecovery, WithoutBothTheResultIsSeventeen)
{
    LogCapture log;
    database.Fail(L"ChangeServiceConfig2 2", 6);
    database.Fail(L"ChangeServiceConfig2 4", 7);

    EXPECT_EQ(17, Result());
    EXPECT_THAT(
        log.LinesOf("Utils::SetServiceRestartRecoveryOnFailure"),
        ElementsAre(L"TraceIn|Service Name = Name",
                    L"Error|ChangeServiceConfig2 (SERVICE_CONFIG_FAILURE_ACTIONS) failed w/err 0x00000006\n",
                    L"Error|ChangeServiceConfig2 (SERVICE_CONFIG_FAILURE_ACTIONS_FLAG) failed w/err 0x00000007\n",
                    L"TraceOut|Return Value = 17"));
}

TEST_F(ServiceRecovery, WithoutManagerTheResultIsThatOfGetServiceAndNothingIsSet)
{
    LogCapture log;
    database.Fail(L"OpenSCManager", ERROR_ACCESS_DENIED);

    EXPECT_EQ(-3, Result());
    EXPECT_THAT(database.Calls(), ElementsAre(L"OpenSCManager 0xf003f"));
    EXPECT_THAT(log.LinesOf("Utils::SetServiceRestartRecoveryOnFailure"),
                ElementsAre(L"TraceIn|Service Name = Name", L"TraceOut|Return Value = -3"));
}

TEST_F(ServiceRecovery, WithoutSuchAServiceTheManagerIsClosedAgain)
{
    database.Fail(L"OpenService", ERROR_SERVICE_DOES_NOT_EXIST);

    EXPECT_EQ(-1, Result());
    EXPECT_THAT(database.Calls(), ElementsAre(L"OpenSCManager 0xf003f", L"OpenService Name 0xf01ff", L"close manager"));
}

TEST_F(ServiceRecovery, ServiceThatCannotBeOpenedGivesMinusTwo)
{
    database.Fail(L"OpenService", ERROR_ACCESS_DENIED);

    EXPECT_EQ(-2, Result());
    EXPECT_THAT(database.Calls(), ElementsAre(L"OpenSCManager 0xf003f", L"OpenService Name 0xf01ff", L"close manager"));
}
