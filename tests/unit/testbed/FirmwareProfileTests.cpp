// What a profile may say about the firmware: values, failures in sequence, queries.
#include "testbed/wmi/FirmwareProfile.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using namespace Testbed;
using testing::ElementsAre;
using testing::IsEmpty;

namespace
{

FirmwareValue OnlyValue(std::wstring_view outcome)
{
    const std::vector<FirmwareStep> steps = ParseOutcome(outcome);
    EXPECT_EQ(1u, steps.size());
    EXPECT_EQ(FirmwareStep::Kind::Value, steps[0].kind);
    return steps[0].value;
}

FirmwareValue TextValue(std::wstring text)
{
    FirmwareValue value;
    value.type = VT_BSTR;
    value.text = std::move(text);
    return value;
}

FirmwareValue NumberValue(VARTYPE type, long number)
{
    FirmwareValue value;
    value.type = type;
    value.number = number;
    return value;
}

} // namespace

TEST(ParseOutcome, PlainTextIsTheValue)
{
    EXPECT_EQ(TextValue(L"Laptop 14 Model A"), OnlyValue(L"Laptop 14 Model A"));
    EXPECT_EQ(TextValue(L"A*2"), OnlyValue(L"A*2"));
    EXPECT_EQ(TextValue(L""), OnlyValue(L""));
    EXPECT_EQ(TextValue(L""), OnlyValue(L"empty"));
    EXPECT_EQ(TextValue(L"null then empty"), OnlyValue(L"text:null then empty"));
}

TEST(ParseOutcome, TypedValues)
{
    EXPECT_EQ(NumberValue(VT_NULL, 0), OnlyValue(L"null"));
    EXPECT_EQ(NumberValue(VT_I4, 5), OnlyValue(L"i4:5"));
    EXPECT_EQ(NumberValue(VT_UI1, 255), OnlyValue(L"u8:0xFF"));
    EXPECT_EQ(NumberValue(VT_BOOL, -1), OnlyValue(L"bool:yes"));
    EXPECT_EQ(NumberValue(VT_BOOL, 0), OnlyValue(L"bool:no"));
    EXPECT_EQ(TextValue(L"ABABAB"), OnlyValue(L"repeat:3:AB"));
    EXPECT_EQ(TextValue(std::wstring{L"A\xD800\0", 3}), OnlyValue(L"utf16:0041 D800 0000"));
}

TEST(ParseOutcome, ListsKeepSemicolonsAndHashes)
{
    const FirmwareValue value = OnlyValue(L"list: ABC | FBYTE#3X7; | BUILDID#20WWABCD601#S001#D001;");

    EXPECT_EQ(VT_ARRAY | VT_BSTR, value.type);
    EXPECT_THAT(value.list, ElementsAre(L"ABC", L"FBYTE#3X7;", L"BUILDID#20WWABCD601#S001#D001;"));
    EXPECT_THAT(OnlyValue(L"list:").list, IsEmpty());
}

TEST(ParseOutcome, FailuresCarryTheirCode)
{
    const std::vector<FirmwareStep> steps = ParseOutcome(L"fail:0x80041002");

    ASSERT_EQ(1u, steps.size());
    EXPECT_EQ(FirmwareStep::Kind::Fail, steps[0].kind);
    EXPECT_EQ(static_cast<HRESULT>(0x80041002), steps[0].error);
}

TEST(FirmwareOutcome, StepsFollowOneAnotherAndTheLastOneStays)
{
    CFirmwareOutcome outcome{L"empty*2 then fail:0x80004005 then 7XY45AV#AKL"};

    EXPECT_EQ(TextValue(L""), outcome.Next().value);
    EXPECT_EQ(TextValue(L""), outcome.Next().value);
    EXPECT_EQ(E_FAIL, outcome.Next().error);
    EXPECT_EQ(TextValue(L"7XY45AV#AKL"), outcome.Next().value);
    EXPECT_EQ(TextValue(L"7XY45AV#AKL"), outcome.Next().value);
}

TEST(FirmwareOutcome, CallsSucceedUntilTheStepSaysOtherwise)
{
    CFirmwareOutcome outcome{L"ok*2 then fail:0x80041015"};

    EXPECT_EQ(FirmwareStep::Kind::Ok, outcome.Next().kind);
    EXPECT_EQ(FirmwareStep::Kind::Ok, outcome.Next().kind);
    EXPECT_EQ(FirmwareStep::Kind::Fail, outcome.Next().kind);
}

TEST(ParseQuery, TakesAllPropertiesOfAClass)
{
    const auto query = ParseQuery(L"Select * from MS_SystemInformation");

    ASSERT_TRUE(query);
    EXPECT_THAT(query->properties, IsEmpty());
    EXPECT_EQ(L"MS_SystemInformation", query->className);
    EXPECT_EQ(L"", query->whereProperty);
}

TEST(ParseQuery, TakesAConditionAndOddBlanks)
{
    const auto query = ParseQuery(L" SELECT IsSet,Name  FROM QUILBIOS_BIOSPassword  where Name = 'Setup Password'");

    ASSERT_TRUE(query);
    EXPECT_THAT(query->properties, ElementsAre(L"IsSet", L"Name"));
    EXPECT_EQ(L"QUILBIOS_BIOSPassword", query->className);
    EXPECT_EQ(L"Name", query->whereProperty);
    EXPECT_EQ(L"Setup Password", query->whereValue);
}

TEST(ParseQuery, RefusesEverythingElse)
{
    for (const wchar_t* text :
         {L"", L"*", L"SELECT", L"SELECT *", L"SELECT * FROM", L"SELECT FROM A", L"DELETE * FROM A",
          L"SELECT * FROM A WHERE", L"SELECT * FROM A WHERE B = C", L"SELECT * FROM A WHERE B = 'C' AND D = 'E'"})
    {
        EXPECT_FALSE(ParseQuery(text)) << testing::PrintToString(text);
    }
}

TEST(PlainNamespace, DropsTheMachineAndForwardSlashes)
{
    EXPECT_EQ(L"ROOT\\wmi", PlainNamespace(L"ROOT\\wmi"));
    EXPECT_EQ(L"ROOT\\CIMV2", PlainNamespace(L"\\\\.\\ROOT\\CIMV2"));
    EXPECT_EQ(L"root\\cimv2", PlainNamespace(L"//./root/cimv2"));
}
