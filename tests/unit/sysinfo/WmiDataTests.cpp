// The reader as a whole: COM set-up, the order of its calls and records, and how each failure ends the reading.
#include "tests/unit/sysinfo/ReadSysInfoFixture.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <optional>

using testing::Contains;
using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::IsEmpty;
using testing::IsSupersetOf;

TEST(WMIData, ConstructionSetsComUpForTheProcess)
{
    FakeWmi wmi;
    LogCapture log;
    wmi.noteInLog = true;

    std::optional<Reader> reader{std::in_place};

    // Multithreaded; no descriptor, services chosen by COM, default authentication, impersonate, no capabilities.
    EXPECT_RECORDS(log, L"TraceIn|RpcServer::WMIData::WMIData|", L"Verbose|system|initialize 0 0",
                   L"Verbose|system|security 1 -1 0 3 0", L"TraceOut|RpcServer::WMIData::WMIData|");
}

TEST(WMIData, StartsEmpty)
{
    FakeWmi wmi;

    const Reader reader;

    EXPECT_EQ(L"", reader.GetSysInfoText());
    EXPECT_EQ(L"", reader.m_strSystemProductName);
    EXPECT_EQ(L"", reader.m_strSystemSKU);
    EXPECT_EQ(L"", reader.m_strBIOSVersion);
    EXPECT_EQ(L"", reader.m_strBaseBoardVersion);
    EXPECT_EQ(L"", reader.m_strMemory);
    EXPECT_EQ(L"", reader.m_strProcessorName);
    EXPECT_EQ(L"", reader.m_strSerialNumber);
    EXPECT_EQ(L"", reader.m_strBuild);
    EXPECT_EQ(L"", reader.m_strFeatureByte);
    EXPECT_EQ(L"", reader.m_strBiosPasswordStatus);
    EXPECT_EQ(L"", reader.m_strSystemFamily);
    EXPECT_EQ(0, reader.m_llInstalledMemory);
    EXPECT_FALSE(reader.m_bFamilyCodeMatch);
    EXPECT_FALSE(reader.m_bUseCtrlAltJ);
}

TEST(WMIData, OtherApartmentModelIsLoggedAndConstructionGoesOn)
{
    FakeWmi wmi;
    LogCapture log;
    wmi.initialize = RPC_E_CHANGED_MODE;
    wmi.security = RPC_E_TOO_LATE;

    const Reader reader;

    EXPECT_LINES(log, L"TraceIn|", L"Error|CoInitializeEx failed.  Error: 0x80010106",
                 L"Error|Failed to initialize security..  Error: 0x80010119", L"TraceOut|");
}

TEST(WMIData, ComThatIsInitialisedAlreadyIsNoError)
{
    FakeWmi wmi;
    LogCapture log;
    wmi.initialize = S_FALSE;

    const Reader reader;

    EXPECT_LINES(log, L"TraceIn|", L"TraceOut|");
}

TEST(WMIData, DestructionUninitialisesOnceEvenAfterAFailedStart)
{
    FakeWmi wmi;
    wmi.initialize = RPC_E_CHANGED_MODE;
    std::optional<Reader> reader{std::in_place};
    LogCapture log;
    wmi.noteInLog = true;

    reader.reset();

    EXPECT_RECORDS(log, L"TraceIn|RpcServer::WMIData::~WMIData|", L"Verbose|system|uninitialize",
                   L"TraceOut|RpcServer::WMIData::~WMIData|");
}

TEST(WMIData, EachFunctionIsTimed)
{
    FakeWmi wmi;
    wmi.Healthy();
    const auto log = LogCapture::Diagnostics();
    {
        Reader reader;
        EXPECT_EQ(S_OK, reader.ReadSysInfo());
    }
    std::vector<std::string> timed;
    for (const auto& [name, timing] : Quil::Shared::CqlLogger::GetInstance()->Timings())
    {
        timed.push_back(name);
    }
    EXPECT_THAT(timed,
                testing::UnorderedElementsAre(
                    "RpcServer::WMIData::WMIData", "RpcServer::WMIData::~WMIData", "RpcServer::WMIData::ReadSysInfo",
                    "RpcServer::WMIData::GetBIOSValue", "RpcServer::WMIData::ReadBuildFromFile",
                    "RpcServer::WMIData::ReadFeatureByte", "RpcServer::WMIData::ReadBiosPasswordStatus",
                    "RpcServer::WMIData::ReadBiosPasswordStatusLegacy",
                    "RpcServer::WMIData::ReadBiosPasswordStatusVeralock", "RpcServer::WMIData::FormatSysInfoString"));
}

