// The rules of the system-information text.
#include "sysinfo/SysInfoText.h"

#include "sysinfo/ModelTables.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <string>
#include <vector>

using namespace RpcServer;

namespace
{

std::wstring Lower(std::wstring_view text)
{
    std::wstring lower{text};
    for (wchar_t& character : lower)
    {
        character = character >= L'A' && character <= L'Z' ? static_cast<wchar_t>(character + 32) : character;
    }
    return lower;
}

} // namespace

TEST(OptionCode, IsWhatFollowsTheFirstHash)
{
    EXPECT_EQ(L"ABA", OptionCode(L"8AA12UT#ABA"));
    EXPECT_EQ(L"AKL", OptionCode(L"7XY45AV#AKL"));
    EXPECT_EQ(L"A#B", OptionCode(L"7XY45AV#A#B"));
    EXPECT_EQ(L"", OptionCode(L"7XY45AV#"));
}

TEST(OptionCode, IsTheWholeSkuWithoutHash)
{
    EXPECT_EQ(L"AKL", OptionCode(L"AKL"));
    EXPECT_EQ(L"", OptionCode(L""));
}

TEST(FamilyCode, IsTheEndOfTheFirstWord)
{
    EXPECT_EQ(L"AN", FamilyCode(L"X1_5336AN Pro"));
    EXPECT_EQ(L"ro", FamilyCode(L"Pro 7F"));
    EXPECT_EQ(L"7F", FamilyCode(L"7F Pro"));
}

TEST(FamilyCode, IsAllOfAShorterFirstWord)
{
    EXPECT_EQ(L"F", FamilyCode(L"F Pro"));
    EXPECT_EQ(L"", FamilyCode(L" 7F"));
}

TEST(FamilyCode, IsEmptyWithoutBlank)
{
    EXPECT_EQ(L"", FamilyCode(L"UT"));
    EXPECT_EQ(L"", FamilyCode(L""));
}

TEST(ModelTables, SkuCodesAreTheEighteenInTheirOrder)
{
    const std::vector<std::wstring_view> expected{L"AKL", L"AB8", L"ABV", L"B10", L"AB7", L"ABE",
                                                  L"AKB", L"AKC", L"AKD", L"AKR", L"BCM", L"B1R",
                                                  L"AKE", L"ABH", L"AK6", L"AK9", L"UUG", L"UUZ"};
    EXPECT_EQ(expected, std::vector(kSkuOptionCodes.begin(), kSkuOptionCodes.end()));
}

TEST(ModelTables, FamilyCodesAreTheEightInTheirOrder)
{
    const std::vector<std::wstring_view> expected{L"7F", L"6J", L"5X", L"US", L"2C", L"5U", L"6V", L"UT"};
    EXPECT_EQ(expected, std::vector(kFamilyCodes.begin(), kFamilyCodes.end()));
}

TEST(IsListed, FindsEveryEntryInAnyCase)
{
    for (const std::wstring_view code : kSkuOptionCodes)
    {
        EXPECT_TRUE(IsListed(code, kSkuOptionCodes));
        EXPECT_TRUE(IsListed(Lower(code), kSkuOptionCodes));
    }
    for (const std::wstring_view code : kFamilyCodes)
    {
        EXPECT_TRUE(IsListed(code, kFamilyCodes));
        EXPECT_TRUE(IsListed(Lower(code), kFamilyCodes));
    }
}

TEST(IsListed, ComparesWholeCodes)
{
    EXPECT_FALSE(IsListed(L"", kSkuOptionCodes));
    EXPECT_FALSE(IsListed(L"AK", kSkuOptionCodes));
    EXPECT_FALSE(IsListed(L"AKLX", kSkuOptionCodes));
    EXPECT_FALSE(IsListed(L"ABA", kSkuOptionCodes));
    EXPECT_FALSE(IsListed(L"", kFamilyCodes));
    EXPECT_FALSE(IsListed(L"AN", kFamilyCodes));
}

TEST(IsListed, FoldsAsciiLettersOnly)
{
    EXPECT_FALSE(IsListed(L"A\u212AL", kSkuOptionCodes)); // the Kelvin sign is no K
    EXPECT_FALSE(IsListed(L"\uFF35S", kFamilyCodes));     // nor is the full-width U a U
}

