// USB Type-C questions to the framework: their order, what is kept, what is logged, what a failure leaves.
#include "hotkey/HotKeyHandler.h"

#include "tests/harness/LogCapture.h"
#include "tests/unit/hotkey/HandlerMachine.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

using RpcServer::SysInfo::USBC_BIOS_INFO;
using testing::ElementsAre;

namespace
{

constexpr char kUsingFennix[] = "RpcServer::SysInfo::CHotKeyHandler::GetUSBTypeCInfoUsingFennix";
constexpr char kAsWString[] = "RpcServer::SysInfo::CHotKeyHandler::GetUSBTypeCInfoAsWString";

constexpr wchar_t kHealthyText[] =
    L"USB 2.0|.#.$USB 3.1 Gen 2<.^.>Supported<.^.>Supported<.^.>Supported<.^.>Not Supported<.^.>65W";

class UsbC : public testing::Test
{
  protected:
    HandlerMachine machine;
    FennixStandIn& fennix{machine.fennix};
    ProbeHandler handler{nullptr};
    LogCapture log;
};

class UsbCWithoutFramework : public testing::Test
{
  protected:
    UsbCWithoutFramework() : handler{nullptr}
    {
        handler.m_pFennix.Reset();
        log.Clear();
    }

    HandlerMachine machine;
    ProbeHandler handler;
    LogCapture log;
};

} // namespace

TEST_F(UsbC, TheGettersAreAskedInTheOrderOfTheirSlots)
{
    USBC_BIOS_INFO info;

    handler.GetUSBTypeCInfoUsingFennix(info);

    EXPECT_THAT(fennix.asked,
                ElementsAre(L"GetNumberOfUsbPorts", L"GetSizeOfUsbPort", L"GetBasicUsbSupport", L"GetUsb31Gen2Support",
                            L"GetUsbUpstreamPowerDeliverySupport", L"GetUsbDownstreamPowerDeliverySupport",
                            L"GetUsbDisplayPortSupport", L"GetUsbThunderboltSupport", L"GetUsbDisplayPortLaneX2Support",
                            L"GetUsbDisplayPortLaneX4Support", L"GetUsbMaxUpstreamPower", L"GetUsbMaxDownstreamPower"));
}

TEST_F(UsbC, EachAnswerGoesToItsField)
{
    fennix.ports = 3;
    fennix.size = 9;
    fennix.upstreamPower = 400;
    fennix.downstreamPower = -4;
    USBC_BIOS_INFO info;

    handler.GetUSBTypeCInfoUsingFennix(info);

    EXPECT_EQ(3u, info.dwNumberOfUsbPorts);
    EXPECT_EQ(9u, info.dwSizeOfUsbPort);
    EXPECT_EQ(1, info.bSupportBasicUsb);
    EXPECT_EQ(1, info.bSupportUsb31Gen2);
    EXPECT_EQ(0, info.bSupportUpstreamPowerDelivery);
    EXPECT_EQ(1, info.bSupportDownstreamPowerDelivery);
    EXPECT_EQ(1, info.bSupportDisplayPort);
    EXPECT_EQ(1, info.bSupportThunderbolt);
    EXPECT_EQ(1, info.bSupportDisplayPortLaneX2);
    EXPECT_EQ(0, info.bSupportDisplayPortLaneX4);
    EXPECT_EQ(400u, info.dwMaxUpstreamPower);
    EXPECT_EQ(-4, info.dwMaxDownstreamPower);
}

TEST_F(UsbC, OnlyAllSixteenBitsCountAsTrue)
{
    fennix.basic = 1;
    fennix.gen2 = static_cast<VARIANT_BOOL>(0x7FFF);
    fennix.thunderbolt = VARIANT_TRUE;
    USBC_BIOS_INFO info;

    handler.GetUSBTypeCInfoUsingFennix(info);

    EXPECT_EQ(0, info.bSupportBasicUsb);
    EXPECT_EQ(0, info.bSupportUsb31Gen2);
    EXPECT_EQ(1, info.bSupportThunderbolt);
}

