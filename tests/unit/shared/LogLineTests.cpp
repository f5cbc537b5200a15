// Level words, the line of a record, its UTF-8 form and the shape that a log's head must have.
#include "shared/LogLine.h"

#include "shared/LogLevel.h"
#include "shared/LogListener.h"
#include "tests/harness/ImportHook.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

using namespace Quil::Shared;

namespace
{

std::string Utf8(std::wstring_view text)
{
    std::string bytes(MaximumUtf8Length(text.size()), '\0');
    bytes.resize(static_cast<std::size_t>(EncodeUtf8(bytes.data(), text) - bytes.data()));
    return bytes;
}

std::wstring LineOf(const CqlLogListener::LogData& record)
{
    return record.Line();
}

// Records built in the scope of this object carry 5 March 2024, 14:07:09.042, and thread 0x1A2C.
class FixedMoment
{
  public:
    FixedMoment()
        : m_time{[](SYSTEMTIME* time) { *time = {2024, 3, 2, 5, 14, 7, 9, 42}; }}, m_thread{
                                                                                       [] { return DWORD{0x1A2C}; }}
    {
    }

  private:
    struct TimeTag
    {
        static const wchar_t* Module() { return nullptr; }
        static const char* Name() { return "GetLocalTime"; }
    };
    struct ThreadTag
    {
        static const wchar_t* Module() { return nullptr; }
        static const char* Name() { return "GetCurrentThreadId"; }
    };
    Harness::ImportHook<TimeTag, decltype(GetLocalTime)> m_time;
    Harness::ImportHook<ThreadTag, decltype(GetCurrentThreadId)> m_thread;
};

} // namespace

TEST(LogLevelName, IsTheWordOfTheLevel)
{
    const std::vector<std::wstring> names{LogLevelName(0), LogLevelName(1), LogLevelName(2), LogLevelName(3),
                                          LogLevelName(4), LogLevelName(5), LogLevelName(6)};

    EXPECT_EQ(
        (std::vector<std::wstring>{L"TraceIn", L"TraceOut", L"Verbose", L"Information", L"Warning", L"Error", L"Diag"}),
        names);
}

TEST(LogLevelName, OfAnyOtherValueIsUndefined)
{
    EXPECT_STREQ(L"Undefined", LogLevelName(7));
    EXPECT_STREQ(L"Undefined", LogLevelName(-1));
    EXPECT_STREQ(L"Undefined", LogLevelName(99));
}

TEST(LogLevelFromName, KnowsTheWordsInAnyMixOfCase)
{
    EXPECT_EQ(0, LogLevelFromName(L"tracein"));
    EXPECT_EQ(1, LogLevelFromName(L"TRACEOUT"));
    EXPECT_EQ(2, LogLevelFromName(L"Verbose"));
    EXPECT_EQ(3, LogLevelFromName(L"InFoRmAtIoN"));
    EXPECT_EQ(4, LogLevelFromName(L"warning"));
    EXPECT_EQ(5, LogLevelFromName(L"error"));
    EXPECT_EQ(6, LogLevelFromName(L"dIAG"));
    EXPECT_EQ(99, LogLevelFromName(L"never"));
}

TEST(LogLevelFromName, TakesEveryOtherWordForNever)
{
    EXPECT_EQ(99, LogLevelFromName(L"Eror"));
    EXPECT_EQ(99, LogLevelFromName(L"Errors"));
    EXPECT_EQ(99, LogLevelFromName(L" Error"));
    EXPECT_EQ(99, LogLevelFromName(L"5"));
}

TEST(LogDataLine, ShowsTimeThreadLevelFunctionAndMessage)
{
    FixedMoment moment;
    const CqlLogListener::LogData record{3, "CMainService::OnStart", L"Service started"};

    EXPECT_EQ(L"2024/03/05 14:07:09.042|00001A2C|Information|CMainService::OnStart|Service started", LineOf(record));
}

