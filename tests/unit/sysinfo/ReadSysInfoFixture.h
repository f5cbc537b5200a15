// What the tests of a whole reading share: a healthy PC, a reader, and what the reader logged.
#pragma once

#include "tests/unit/sysinfo/FakeWmi.h"
#include "tests/unit/sysinfo/Reader.h"

#include "tests/harness/LogCapture.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

inline constexpr wchar_t kLaptop[] =
    L"Laptop 14 Model A<.^.>7XY45AV#AKL<.^.>20WWABCD601#S001#D001<.^.>"
    L"16.00 GB (15.84 GB usable)<.^.>12th Gen Processor<.^.>A01 Ver. 01.02.03 - 05/16/2023"
    L"<.^.>KBC Version 11.22.00<.^.>SN12345678<.^.>3X7<.^.>0x1";

class ReadSysInfo : public testing::Test
{
  protected:
    ReadSysInfo()
    {
        wmi.Healthy();
        log.Clear();
        wmi.events.clear();
    }

    // What ReadSysInfo itself wrote.
    std::vector<std::wstring> OwnLines() const { return log.LinesOf("RpcServer::WMIData::ReadSysInfo"); }

    FakeWmi wmi;
    Reader reader;
    LogCapture log;
};

#define EXPECT_OWN_LINES(...) EXPECT_THAT(OwnLines(), testing::ElementsAreArray(std::vector<std::wstring>{__VA_ARGS__}))

inline constexpr wchar_t kEndOfRows[] = L"Verbose|IWbemClassObject = 0x00000000, uReturn = 0, [hr:0x00000001]";
