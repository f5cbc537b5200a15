// What each row of the firmware's and the computer's classes puts into the record.
#include "tests/unit/sysinfo/FakeWmi.h"
#include "tests/unit/sysinfo/Reader.h"

#include "tests/harness/LogCapture.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <limits>

using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Not;

namespace
{

class SystemData : public testing::Test
{
  protected:
    SystemData()
    {
        wmi.Healthy();
        log.Clear();
    }

    void Read() { EXPECT_EQ(S_OK, reader.ReadSysInfo()); }
    std::vector<std::wstring> OwnLines() const { return log.LinesOf("RpcServer::WMIData::ReadSysInfo"); }
    bool Logged(const wchar_t* line) const
    {
        const std::vector<std::wstring> lines = OwnLines();
        return std::ranges::find(lines, line) != lines.end();
    }

    std::vector<FakeAnswer>& Firmware(const wchar_t* name) { return wmi.Property(kWmi, kSystemInformation, name); }
    void Sku(const wchar_t* sku) { Firmware(L"SystemSKU") = {Text(sku)}; }
    void Family(const wchar_t* family) { Firmware(L"SystemFamily") = {Text(family)}; }
    void Modules(std::vector<FakeAnswer> capacities)
    {
        std::vector<FakeRow>& rows = wmi.Query(kCimv2, kMemoryModules).rows;
        rows.clear();
        for (FakeAnswer& capacity : capacities)
        {
            rows.push_back({{L"Capacity", {std::move(capacity)}}});
        }
    }
    std::vector<FakeAnswer>& Computer(const wchar_t* name) { return wmi.Property(kCimv2, kComputerSystem, name); }
    void Usable(const wchar_t* bytes) { Computer(L"TotalPhysicalMemory") = {Text(bytes)}; }
    void OemStrings(std::vector<std::wstring> strings) { Computer(L"OEMStringArray") = {Strings(std::move(strings))}; }
    void NoFeatureByteInBios() { wmi.Query(kBios, kFeatureByte).rows.clear(); }

    FakeWmi wmi;
    Reader reader;
    LogCapture log;
};

} // namespace

TEST_F(SystemData, FirmwareFieldsArriveInTheirMembers)
{
    Read();

    EXPECT_EQ(L"Laptop 14 Model A", reader.m_strSystemProductName);
    EXPECT_EQ(L"7XY45AV#AKL", reader.m_strSystemSKU);
    EXPECT_EQ(L"A01 Ver. 01.02.03 - 05/16/2023", reader.m_strBIOSVersion);
    EXPECT_EQ(L"KBC Version 11.22.00", reader.m_strBaseBoardVersion);
    EXPECT_EQ(L"X1_5336AN Pro", reader.m_strSystemFamily);
    EXPECT_EQ(L"12th Gen Processor", reader.m_strProcessorName);
    EXPECT_EQ(L"SN12345678", reader.m_strSerialNumber);
}

struct PropertyFailure
{
    const wchar_t* path;
    const wchar_t* query;
    const wchar_t* property;
    const wchar_t* record;
};

class EachProperty : public SystemData, public testing::WithParamInterface<PropertyFailure>
{
};

INSTANTIATE_TEST_SUITE_P(
    Every, EachProperty,
    testing::Values(
        PropertyFailure{kWmi, kSystemInformation, L"SystemProductName", L"Error|Failed to get SystemProductName "},
        PropertyFailure{kWmi, kSystemInformation, L"SystemSKU", L"Error|Failed to get SystemSKU "},
        PropertyFailure{kWmi, kSystemInformation, L"BIOSVersion", L"Error|Failed to get BIOSVersion "},
        PropertyFailure{kWmi, kSystemInformation, L"BIOSReleaseDate", L"Error|Failed to get BIOSReleaseDate "},
        PropertyFailure{kWmi, kSystemInformation, L"BaseBoardVersion", L"Error|Failed to get BaseBoardVersion "},
        PropertyFailure{kWmi, kSystemInformation, L"SystemFamily", L"Error|Failed to get SystemFamily "},
        PropertyFailure{kCimv2, kComputerSystem, L"TotalPhysicalMemory", L"Error|Failed to get Capacity"},
        PropertyFailure{kCimv2, kProcessors, L"Name", L"Error|Failed to get ProcessorName"},
        PropertyFailure{kCimv2, kProduct, L"IdentifyingNumber", L"Error|Failed to get IdentifyingNumber"}));

