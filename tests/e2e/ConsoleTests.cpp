// Console mode: the same RPC server without the service manager.
#include "client/HotKeyClient.h"
#include "tests/e2e/Pc.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using namespace E2e;
using testing::Contains;
using testing::IsEmpty;

TEST(Console, AnswersTheCompanionApp)
{
    Pc pc;
    pc.StartConsole();
    HotKey::CHotKeyClient client;

    const auto answer = client.IsFennixServiceInstalled();

    ASSERT_TRUE(answer);
    EXPECT_TRUE(answer.Value());
    EXPECT_THAT(pc.Records(L"SetServiceStatus"), IsEmpty());
    EXPECT_THAT(pc.Records(L"ChangeServiceConfig2W"), IsEmpty());
}

TEST(Console, EndsWithTheStatusWhenTheEndpointIsTaken)
{
    Pc pc{L"endpoint-taken"};

    const ProgramResult result = pc.Service(L"-console");

    EXPECT_EQ(1740u, result.exitCode);
    EXPECT_EQ("", result.output);
    EXPECT_THAT(pc.Log(), Contains(L"Information|CMainService::ConsoleRun|RpcServerConnect returned: 0x6cc"));
}

TEST(Console, EndsWithTheErrorWhenTheCapabilityCannotBeDerived)
{
    Pc pc;
    pc.SetProfile(L"rpc", L"capability", L"5");

    EXPECT_EQ(5u, pc.Service(L"-console").exitCode);
    EXPECT_THAT(pc.Records(L"RpcServerUseProtseqEpW"), IsEmpty());
}
