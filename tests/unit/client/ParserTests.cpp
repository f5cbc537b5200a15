// The two texts of the service: exactly what it writes is accepted, the first thing that it does not write is named.
#include "client/SysInfoFields.h"
#include "client/UsbTypeCFields.h"

#include <gtest/gtest.h>

#include <string>

using HotKey::ErrorKind;
using HotKey::ParseSysInfo;
using HotKey::ParseUsbTypeC;

namespace
{

void ExpectSysInfoTrouble(const wchar_t* trouble, const wchar_t* text)
{
    const auto info = ParseSysInfo(text);
    ASSERT_FALSE(info) << "the text was accepted";
    EXPECT_EQ(ErrorKind::NotUnderstood, info.Error().eKind);
    EXPECT_EQ(0U, info.Error().ulStatus);
    EXPECT_EQ(trouble, info.Error().strText);
}

void ExpectUsbTypeCTrouble(const wchar_t* trouble, const wchar_t* text)
{
    const auto info = ParseUsbTypeC(text);
    ASSERT_FALSE(info) << "the text was accepted";
    EXPECT_EQ(ErrorKind::NotUnderstood, info.Error().eKind);
    EXPECT_EQ(trouble, info.Error().strText);
}

} // namespace

TEST(ParseSysInfo, NamesTheFieldsInTheirOrder)
{
    const auto info = ParseSysInfo(
        L"Laptop 14 Model A<.^.>7XY45AV#AKL<.^.>20WWABCD601#S001#D001<.^.>16.00 GB (15.84 GB usable)<.^.>12th Gen "
        L"Processor<.^.>A01 Ver. 01.02.03 - 05/16/2023<.^.>KBC Version 11.22.00<.^.>SN12345678<.^.>3X7<.^.>0x21<.^.>"
        L"0x0");

    ASSERT_TRUE(info);
    EXPECT_EQ(L"Laptop 14 Model A", info.Value().strProductName);
    EXPECT_EQ(L"7XY45AV#AKL", info.Value().strSku);
    EXPECT_EQ(L"20WWABCD601#S001#D001", info.Value().strBuild);
    EXPECT_EQ(L"16.00 GB (15.84 GB usable)", info.Value().strMemory);
    EXPECT_EQ(L"12th Gen Processor", info.Value().strProcessor);
    EXPECT_EQ(L"A01 Ver. 01.02.03 - 05/16/2023", info.Value().strBiosVersion);
    EXPECT_EQ(L"KBC Version 11.22.00", info.Value().strBaseBoardVersion);
    EXPECT_EQ(L"SN12345678", info.Value().strSerialNumber);
    EXPECT_EQ(L"3X7", info.Value().strFeatureByte);
    EXPECT_EQ(L"0x21", info.Value().strBiosPasswordStatus);
    EXPECT_EQ(0x21, info.Value().ucBiosPasswordStatus);
    EXPECT_FALSE(info.Value().bUsbTypeC);
}

TEST(ParseSysInfo, TakesAStatusByteOfLetters)
{
    const auto info = ParseSysInfo(L"1<.^.>2<.^.>3<.^.>4<.^.>5<.^.>6<.^.>7<.^.>8<.^.>9<.^.>0xFA<.^.>yes");

    ASSERT_TRUE(info);
    EXPECT_EQ(L"0xFA", info.Value().strBiosPasswordStatus);
    EXPECT_EQ(0xFA, info.Value().ucBiosPasswordStatus);
}

TEST(ParseSysInfo, KeepsWhatTheServiceCouldNotRead)
{
    const auto info = ParseSysInfo(L"null<.^.>null<.^.> <.^.>null<.^.>null<.^.> - <.^.>null<.^.>null<.^.> "
                                   L"<.^.>0x0<.^.>yes");

    ASSERT_TRUE(info);
    EXPECT_EQ(L"null", info.Value().strProductName);
    EXPECT_EQ(L" ", info.Value().strBuild);
    EXPECT_EQ(L" ", info.Value().strFeatureByte);
    EXPECT_TRUE(info.Value().bUsbTypeC);
}

TEST(ParseSysInfo, CountsTheFieldsOfATextThatHasAnotherNumber)
{
    ExpectSysInfoTrouble(L"the system-information text has 1 fields instead of 11", L"");
    ExpectSysInfoTrouble(L"the system-information text has 10 fields instead of 11",
                         L"1<.^.>2<.^.>3<.^.>4<.^.>5<.^.>6<.^.>7<.^.>8<.^.>9<.^.>0x0");
    ExpectSysInfoTrouble(L"the system-information text has 12 fields instead of 11",
                         L"1<.^.>2<.^.>3<.^.>4<.^.>5<.^.>6<.^.>7<.^.>8<.^.>9<.^.>0x0<.^.>yes<.^.>en_US");
}

TEST(ParseSysInfo, NamesAnEmptyField)
{
    ExpectSysInfoTrouble(L"field 8 of the system-information text is empty",
                         L"1<.^.>2<.^.>3<.^.>4<.^.>5<.^.>6<.^.>7<.^.><.^.>9<.^.>0x0<.^.>yes");
}