TEST_P(EachProperty, FailureIsLoggedAndTheReadingGoesOn)
{
    wmi.Property(GetParam().path, GetParam().query, GetParam().property) = {Failure(WBEM_E_NOT_FOUND)};

    Read();

    EXPECT_TRUE(Logged(GetParam().record));
    EXPECT_NE(L"", reader.GetSysInfoText());
    EXPECT_THAT(wmi.waits, ElementsAre(100u, 100u, 100u, 100u, 100u, 100u, 3000u));
}

TEST_P(EachProperty, EmptyValueIsReadAgain)
{
    std::vector<FakeAnswer>& answers = wmi.Property(GetParam().path, GetParam().query, GetParam().property);
    answers.insert(answers.begin(), Text(L""));

    Read();

    EXPECT_THAT(wmi.waits, ElementsAre(100u));
    EXPECT_FALSE(Logged(GetParam().record));
}

TEST_F(SystemData, BiosVersionWithoutDateEndsInTheSeparator)
{
    Firmware(L"BIOSReleaseDate") = {Failure(WBEM_E_NOT_FOUND)};

    Read();

    EXPECT_EQ(L"A01 Ver. 01.02.03 - ", reader.m_strBIOSVersion);
}

TEST_F(SystemData, BiosDateWithoutVersionBeginsWithTheSeparator)
{
    Firmware(L"BIOSVersion") = {Failure(WBEM_E_NOT_FOUND)};

    Read();

    EXPECT_EQ(L" - 05/16/2023", reader.m_strBIOSVersion);
}

TEST_F(SystemData, SecondFirmwareRowOverwritesTheFirst)
{
    std::vector<FakeRow>& rows = wmi.Query(kWmi, kSystemInformation).rows;
    rows.push_back(rows[0]);
    rows[1][L"SystemProductName"] = {Text(L"Second")};

    Read();

    EXPECT_EQ(L"Second", reader.m_strSystemProductName);
    EXPECT_EQ(L"A01 Ver. 01.02.03 - 05/16/2023", reader.m_strBIOSVersion);
}

TEST_F(SystemData, ListedOptionCodeSetsTheFlagWithOneRecord)
{
    Sku(L"7XY45AV#AKL");

    Read();

    EXPECT_TRUE(reader.m_bUseCtrlAltJ);
    EXPECT_EQ(1, std::ranges::count(OwnLines(), L"Verbose|Set m_bUseCtrlAltJ to TRUE"));
}

TEST_F(SystemData, OptionCodeOutsideTheTableLeavesTheFlag)
{
    Sku(L"8AA12UT#ABA");

    Read();

    EXPECT_FALSE(reader.m_bUseCtrlAltJ);
    EXPECT_FALSE(Logged(L"Verbose|Set m_bUseCtrlAltJ to TRUE"));
}

TEST_F(SystemData, SkuWithoutHashIsItsOwnCode)
{
    Sku(L"akl");

    Read();

    EXPECT_TRUE(reader.m_bUseCtrlAltJ);
}

TEST_F(SystemData, SkuThatCannotBeReadLeavesTheFlag)
{
    Firmware(L"SystemSKU") = {Failure(E_FAIL)};

    Read();

    EXPECT_FALSE(reader.m_bUseCtrlAltJ);
    EXPECT_EQ(L"null", reader.m_strSystemSKU);
}

TEST_F(SystemData, ListedFamilyCodeSetsTheFlagSilently)
{
    Family(L"X1_53367f Pro");

    Read();

    EXPECT_TRUE(reader.m_bFamilyCodeMatch);
    EXPECT_THAT(OwnLines(), Not(Contains(testing::HasSubstr(L"amily"))));
}

TEST_F(SystemData, FamilyCodesOutsideTheTableLeaveTheFlag)
{
    for (const wchar_t* family : {L"X1_5336AN Pro", L"Pro 7F", L"UT", L" UT"})
    {
        Reader other;
        Family(family);
        EXPECT_EQ(S_OK, other.ReadSysInfo());
        EXPECT_FALSE(other.m_bFamilyCodeMatch) << family;
    }
}