TEST_F(ReadSysInfo, RendersTheTenFields)
{
    EXPECT_EQ(S_OK, reader.ReadSysInfo());

    EXPECT_EQ(kLaptop, reader.GetSysInfoText());
    EXPECT_THAT(wmi.waits, IsEmpty());
}

TEST_F(ReadSysInfo, AsksInTheirOrderForEverything)
{
    EXPECT_EQ(S_OK, reader.ReadSysInfo());

    EXPECT_THAT(
        wmi.events,
        ElementsAreArray(std::vector<std::wstring>{
            L"create 0x1",
            L"connect ROOT\\wmi",
            L"blanket ROOT\\wmi 10 0 0 3 3 0 0",
            L"query WQL 0x30 Select * from MS_SystemInformation",
            L"next -1, 1",
            L"get SystemProductName",
            L"get SystemSKU",
            L"get BIOSVersion",
            L"get BIOSReleaseDate",
            L"get BaseBoardVersion",
            L"get SystemFamily",
            L"release row",
            L"next -1, 1",
            L"release rows",
            L"release services ROOT\\wmi",
            L"connect ROOT\\CIMV2",
            L"blanket ROOT\\CIMV2 10 0 0 3 3 0 0",
            L"query WQL 0x30 Select * from Win32_PhysicalMemory",
            L"next -1, 1",
            L"get Capacity",
            L"release row",
            L"next -1, 1",
            L"get Capacity",
            L"release row",
            L"next -1, 1",
            L"release rows",
            L"query WQL 0x30 Select * from Win32_ComputerSystem",
            L"next -1, 1",
            L"get TotalPhysicalMemory",
            L"get OEMStringArray",
            L"release row",
            L"next -1, 1",
            L"release rows",
            L"query WQL 0x30 Select * from Win32_Processor",
            L"next -1, 1",
            L"get Name",
            L"release row",
            L"next -1, 1",
            L"release rows",
            L"query WQL 0x30 Select * from Win32_ComputerSystemProduct",
            L"next -1, 1",
            L"get IdentifyingNumber",
            L"release row",
            L"next -1, 1",
            L"release rows",
            L"release services ROOT\\CIMV2",
            L"connect ROOT\\quil\\instrumentedbios",
            L"blanket ROOT\\quil\\instrumentedbios 10 0 0 3 3 0 0",
            L"query WQL 0x30 SELECT * FROM QUILBIOS_BIOSString  WHERE Name='Feature Byte'",
            L"next -1, 1",
            L"get Value",
            L"release row",
            L"next -1, 1",
            L"release rows",
            L"query WQL 0x30  SELECT IsSet FROM QUILBIOS_BIOSPassword WHERE Name='Setup Password'",
            L"next -1, 1",
            L"get IsSet",
            L"release row",
            L"next -1, 1",
            L"release rows",
            L"query WQL 0x30 SELECT Value FROM QUILBIOS_BIOSString where Name='Enhanced BIOS Authentication Mode Local "
            L"Access Key 1'",
            L"next -1, 1",
            L"get Value",
            L"release row",
            L"next -1, 1",
            L"release rows",
            L"release services ROOT\\quil\\instrumentedbios",
            L"release locator"}));
}

TEST_F(ReadSysInfo, RecordsOfAHealthyReading)
{
    EXPECT_EQ(S_OK, reader.ReadSysInfo());

    EXPECT_OWN_LINES(L"TraceIn|", L"Verbose|Started reading from ROOT\\WMI", L"Verbose|Set m_bUseCtrlAltJ to TRUE",
                     kEndOfRows, L"Verbose|Completed reading from ROOT\\wmi",
                     L"Verbose|Started reading from ROOT\\CIMV2", kEndOfRows, kEndOfRows, kEndOfRows, kEndOfRows,
                     L"Verbose|Completed reading from ROOT\\CIMV2",
                     L"Verbose|Started reading from ROOT\\quil\\instrumentedbios",
                     L"Verbose|Completed reading from ROOT\\quil\\instrumentedbios", L"TraceOut|");
}

