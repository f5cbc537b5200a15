// The maker's BIOS namespace: the feature byte and the two halves of the password status.
#include "tests/unit/sysinfo/FakeWmi.h"
#include "tests/unit/sysinfo/Reader.h"

#include "tests/harness/LogCapture.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using testing::Contains;
using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::IsEmpty;

namespace
{

class BiosNamespace : public testing::Test
{
  protected:
    BiosNamespace()
    {
        wmi.Healthy();
        services = wmi.NewServices(kBios);
        log.Clear();
    }
    ~BiosNamespace() override { services->Release(); }

    // The records of one reader without the first, whose pointer differs from run to run.
    std::vector<std::wstring> LinesAfterEntry(const char* name) const
    {
        std::vector<std::wstring> lines = log.LinesOf(std::string{"RpcServer::WMIData::"} + name);
        EXPECT_FALSE(lines.empty());
        EXPECT_TRUE(lines.at(0).starts_with(L"TraceIn|IWbemServices = 0x")) << lines.at(0);
        lines.erase(lines.begin());
        return lines;
    }
    void PasswordRows(std::vector<FakeAnswer> answers) { SetRows(kPassword, L"IsSet", std::move(answers)); }
    void KeyRows(std::vector<FakeAnswer> answers) { SetRows(kAccessKey, L"Value", std::move(answers)); }
    void SetRows(const wchar_t* query, const wchar_t* property, std::vector<FakeAnswer> answers)
    {
        std::vector<FakeRow>& rows = wmi.Query(kBios, query).rows;
        rows.clear();
        for (FakeAnswer& answer : answers)
        {
            rows.push_back({{property, {std::move(answer)}}});
        }
    }

    FakeWmi wmi;
    Reader reader;
    LogCapture log;
    IWbemServices* services;
};

constexpr wchar_t kEndOfRows[] = L"Verbose|IWbemClassObject = 0x00000000, uReturn = 0, [hr:0x00000001]";
constexpr wchar_t kCompleted[] = L"Verbose|Completed reading from ROOT\\quil\\instrumentedbios";
constexpr wchar_t kCompletedByte[] = L"Verbose|Completed reading feature byte from ROOT\\quil\\instrumentedbios";
constexpr wchar_t kCompletedPassword[] =
    L"Verbose|Completed reading legacy BIOS password state from ROOT\\quil\\instrumentedbios";

#define EXPECT_LINES_OF(name, ...)                                                                                     \
    EXPECT_THAT(LinesAfterEntry(name), ElementsAreArray(std::vector<std::wstring>{__VA_ARGS__}))

} // namespace

TEST_F(BiosNamespace, FeatureByteOverwritesTheOemValue)
{
    reader.m_strFeatureByte = L"OEM";

    EXPECT_EQ(S_OK, reader.ReadFeatureByte(services));

    EXPECT_EQ(L"3X7", reader.m_strFeatureByte);
    EXPECT_LINES_OF("ReadFeatureByte", kEndOfRows, kCompletedByte, kCompleted, L"TraceOut|Return Value = 0x0");
    EXPECT_THAT(wmi.EventsOf(L"query"),
                ElementsAre(L"query WQL 0x30 SELECT * FROM QUILBIOS_BIOSString  WHERE Name='Feature Byte'"));
}

TEST_F(BiosNamespace, FeatureByteWithoutRowKeepsTheOemValue)
{
    reader.m_strFeatureByte = L"OEM";
    wmi.Query(kBios, kFeatureByte).rows.clear();

    EXPECT_EQ(S_OK, reader.ReadFeatureByte(services));

    EXPECT_EQ(L"OEM", reader.m_strFeatureByte);
}

TEST_F(BiosNamespace, FeatureByteThatCannotBeReadIsOneBlank)
{
    reader.m_strFeatureByte = L"OEM";
    wmi.Property(kBios, kFeatureByte, L"Value") = {Failure(WBEM_E_NOT_FOUND)};

    EXPECT_EQ(S_OK, reader.ReadFeatureByte(services));

    EXPECT_EQ(L" ", reader.m_strFeatureByte);
    EXPECT_LINES_OF("ReadFeatureByte", L"Error|Failed to get Feature Byte", kEndOfRows, kCompletedByte, kCompleted,
                    L"TraceOut|Return Value = 0x0");
    EXPECT_THAT(wmi.waits, ElementsAre(100u, 100u, 100u, 100u, 100u, 100u, 3000u));
}