TEST_F(UsbC, EveryQuestionAndAnswerIsLogged)
{
    USBC_BIOS_INFO info;

    handler.GetUSBTypeCInfoUsingFennix(info);

    EXPECT_LINES(log, L"TraceIn|", L"Verbose|Trying to get USB Type C Information using Fennix... ",
                 L"Verbose|Trying to get GetNumberOfUsbPorts using Fennix... ",
                 L"Verbose|GetNumberOfUsbPorts : Return 2 - HRESULT : 0x00000000",
                 L"Verbose|Trying to get GetSizeOfUsbPort using Fennix... ",
                 L"Verbose|GetSizeOfUsbPort : Return 8 - HRESULT : 0x00000000",
                 L"Verbose|Trying to get GetBasicUsbSupport using Fennix... ",
                 L"Verbose|GetBasicUsbSupport : Return 1 - HRESULT : 0x00000000",
                 L"Verbose|Trying to get GetUsb31Gen2Support using Fennix... ",
                 L"Verbose|GetUsb31Gen2Support : Return 1 - HRESULT : 0x00000000",
                 L"Verbose|Trying to get GetUsbUpstreamPowerDeliverySupport using Fennix... ",
                 L"Verbose|GetUsbUpstreamPowerDeliverySupport : Return 0 - HRESULT : 0x00000000",
                 L"Verbose|Trying to get GetUsbDownstreamPowerDeliverySupport using Fennix... ",
                 L"Verbose|GetUsbDownstreamPowerDeliverySupport : Return 1 - HRESULT : 0x00000000",
                 L"Verbose|Trying to get GetUsbDisplayPortSupport using Fennix... ",
                 L"Verbose|GetUsbDisplayPortSupport : Return 1 - HRESULT : 0x00000000",
                 L"Verbose|Trying to get GetUsbThunderboltSupport using Fennix... ",
                 L"Verbose|GetUsbThunderboltSupport : Return 1 - HRESULT : 0x00000000",
                 L"Verbose|Trying to get GetUsbDisplayPortLaneX2Support using Fennix... ",
                 L"Verbose|GetUsbDisplayPortLaneX2Support : Return 1 - HRESULT : 0x00000000",
                 L"Verbose|Trying to get GetUsbDisplayPortLaneX4Support using Fennix... ",
                 L"Verbose|GetUsbDisplayPortLaneX4Support : Return 0 - HRESULT : 0x00000000",
                 L"Verbose|Trying to get GetUsbMaxUpstreamPower using Fennix... ",
                 L"Verbose|GetUsbMaxUpstreamPower : Return 60 - HRESULT : 0x00000000",
                 L"Verbose|Trying to get GetUsbMaxDownstreamPower using Fennix... ",
                 L"Verbose|GetUsbMaxDownstreamPower : Return 260 - HRESULT : 0x00000000", L"TraceOut|");
}

TEST_F(UsbC, TheFirstFailureEndsTheSeriesAndItsValueIsNotKept)
{
    fennix.results[L"GetUsb31Gen2Support"] = E_FAIL;
    USBC_BIOS_INFO info;

    handler.GetUSBTypeCInfoUsingFennix(info);

    EXPECT_EQ(L"GetUsb31Gen2Support", fennix.asked.back());
    EXPECT_EQ(1, info.bSupportBasicUsb);
    EXPECT_EQ(0, info.bSupportUsb31Gen2);
    EXPECT_EQ(0, info.bSupportThunderbolt);
    EXPECT_EQ(0, info.dwMaxDownstreamPower);
    EXPECT_EQ(L"Verbose|GetUsb31Gen2Support : Return 1 - HRESULT : 0x80004005", *(log.Lines().end() - 2));
}

TEST_F(UsbC, AnotherSuccessCodeIsASuccess)
{
    fennix.results[L"GetNumberOfUsbPorts"] = S_FALSE;
    USBC_BIOS_INFO info;

    handler.GetUSBTypeCInfoUsingFennix(info);

    EXPECT_EQ(2u, info.dwNumberOfUsbPorts);
    EXPECT_EQ(12u, fennix.asked.size());
}

TEST_F(UsbC, AFailingFirstGetterLeavesARecordOfZeros)
{
    fennix.results[L"GetNumberOfUsbPorts"] = E_NOTIMPL;

    EXPECT_EQ(L"|.#.$USB 3.1 Gen 1<.^.>Not Supported<.^.>Not Supported<.^.>Not Supported<.^.>Not Supported<.^.>0W",
              handler.GetUSBTypeCInfoAsWString());
}

