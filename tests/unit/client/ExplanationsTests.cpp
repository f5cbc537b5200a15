#include "client/Explanations.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <set>
#include <string>
#include <vector>

namespace
{

std::vector<std::string> TextsFor(const char* asked)
{
    std::vector<std::string> texts;
    for (const HotKey::CExplanationMatch& match : HotKey::Explain(asked))
    {
        texts.emplace_back(match.pExplanation->strText);
    }
    return texts;
}

} // namespace

TEST(Explain, FindsATextAsTheServiceHasIt)
{
    EXPECT_THAT(TextsFor("GetActiveSessionToken failed"), testing::ElementsAre("GetActiveSessionToken failed"));
}

TEST(Explain, FindsAWholeLineOfTheLogWithItsNumbers)
{
    EXPECT_THAT(TextsFor("2024/03/05 14:07:09.042|00001A2C|Error      |RpcServer::CKeyBoardBridge::LaunchProcess|"
                         "CreateProcessAsUser failed. Error: 0x00000002\r\n"),
                testing::ElementsAre("CreateProcessAsUser failed. Error: 0x%08X"));
}

TEST(Explain, FindsATextWithSeveralConversions)
{
    EXPECT_THAT(
        TextsFor("Failed to Create Instance of Fennix (Fennix.Sdk.manifest) Error: 14001, HRESULT : 0x80040154"),
        testing::ElementsAre("Failed to Create Instance of Fennix (%s) Error: %u, HRESULT : 0x%08X"));
}

TEST(Explain, FindsATextWhoseConversionStandsFirst)
{
    EXPECT_THAT(TextsFor("QuilSysInfoCap Service is not running"), testing::ElementsAre("%s Service is not running"));
}

TEST(Explain, PrefersAnExactTextToItsParts)
{
    EXPECT_THAT(TextsFor("Could not set proxy blanket. [hr:0x80070005]"),
                testing::ElementsAre("Could not set proxy blanket. [hr:0x%08X]"));
}

TEST(Explain, FindsAPartInAnyMixOfCase)
{
    EXPECT_THAT(TextsFor("uiaccess"),
                testing::ElementsAre("SetTokenInformation (TokenUIAccess) failed. Error: 0x%08X"));
}

TEST(Explain, FindsACodeInDecimalAndHexadecimal)
{
    EXPECT_THAT(TextsFor("1740"), testing::ElementsAre("1740"));
    EXPECT_THAT(TextsFor("0x6cc"), testing::ElementsAre("1740"));
    EXPECT_THAT(TextsFor("0X8004100e"), testing::ElementsAre("0x8004100E"));
    EXPECT_THAT(TextsFor("-2147217394"), testing::ElementsAre("0x8004100E"));
}

TEST(Explain, GivesACodeOfEveryTopicThatHasIt)
{
    EXPECT_THAT(TextsFor("5"), testing::ElementsAre("5", "5"));
}

TEST(Explain, KnowsNothingOfOtherTextsAndCodes)
{
    EXPECT_THAT(TextsFor("no text of the service"), testing::IsEmpty());
    EXPECT_THAT(TextsFor("4711"), testing::IsEmpty());
    EXPECT_THAT(TextsFor(" \r\n"), testing::IsEmpty());
    EXPECT_THAT(TextsFor(""), testing::IsEmpty());
}

TEST(Explanations, EachTopicHasEachTextOnceWithCauseAndCure)
{
    for (const HotKey::CExplanationTopic& topic : HotKey::ExplanationTopics())
    {
        std::set<std::string_view> texts;
        for (const HotKey::CExplanation& explanation : topic.explanations)
        {
            EXPECT_TRUE(texts.insert(explanation.strText).second) << explanation.strText;
            EXPECT_FALSE(explanation.strCause.empty()) << explanation.strText;
            EXPECT_FALSE(explanation.strCure.empty()) << explanation.strText;
        }
        EXPECT_FALSE(texts.empty()) << topic.strTitle;
    }
}

TEST(Explanations, PageHasATableForEachTopic)
{
    const std::string page = HotKey::ExplanationsPage();

    EXPECT_THAT(page, testing::StartsWith("### Start, stop and controls\n\n| text | cause | what to do |\n"));
    EXPECT_THAT(page, testing::HasSubstr("### RPC statuses\n\n| code | cause | what to do |\n| --- | --- | --- |\n"));
    EXPECT_THAT(page,
                testing::HasSubstr("| `1072` | The service is marked for deletion. | Close the Services console and "
                                   "whatever else looks at services. |\n"));
}

TEST(Explain, TakesWhatOnlyBeginsLikeALineOfTheLogAsItIs)
{
    for (const char* const text :
         {"2024/03/05 14:07:09.042|", "2024/03/05 14:07:09.042|no such text", "2024/03-05 14:07:09.042|x",
          "2024-03-05 14:07:09.042|x", "2024/03/05 14.07:09.042|x", "2024/03/05 14:07:09.042-x",
          "2024/03/05 14:07:09.042|1|no such level"})
    {
        EXPECT_THAT(TextsFor(text), testing::IsEmpty()) << text;
    }
}

TEST(Explain, DoesNotTakeATextForAFormatWhoseMiddleIsMissing)
{
    EXPECT_THAT(TextsFor("Service Name = , Running Status To be checked = 1"), testing::IsEmpty());
    EXPECT_THAT(TextsFor("CreateInstance"), testing::Not(testing::IsEmpty()));
}