TEST_F(ReadSysInfo, ServicesAreReleasedBeforeTheirCompletionIsLogged)
{
    wmi.noteInLog = true;

    EXPECT_EQ(S_OK, reader.ReadSysInfo());

    const std::vector<std::wstring> lines = log.FullLines();
    const auto place = [&](const wchar_t* line) { return std::ranges::find(lines, line) - lines.begin(); };
    const std::wstring own = L"Verbose|RpcServer::WMIData::ReadSysInfo|Completed reading from ";
    EXPECT_EQ(1, place((own + L"ROOT\\wmi").c_str()) - place(L"Verbose|system|release services ROOT\\wmi"));
    EXPECT_EQ(1, place((own + L"ROOT\\CIMV2").c_str()) - place(L"Verbose|system|release services ROOT\\CIMV2"));
    EXPECT_EQ(1, place((own + kBios).c_str()) - place(L"Verbose|system|release services ROOT\\quil\\instrumentedbios"));
    // The locator goes last, before the exit record.
    EXPECT_EQ(L"Verbose|system|release locator", lines[lines.size() - 2]);
    EXPECT_EQ(L"TraceOut|RpcServer::WMIData::ReadSysInfo|", lines.back());
}

TEST_F(ReadSysInfo, EndOfRowsIsLoggedBeforeTheEnumeratorIsReleased)
{
    wmi.noteInLog = true;

    EXPECT_EQ(S_OK, reader.ReadSysInfo());

    const std::vector<std::wstring> lines = log.FullLines();
    const auto end = std::ranges::find(
        lines, L"Verbose|RpcServer::WMIData::ReadSysInfo|IWbemClassObject = 0x00000000, uReturn = 0, [hr:0x00000001]");
    ASSERT_NE(lines.end(), end);
    EXPECT_EQ(L"Verbose|system|next -1, 1", *(end - 1));
    EXPECT_EQ(L"Verbose|system|release rows", *(end + 1));
}

TEST_F(ReadSysInfo, LocatorFailureEndsItWithoutExitRecord)
{
    wmi.create = REGDB_E_CLASSNOTREG;

    EXPECT_EQ(REGDB_E_CLASSNOTREG, reader.ReadSysInfo());

    EXPECT_EQ(L"", reader.GetSysInfoText());
    EXPECT_LINES(log, L"TraceIn|", L"Error|Failed to create IWbemLocator object. [hr:0x80040154]");
}

TEST_F(ReadSysInfo, ConnectFailureOfWmiEndsItWithoutExitRecord)
{
    wmi.Namespace(kWmi).connect = E_ACCESSDENIED;

    EXPECT_EQ(E_ACCESSDENIED, reader.ReadSysInfo());

    EXPECT_EQ(L"", reader.GetSysInfoText());
    EXPECT_LINES(log, L"TraceIn|", L"Verbose|Started reading from ROOT\\WMI",
                 L"Error|Could not connect to ROOT\\wmi [hr:0x80070005]");
}

TEST_F(ReadSysInfo, BlanketFailureOfWmiEndsItWithoutExitRecord)
{
    wmi.Namespace(kWmi).blanket = E_ACCESSDENIED;

    EXPECT_EQ(E_ACCESSDENIED, reader.ReadSysInfo());

    EXPECT_EQ(L"", reader.GetSysInfoText());
    EXPECT_LINES(log, L"TraceIn|", L"Verbose|Started reading from ROOT\\WMI",
                 L"Error|Could not set proxy blanket [hr:0x80070005]");
}

TEST_F(ReadSysInfo, NullServicesOfWmiCountAsAFailedConnect)
{
    wmi.Namespace(kWmi).noServices = true;

    EXPECT_EQ(S_OK, reader.ReadSysInfo());

    EXPECT_EQ(L"", reader.GetSysInfoText());
    EXPECT_LINES(log, L"TraceIn|", L"Verbose|Started reading from ROOT\\WMI", L"Error|IWbemServices  =  0x00000000");
}