TEST_F(UsbC, AFailingPowerGetterLeaves0WattsAndKeepsTheFlags)
{
    fennix.results[L"GetUsbMaxDownstreamPower"] = E_FAIL;

    EXPECT_EQ(L"USB 2.0|.#.$USB 3.1 Gen 2<.^.>Supported<.^.>Supported<.^.>Supported<.^.>Not Supported<.^.>0W",
              handler.GetUSBTypeCInfoAsWString());
}

TEST_F(UsbCWithoutFramework, TheRecordIsAllZeros)
{
    USBC_BIOS_INFO info;
    info.dwNumberOfUsbPorts = 5;
    info.bSupportThunderbolt = 1;

    handler.GetUSBTypeCInfoUsingFennix(info);

    EXPECT_EQ(0u, info.dwNumberOfUsbPorts);
    EXPECT_EQ(0, info.bSupportThunderbolt);
    EXPECT_LINES(log, L"TraceIn|", L"Error|Fennix Handler is NULL", L"TraceOut|");
}

TEST_F(UsbC, RenderingDumpsTheFlagsAndLogsTheResults)
{
    USBC_BIOS_INFO info;
    info.bSupportBasicUsb = 1;
    info.bSupportDownstreamPowerDelivery = 1;
    info.dwMaxDownstreamPower = 60;

    EXPECT_EQ(L"USB 2.0|.#.$USB 3.1 Gen 1<.^.>Not Supported<.^.>Not Supported<.^.>Supported<.^.>Not Supported<.^.>15W",
              handler.GenerateUSBTypeCInfo(info));

    EXPECT_LINES(log, L"TraceIn|", L"Verbose|USBC_BIOS_INFO.bSupportBasicUsb : 1",
                 L"Verbose|USBC_BIOS_INFO.bSupportUsb31Gen2 : 0",
                 L"Information|USB Devices : USB 2.0|.#.$USB 3.1 Gen 1",
                 L"Verbose|USBC_BIOS_INFO.bSupportThunderbolt : 0", L"Verbose|USBC_BIOS_INFO.bSupportDisplayPort : 0",
                 L"Verbose|USBC_BIOS_INFO.bSupportDownstreamPowerDelivery : 1",
                 L"Verbose|USBC_BIOS_INFO.bSupportUpstreamPowerDelivery : 0", L"Information|MaxPowerOutput : 15W",
                 L"Information|USB Type C Information: USB 2.0|.#.$USB 3.1 Gen 1<.^.>Not Supported<.^.>Not "
                 L"Supported<.^.>Supported<.^.>Not Supported<.^.>15W",
                 L"TraceOut|");
}

TEST_F(UsbC, TheTextIsMadeOnceAndKept)
{
    EXPECT_EQ(kHealthyText, handler.GetUSBTypeCInfoAsWString());
    fennix.asked.clear();
    fennix.thunderbolt = VARIANT_FALSE;
    log.Clear();

    EXPECT_EQ(kHealthyText, handler.GetUSBTypeCInfoAsWString());

    EXPECT_TRUE(fennix.asked.empty());
    EXPECT_LINES(log, L"TraceIn|", std::wstring{L"Information|USB Type C Information = "} + kHealthyText, L"TraceOut|");
}

TEST_F(UsbC, MakingTheTextIsAnnounced)
{
    handler.GetUSBTypeCInfoAsWString();

    EXPECT_THAT(log.LinesOf(kAsWString),
                ElementsAre(L"TraceIn|", L"Information|Trying to get  USB Type C Information using Fennix... ",
                            std::wstring{L"Information|USB Type C Information = "} + kHealthyText, L"TraceOut|"));
}

TEST_F(UsbC, AnExceptionLeavesTheTextAsItWas)
{
    fennix.throwing = L"GetUsbThunderboltSupport";

    EXPECT_EQ(L"", handler.GetUSBTypeCInfoAsWString());

    EXPECT_EQ(L"", handler.m_strUSBTypeCInfo.Get());
    EXPECT_THAT(log.LinesOf(kAsWString),
                ElementsAre(L"TraceIn|", L"Information|Trying to get  USB Type C Information using Fennix... ",
                            L"Error|Exception occurred when calling GetUSBTypeCInfoUsingFennix",
                            L"Information|USB Type C Information = ", L"TraceOut|"));
    EXPECT_EQ(L"TraceOut|", log.LinesOf(kUsingFennix).back());
}

TEST_F(UsbC, AfterAnExceptionTheNextRequestAsksAgain)
{
    fennix.throwing = L"GetNumberOfUsbPorts";
    handler.GetUSBTypeCInfoAsWString();
    fennix.throwing.clear();

    EXPECT_EQ(kHealthyText, handler.GetUSBTypeCInfoAsWString());
}