TEST(LeadingNumber, TakesBlanksSignAndDigits)
{
    EXPECT_EQ(8589934592, LeadingNumber(L"8589934592"));
    EXPECT_EQ(42, LeadingNumber(L" \t42"));
    EXPECT_EQ(-7, LeadingNumber(L"-7"));
    EXPECT_EQ(7, LeadingNumber(L"+7"));
    EXPECT_EQ(8, LeadingNumber(L"8 GB"));
    EXPECT_EQ(8, LeadingNumber(L"8,589"));
}

TEST(LeadingNumber, IsZeroWithoutDigits)
{
    EXPECT_EQ(0, LeadingNumber(L""));
    EXPECT_EQ(0, LeadingNumber(L"null"));
    EXPECT_EQ(0, LeadingNumber(L"-"));
    EXPECT_EQ(0, LeadingNumber(L"0x10"));
}

TEST(LeadingNumber, StopsAtTheLimits)
{
    EXPECT_EQ(std::numeric_limits<std::int64_t>::max(), LeadingNumber(L"9223372036854775807"));
    EXPECT_EQ(std::numeric_limits<std::int64_t>::max(), LeadingNumber(L"9223372036854775808"));
    EXPECT_EQ(std::numeric_limits<std::int64_t>::min(), LeadingNumber(L"-9223372036854775809"));
    EXPECT_EQ(std::numeric_limits<std::int64_t>::max(), LeadingNumber(std::wstring(60000, L'9')));
}

TEST(WrappingSum, WrapsAround)
{
    EXPECT_EQ(17179869184, WrappingSum(8589934592, 8589934592));
    EXPECT_EQ(std::numeric_limits<std::int64_t>::min(), WrappingSum(std::numeric_limits<std::int64_t>::max(), 1));
    EXPECT_EQ(std::numeric_limits<std::int64_t>::max(), WrappingSum(std::numeric_limits<std::int64_t>::min(), -1));
}

TEST(MemoryText, IsInGigabytesFrom1024MebibytesOn)
{
    EXPECT_EQ(L"16.00 GB (15.84 GB usable)", MemoryText(16384, 16224));
    EXPECT_EQ(L"1.00 GB (1.00 GB usable)", MemoryText(1024, 1024));
    EXPECT_EQ(L"2048.00 GB (1.50 GB usable)", MemoryText(2097152, 1536));
}

TEST(MemoryText, IsInMegabytesBelow)
{
    EXPECT_EQ(L"1024 MB (972 MB usable)", MemoryText(1024, 972));
    EXPECT_EQ(L"1024 MB (1023 MB usable)", MemoryText(1024, 1023));
    EXPECT_EQ(L"0 MB (0 MB usable)", MemoryText(0, 0));
    EXPECT_EQ(L"-5 MB (-3 MB usable)", MemoryText(-5, -3));
}

TEST(MemoryText, UsableAmountAloneChoosesTheUnit)
{
    EXPECT_EQ(L"16384 MB (972 MB usable)", MemoryText(16384, 972));
    EXPECT_EQ(L"0.00 GB (15.84 GB usable)", MemoryText(0, 16224));
}

TEST(FindOemField, EndsAtTheFirstSemicolon)
{
    const auto field = FindOemField(L"ABCFBYTE#3X7;BUILDID#20WWABCD601#S001#D001;", L"FBYTE#");

    ASSERT_TRUE(field);
    EXPECT_EQ(L"3X7", field->text);
    EXPECT_TRUE(field->delimited);
}

TEST(FindOemField, WithoutSemicolonTakesTheRest)
{
    const auto field = FindOemField(L"BUILDID#20WWABCD601;FBYTE#3X7", L"FBYTE#");

    ASSERT_TRUE(field);
    EXPECT_EQ(L"3X7", field->text);
    EXPECT_FALSE(field->delimited);
}

TEST(FindOemField, MayBeEmpty)
{
    EXPECT_EQ(L"", FindOemField(L"FBYTE#", L"FBYTE#")->text);
    EXPECT_EQ(L"", FindOemField(L"FBYTE#;X", L"FBYTE#")->text);
}

TEST(FindOemField, FirstTagCountsAndCaseMatters)
{
    EXPECT_EQ(L"1", FindOemField(L"FBYTE#1;FBYTE#2;", L"FBYTE#")->text);
    EXPECT_FALSE(FindOemField(L"fbyte#1;", L"FBYTE#"));
    EXPECT_FALSE(FindOemField(L"", L"FBYTE#"));
}

