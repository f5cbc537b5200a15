// The USB Type-C text: what each flag and each power value contributes.
#include "hotkey/UsbCText.h"

#include <gtest/gtest.h>

#include <limits>

using RpcServer::SysInfo::DownstreamWatts;
using RpcServer::SysInfo::USBC_BIOS_INFO;
using RpcServer::SysInfo::UsbCText;
using RpcServer::SysInfo::UsbDeviceList;

namespace
{
std::wstring TextWith(std::uint8_t USBC_BIOS_INFO::*flag)
{
    USBC_BIOS_INFO info;
    info.*flag = 1;
    return UsbCText(info);
}

std::wstring TextWithPower(std::int32_t units)
{
    USBC_BIOS_INFO info;
    info.dwMaxDownstreamPower = units;
    return UsbCText(info);
}
} // namespace

TEST(UsbCText, NothingSupportedStillNamesGen1)
{
    EXPECT_EQ(L"|.#.$USB 3.1 Gen 1<.^.>Not Supported<.^.>Not Supported<.^.>Not Supported<.^.>Not Supported<.^.>0W",
              UsbCText({}));
}

TEST(UsbCText, EverythingButUpstreamDeliveryAnd260UnitsGiveTheFullLine)
{
    USBC_BIOS_INFO info;
    info.bSupportBasicUsb = 1;
    info.bSupportUsb31Gen2 = 1;
    info.bSupportDownstreamPowerDelivery = 1;
    info.bSupportDisplayPort = 1;
    info.bSupportThunderbolt = 1;
    info.bSupportDisplayPortLaneX2 = 1;
    info.bSupportDisplayPortLaneX4 = 1;
    info.dwMaxDownstreamPower = 260;

    EXPECT_EQ(L"USB 2.0|.#.$USB 3.1 Gen 2<.^.>Supported<.^.>Supported<.^.>Supported<.^.>Not Supported<.^.>65W",
              UsbCText(info));
}

TEST(UsbCText, BasicUsbNamesUsb2)
{
    EXPECT_EQ(
        L"USB 2.0|.#.$USB 3.1 Gen 1<.^.>Not Supported<.^.>Not Supported<.^.>Not Supported<.^.>Not Supported<.^.>0W",
        TextWith(&USBC_BIOS_INFO::bSupportBasicUsb));
}

TEST(UsbCText, Gen2ReplacesGen1)
{
    EXPECT_EQ(L"|.#.$USB 3.1 Gen 2<.^.>Not Supported<.^.>Not Supported<.^.>Not Supported<.^.>Not Supported<.^.>0W",
              TextWith(&USBC_BIOS_INFO::bSupportUsb31Gen2));
}

TEST(UsbCText, ThunderboltIsTheFirstOfTheFourFields)
{
    EXPECT_EQ(L"|.#.$USB 3.1 Gen 1<.^.>Supported<.^.>Not Supported<.^.>Not Supported<.^.>Not Supported<.^.>0W",
              TextWith(&USBC_BIOS_INFO::bSupportThunderbolt));
}

TEST(UsbCText, DisplayPortIsTheSecond)
{
    EXPECT_EQ(L"|.#.$USB 3.1 Gen 1<.^.>Not Supported<.^.>Supported<.^.>Not Supported<.^.>Not Supported<.^.>0W",
              TextWith(&USBC_BIOS_INFO::bSupportDisplayPort));
}

TEST(UsbCText, DownstreamDeliveryIsTheThird)
{
    EXPECT_EQ(L"|.#.$USB 3.1 Gen 1<.^.>Not Supported<.^.>Not Supported<.^.>Supported<.^.>Not Supported<.^.>0W",
              TextWith(&USBC_BIOS_INFO::bSupportDownstreamPowerDelivery));
}

TEST(UsbCText, UpstreamDeliveryIsTheFourth)
{
    EXPECT_EQ(L"|.#.$USB 3.1 Gen 1<.^.>Not Supported<.^.>Not Supported<.^.>Not Supported<.^.>Supported<.^.>0W",
              TextWith(&USBC_BIOS_INFO::bSupportUpstreamPowerDelivery));
}

TEST(UsbCText, CountSizeLanesAndUpstreamPowerAreNotInTheText)
{
    USBC_BIOS_INFO info;
    info.dwNumberOfUsbPorts = 4;
    info.dwSizeOfUsbPort = 9;
    info.bSupportDisplayPortLaneX2 = 1;
    info.bSupportDisplayPortLaneX4 = 1;
    info.dwMaxUpstreamPower = 400;

    EXPECT_EQ(UsbCText({}), UsbCText(info));
}

TEST(UsbDeviceList, BothNamesStandAroundTheListSeparator)
{
    USBC_BIOS_INFO info;
    info.bSupportBasicUsb = 1;
    info.bSupportUsb31Gen2 = 1;

    EXPECT_EQ(L"USB 2.0|.#.$USB 3.1 Gen 2", UsbDeviceList(info));
}

TEST(DownstreamWatts, QuarterWattsAreCutTowardZero)
{
    struct Row
    {
        std::int32_t units;
        std::int32_t watts;
    };
    for (const Row& row : {Row{0, 0}, Row{3, 0}, Row{4, 1}, Row{7, 1}, Row{260, 65}, Row{-3, 0}, Row{-4, -1},
                           Row{-7, -1}, Row{std::numeric_limits<std::int32_t>::max(), 536870911},
                           Row{std::numeric_limits<std::int32_t>::min(), -536870912}})
    {
        USBC_BIOS_INFO info;
        info.dwMaxDownstreamPower = row.units;
        EXPECT_EQ(row.watts, DownstreamWatts(info)) << row.units << " units";
    }
}

TEST(UsbCText, NegativePowerShowsItsSignOnlyWhenAWattIsLeft)
{
    EXPECT_EQ(L"|.#.$USB 3.1 Gen 1<.^.>Not Supported<.^.>Not Supported<.^.>Not Supported<.^.>Not Supported<.^.>-1W",
              TextWithPower(-4));
    EXPECT_EQ(L"|.#.$USB 3.1 Gen 1<.^.>Not Supported<.^.>Not Supported<.^.>Not Supported<.^.>Not Supported<.^.>0W",
              TextWithPower(-3));
}
