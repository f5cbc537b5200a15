// Each of the reading's queries: it fails to start, gives nothing to enumerate, ends early, has no rows.
#include "tests/unit/sysinfo/ReadSysInfoFixture.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using testing::Contains;

namespace
{

struct QueryPlace
{
    const wchar_t* path;
    const wchar_t* query;
};

class ReadSysInfoQueries : public ReadSysInfo, public testing::WithParamInterface<QueryPlace>
{
};

} // namespace

INSTANTIATE_TEST_SUITE_P(Every, ReadSysInfoQueries,
                         testing::Values(QueryPlace{kWmi, kSystemInformation}, QueryPlace{kCimv2, kMemoryModules},
                                         QueryPlace{kCimv2, kComputerSystem}, QueryPlace{kCimv2, kProcessors},
                                         QueryPlace{kCimv2, kProduct}));

TEST_P(ReadSysInfoQueries, FailingStartEndsTheReading)
{
    wmi.Query(GetParam().path, GetParam().query).start = WBEM_E_INVALID_CLASS;

    EXPECT_EQ(WBEM_E_INVALID_CLASS, reader.ReadSysInfo());

    EXPECT_EQ(L"", reader.GetSysInfoText());
    const std::vector<std::wstring> lines = OwnLines();
    EXPECT_EQ(L"Error|Query for system information failed. [hr:0x80041010]", lines[lines.size() - 2]);
    EXPECT_EQ(L"TraceOut|", lines.back());
    EXPECT_EQ(std::wstring{L"query WQL 0x30 "} + GetParam().query, wmi.EventsOf(L"query").back());
}

TEST_P(ReadSysInfoQueries, NullEnumeratorEndsTheReadingWithTheQuerysResult)
{
    wmi.Query(GetParam().path, GetParam().query).noEnumerator = true;
    wmi.Query(GetParam().path, GetParam().query).start = S_FALSE;

    EXPECT_EQ(S_FALSE, reader.ReadSysInfo());

    EXPECT_EQ(L"", reader.GetSysInfoText());
    const std::vector<std::wstring> lines = OwnLines();
    EXPECT_EQ(L"Error|IEnumWbemClassObject = 0x00000000", lines[lines.size() - 2]);
    EXPECT_EQ(L"TraceOut|", lines.back());
}

TEST_P(ReadSysInfoQueries, FailingNextOnlyEndsItsRows)
{
    wmi.Query(GetParam().path, GetParam().query).end = WBEM_E_TRANSPORT_FAILURE;

    EXPECT_EQ(S_OK, reader.ReadSysInfo());

    EXPECT_EQ(kLaptop, reader.GetSysInfoText());
    EXPECT_THAT(OwnLines(), Contains(L"Verbose|IWbemClassObject = 0x00000000, uReturn = 0, [hr:0x80041015]"));
}

TEST_P(ReadSysInfoQueries, CountOfZeroEndsTheRowsAndAnObjectBesideItIsReleased)
{
    FakeQuery& query = wmi.Query(GetParam().path, GetParam().query);
    query.end = S_OK;
    query.rowBesideEnd = true;

    EXPECT_EQ(S_OK, reader.ReadSysInfo());

    EXPECT_EQ(kLaptop, reader.GetSysInfoText());
    EXPECT_EQ(0, wmi.Alive());
    std::vector<std::wstring> ends;
    for (const std::wstring& line : OwnLines())
    {
        if (line.starts_with(L"Verbose|IWbemClassObject") && line != kEndOfRows)
        {
            ends.push_back(line);
        }
    }
    ASSERT_EQ(1u, ends.size());
    EXPECT_FALSE(ends[0].starts_with(L"Verbose|IWbemClassObject = 0x00000000,")) << "the pointer is shown";
    EXPECT_TRUE(ends[0].ends_with(L", uReturn = 0, [hr:0x00000000]"));
}

TEST_P(ReadSysInfoQueries, WithoutRowsTheReadingGoesOn)
{
    wmi.Query(GetParam().path, GetParam().query).rows.clear();

    EXPECT_EQ(S_OK, reader.ReadSysInfo());

    EXPECT_NE(L"", reader.GetSysInfoText());
    EXPECT_EQ(0, wmi.Alive());
}
