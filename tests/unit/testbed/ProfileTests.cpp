// The profile's text format and how one profile builds on another.
#include "testbed/Profile.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using namespace Testbed;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;

TEST(ParseProfile, SectionsAndEntriesKeepTheirOrder)
{
    const ParsedProfile profile = ParseProfile("[pc]\nb = 2\na = 1\n[nodes]\nACPI\\QUIL000C = driver, 1.2\n");

    ASSERT_EQ(2u, profile.sections.size());
    EXPECT_EQ(L"pc", profile.sections[0].name);
    EXPECT_THAT(profile.sections[0].entries, ElementsAre(Pair(L"b", L"2"), Pair(L"a", L"1")));
    EXPECT_THAT(profile.sections[1].entries, ElementsAre(Pair(L"ACPI\\QUIL000C", L"driver, 1.2")));
}

TEST(ParseProfile, CommentsBlankLinesAndCarriageReturnsAreNothing)
{
    const ParsedProfile profile = ParseProfile("\xEF\xBB\xBF# one\r\n\r\n[pc]\r\n  ; two\r\n  key = value \r\n");

    ASSERT_EQ(1u, profile.sections.size());
    EXPECT_THAT(profile.sections[0].entries, ElementsAre(Pair(L"key", L"value")));
}

TEST(ParseProfile, QuotesKeepOuterBlanks)
{
    const ParsedProfile profile = ParseProfile("[pc]\nserial = \"  SN 1 \"\nempty = \"\"\n");

    EXPECT_THAT(profile.sections.at(0).entries, ElementsAre(Pair(L"serial", L"  SN 1 "), Pair(L"empty", L"")));
}

TEST(ParseProfile, ValueMayHoldEqualsSignsAndUtf8)
{
    const ParsedProfile profile = ParseProfile("[wmi]\nname = a=b \xC2\xAE\n");

    EXPECT_THAT(profile.sections.at(0).entries, ElementsAre(Pair(L"name", L"a=b \u00AE")));
}

TEST(ParseProfile, BaseStandsBeforeTheFirstSection)
{
    EXPECT_EQ(L"healthy-laptop", ParseProfile("base = healthy-laptop\n[pc]\nbase = other\n").base);
}

TEST(OverlayProfile, ReplacesSingleKeysInPlaceAndAddsNewOnesBehind)
{
    const auto base = ParseProfile("[pc]\na = 1\nb = 2\n").sections;

    const auto result = OverlayProfile(base, ParseProfile("[PC]\nc = 3\nA = 9\n[new]\nx = y\n").sections);

    ASSERT_EQ(2u, result.size());
    EXPECT_THAT(result[0].entries, ElementsAre(Pair(L"a", L"9"), Pair(L"b", L"2"), Pair(L"c", L"3")));
    EXPECT_EQ(L"new", result[1].name);
}

TEST(OverlayProfile, InheritNoStartsTheSectionEmpty)
{
    const auto base = ParseProfile("[session]\n1 = active\n[pc]\na = 1\n").sections;

    const auto result = OverlayProfile(base, ParseProfile("[session]\ninherit = no\n2 = idle\n").sections);

    EXPECT_THAT(result.at(0).entries, ElementsAre(Pair(L"2", L"idle")));
    EXPECT_THAT(result.at(1).entries, ElementsAre(Pair(L"a", L"1")));
}

TEST(OverlayProfile, SectionNamedTwiceIsOneSection)
{
    const auto result = OverlayProfile({}, ParseProfile("[pc]\na = 1\n[pc]\nb = 2\n").sections);

    ASSERT_EQ(1u, result.size());
    EXPECT_THAT(result[0].entries, ElementsAre(Pair(L"a", L"1"), Pair(L"b", L"2")));
}

TEST(ProfileEntries, UnknownSectionIsEmpty)
{
    EXPECT_THAT(ProfileEntries(L"no such section"), IsEmpty());
}