TEST_F(ReadSysInfo, ConnectFailureOfCimv2EndsIt)
{
    wmi.Namespace(kCimv2).connect = E_ACCESSDENIED;

    EXPECT_EQ(E_ACCESSDENIED, reader.ReadSysInfo());

    EXPECT_EQ(L"", reader.GetSysInfoText());
    EXPECT_OWN_LINES(L"TraceIn|", L"Verbose|Started reading from ROOT\\WMI", L"Verbose|Set m_bUseCtrlAltJ to TRUE",
                     kEndOfRows, L"Verbose|Completed reading from ROOT\\wmi",
                     L"Verbose|Started reading from ROOT\\CIMV2",
                     L"Error|Could not connect to ROOT\\cimv2. [hr:0x80070005]", L"TraceOut|");
}

TEST_F(ReadSysInfo, BlanketFailureOfCimv2EndsItWithAFullStop)
{
    wmi.Namespace(kCimv2).blanket = E_ACCESSDENIED;

    EXPECT_EQ(E_ACCESSDENIED, reader.ReadSysInfo());

    EXPECT_EQ(L"", reader.GetSysInfoText());
    const std::vector<std::wstring> lines = OwnLines();
    ASSERT_LE(2u, lines.size());
    EXPECT_EQ(L"Error|Could not set proxy blanket. [hr:0x80070005]", lines[lines.size() - 2]);
    EXPECT_EQ(L"TraceOut|", lines.back());
}

TEST_F(ReadSysInfo, NullServicesOfCimv2CountAsAFailedConnect)
{
    wmi.Namespace(kCimv2).noServices = true;

    EXPECT_EQ(S_OK, reader.ReadSysInfo());

    EXPECT_EQ(L"", reader.GetSysInfoText());
    const std::vector<std::wstring> lines = OwnLines();
    EXPECT_EQ(L"Error|IWbemServices  =  0x00000000", lines[lines.size() - 2]);
    EXPECT_EQ(L"TraceOut|", lines.back());
}

TEST_F(ReadSysInfo, WithoutTheMakersNamespaceItSucceedsWithoutText)
{
    wmi.Namespace(kBios).connect = WBEM_E_INVALID_NAMESPACE;
    wmi.noteInLog = true;

    EXPECT_EQ(S_OK, reader.ReadSysInfo());

    EXPECT_EQ(L"", reader.GetSysInfoText());
    EXPECT_EQ(L"SN12345678", reader.m_strSerialNumber);
    const std::vector<std::wstring> lines = log.FullLines();
    ASSERT_LE(6u, lines.size());
    EXPECT_THAT(
        std::vector(lines.end() - 6, lines.end()),
        ElementsAre(L"Verbose|RpcServer::WMIData::ReadSysInfo|Started reading from ROOT\\quil\\instrumentedbios",
                    L"Verbose|system|connect ROOT\\quil\\instrumentedbios",
                    L"Error|RpcServer::WMIData::ReadSysInfo|Could not connect to "
                    L"ROOT\\quil\\instrumentedbios. [hr:0x8004100E]",
                    L"Verbose|system|release locator",
                    L"Verbose|RpcServer::WMIData::ReadSysInfo|Reset return code to 0.",
                    L"TraceOut|RpcServer::WMIData::ReadSysInfo|"));
}

TEST_F(ReadSysInfo, NullServicesOfTheMakersNamespaceCountAsAFailedConnect)
{
    wmi.Namespace(kBios).noServices = true;

    EXPECT_EQ(S_OK, reader.ReadSysInfo());

    EXPECT_EQ(L"", reader.GetSysInfoText());
    const std::vector<std::wstring> lines = OwnLines();
    EXPECT_EQ(L"Error|IWbemServices  =  0x00000000", lines[lines.size() - 3]);
    EXPECT_EQ(L"Verbose|Reset return code to 0.", lines[lines.size() - 2]);
    EXPECT_EQ(L"TraceOut|", lines.back());
}