TEST_F(SystemData, ModulesAreAddedUp)
{
    Read();

    EXPECT_EQ(L"16.00 GB (15.84 GB usable)", reader.m_strMemory);
    EXPECT_EQ(16384, reader.m_llInstalledMemory);
}

TEST_F(SystemData, SmallMemoryIsInMegabytes)
{
    Modules({Text(L"1073741824")});
    Usable(L"1019215872");

    Read();

    EXPECT_EQ(L"1024 MB (972 MB usable)", reader.m_strMemory);
}

TEST_F(SystemData, AmountsAreCutTowardZero)
{
    Modules({Text(L"1073741823")});
    Usable(L"1073741823");

    Read();

    EXPECT_EQ(L"1023 MB (1023 MB usable)", reader.m_strMemory);
}

TEST_F(SystemData, NegativeAmountsAreCutTowardZero)
{
    Modules({Text(L"-1048577")});
    Usable(L"-1");

    Read();

    EXPECT_EQ(L"-1 MB (0 MB usable)", reader.m_strMemory);
}

TEST_F(SystemData, ModuleThatCannotBeReadIsSkipped)
{
    Modules({Text(L"8589934592"), Failure(WBEM_E_NOT_FOUND), Text(L"8589934592")});

    Read();

    EXPECT_TRUE(Logged(L"Error|Failed to get Capacity"));
    EXPECT_EQ(L"16.00 GB (15.84 GB usable)", reader.m_strMemory);
}

TEST_F(SystemData, CapacityEndsAtTheFirstForeignCharacter)
{
    Modules({Text(L" 8589934592 bytes"), Text(L"8589934592.9"), Text(L"unknown")});

    Read();

    EXPECT_EQ(16384, reader.m_llInstalledMemory);
}

TEST_F(SystemData, SumOfHugeModulesWrapsAround)
{
    Modules({Text(L"9223372036854775807"), Text(L"9223372036854775807"), Text(L"1048578")});

    Read();

    // 2 * (2^63 - 1) + 1048578 is 2^64 + 1048576.
    EXPECT_EQ(1, reader.m_llInstalledMemory);
}

TEST_F(SystemData, WithoutUsableMemoryThereIsNoTextAndTheSumStaysInBytes)
{
    Computer(L"TotalPhysicalMemory") = {Failure(WBEM_E_NOT_FOUND)};

    Read();

    EXPECT_EQ(L"null", reader.m_strMemory);
    EXPECT_EQ(17179869184, reader.m_llInstalledMemory);
    // The OEM strings of the row are read all the same.
    EXPECT_EQ(L"20WWABCD601#S001#D001", reader.m_strBuild);
}

TEST_F(SystemData, OemStringsGiveFeatureByteAndBuild)
{
    NoFeatureByteInBios();

    Read();

    EXPECT_EQ(L"3X7", reader.m_strFeatureByte);
    EXPECT_EQ(L"20WWABCD601#S001#D001", reader.m_strBuild);
    EXPECT_FALSE(Logged(L"Verbose|Do not see FBYTE# tag."));
    EXPECT_FALSE(Logged(L"Verbose|Do not see any semicolon delimiter after FBYTE#."));
    EXPECT_FALSE(Logged(L"Verbose|Do not see BUILDID# tag."));
    EXPECT_FALSE(Logged(L"Verbose|Do not see any semicolon delimiter after BUILDID#."));
}

TEST_F(SystemData, OemStringsAreJoinedBeforeTheyAreSearched)
{
    NoFeatureByteInBios();
    OemStrings({L"FBY", L"TE#3", L"X7", L";BUILDID#20WWABCD601#S0", L"01#D001;"});

    Read();

    EXPECT_EQ(L"3X7", reader.m_strFeatureByte);
    EXPECT_EQ(L"20WWABCD601#S001#D001", reader.m_strBuild);
}

