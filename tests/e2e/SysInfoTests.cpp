// The system-information text of every PC that the testbed knows, as the companion app receives it.
#include "client/HotKeyClient.h"
#include "testbed/Text.h"
#include "tests/e2e/Pc.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using namespace E2e;
using testing::Contains;
using testing::HasSubstr;

namespace
{

struct SysInfoText
{
    const wchar_t* profile;
    const wchar_t* text;
};

void PrintTo(const SysInfoText& text, std::ostream* stream)
{
    *stream << Testbed::Utf8FromWide(text.profile);
}

class SysInfoOfProfile : public testing::TestWithParam<SysInfoText>
{
};

std::wstring ReadSysInfo()
{
    HotKey::CHotKeyClient client;
    const auto answer = client.ReadSysInfoText();
    EXPECT_TRUE(answer) << (answer ? "" : Testbed::Utf8FromWide(answer.Error().strText));
    return answer ? answer.Value() : std::wstring{};
}

} // namespace

TEST_P(SysInfoOfProfile, IsThisText)
{
    Pc pc{GetParam().profile};
    pc.InstallAndStart();

    EXPECT_EQ(GetParam().text, ReadSysInfo());
}

INSTANTIATE_TEST_SUITE_P(
    , SysInfoOfProfile,
    testing::Values(
        SysInfoText{L"healthy-laptop",
                    L"Laptop 14 Model A<.^.>7XY45AV#AKL<.^.>20WWABCD601#S001#D001<.^.>16.00 GB (15.84 GB usable)<.^.>"
                    L"12th Gen Processor<.^.>A01 Ver. 01.02.03 - 05/16/2023<.^.>KBC Version 11.22.00<.^.>SN12345678"
                    L"<.^.>3X7<.^.>0x0<.^.>yes"},
        SysInfoText{L"setup-password",
                    L"Laptop 14 Model A<.^.>7XY45AV#AKL<.^.>20WWABCD601#S001#D001<.^.>16.00 GB (15.84 GB usable)<.^.>"
                    L"12th Gen Processor<.^.>A01 Ver. 01.02.03 - 05/16/2023<.^.>KBC Version 11.22.00<.^.>SN12345678"
                    L"<.^.>3X7<.^.>0x1<.^.>yes"},
        SysInfoText{L"access-key",
                    L"Laptop 14 Model A<.^.>7XY45AV#AKL<.^.>20WWABCD601#S001#D001<.^.>16.00 GB (15.84 GB usable)<.^.>"
                    L"12th Gen Processor<.^.>A01 Ver. 01.02.03 - 05/16/2023<.^.>KBC Version 11.22.00<.^.>SN12345678"
                    L"<.^.>3X7<.^.>0x20<.^.>yes"},
        SysInfoText{L"both-passwords",
                    L"Laptop 14 Model A<.^.>7XY45AV#AKL<.^.>20WWABCD601#S001#D001<.^.>16.00 GB (15.84 GB usable)<.^.>"
                    L"12th Gen Processor<.^.>A01 Ver. 01.02.03 - 05/16/2023<.^.>KBC Version 11.22.00<.^.>SN12345678"
                    L"<.^.>3X7<.^.>0x21<.^.>yes"},
        SysInfoText{L"old-bios",
                    L"Laptop 14 Model A<.^.>7XY45AV#AKL<.^.>20WWABCD601#S001#D001<.^.>16.00 GB (15.84 GB usable)<.^.>"
                    L"12th Gen Processor<.^.>A01 Ver. 01.02.03 - 05/16/2023<.^.>KBC Version 11.22.00<.^.>SN12345678"
                    L"<.^.>3X7<.^.>0x0<.^.>yes"},
        SysInfoText{L"recovery-media",
                    L"Laptop 14 Model A<.^.>7XY45AV#AKL<.^.>ABC#1#2 (Recovery Media Used)<.^.>"
                    L"16.00 GB (15.84 GB usable)<.^.>12th Gen Processor<.^.>A01 Ver. 01.02.03 - 05/16/2023<.^.>"
                    L"KBC Version 11.22.00<.^.>SN12345678<.^.>3X7<.^.>0x0<.^.>yes"},
        SysInfoText{L"factory-build",
                    L"Laptop 14 Model A<.^.>7XY45AV#AKL<.^.>TESTBUILD01<.^.>16.00 GB (15.84 GB usable)<.^.>"
                    L"12th Gen Processor<.^.>A01 Ver. 01.02.03 - 05/16/2023<.^.>KBC Version 11.22.00<.^.>SN12345678"
                    L"<.^.>3X7<.^.>0x0<.^.>yes"},
        SysInfoText{L"small-memory",
                    L"Laptop 14 Model A<.^.>7XY45AV#AKL<.^.>20WWABCD601#S001#D001<.^.>1024 MB (972 MB usable)<.^.>"
                    L"12th Gen Processor<.^.>A01 Ver. 01.02.03 - 05/16/2023<.^.>KBC Version 11.22.00<.^.>SN12345678"
                    L"<.^.>3X7<.^.>0x0<.^.>yes"},
        SysInfoText{L"slow-firmware",
                    L"Laptop 14 Model A<.^.>7XY45AV#AKL<.^.>20WWABCD601#S001#D001<.^.>16.00 GB (15.84 GB usable)<.^.>"
                    L"12th Gen Processor<.^.>A01 Ver. 01.02.03 - 05/16/2023<.^.>KBC Version 11.22.00<.^.>SN12345678"
                    L"<.^.>3X7<.^.>0x0<.^.>yes"},
        SysInfoText{L"no-framework",
                    L"Laptop 14 Model A<.^.>7XY45AV#AKL<.^.>20WWABCD601#S001#D001<.^.>16.00 GB (15.84 GB usable)<.^.>"
                    L"12th Gen Processor<.^.>A01 Ver. 01.02.03 - 05/16/2023<.^.>KBC Version 11.22.00<.^.>SN12345678"
                    L"<.^.>3X7<.^.>0x0<.^.>0x0"},
        SysInfoText{L"taiwan",
                    L"Laptop 14 Model A<.^.>7XY45AV#AKL<.^.>20WWABCD601#S001#D001<.^.>16.00 GB (15.84 GB usable)<.^.>"
                    L"12th Gen Processor<.^.>A01 Ver. 01.02.03 - 05/16/2023<.^.>KBC Version 11.22.00<.^.>SN12345678"
                    L"<.^.>3X7<.^.>0x0<.^.>yes"},
        SysInfoText{L"no-bios-provider", L""}));