TEST_F(BiosNamespace, EmptyFeatureByteIsReadAgain)
{
    wmi.Property(kBios, kFeatureByte, L"Value") = {Text(L""), Text(L"3X7")};

    EXPECT_EQ(S_OK, reader.ReadFeatureByte(services));

    EXPECT_EQ(L"3X7", reader.m_strFeatureByte);
    EXPECT_THAT(wmi.waits, ElementsAre(100u));
}

TEST_F(BiosNamespace, LastFeatureByteRowCounts)
{
    SetRows(kFeatureByte, L"Value", {Text(L"first"), Failure(WBEM_E_NOT_FOUND)});

    EXPECT_EQ(S_OK, reader.ReadFeatureByte(services));

    EXPECT_EQ(L" ", reader.m_strFeatureByte);
}

TEST_F(BiosNamespace, FeatureByteFallsBackToASecondQueryThatReadsNoRow)
{
    reader.m_strFeatureByte = L"OEM";
    wmi.Query(kBios, kFeatureByte).start = WBEM_E_INVALID_CLASS;
    wmi.Query(kBios, kFeatureByteSetting).rows = {{{L"Value", {Text(L"not read")}}}};
    wmi.noteInLog = true;

    EXPECT_EQ(S_OK, reader.ReadFeatureByte(services));

    EXPECT_EQ(L"OEM", reader.m_strFeatureByte);
    // The enumerator goes at once, before the reading counts as completed.
    std::vector<std::wstring> lines = log.FullLines();
    lines.erase(lines.begin());
    EXPECT_THAT(
        lines,
        ElementsAre(
            L"Verbose|system|query WQL 0x30 SELECT * FROM QUILBIOS_BIOSString  WHERE Name='Feature Byte'",
            L"Warning|RpcServer::WMIData::ReadFeatureByte|Query for QUILBIOS_BIOSString Feature Byte failed with error "
            L"[hr:0x80041010]. Trying with QUIL_BIOSSetting",
            L"Verbose|system|query WQL 0x30 SELECT * FROM QUIL_BIOSSetting  WHERE Name='Feature Byte'",
            L"Verbose|system|release rows",
            L"Verbose|RpcServer::WMIData::ReadFeatureByte|Completed reading feature byte from "
            L"ROOT\\quil\\instrumentedbios",
            L"Verbose|RpcServer::WMIData::ReadFeatureByte|Completed reading from ROOT\\quil\\instrumentedbios",
            L"TraceOut|RpcServer::WMIData::ReadFeatureByte|Return Value = 0x0"));
}

TEST_F(BiosNamespace, ResultOfTheSecondFeatureByteQueryIsHandedBack)
{
    wmi.Query(kBios, kFeatureByte).start = WBEM_E_INVALID_CLASS;
    wmi.Query(kBios, kFeatureByteSetting).start = S_FALSE;

    EXPECT_EQ(S_FALSE, reader.ReadFeatureByte(services));
}

TEST_F(BiosNamespace, FeatureByteFailsWithBothQueries)
{
    reader.m_strFeatureByte = L"OEM";
    wmi.Query(kBios, kFeatureByte).start = WBEM_E_INVALID_CLASS;
    wmi.Query(kBios, kFeatureByteSetting).start = WBEM_E_ACCESS_DENIED;

    EXPECT_EQ(WBEM_E_ACCESS_DENIED, reader.ReadFeatureByte(services));

    EXPECT_EQ(L"OEM", reader.m_strFeatureByte);
    EXPECT_LINES_OF(
        "ReadFeatureByte",
        L"Warning|Query for QUILBIOS_BIOSString Feature Byte failed with error [hr:0x80041010]. Trying with "
        L"QUIL_BIOSSetting",
        L"Error|Query for QUIL_BIOSSetting Feature Byte failed. [hr:0x80041003]", kCompleted,
        L"TraceOut|Return Value = 0x80041003");
}

TEST_F(BiosNamespace, NullEnumeratorOfTheFeatureByteSkipsTheFirstCompletionRecord)
{
    wmi.Query(kBios, kFeatureByte).noEnumerator = true;

    EXPECT_EQ(S_OK, reader.ReadFeatureByte(services));

    EXPECT_LINES_OF("ReadFeatureByte", L"Error|IEnumWbemClassObject = 0x00000000", kCompleted,
                    L"TraceOut|Return Value = 0x0");
}

TEST_F(BiosNamespace, FailingNextIsTheFeatureBytesResult)
{
    wmi.Query(kBios, kFeatureByte).end = WBEM_E_TRANSPORT_FAILURE;

    EXPECT_EQ(WBEM_E_TRANSPORT_FAILURE, reader.ReadFeatureByte(services));

    EXPECT_EQ(L"3X7", reader.m_strFeatureByte);
    EXPECT_LINES_OF("ReadFeatureByte", L"Verbose|IWbemClassObject = 0x00000000, uReturn = 0, [hr:0x80041015]",
                    kCompletedByte, kCompleted, L"TraceOut|Return Value = 0x80041015");
}

