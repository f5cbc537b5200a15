// Lines of the service's log: what is a record, what continues one, and what a filter lets through.
#include "client/LogLines.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <string_view>
#include <vector>

using HotKey::CLogFilter;
using HotKey::CLogLineReader;
using HotKey::CLogRecord;
using testing::ElementsAre;
using testing::IsEmpty;

namespace
{

constexpr std::string_view kStarted =
    "2024/03/05 14:07:09.042|00001A2C|Information|CMainService::OnStart|Service started";

std::vector<CLogRecord> Records(std::string_view bytes)
{
    CLogLineReader reader;
    std::vector<CLogRecord> records;
    reader.Feed(bytes, records);
    reader.Finish(records);
    return records;
}

std::vector<std::string> Texts(const std::vector<CLogRecord>& records)
{
    std::vector<std::string> texts;
    for (const CLogRecord& record : records)
    {
        texts.push_back((record.bUnfinished ? "unfinished:" : "") + record.strText);
    }
    return texts;
}

CLogRecord Record(const std::string& line)
{
    return Records(line + "\r\n").at(0);
}

} // namespace

TEST(LogLines, ARecordIsTakenApart)
{
    const auto records = Records("\xEF\xBB\xBF" + std::string{kStarted} + "\r\n");

    ASSERT_EQ(1U, records.size());
    EXPECT_EQ(kStarted, records[0].strText);
    EXPECT_EQ("2024/03/05 14:07:09.042", records[0].strTime);
    EXPECT_EQ(0x1A2CU, records[0].ulThread);
    EXPECT_EQ("Information", records[0].strLevel);
    EXPECT_EQ("CMainService::OnStart", records[0].strFunction);
    EXPECT_EQ("Service started", records[0].strMessage);
    EXPECT_FALSE(records[0].bUnfinished);
}

TEST(LogLines, TheBlanksBehindALevelAreNoPartOfIt)
{
    EXPECT_EQ("Diag", Record("2024/03/05 14:07:09.042|00001A2C|Diag       |F|x").strLevel);
}

TEST(LogLines, AMessageMayHaveBarsAndMayBeEmpty)
{
    EXPECT_EQ("a|b", Record("2024/03/05 14:07:09.042|00001A2C|Error      |F|a|b").strMessage);
    EXPECT_EQ("", Record("2024/03/05 14:07:09.042|00001A2C|TraceIn    |F|").strMessage);
}

TEST(LogLines, ALineThatDoesNotBeginLikeARecordContinuesTheOneBefore)
{
    const auto records = Records("2024/03/05 14:07:09.042|00001A2C|Error      |F|one\r\ntwo\r\n\r\n"
                                 "2024/03/05 14:07:09.043|00001A2C|Error      |G|three\r\n");

    ASSERT_EQ(2U, records.size());
    EXPECT_EQ("one\ntwo\n", records[0].strMessage);
    EXPECT_EQ("three", records[1].strMessage);
}

TEST(LogLines, ALineThatOnlyLooksLikeARecordContinuesTheOneBefore)
{
    for (const std::string line :
         {"2024-03-05 14:07:09.043|00001A2C|Error      |G|three",
          "2024/03/05 14:07:09.043|00001a2c|Error      |G|three", "2024/03/05 14:07:09.043|00001A2C|no bar",
          "2024/03/05 14:07:09.043|00001A2C|Error      |one bar"})
    {
        EXPECT_EQ(1U, Records("2024/03/05 14:07:09.042|00001A2C|Error      |F|one\r\n" + line + "\r\n").size()) << line;
    }
}

TEST(LogLines, LinesBeforeTheFirstRecordStandForThemselves)
{
    const auto records = Records("another program's text\r\nof two lines\r\n" + std::string{kStarted} + "\r\n");

    ASSERT_EQ(2U, records.size());
    EXPECT_FALSE(records[0].IsRecord());
    EXPECT_EQ("another program's text\nof two lines", records[0].strMessage);
    EXPECT_TRUE(records[1].IsRecord());
}

