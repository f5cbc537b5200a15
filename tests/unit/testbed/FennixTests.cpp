// The device framework's stand-in: what the words of a profile mean, and that it is the object that the service
// expects.
#include "testbed/fennix/FennixAnswer.h"
#include "testbed/fennix/FennixObject.h"

#include <gtest/gtest.h>

using Testbed::FennixAnswer;
using Testbed::FennixObject;
using Testbed::ParseFennixAnswer;

TEST(FennixAnswers, YesAndNoAreTheTwoBooleans)
{
    EXPECT_EQ(VARIANT_TRUE, ParseFennixAnswer(L"yes").value);
    EXPECT_EQ(VARIANT_TRUE, ParseFennixAnswer(L" YES ").value);
    EXPECT_EQ(VARIANT_FALSE, ParseFennixAnswer(L"no").value);
    EXPECT_EQ(S_OK, ParseFennixAnswer(L"no").result);
}

TEST(FennixAnswers, NumbersAreDecimalOrHexadecimalAndMayBeNegative)
{
    EXPECT_EQ(260, ParseFennixAnswer(L"260").value);
    EXPECT_EQ(16, ParseFennixAnswer(L"0x10").value);
    EXPECT_EQ(-3, ParseFennixAnswer(L"-3").value);
    EXPECT_EQ(S_OK, ParseFennixAnswer(L"-3").result);
}

TEST(FennixAnswers, FailGivesItsResult)
{
    EXPECT_EQ(E_FAIL, ParseFennixAnswer(L"fail:0x80004005").result);
    EXPECT_EQ(E_FAIL, ParseFennixAnswer(L"Fail: 0x80004005").result);
}

TEST(FennixAnswers, ThrowIsAnException)
{
    EXPECT_TRUE(ParseFennixAnswer(L"throw").throws);
    EXPECT_FALSE(ParseFennixAnswer(L"yes").throws);
}

TEST(FennixAnswers, AMisspeltWordFails)
{
    EXPECT_EQ(E_INVALIDARG, ParseFennixAnswer(L"perhaps").result);
    EXPECT_EQ(E_INVALIDARG, ParseFennixAnswer(L"fail:soon").result);
    EXPECT_EQ(E_INVALIDARG, ParseFennixAnswer(L"12 W").result);
    EXPECT_EQ(E_INVALIDARG, ParseFennixAnswer(L"").result);
}

TEST(FennixStandInObject, OffersUnknownAndTheFrameworksInterfaceOnly)
{
    FennixObject* const created = new FennixObject;
    void* object = nullptr;

    EXPECT_EQ(S_OK, created->QueryInterface(IID_IUnknown, &object));
    EXPECT_EQ(created, object);
    EXPECT_EQ(S_OK, created->QueryInterface(kFennixInterface, &object));
    EXPECT_EQ(created, object);
    EXPECT_EQ(E_NOINTERFACE, created->QueryInterface(IID_IClassFactory, &object));
    EXPECT_EQ(nullptr, object);
    EXPECT_EQ(E_POINTER, created->QueryInterface(IID_IUnknown, nullptr));

    EXPECT_EQ(2u, created->Release());
    EXPECT_EQ(1u, created->Release());
    EXPECT_EQ(0u, created->Release());
}