TEST(ReadSysInfo, FirmwareIsReadOncePerServiceRun)
{
    Pc pc;
    pc.InstallAndStart();
    const std::wstring first = ReadSysInfo();
    const std::size_t asked = pc.Records(L"wmi").size();
    ASSERT_NE(0u, asked);

    EXPECT_EQ(first, ReadSysInfo());

    EXPECT_EQ(asked, pc.Records(L"wmi").size());
}

TEST(ReadSysInfo, NobodyAsksTheFirmwareBeforeTheFirstRequest)
{
    Pc pc;

    pc.InstallAndStart();

    EXPECT_TRUE(pc.Records(L"wmi").empty());
}

TEST(ReadSysInfo, HangingFirmwareGivesAnEmptyAnswerAndTheServiceStillStops)
{
    Pc pc;
    pc.SetProfile(L"wmi ROOT\\wmi MS_SystemInformation", L"delay_ms", L"60000");
    pc.InstallAndStart();

    const ULONGLONG start = GetTickCount64();
    EXPECT_EQ(L"", ReadSysInfo());

    EXPECT_GE(GetTickCount64() - start, 24900u);
    EXPECT_TRUE(Eventually([&] {
        return testing::Value(pc.LogOf(L"RpcServer::SysInfo::CHotKeyHandler::GetSysInfo"),
                              Contains(L"Warning|Reading System information from BIOS is not completed."));
    }));
    pc.Control(L"stop");
    EXPECT_TRUE(pc.WaitForState(SERVICE_STOPPED));
}

TEST(HotKeyCtl, PrintsTheSystemInformation)
{
    Pc pc;
    pc.InstallAndStart();

    const ProgramResult result = RunClient(L"sysinfo");

    EXPECT_EQ(0u, result.exitCode);
    EXPECT_THAT(result.output, HasSubstr("Laptop 14 Model A"));
    EXPECT_THAT(result.output, HasSubstr("20WWABCD601#S001#D001"));
}

TEST(HotKeyCtl, FailsWhenNoServiceRuns)
{
    Pc pc;

    EXPECT_NE(0u, RunClient(L"presence").exitCode);
}