TEST(LogLines, ThePiecesInWhichTheBytesComeDoNotMatter)
{
    const std::string bytes = "\xEF\xBB\xBF" + std::string{kStarted} + "\r\ntwo\r\n" + std::string{kStarted} + "\r\n";
    CLogLineReader reader;
    std::vector<CLogRecord> records;

    for (const char byte : bytes)
    {
        reader.Feed({&byte, 1}, records);
    }
    reader.Finish(records);

    EXPECT_THAT(Texts(records), ElementsAre(std::string{kStarted} + "\ntwo", kStarted));
}

TEST(LogLines, ALineWithoutItsEndIsMarked)
{
    EXPECT_THAT(Texts(Records(std::string{kStarted} + "\r\n2024/03/05 14:07:09.042|00001A2C|Error      |F|ha")),
                ElementsAre(kStarted, "unfinished:2024/03/05 14:07:09.042|00001A2C|Error      |F|ha"));
}

TEST(LogLines, TheBeginningOfARecordDoesNotContinueTheOneBefore)
{
    EXPECT_THAT(Texts(Records(std::string{kStarted} + "\r\n2024/03/05 14:0")),
                ElementsAre(kStarted, "unfinished:2024/03/05 14:0"));
}

TEST(LogLines, AnUnfinishedLineThatIsNoRecordContinuesTheOneBefore)
{
    EXPECT_THAT(Texts(Records(std::string{kStarted} + "\r\ntwo")),
                ElementsAre("unfinished:" + std::string{kStarted} + "\ntwo"));
}

TEST(LogLines, AFileOfAByteOrderMarkAloneHasNothing)
{
    EXPECT_THAT(Records("\xEF\xBB\xBF"), IsEmpty());
}

TEST(LogLines, ARecordIsGivenWhenTheNextOneBegins)
{
    CLogLineReader reader;
    std::vector<CLogRecord> records;

    reader.Feed(std::string{kStarted} + "\r\n", records);
    EXPECT_THAT(records, IsEmpty());
    reader.Feed("2024/03/05 14:07:09.043|00001A2C|Error      |G|two\r\n", records);

    EXPECT_THAT(Texts(records), ElementsAre(kStarted));
}

TEST(LogLines, APauseGivesWholeRecordsAndWaitsForTheEndOfAHalfLine)
{
    CLogLineReader reader;
    std::vector<CLogRecord> records;

    reader.Feed(std::string{kStarted} + "\r\n2024/03/05 14:07:09.043|0000", records);
    reader.Pause(records);
    reader.Pause(records);
    EXPECT_THAT(Texts(records), ElementsAre(kStarted));
    reader.Feed("1A2C|Error      |G|two\r\n", records);
    reader.Pause(records);

    EXPECT_THAT(Texts(records), ElementsAre(kStarted, "2024/03/05 14:07:09.043|00001A2C|Error      |G|two"));
}

TEST(LogLines, APauseKeepsARecordThatHalfALineContinues)
{
    CLogLineReader reader;
    std::vector<CLogRecord> records;

    reader.Feed(std::string{kStarted} + "\r\ntw", records);
    reader.Pause(records);
    EXPECT_THAT(records, IsEmpty());
    reader.Feed("o\r\n", records);
    reader.Pause(records);

    EXPECT_THAT(Texts(records), ElementsAre(std::string{kStarted} + "\ntwo"));
}

TEST(LogLines, TheNextFileHasAByteOrderMarkOfItsOwn)
{
    CLogLineReader reader;
    std::vector<CLogRecord> records;

    for (int file = 0; file != 2; ++file)
    {
        reader.Feed("\xEF\xBB\xBF" + std::string{kStarted} + "\r\n", records);
        reader.Finish(records);
    }

    EXPECT_THAT(Texts(records), ElementsAre(kStarted, kStarted));
}