TEST_F(BiosNamespace, OtherSuccessOfNextIsHandedBack)
{
    wmi.Query(kBios, kFeatureByte).end = WBEM_S_TIMEDOUT;

    EXPECT_EQ(WBEM_S_TIMEDOUT, reader.ReadFeatureByte(services));
}

TEST_F(BiosNamespace, WithoutServicesEveryReaderFailsWithoutAQuery)
{
    BYTE status = 0x55;

    EXPECT_EQ(E_FAIL, reader.ReadFeatureByte(nullptr));
    EXPECT_EQ(E_FAIL, reader.ReadBiosPasswordStatusLegacy(nullptr, &status));
    EXPECT_EQ(E_FAIL, reader.ReadBiosPasswordStatusVeralock(nullptr, &status));

    EXPECT_THAT(wmi.EventsOf(L"query"), IsEmpty());
    EXPECT_LINES(log, L"TraceIn|IWbemServices = 0x0", L"TraceOut|Return Value = 0x80004005",
                 L"TraceIn|IWbemServices = 0x0", L"TraceOut|Return Value = 0x80004005", L"TraceIn|IWbemServices = 0x0",
                 L"TraceOut|Return Value = 0x80004005");
}

TEST_F(BiosNamespace, SetupPasswordIsBitZero)
{
    BYTE status = 0x55;

    EXPECT_EQ(S_OK, reader.ReadBiosPasswordStatusLegacy(services, &status));

    EXPECT_EQ(0x01, status);
    EXPECT_LINES_OF("ReadBiosPasswordStatusLegacy", kEndOfRows, kCompletedPassword, L"TraceOut|Return Value = 0x0");
    EXPECT_THAT(wmi.EventsOf(L"query"),
                ElementsAre(L"query WQL 0x30  SELECT IsSet FROM QUILBIOS_BIOSPassword WHERE Name='Setup Password'"));
}

TEST_F(BiosNamespace, SetupPasswordStatusShiftsWithEachRow)
{
    struct Case
    {
        std::vector<FakeAnswer> rows;
        BYTE expected;
    };
    const FakeAnswer set = Number(VT_I4, 1);
    const FakeAnswer clear = Number(VT_I4, 0);
    for (const Case& sample :
         {Case{{}, 0x00}, Case{{clear}, 0x00}, Case{{set}, 0x01}, Case{{set, set}, 0x03}, Case{{set, clear}, 0x02},
          Case{{clear, set}, 0x01}, Case{{set, set, set, set, set, set, set, set, clear}, 0xFE},
          Case{{Number(VT_BOOL, VARIANT_TRUE)}, 0x01}, Case{{Number(VT_I4, -256)}, 0x01}})
    {
        PasswordRows(sample.rows);
        BYTE status = 0x55;
        EXPECT_EQ(S_OK, reader.ReadBiosPasswordStatusLegacy(services, &status));
        EXPECT_EQ(sample.expected, status) << sample.rows.size() << " rows";
    }
}

TEST_F(BiosNamespace, SetupPasswordThatCannotBeReadLeavesTheStatus)
{
    PasswordRows({Number(VT_I4, 1), Failure(WBEM_E_NOT_FOUND)});
    BYTE status = 0x55;

    EXPECT_EQ(S_OK, reader.ReadBiosPasswordStatusLegacy(services, &status));

    EXPECT_EQ(0x01, status);
    EXPECT_LINES_OF("ReadBiosPasswordStatusLegacy", L"Error|Failed to get BIOS Credential State", kEndOfRows,
                    kCompletedPassword, L"TraceOut|Return Value = 0x0");
    EXPECT_THAT(wmi.waits, ElementsAre(100u, 100u, 100u, 100u, 100u, 100u, 3000u));
}

TEST_F(BiosNamespace, FailingSetupPasswordQueryHasNoCompletionRecord)
{
    wmi.Query(kBios, kPassword).start = WBEM_E_INVALID_CLASS;
    BYTE status = 0x55;

    EXPECT_EQ(WBEM_E_INVALID_CLASS, reader.ReadBiosPasswordStatusLegacy(services, &status));

    EXPECT_EQ(0x00, status);
    EXPECT_LINES_OF("ReadBiosPasswordStatusLegacy",
                    L"Error|Query for Legacy BIOS Password value failed. [hr:0x80041010]",
                    L"TraceOut|Return Value = 0x80041010");
}