TEST_F(SystemData, MissingTagsGiveOneBlankEach)
{
    NoFeatureByteInBios();
    OemStrings({L"ABC"});

    Read();

    EXPECT_EQ(L" ", reader.m_strFeatureByte);
    EXPECT_EQ(L" ", reader.m_strBuild);
    EXPECT_TRUE(Logged(L"Verbose|Do not see FBYTE# tag."));
    EXPECT_TRUE(Logged(L"Verbose|Do not see BUILDID# tag."));
    EXPECT_THAT(reader.GetSysInfoText(), testing::HasSubstr(L"<.^.> <.^.>"));
}

TEST_F(SystemData, TagsWithoutSemicolonReachToTheEnd)
{
    NoFeatureByteInBios();
    OemStrings({L"FBYTE#3X7", L"BUILDID#20WWABCD601#S001#D001"});

    Read();

    EXPECT_EQ(L"3X7BUILDID#20WWABCD601#S001#D001", reader.m_strFeatureByte);
    EXPECT_EQ(L"20WWABCD601#S001#D001", reader.m_strBuild);
    EXPECT_TRUE(Logged(L"Verbose|Do not see any semicolon delimiter after FBYTE#."));
    EXPECT_TRUE(Logged(L"Verbose|Do not see any semicolon delimiter after BUILDID#."));
}

TEST_F(SystemData, OtherBuildIdsCarryTheRecoverySuffix)
{
    OemStrings({L"BUILDID#ABC#1#2;"});

    Read();

    EXPECT_EQ(L"ABC#1#2 (Recovery Media Used)", reader.m_strBuild);
}

TEST_F(SystemData, EmptyBuildIdCarriesTheRecoverySuffix)
{
    OemStrings({L"BUILDID#;"});

    Read();

    EXPECT_EQ(L" (Recovery Media Used)", reader.m_strBuild);
}

TEST_F(SystemData, LongBuildIdIsJudgedByItsForm)
{
    const std::wstring id = std::wstring(60000, L'A') + L"#S001#D001";
    OemStrings({L"BUILDID#" + id + L";"});

    Read();

    EXPECT_EQ(id, reader.m_strBuild);
}

TEST_F(SystemData, WithoutOemStringsTheBuildFileIsNotAskedFor)
{
    NoFeatureByteInBios();
    for (const std::vector<FakeAnswer>& answers :
         {std::vector<FakeAnswer>{Strings({})}, {Strings({L"", L""})}, {Failure(WBEM_E_NOT_FOUND)}, {Null()}})
    {
        Reader other;
        log.Clear();
        Computer(L"OEMStringArray") = answers;
        EXPECT_EQ(S_OK, other.ReadSysInfo());
        EXPECT_THAT(log.LinesOf("RpcServer::WMIData::ReadBuildFromFile"), IsEmpty());
        EXPECT_EQ(L"null", other.m_strBuild);
        EXPECT_EQ(L"null", other.m_strFeatureByte);
    }
}

TEST_F(SystemData, OemStringsOfAnotherTypeCountAsNone)
{
    NoFeatureByteInBios();
    const FakeAnswer numbers = [](VARIANT* value) {
        V_VT(value) = VT_ARRAY | VT_I4;
        V_ARRAY(value) = SafeArrayCreateVector(VT_I4, 0, 3);
        return S_OK;
    };
    const FakeAnswer noArray = [](VARIANT* value) {
        V_VT(value) = VT_ARRAY | VT_BSTR;
        V_ARRAY(value) = nullptr;
        return S_OK;
    };
    const FakeAnswer square = [](VARIANT* value) {
        SAFEARRAYBOUND bounds[2] = {{1, 0}, {1, 0}};
        V_VT(value) = VT_ARRAY | VT_BSTR;
        V_ARRAY(value) = SafeArrayCreate(VT_BSTR, 2, bounds);
        const BSTR element = SysAllocString(L"FBYTE#3X7;");
        LONG place[2] = {0, 0};
        SafeArrayPutElement(V_ARRAY(value), place, element);
        SysFreeString(element);
        return S_OK;
    };
    for (const FakeAnswer& answer : {Text(L"FBYTE#3X7;"), Number(VT_I4, 5), numbers, noArray, square})
    {
        Reader other;
        Computer(L"OEMStringArray") = {answer};
        EXPECT_EQ(S_OK, other.ReadSysInfo());
        EXPECT_EQ(L"null", other.m_strFeatureByte);
        EXPECT_EQ(L"null", other.m_strBuild);
    }
}