TEST(LogLevelRank, IsTheServicesOrderInAnyMixOfCase)
{
    int rank = 0;
    for (const std::string_view word : {"TraceIn", "traceout", "VERBOSE", "Information", "Warning", "error", "Diag"})
    {
        EXPECT_EQ(rank++, HotKey::LogLevelRank(word)) << word;
    }
    EXPECT_EQ(-1, HotKey::LogLevelRank("Undefined"));
    EXPECT_EQ(-1, HotKey::LogLevelRank(""));
    EXPECT_EQ(-1, HotKey::LogLevelRank("Err"));
}

TEST(LogFilter, LetsPassFromTheMinimumLevelOn)
{
    CLogFilter filter;
    filter.nMinimumLevel = 4;

    EXPECT_FALSE(filter.Passes(Record(std::string{kStarted})));
    EXPECT_TRUE(filter.Passes(Record("2024/03/05 14:07:09.042|00001A2C|Warning    |F|x")));
    EXPECT_TRUE(filter.Passes(Record("2024/03/05 14:07:09.042|00001A2C|Error      |F|x")));
    EXPECT_FALSE(filter.Passes(Record("2024/03/05 14:07:09.042|00001A2C|Undefined  |F|x")));
}

TEST(LogFilter, FindsAPartOfTheFunctionInAnyMixOfCase)
{
    CLogFilter filter;
    filter.strFunction = "service::onSTART";

    EXPECT_TRUE(filter.Passes(Record(std::string{kStarted})));
    EXPECT_FALSE(filter.Passes(Record("2024/03/05 14:07:09.042|00001A2C|Error      |CMainService::OnStop|x")));
}

TEST(LogFilter, LetsPassFromATimeOn)
{
    CLogFilter filter;
    filter.strSince = "2024/03/05 14:07:09.042";

    EXPECT_TRUE(filter.Passes(Record(std::string{kStarted})));
    EXPECT_FALSE(filter.Passes(Record("2024/03/05 14:07:09.041|00001A2C|Error      |F|x")));
}

TEST(LogFilter, LinesThatAreNoRecordPassAnEmptyFilterOnly)
{
    CLogFilter since;
    since.strSince = "2024/03/05";
    CLogFilter level;
    level.nMinimumLevel = 0;
    CLogFilter function;
    function.strFunction = "F";

    EXPECT_TRUE(CLogFilter{}.Passes(Record("text")));
    EXPECT_FALSE(since.Passes(Record("text")));
    EXPECT_FALSE(level.Passes(Record("text")));
    EXPECT_FALSE(function.Passes(Record("text")));
}

TEST(ElapsedTenths, ReadsMillisecondsAndSeconds)
{
    EXPECT_EQ(125, HotKey::ElapsedTenths(
                       Record("2024/03/05 14:07:09.042|00001A2C|Diag       |F|Elapsed time =    12.5 ms.")));
    EXPECT_EQ(9999999, HotKey::ElapsedTenths(
                           Record("2024/03/05 14:07:09.042|00001A2C|Diag       |F|Elapsed time = 999999.9 ms.")));
    EXPECT_EQ(15000000, HotKey::ElapsedTenths(
                            Record("2024/03/05 14:07:09.042|00001A2C|Diag       |F|Elapsed time =  1500.0 s.")));
}

TEST(ElapsedTenths, IsEmptyForEveryOtherRecord)
{
    for (const std::string line : {"2024/03/05 14:07:09.042|00001A2C|Information|F|Elapsed time =    12.5 ms.",
                                   "2024/03/05 14:07:09.042|00001A2C|Diag       |F|Elapsed time = long ms.",
                                   "2024/03/05 14:07:09.042|00001A2C|Diag       |F|Elapsed time = ",
                                   "2024/03/05 14:07:09.042|00001A2C|Diag       |F|Elapsed time =    12.5 h.",
                                   "2024/03/05 14:07:09.042|00001A2C|Diag       |F|no time"})
    {
        EXPECT_FALSE(HotKey::ElapsedTenths(Record(line))) << line;
    }
    EXPECT_FALSE(HotKey::ElapsedTenths(
        Records("2024/03/05 14:07:09.042|00001A2C|Diag       |F|Elapsed time =    12.5 ms.").at(0)))
        << "an unfinished line";
}