TEST(LogDataLine, PadsTheLevelToElevenCharacters)
{
    FixedMoment moment;
    const CqlLogListener::LogData record{5, "A::B", L""};

    EXPECT_EQ(L"2024/03/05 14:07:09.042|00001A2C|Error      |A::B|", LineOf(record));
}

TEST(LogDataLine, NamesALevelWithoutAWordUndefined)
{
    FixedMoment moment;
    const CqlLogListener::LogData record{7, "A::B", L"x"};

    EXPECT_EQ(L"2024/03/05 14:07:09.042|00001A2C|Undefined  |A::B|x", LineOf(record));
}

TEST(LogDataLine, TakesNarrowCharactersAsTheyAreAndANullNameAsEmpty)
{
    FixedMoment moment;

    EXPECT_EQ(L"2024/03/05 14:07:09.042|00001A2C|Diag       |\u00E9|x", LineOf({6, "\xE9", L"x"}));
    EXPECT_EQ(L"2024/03/05 14:07:09.042|00001A2C|Diag       ||x", LineOf({6, nullptr, L"x"}));
}

TEST(LogDataLine, IsMadeOnceAndKept)
{
    FixedMoment moment;
    const CqlLogListener::LogData record{3, "A::B", L"x"};

    EXPECT_EQ(record.Line().data(), record.Line().data());
}

TEST(LogData, StampsTimeAndThreadWhenItIsBuilt)
{
    IMPORT_HOOK(GetLocalTime)([&](SYSTEMTIME* time) { hook_GetLocalTime.Real()(time); });
    IMPORT_HOOK(GetCurrentThreadId)([&] { return hook_GetCurrentThreadId.Real()(); });
    const CqlLogListener::LogData record{3, "A::B", L"x"};
    EXPECT_EQ(1, hook_GetLocalTime.Calls());
    EXPECT_EQ(1, hook_GetCurrentThreadId.Calls());

    static_cast<void>(record.Line());

    EXPECT_EQ(1, hook_GetLocalTime.Calls());
}

TEST(LogData, CopiesOwnTheirTextsAndCarryTheLine)
{
    FixedMoment moment;
    std::string name = "A::B";
    std::wstring message = L"first";
    const CqlLogListener::LogData record{3, name.c_str(), message};
    static_cast<void>(record.Line());

    const CqlLogListener::LogData copy{record};
    name = "C::D";
    message = L"other";

    EXPECT_EQ("A::B", copy.FunctionName());
    EXPECT_EQ(L"first", copy.Message());
    EXPECT_EQ(3, copy.Level());
    EXPECT_EQ(L"2024/03/05 14:07:09.042|00001A2C|Information|A::B|first", copy.Line());
}

TEST(LogData, ComesOutOfItsPackedFormUnchanged)
{
    FixedMoment moment;
    const CqlLogListener::LogData record{4, "A::B", L"packed"};
    for (const bool withLine : {false, true})
    {
        if (withLine)
        {
            static_cast<void>(record.Line());
        }
        std::vector<std::byte> bytes(record.PackedSize());
        record.Pack(bytes.data());
        CqlLogListener::LogData unpacked{0, "an older name", L"an older message"};
        static_cast<void>(unpacked.Line());

        unpacked.Unpack(bytes.data());

        EXPECT_EQ("A::B", unpacked.FunctionName());
        EXPECT_EQ(L"packed", unpacked.Message());
        EXPECT_EQ(L"2024/03/05 14:07:09.042|00001A2C|Warning    |A::B|packed", unpacked.Line());
    }
}

TEST(EncodeUtf8, WritesEveryLengthOfSequence)
{
    EXPECT_EQ("A\x7F", Utf8(L"A\x7F"));
    EXPECT_EQ("\xC2\x80\xDF\xBF", Utf8(L"\x80\x7FF"));
    EXPECT_EQ("\xE0\xA0\x80\xEF\xBF\xBF", Utf8(L"\x800\xFFFF"));
    EXPECT_EQ("\xF0\x90\x80\x80\xF0\x9F\x98\x80\xF4\x8F\xBF\xBF", Utf8(L"\xD800\xDC00\xD83D\xDE00\xDBFF\xDFFF"));
}