TEST_F(ReadSysInfo, BlanketFailureOfTheMakersNamespaceSucceedsWithoutText)
{
    wmi.Namespace(kBios).blanket = E_ACCESSDENIED;
    wmi.noteInLog = true;

    EXPECT_EQ(S_OK, reader.ReadSysInfo());

    EXPECT_EQ(L"", reader.GetSysInfoText());
    const std::vector<std::wstring> lines = log.FullLines();
    EXPECT_THAT(std::vector(lines.end() - 5, lines.end()),
                ElementsAre(L"Error|RpcServer::WMIData::ReadSysInfo|Could not set proxy blanket. [hr:0x80070005]",
                            L"Verbose|system|release locator",
                            L"Verbose|system|release services ROOT\\quil\\instrumentedbios",
                            L"Verbose|RpcServer::WMIData::ReadSysInfo|Reset return code to 0.",
                            L"TraceOut|RpcServer::WMIData::ReadSysInfo|"));
}

TEST_F(ReadSysInfo, FailingBiosReadersAreLoggedAndTheTextIsRendered)
{
    wmi.Query(kBios, kFeatureByte).start = WBEM_E_INVALID_CLASS;
    wmi.Query(kBios, kFeatureByteSetting).start = WBEM_E_INVALID_CLASS;
    wmi.Query(kBios, kPassword).start = WBEM_E_ACCESS_DENIED;
    wmi.Query(kBios, kAccessKey).start = WBEM_E_INVALID_CLASS;

    // The OR of 0x80041003 and 0x80041010.
    EXPECT_EQ(static_cast<HRESULT>(0x80041013), reader.ReadSysInfo());

    EXPECT_EQ(L"Laptop 14 Model A<.^.>7XY45AV#AKL<.^.>20WWABCD601#S001#D001<.^.>16.00 GB (15.84 GB usable)<.^.>"
              L"12th Gen Processor<.^.>A01 Ver. 01.02.03 - 05/16/2023<.^.>KBC Version 11.22.00<.^.>SN12345678<.^.>3X7"
              L"<.^.>0x0",
              reader.GetSysInfoText());
    EXPECT_THAT(OwnLines(), IsSupersetOf({L"Error|Failed to read FeatureByte  [hr:0x80041010]",
                                          L"Error|Failed to read Bios Password Status  [hr:0x80041013]"}));
}

TEST_F(ReadSysInfo, FailingNextOfTheAccessKeyIsTheResult)
{
    wmi.Query(kBios, kAccessKey).end = WBEM_E_INVALID_CLASS;

    EXPECT_EQ(WBEM_E_INVALID_CLASS, reader.ReadSysInfo());

    EXPECT_EQ(kLaptop, reader.GetSysInfoText());
    EXPECT_THAT(OwnLines(), Contains(L"Error|Failed to read Bios Password Status  [hr:0x80041010]"));
}

TEST_F(ReadSysInfo, FailingFeatureByteDoesNotShowInTheResult)
{
    wmi.Query(kBios, kFeatureByte).end = WBEM_E_TRANSPORT_FAILURE;

    EXPECT_EQ(S_OK, reader.ReadSysInfo());

    EXPECT_EQ(kLaptop, reader.GetSysInfoText());
    EXPECT_THAT(OwnLines(), Contains(L"Error|Failed to read FeatureByte  [hr:0x80041015]"));
}

TEST_F(ReadSysInfo, WithoutAnythingTheTextIsNullButForBiosVersionAndStatus)
{
    wmi.namespaces.clear();

    EXPECT_EQ(S_OK, reader.ReadSysInfo());

    EXPECT_EQ(L"null<.^.>null<.^.>null<.^.>null<.^.>null<.^.>null<.^.>null<.^.>null<.^.>null<.^.>0x0",
              reader.GetSysInfoText());
}