TEST(ParseDuration, TakesANumberAndAUnit)
{
    EXPECT_EQ(90'000, HotKey::ParseDuration("90s"));
    EXPECT_EQ(900'000, HotKey::ParseDuration("15m"));
    EXPECT_EQ(7'200'000, HotKey::ParseDuration("2h"));
    EXPECT_EQ(86'400'000, HotKey::ParseDuration("1d"));
    for (const std::string_view text : {"", "s", "90", "90x", "90 s", "-1s", "1.5h", "9s9", "99999999999s"})
    {
        EXPECT_FALSE(HotKey::ParseDuration(text)) << text;
    }
}

TEST(ParseMoment, TakesATimeOrTheFrontOfOne)
{
    const auto moment = [](std::string_view text) {
        return HotKey::ParseMoment(text, "2024/03/06").value_or("not understood");
    };

    EXPECT_EQ("2024/03/05 14:07:09.042", moment("2024/03/05 14:07:09.042"));
    EXPECT_EQ("2024/03/05 14:07:09.042", moment("2024-03-05T14:07:09.042"));
    EXPECT_EQ("2024/03/05 14:07:09", moment("2024/03/05 14:07:09"));
    EXPECT_EQ("2024/03/05 14:07", moment("2024/03/05 14:07"));
    EXPECT_EQ("2024/03/05", moment("2024/03/05"));
    EXPECT_EQ("2024/03/06 14:07", moment("14:07"));
    EXPECT_EQ("2024/03/06 14:07:09", moment("14:07:09"));
}

TEST(ParseMoment, RefusesEverythingElse)
{
    for (const std::string_view text :
         {"", "14", "24:00", "14:60", "14:07:60", "14:07:09.04", "14:07:09.0421", "2024", "2024/03", "2024/13/05",
          "2024/03/32", "2024/00/05", "0000/03/05", "2024/03/05 ", "2024/03/05 14", "2024/03/05x14:07", "yesterday"})
    {
        EXPECT_FALSE(HotKey::ParseMoment(text, "2024/03/06")) << text;
    }
}

TEST(LogLines, LinesMayEndInALineFeedAlone)
{
    EXPECT_THAT(Texts(Records("2024/03/05 14:07:09.042|00001A2C|Error      |F|one\n"
                              "2024/03/05 14:07:09.043|00001A2C|Error      |F|two\n")),
                ElementsAre("2024/03/05 14:07:09.042|00001A2C|Error      |F|one",
                            "2024/03/05 14:07:09.043|00001A2C|Error      |F|two"));
}

TEST(LogLines, DigitsAreDigitsOnly)
{
    for (const std::string_view line :
         {"202//03/05 14:07:09.042|00001A2C|Error      |F|x", "202:/03/05 14:07:09.042|00001A2C|Error      |F|x",
          "2024/03/05 14:07:09.042|0000:A2C|Error      |F|x", "2024/03/05 14:07:09.042|0000@A2C|Error      |F|x",
          "2024/03/05 14:07:09.042|0000GA2C|Error      |F|x", "2024/03/05 14:07:09.042|00001a2c|Error      |F|x"})
    {
        EXPECT_FALSE(Records(std::string{line} + "\n").at(0).IsRecord()) << line;
    }
}

TEST(ParseMoment, RefusesOtherSeparatorsInATimeOfDay)
{
    for (const std::string_view text :
         {"14-07", "14:07x", "14:07.09", "14:07:09x", "14:07:09:042", "14:07:09.042x", "1407"})
    {
        EXPECT_FALSE(HotKey::ParseMoment(text, "2024/03/06")) << text;
    }
}