TEST(EncodeUtf8, ReplacesALoneSurrogate)
{
    EXPECT_EQ("a\xEF\xBF\xBD", Utf8(L"a\xD83D"));
    EXPECT_EQ("\xEF\xBF\xBDz", Utf8(L"\xDE00z"));
    EXPECT_EQ("\xEF\xBF\xBD\xF0\x9F\x98\x80", Utf8(L"\xD83D\xD83D\xDE00"));
}

TEST(EncodeUtf8, LooksForNoSecondHalfBeyondTheText)
{
    EXPECT_EQ("\xEF\xBF\xBD", Utf8(std::wstring_view{L"\xD83D\xDE00"}.substr(0, 1)));
}

TEST(EncodeUtf8, WritesALineFeedAsCarriageReturnAndLineFeed)
{
    EXPECT_EQ("a\r\nb", Utf8(L"a\nb"));
    EXPECT_EQ("a\r\r\nb", Utf8(L"a\r\nb"));
}

TEST(EncodeUtf8, TreatsASpecialCharacterAlikeAtEveryPlaceOfALongText)
{
    for (std::size_t place = 0; place < 40; ++place)
    {
        std::wstring text(40, L'x');
        text[place] = L'\n';
        EXPECT_EQ(std::string(place, 'x') + "\r\n" + std::string(39 - place, 'x'), Utf8(text));
        text[place] = L'\u00E9';
        EXPECT_EQ(std::string(place, 'x') + "\xC3\xA9" + std::string(39 - place, 'x'), Utf8(text));
        text.replace(place, 1, L"\xD83D\xDE00");
        EXPECT_EQ(std::string(place, 'x') + "\xF0\x9F\x98\x80" + std::string(39 - place, 'x'), Utf8(text));
    }
}

TEST(EncodeUtf8, GivesWhatTheSystemGivesForEveryCharacter)
{
    for (unsigned unit = 1; unit < 0x10000; ++unit)
    {
        if (unit == L'\n')
        {
            continue;
        }
        const wchar_t text[] = {static_cast<wchar_t>(unit), L'\0'};
        char expected[8]{};
        WideCharToMultiByte(CP_UTF8, 0, text, 1, expected, 8, nullptr, nullptr);
        ASSERT_EQ(expected, Utf8(text)) << unit;
    }
}

TEST(BeginsLikeLogLine, AcceptsALinesPrefix)
{
    EXPECT_TRUE(BeginsLikeLogLine(L"2024/03/05 14:07:09.042|"));
    EXPECT_TRUE(BeginsLikeLogLine(L"2024/03/05 14:07:09.042|00001A2C|Error"));
    EXPECT_TRUE(BeginsLikeLogLine(L"xxxx/xx/xx xx:xx:xx.xxx|"));
}

TEST(BeginsLikeLogLine, RejectsDamageAtEachCheckedPlace)
{
    for (const std::size_t place : {4u, 7u, 10u, 13u, 16u, 19u, 23u})
    {
        std::wstring head = L"2024/03/05 14:07:09.042|";
        head[place] = L'#';
        EXPECT_FALSE(BeginsLikeLogLine(head)) << place;
    }
}

TEST(BeginsLikeLogLine, LooksAtNoOtherPlace)
{
    for (const std::size_t place : {0u, 3u, 5u, 9u, 11u, 22u})
    {
        std::wstring head = L"2024/03/05 14:07:09.042|";
        head[place] = L'#';
        EXPECT_TRUE(BeginsLikeLogLine(head)) << place;
    }
}

TEST(BeginsLikeLogLine, RejectsAShorterText)
{
    EXPECT_FALSE(BeginsLikeLogLine(L"2024/03/05 14:07:09.042"));
    EXPECT_FALSE(BeginsLikeLogLine(L""));
}