TEST(FormatSysInfoString, EmptyMembersBecomeNull)
{
    FakeWmi wmi;
    Reader reader;
    LogCapture log;

    reader.FormatSysInfoString();

    EXPECT_EQ(L"null<.^.>null<.^.>null<.^.>null<.^.>null<.^.>null<.^.>null<.^.>null<.^.>null<.^.>null",
              reader.GetSysInfoText());
    EXPECT_EQ(L"null", reader.m_strSystemProductName);
    EXPECT_EQ(L"null", reader.m_strSystemSKU);
    EXPECT_EQ(L"null", reader.m_strBuild);
    EXPECT_EQ(L"null", reader.m_strMemory);
    EXPECT_EQ(L"null", reader.m_strProcessorName);
    EXPECT_EQ(L"null", reader.m_strBIOSVersion);
    EXPECT_EQ(L"null", reader.m_strBaseBoardVersion);
    EXPECT_EQ(L"null", reader.m_strSerialNumber);
    EXPECT_EQ(L"null", reader.m_strFeatureByte);
    EXPECT_EQ(L"null", reader.m_strBiosPasswordStatus);
    EXPECT_EQ(L"", reader.m_strSystemFamily);
    EXPECT_RECORDS(log, L"TraceIn|RpcServer::WMIData::FormatSysInfoString|",
                   L"TraceOut|RpcServer::WMIData::FormatSysInfoString|System Info = "
                   L"null<.^.>null<.^.>null<.^.>null<.^.>null<.^.>null<.^.>null<.^.>null<.^.>null<.^.>null");
}

TEST(FormatSysInfoString, FieldsStandInTheirOrder)
{
    FakeWmi wmi;
    Reader reader;
    reader.m_strSystemProductName = L"1";
    reader.m_strSystemSKU = L"2";
    reader.m_strBuild = L"3";
    reader.m_strMemory = L"4";
    reader.m_strProcessorName = L"5";
    reader.m_strBIOSVersion = L"6";
    reader.m_strBaseBoardVersion = L"7";
    reader.m_strSerialNumber = L"8";
    reader.m_strFeatureByte = L" ";
    reader.m_strBiosPasswordStatus = L"10";
    reader.m_strSystemFamily = L"family";

    reader.FormatSysInfoString();

    EXPECT_EQ(L"1<.^.>2<.^.>3<.^.>4<.^.>5<.^.>6<.^.>7<.^.>8<.^.> <.^.>10", reader.GetSysInfoText());
}

TEST(FormatSysInfoString, ReplacesAnEarlierText)
{
    FakeWmi wmi;
    Reader reader;
    reader.FormatSysInfoString();
    reader.m_strSystemProductName = L"Laptop";

    reader.FormatSysInfoString();

    EXPECT_EQ(L"Laptop<.^.>null<.^.>null<.^.>null<.^.>null<.^.>null<.^.>null<.^.>null<.^.>null<.^.>null",
              reader.GetSysInfoText());
}

TEST_F(ReadSysInfo, HostileValuesGoThroughUnchanged)
{
    const std::wstring longName = std::wstring(60000, L'x') + L'\xD800' + L" %s%n<.^.>";
    wmi.Property(kWmi, kSystemInformation, L"SystemProductName") = {Text(longName)};
    wmi.Property(kCimv2, kProduct, L"IdentifyingNumber") = {Text(std::wstring{L"SN\0hidden", 9})};

    EXPECT_EQ(S_OK, reader.ReadSysInfo());

    EXPECT_EQ(longName + L"<.^.>7XY45AV#AKL<.^.>20WWABCD601#S001#D001<.^.>16.00 GB (15.84 GB usable)<.^.>"
                         L"12th Gen Processor<.^.>A01 Ver. 01.02.03 - 05/16/2023<.^.>KBC Version 11.22.00<.^.>SN<.^.>"
                         L"3X7<.^.>0x1",
              reader.GetSysInfoText());
}

TEST_F(ReadSysInfo, TextIsNotHandedOutBeforeItIsComplete)
{
    reader.m_strSysInfo = L"half";

    EXPECT_EQ(L"", reader.GetSysInfoText());
}

TEST_F(ReadSysInfo, ExhaustedMemoryLeavesAsComErrorAndReleasesEverything)
{
    int strings = 0;
    IMPORT_HOOK(SysAllocString)
    ([&](const OLECHAR* text) -> BSTR {
        // The namespace, the language, and then no memory for the first query.
        return ++strings == 3 ? nullptr : hook_SysAllocString.RealOfCurrent()(text);
    });

    EXPECT_ANY_THROW(static_cast<void>(reader.ReadSysInfo()));

    EXPECT_EQ(0, wmi.Alive());
    EXPECT_EQ(L"", reader.GetSysInfoText());
}