TEST_F(BiosNamespace, NullEnumeratorOfTheSetupPasswordHasNoCompletionRecord)
{
    wmi.Query(kBios, kPassword).noEnumerator = true;
    BYTE status = 0x55;

    EXPECT_EQ(S_OK, reader.ReadBiosPasswordStatusLegacy(services, &status));

    EXPECT_EQ(0x00, status);
    EXPECT_LINES_OF("ReadBiosPasswordStatusLegacy", L"Error|IEnumWbemClassObject = 0x00000000",
                    L"TraceOut|Return Value = 0x0");
}

TEST_F(BiosNamespace, FailingNextIsTheSetupPasswordsResult)
{
    wmi.Query(kBios, kPassword).end = WBEM_E_TRANSPORT_FAILURE;
    BYTE status = 0;

    EXPECT_EQ(WBEM_E_TRANSPORT_FAILURE, reader.ReadBiosPasswordStatusLegacy(services, &status));

    EXPECT_EQ(0x01, status);
}

TEST_F(BiosNamespace, AccessKeyIsBitFive)
{
    KeyRows({Text(L"1234")});
    BYTE status = 0x55;

    EXPECT_EQ(S_OK, reader.ReadBiosPasswordStatusVeralock(services, &status));

    EXPECT_EQ(0x20, status);
    EXPECT_LINES_OF("ReadBiosPasswordStatusVeralock", kEndOfRows, L"Verbose|Total Settings fetched for Veralock = 1",
                    kCompletedPassword, L"TraceOut|Return Value = 0x0");
    EXPECT_THAT(wmi.EventsOf(L"query"),
                ElementsAre(L"query WQL 0x30 SELECT Value FROM QUILBIOS_BIOSString where Name='Enhanced BIOS "
                            L"Authentication Mode Local Access Key 1'"));
}

TEST_F(BiosNamespace, EmptyAccessKeyIsReadOnce)
{
    KeyRows({Text(L"")});
    BYTE status = 0x55;

    EXPECT_EQ(S_OK, reader.ReadBiosPasswordStatusVeralock(services, &status));

    EXPECT_EQ(0x00, status);
    EXPECT_THAT(wmi.EventsOf(L"get"), ElementsAre(L"get Value"));
    EXPECT_THAT(wmi.waits, IsEmpty());
}

TEST_F(BiosNamespace, AccessKeyStatusShiftsWithEachRow)
{
    struct Case
    {
        std::vector<FakeAnswer> rows;
        BYTE expected;
    };
    const FakeAnswer set = Text(L"key");
    const FakeAnswer clear = Text(L"");
    for (const Case& sample :
         {Case{{set}, 0x20}, Case{{clear}, 0x00}, Case{{set, set}, 0x60}, Case{{set, clear}, 0x40},
          Case{{clear, set}, 0x20}, Case{{set, set, set}, 0xE0}, Case{{set, clear, clear, clear}, 0x00}})
    {
        KeyRows(sample.rows);
        BYTE status = 0x55;
        EXPECT_EQ(S_OK, reader.ReadBiosPasswordStatusVeralock(services, &status));
        EXPECT_EQ(sample.expected, status) << sample.rows.size() << " rows";
    }
}

TEST_F(BiosNamespace, BiosWithoutTheAuthenticationModeIsNoError)
{
    KeyRows({});
    BYTE status = 0x55;

    EXPECT_EQ(S_OK, reader.ReadBiosPasswordStatusVeralock(services, &status));

    EXPECT_EQ(0x00, status);
    EXPECT_LINES_OF("ReadBiosPasswordStatusVeralock", kEndOfRows,
                    L"Information|Could not found Veralock Settings. This is expected from old BIOS and old platforms",
                    L"Verbose|Total Settings fetched for Veralock = 0", kCompletedPassword,
                    L"TraceOut|Return Value = 0x0");
}

TEST_F(BiosNamespace, AccessKeyThatCannotBeReadCountsAsASettingAndLeavesTheStatus)
{
    KeyRows({Text(L"key"), Failure(WBEM_E_NOT_FOUND)});
    BYTE status = 0x55;

    EXPECT_EQ(S_OK, reader.ReadBiosPasswordStatusVeralock(services, &status));

    EXPECT_EQ(0x20, status);
    EXPECT_LINES_OF("ReadBiosPasswordStatusVeralock", L"Error|Failed to get BIOS Credential State", kEndOfRows,
                    L"Verbose|Total Settings fetched for Veralock = 2", kCompletedPassword,
                    L"TraceOut|Return Value = 0x0");
    EXPECT_THAT(wmi.waits, ElementsAre(100u, 3000u));
}