TEST(ParseSysInfo, NamesAPasswordStatusThatIsNoByte)
{
    for (const wchar_t* const status : {L"0x", L"0x123", L"0x01", L"0xg", L"0xa", L"1", L"null"})
    {
        const std::wstring text =
            L"1<.^.>2<.^.>3<.^.>4<.^.>5<.^.>6<.^.>7<.^.>8<.^.>9<.^.>" + std::wstring{status} + L"<.^.>yes";
        const std::wstring trouble =
            L"field 10 of the system-information text is no BIOS password status: \"" + std::wstring{status} + L"\"";
        ExpectSysInfoTrouble(trouble.c_str(), text.c_str());
    }
}

TEST(ParseSysInfo, NamesAnUnknownUsbTypeCSupport)
{
    ExpectSysInfoTrouble(L"field 11 of the system-information text is no USB Type-C support: \"0x1\"",
                         L"1<.^.>2<.^.>3<.^.>4<.^.>5<.^.>6<.^.>7<.^.>8<.^.>9<.^.>0x0<.^.>0x1");
}

TEST(ParseUsbTypeC, NamesTheFieldsInTheirOrder)
{
    const auto info = ParseUsbTypeC(
        L"USB 2.0|.#.$USB 3.1 Gen 2<.^.>Supported<.^.>Not Supported<.^.>Supported<.^.>Not Supported<.^.>65W");

    ASSERT_TRUE(info);
    EXPECT_TRUE(info.Value().bUsb20);
    EXPECT_TRUE(info.Value().bUsb31Gen2);
    EXPECT_TRUE(info.Value().bThunderbolt);
    EXPECT_FALSE(info.Value().bDisplayPort);
    EXPECT_TRUE(info.Value().bDownstreamPowerDelivery);
    EXPECT_FALSE(info.Value().bUpstreamPowerDelivery);
    EXPECT_EQ(65, info.Value().nMaximumWatts);
}

TEST(ParseUsbTypeC, TakesTheTextOfARecordOfZeros)
{
    const auto info = ParseUsbTypeC(
        L"|.#.$USB 3.1 Gen 1<.^.>Not Supported<.^.>Not Supported<.^.>Not Supported<.^.>Not Supported<.^.>0W");

    ASSERT_TRUE(info);
    EXPECT_FALSE(info.Value().bUsb20);
    EXPECT_FALSE(info.Value().bUsb31Gen2);
    EXPECT_EQ(0, info.Value().nMaximumWatts);
}

TEST(ParseUsbTypeC, TakesNegativePower)
{
    const auto info =
        ParseUsbTypeC(L"|.#.$USB 3.1 Gen 1<.^.>Supported<.^.>Supported<.^.>Supported<.^.>Supported<.^.>-536870912W");

    ASSERT_TRUE(info);
    EXPECT_EQ(-536870912, info.Value().nMaximumWatts);
}

TEST(ParseUsbTypeC, NamesTheFirstThingThatTheServiceDoesNotWrite)
{
    ExpectUsbTypeCTrouble(L"the USB Type-C text has 1 fields instead of 6", L"");
    ExpectUsbTypeCTrouble(L"the device list of the USB Type-C text has 1 entries instead of 2",
                          L"USB 2.0<.^.>Supported<.^.>Supported<.^.>Supported<.^.>Supported<.^.>0W");
    ExpectUsbTypeCTrouble(L"unknown first device in the USB Type-C text: \"USB 1.1\"",
                          L"USB 1.1|.#.$USB 3.1 Gen 1<.^.>Supported<.^.>Supported<.^.>Supported<.^.>Supported<.^.>0W");
    ExpectUsbTypeCTrouble(L"unknown second device in the USB Type-C text: \"\"",
                          L"USB 2.0|.#.$<.^.>Supported<.^.>Supported<.^.>Supported<.^.>Supported<.^.>0W");
    ExpectUsbTypeCTrouble(L"unknown DisplayPort support in the USB Type-C text: \"supported\"",
                          L"|.#.$USB 3.1 Gen 1<.^.>Supported<.^.>supported<.^.>Supported<.^.>Supported<.^.>0W");
    ExpectUsbTypeCTrouble(L"unknown upstream power delivery support in the USB Type-C text: \"\"",
                          L"|.#.$USB 3.1 Gen 1<.^.>Supported<.^.>Supported<.^.>Supported<.^.><.^.>0W");
}

TEST(ParseUsbTypeC, NamesAPowerThatIsNoNumberOfWatts)
{
    for (const wchar_t* const power : {L"", L"W", L"-W", L"65", L"065W", L"-0W", L"6 W", L"2147483648W"})
    {
        const std::wstring text =
            L"|.#.$USB 3.1 Gen 1<.^.>Supported<.^.>Supported<.^.>Supported<.^.>Supported<.^.>" + std::wstring{power};
        const std::wstring trouble = L"unknown power in the USB Type-C text: \"" + std::wstring{power} + L"\"";
        ExpectUsbTypeCTrouble(trouble.c_str(), text.c_str());
    }
}

TEST(ParseUsbTypeC, NamesAPowerBelowTheSmallestNumber)
{
    ExpectUsbTypeCTrouble(
        L"unknown power in the USB Type-C text: \"-2147483649W\"",
        L"|.#.$USB 3.1 Gen 1<.^.>Supported<.^.>Supported<.^.>Supported<.^.>Supported<.^.>-2147483649W");
}
