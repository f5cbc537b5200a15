// Names of controls as people and tests write them.
#include "testbed/machine/Controls.h"

#include <gtest/gtest.h>

using Testbed::ControlCode;

TEST(ControlCode, NamesStandForTheTranslatedCodes)
{
    EXPECT_EQ(133u, ControlCode(L"logon"));
    EXPECT_EQ(134u, ControlCode(L"logoff"));
    EXPECT_EQ(135u, ControlCode(L"lock"));
    EXPECT_EQ(136u, ControlCode(L"Unlock"));
    EXPECT_EQ(164u, ControlCode(L"suspend"));
    EXPECT_EQ(178u, ControlCode(L"resume"));
    EXPECT_EQ(170u, ControlCode(L"power-status"));
    EXPECT_EQ(220u, ControlCode(L"preshutdown"));
    EXPECT_EQ(221u, ControlCode(L"shutdown"));
    EXPECT_EQ(1u, ControlCode(L"stop"));
}

TEST(ControlCode, NumberedTypesAndPlainNumbersAreTakenAsTheyAre)
{
    EXPECT_EQ(137u, ControlCode(L"session 9"));
    EXPECT_EQ(170u, ControlCode(L"power 10"));
    EXPECT_EQ(128u, ControlCode(L"0x80"));
}

TEST(ControlCode, AnythingElseIsNoControl)
{
    EXPECT_FALSE(ControlCode(L"hibernate"));
    EXPECT_FALSE(ControlCode(L"power x"));
    EXPECT_FALSE(ControlCode(L""));
}