TEST_F(BiosNamespace, FailingAccessKeyQueryHasNoCompletionRecord)
{
    wmi.Query(kBios, kAccessKey).start = WBEM_E_INVALID_CLASS;
    BYTE status = 0x55;

    EXPECT_EQ(WBEM_E_INVALID_CLASS, reader.ReadBiosPasswordStatusVeralock(services, &status));

    EXPECT_EQ(0x00, status);
    EXPECT_LINES_OF("ReadBiosPasswordStatusVeralock",
                    L"Error|Query for Veralock BIOS Password status failed. [hr:0x80041010]",
                    L"TraceOut|Return Value = 0x80041010");
}

TEST_F(BiosNamespace, NullEnumeratorOfTheAccessKeyHasNoCompletionRecord)
{
    wmi.Query(kBios, kAccessKey).noEnumerator = true;
    BYTE status = 0x55;

    EXPECT_EQ(S_OK, reader.ReadBiosPasswordStatusVeralock(services, &status));

    EXPECT_LINES_OF("ReadBiosPasswordStatusVeralock", L"Error|IEnumWbemClassObject = 0x00000000",
                    L"TraceOut|Return Value = 0x0");
}

TEST_F(BiosNamespace, FailingNextIsTheAccessKeysResult)
{
    KeyRows({Text(L"key")});
    wmi.Query(kBios, kAccessKey).end = WBEM_E_TRANSPORT_FAILURE;
    BYTE status = 0;

    EXPECT_EQ(WBEM_E_TRANSPORT_FAILURE, reader.ReadBiosPasswordStatusVeralock(services, &status));

    EXPECT_EQ(0x20, status);
    EXPECT_THAT(LinesAfterEntry("ReadBiosPasswordStatusVeralock"), Contains(kCompletedPassword));
}

TEST_F(BiosNamespace, StatusJoinsBothNibbles)
{
    struct Case
    {
        std::vector<FakeAnswer> passwords;
        std::vector<FakeAnswer> keys;
        const wchar_t* expected;
    };
    const FakeAnswer set = Number(VT_I4, 1);
    const FakeAnswer clear = Number(VT_I4, 0);
    const FakeAnswer key = Text(L"key");
    const FakeAnswer noKey = Text(L"");
    for (const Case& sample :
         {Case{{clear}, {noKey}, L"0x0"}, Case{{set}, {noKey}, L"0x1"}, Case{{clear}, {key}, L"0x20"},
          Case{{set}, {key}, L"0x21"}, Case{{set}, {}, L"0x1"}, Case{{}, {}, L"0x0"}, Case{{set, set}, {noKey}, L"0x3"},
          Case{{set, set, set, set, set}, {key, key, key}, L"0xEF"}})
    {
        PasswordRows(sample.passwords);
        KeyRows(sample.keys);
        EXPECT_EQ(S_OK, reader.ReadBiosPasswordStatus(services));
        EXPECT_EQ(sample.expected, reader.m_strBiosPasswordStatus);
    }
}

TEST_F(BiosNamespace, StatusRecordsBothResults)
{
    wmi.Query(kBios, kPassword).start = WBEM_E_ACCESS_DENIED;
    wmi.Query(kBios, kAccessKey).start = WBEM_E_INVALID_CLASS;

    EXPECT_EQ(static_cast<HRESULT>(0x80041013), reader.ReadBiosPasswordStatus(services));

    EXPECT_EQ(L"0x0", reader.m_strBiosPasswordStatus);
    EXPECT_LINES_OF("ReadBiosPasswordStatus",
                    L"TraceOut|Password Return Value = 0x80041003, Veralock Return Value = 0x80041010");
}

TEST_F(BiosNamespace, StatusOfOneReaderCountsWhenTheOtherFails)
{
    wmi.Query(kBios, kPassword).start = WBEM_E_ACCESS_DENIED;
    KeyRows({Text(L"key")});

    EXPECT_EQ(WBEM_E_ACCESS_DENIED, reader.ReadBiosPasswordStatus(services));

    EXPECT_EQ(L"0x20", reader.m_strBiosPasswordStatus);
}

TEST_F(BiosNamespace, KeyIsNeverLoggedByTheStatusReaders)
{
    KeyRows({Text(L"secret-key")});

    EXPECT_EQ(S_OK, reader.ReadBiosPasswordStatus(services));

    for (const LogRecord& record : log.Records())
    {
        if (record.function != "RpcServer::WMIData::GetBIOSValue")
        {
            EXPECT_EQ(std::wstring::npos, record.message.find(L"secret-key")) << record.function;
        }
    }
}