TEST(IsFactoryBuild, TakesTenOrMoreWordCharactersAndTwoGroupsOfFour)
{
    EXPECT_TRUE(IsFactoryBuild(L"20WWABCD601#S001#D001"));
    EXPECT_TRUE(IsFactoryBuild(L"0123456789#S001#D001"));
    EXPECT_TRUE(IsFactoryBuild(L"a_cdefghijklmnopqrstuvwxyz0123456789#_aZ9#D001"));
    EXPECT_TRUE(IsFactoryBuild(L"20WWABCD601#S001#D001;"));
    EXPECT_TRUE(IsFactoryBuild(L"0123456789#S001#D001;"));
}

TEST(IsFactoryBuild, RefusesEveryOtherForm)
{
    const std::vector<std::wstring> others{L"",
                                           L"ABC#1#2",
                                           L"012345678#S001#D001",      // nine characters
                                           L"20WWABCD601#S01#D001",     // groups of three and five
                                           L"20WWABCD601#S0001#D001",   //
                                           L"20WWABCD601#S001#D01",     //
                                           L"20WWABCD601#S001#D0001",   //
                                           L"20WWABCD601##S001#D001",   // two hashes
                                           L"20WWABCD601#S001##D001",   //
                                           L"20WWABCD601S001D001",      // none
                                           L"20WWABCD601#S001",         //
                                           L"20WWABCD601#S001#D001;;",  // two semicolons
                                           L" 20WWABCD601#S001#D001",   // blanks
                                           L"20WWABCD601#S001#D001 ",   //
                                           L"20WW ABCD601#S001#D001",   //
                                           L"20WW-ABCD601#S001#D001",   //
                                           L"20WWABCD601#S-01#D001",    //
                                           L"X20WWABCD601#S001#D001#Y", // only a part of it matches
                                           L"20WWABCD601#S001#D001\n",
                                           L"20WWABCD601#S001#D001;\n"};
    for (const std::wstring& build : others)
    {
        EXPECT_FALSE(IsFactoryBuild(build)) << testing::PrintToString(build);
    }
}

TEST(IsFactoryBuild, HoldsForTextsOfAnyLength)
{
    const std::wstring word(60000, L'A');

    EXPECT_TRUE(IsFactoryBuild(word + L"#S001#D001"));
    EXPECT_TRUE(IsFactoryBuild(word + L"#S001#D001;"));
    EXPECT_FALSE(IsFactoryBuild(word));
    EXPECT_FALSE(IsFactoryBuild(word + L"-" + word + L"#S001#D001"));
    EXPECT_FALSE(IsFactoryBuild(word + L"#S001#D001" + word));
    EXPECT_FALSE(IsFactoryBuild(std::wstring(1000000, L'#')));
    EXPECT_FALSE(IsFactoryBuild(word + L"##S001#D001"));
    EXPECT_FALSE(IsFactoryBuild(L"A-" + word + L"#S001#D001"));
}

// Every length around the one from which a text is shortened, with a foreign character at every place.
TEST(IsFactoryBuild, ForeignCharacterIsFoundAtEveryPlace)
{
    for (std::size_t length = 10; length < 40; ++length)
    {
        const std::wstring build = std::wstring(length, L'A') + L"#S001#D001";
        ASSERT_TRUE(IsFactoryBuild(build));
        for (std::size_t place = 0; place < build.size(); ++place)
        {
            std::wstring broken = build;
            broken[place] = L'.';
            EXPECT_FALSE(IsFactoryBuild(broken)) << "length " << build.size() << ", place " << place;
        }
    }
}

TEST(IsFactoryBuild, LoneSurrogatesAndNulsAreNoWordCharacters)
{
    EXPECT_FALSE(IsFactoryBuild(L"20WWABCD60\xD800#S001#D001"));
    EXPECT_FALSE(IsFactoryBuild(std::wstring{L"20WWABCD601#S001#D001\0", 22}));
    EXPECT_FALSE(IsFactoryBuild(std::wstring(60000, L'A') + L'\xDC00' + std::wstring(20, L'A') + L"#S001#D001"));
}

TEST(JoinFields, PutsTheSeparatorBetweenFieldsOnly)
{
    std::wstring one{L"one"};
    std::wstring two{L" "};
    std::wstring three{L"a<.^.>b"};
    std::wstring* const fields[] = {&one, &two, &three};

    EXPECT_EQ(L"one<.^.> <.^.>a<.^.>b", JoinFields(fields));
}

TEST(JoinFields, EmptyFieldBecomesNullItself)
{
    std::wstring one;
    std::wstring two{L" "};
    std::wstring* const fields[] = {&one, &two};

    EXPECT_EQ(L"null<.^.> ", JoinFields(fields));
    EXPECT_EQ(L"null", one);
    EXPECT_EQ(L" ", two);
}