TEST_F(UsbCWithoutFramework, TheTextIsEmpty)
{
    EXPECT_EQ(L"", handler.GetUSBTypeCInfoAsWString());

    EXPECT_RECORDS(
        log, L"TraceIn|RpcServer::SysInfo::CHotKeyHandler::GetUSBTypeCInfoAsWString|",
        L"Error|RpcServer::SysInfo::CHotKeyHandler::GetUSBTypeCInfoAsWString|FennixSdkVoraCommand Instance is "
        L"NULL",
        L"TraceOut|RpcServer::SysInfo::CHotKeyHandler::GetUSBTypeCInfoAsWString|");
}

TEST_F(UsbCWithoutFramework, ATextMadeBeforeIsStillGiven)
{
    handler.m_strUSBTypeCInfo.Set(L"made before");

    EXPECT_EQ(L"made before", handler.GetUSBTypeCInfoAsWString());
}

TEST_F(UsbC, SupportIsTheFrameworksAnswer)
{
    EXPECT_TRUE(handler.IsUSBCSupported());

    EXPECT_RECORDS(
        log, L"TraceIn|RpcServer::SysInfo::CHotKeyHandler::IsUSBCSupported|",
        L"Verbose|RpcServer::SysInfo::CHotKeyHandler::IsUSBCSupported|Trying to Get USB Type C Support using "
        L"Fennix",
        L"Verbose|RpcServer::SysInfo::CHotKeyHandler::IsUSBCSupported|USB TypeC Support : 1",
        L"TraceOut|RpcServer::SysInfo::CHotKeyHandler::IsUSBCSupported|");
}

TEST_F(UsbC, SupportOf1IsNoSupport)
{
    fennix.platformSupported = 1;

    EXPECT_FALSE(handler.IsUSBCSupported());

    EXPECT_LINES(log, L"TraceIn|", L"Verbose|Trying to Get USB Type C Support using Fennix",
                 L"Verbose|USB TypeC Support : 0", L"TraceOut|");
}

TEST_F(UsbC, AFailingAnswerIsNoSupport)
{
    fennix.results[L"GetPlatformUsbcSupported"] = E_ACCESSDENIED;

    EXPECT_FALSE(handler.IsUSBCSupported());

    EXPECT_LINES(log, L"TraceIn|", L"Verbose|Trying to Get USB Type C Support using Fennix",
                 L"Error|Failed to get Platform.USBC.Supported [hr:0x80070005]", L"TraceOut|");
}

TEST_F(UsbC, AnExceptionIsNoSupport)
{
    fennix.throwing = L"GetPlatformUsbcSupported";

    EXPECT_FALSE(handler.IsUSBCSupported());

    EXPECT_LINES(log, L"TraceIn|", L"Verbose|Trying to Get USB Type C Support using Fennix",
                 L"Error|Exception occurred when calling Platform.USBC.Supported [hr:0x80004005]", L"TraceOut|");
}

TEST_F(UsbCWithoutFramework, ThereIsNoSupport)
{
    EXPECT_FALSE(handler.IsUSBCSupported());

    EXPECT_LINES(log, L"TraceIn|", L"Error|FennixSdkVoraCommand Instance is NULL",
                 L"TraceOut|USB Type C Support: 0x00000000");
}

TEST_F(UsbC, AFrameworkThatGoesDuringTheSeriesEndsIt)
{
    fennix.onMethod = [this](const char*) {
        handler.m_pFennix.Reset();
        return S_OK;
    };
    USBC_BIOS_INFO info;

    handler.GetUSBTypeCInfoUsingFennix(info);

    EXPECT_THAT(fennix.asked, ElementsAre(L"GetNumberOfUsbPorts"));
    EXPECT_EQ(2u, info.dwNumberOfUsbPorts);
    EXPECT_EQ(0u, info.dwSizeOfUsbPort);
    EXPECT_LINES(log, L"TraceIn|", L"Verbose|Trying to get USB Type C Information using Fennix... ",
                 L"Verbose|Trying to get GetNumberOfUsbPorts using Fennix... ",
                 L"Verbose|GetNumberOfUsbPorts : Return 2 - HRESULT : 0x00000000",
                 L"Verbose|Trying to get GetSizeOfUsbPort using Fennix... ", L"TraceOut|");
}