TEST_F(SystemData, OemStringsAreReadOnceWithoutRetry)
{
    Computer(L"OEMStringArray") = {Failure(WBEM_E_NOT_FOUND)};

    Read();

    EXPECT_THAT(wmi.EventsOf(L"get OEMStringArray"), ElementsAre(L"get OEMStringArray"));
    EXPECT_THAT(wmi.waits, IsEmpty());
}

TEST_F(SystemData, OemStringsAreGivenBack)
{
    int arrays = 0;
    IMPORT_HOOK(VariantClear)
    ([&](VARIANT* value) {
        arrays += V_VT(value) == (VT_ARRAY | VT_BSTR) ? 1 : 0;
        return hook_VariantClear.RealOfCurrent()(value);
    });

    Read();

    EXPECT_EQ(1, arrays);
}

TEST_F(SystemData, HugeOemArrayWithNullsAndNulsIsReadWhole)
{
    NoFeatureByteInBios();
    std::vector<std::wstring> strings(20000, L"ABC");
    strings.push_back(std::wstring{L"FBYTE#3X7;\0hidden", 17});
    strings.push_back(L"BUILDID#20WWABCD601#S001#D001;");
    Computer(L"OEMStringArray") = {[strings](VARIANT* value) {
        const HRESULT result = Strings(strings)(value);
        BSTR* elements = nullptr;
        SafeArrayAccessData(V_ARRAY(value), reinterpret_cast<void**>(&elements));
        SysFreeString(elements[7]);
        elements[7] = nullptr;
        SafeArrayUnaccessData(V_ARRAY(value));
        return result;
    }};

    Read();

    EXPECT_EQ(L"3X7", reader.m_strFeatureByte);
    EXPECT_EQ(L"20WWABCD601#S001#D001", reader.m_strBuild);
}

TEST_F(SystemData, SecondComputerRowDividesTheSumAgain)
{
    std::vector<FakeRow>& rows = wmi.Query(kCimv2, kComputerSystem).rows;
    rows.push_back(rows[0]);

    Read();

    EXPECT_EQ(L"0.00 GB (15.84 GB usable)", reader.m_strMemory);
    EXPECT_EQ(0, reader.m_llInstalledMemory);
}

TEST_F(SystemData, LastProcessorAndSerialNumberCount)
{
    wmi.Query(kCimv2, kProcessors).rows.push_back({{L"Name", {Text(L"Second Processor")}}});
    wmi.Query(kCimv2, kProduct).rows.push_back({{L"IdentifyingNumber", {Text(L"  SN 2  ")}}});

    Read();

    EXPECT_EQ(L"Second Processor", reader.m_strProcessorName);
    EXPECT_EQ(L"  SN 2  ", reader.m_strSerialNumber);
}

TEST_F(SystemData, BuildRecordsStandInTheirOrder)
{
    OemStrings({L"nothing"});

    Read();

    std::vector<std::wstring> lines;
    for (const std::wstring& line : log.FullLines())
    {
        if (line.find(L"tag.") != std::wstring::npos || line.find(L"ReadBuildFromFile|") != std::wstring::npos)
        {
            lines.push_back(line);
        }
    }
    EXPECT_THAT(lines, ElementsAre(L"Verbose|RpcServer::WMIData::ReadSysInfo|Do not see FBYTE# tag.",
                                   L"TraceIn|RpcServer::WMIData::ReadBuildFromFile|",
                                   L"Error|RpcServer::WMIData::ReadBuildFromFile|Environment variable does not exist.",
                                   L"TraceOut|RpcServer::WMIData::ReadBuildFromFile|",
                                   L"Verbose|RpcServer::WMIData::ReadSysInfo|Do not see BUILDID# tag."));
}

TEST_F(SystemData, OemStringsThatCannotBeLookedAtAreNone)
{
    IMPORT_HOOK(SafeArrayAccessData)([](SAFEARRAY*, void**) -> HRESULT { return E_OUTOFMEMORY; });
    NoFeatureByteInBios();

    Read();

    EXPECT_EQ(L"null", reader.m_strFeatureByte);
    EXPECT_EQ(L"null", reader.m_strBuild);
}
