// Faults under the reading of the system information: every function and every method of WMI.
#include "tests/faults/FaultTests.h"
#include "tests/unit/sysinfo/FakeWmi.h"
#include "tests/unit/sysinfo/Reader.h"

#include "shared/WideText.h"

#include <cstring>
#include <utility>

using Faults::FaultRun;
using Quil::Shared::FormatText;

namespace
{

// The read of a property fails as a call of its own.
void FailByName(FakeWmi& wmi, const wchar_t* path, const wchar_t* query, const wchar_t* property, const char* name)
{
    for (FakeRow& row : wmi.Query(path, query).rows)
    {
        for (FakeAnswer& answer : row[property])
        {
            answer = [name, real = std::move(answer)](VARIANT* value) {
                const HRESULT result = Faults::MethodResult(name);
                return FAILED(result) ? result : real(value);
            };
        }
    }
}

// A laptop that answers everything at once, unless a method fails.
struct Laptop : FakeWmi
{
    Laptop()
    {
        Healthy();
        // One read after the other would fill the table with the attempts at all properties behind it.
        onMethod = [](const char* method) {
            return std::strcmp(method, "IWbemClassObject::Get") == 0 ? S_OK : Faults::MethodResult(method);
        };
        FailByName(*this, kWmi, kSystemInformation, L"SystemProductName", "Get SystemProductName");
        FailByName(*this, kWmi, kSystemInformation, L"SystemSKU", "Get SystemSKU");
        FailByName(*this, kWmi, kSystemInformation, L"BIOSVersion", "Get BIOSVersion");
        FailByName(*this, kWmi, kSystemInformation, L"BIOSReleaseDate", "Get BIOSReleaseDate");
        FailByName(*this, kWmi, kSystemInformation, L"BaseBoardVersion", "Get BaseBoardVersion");
        FailByName(*this, kWmi, kSystemInformation, L"SystemFamily", "Get SystemFamily");
        FailByName(*this, kCimv2, kMemoryModules, L"Capacity", "Get Capacity");
        FailByName(*this, kCimv2, kComputerSystem, L"TotalPhysicalMemory", "Get TotalPhysicalMemory");
        FailByName(*this, kCimv2, kComputerSystem, L"OEMStringArray", "Get OEMStringArray");
        FailByName(*this, kCimv2, kProcessors, L"Name", "Get Name");
        FailByName(*this, kCimv2, kProduct, L"IdentifyingNumber", "Get IdentifyingNumber");
        FailByName(*this, kBios, kFeatureByte, L"Value", "Get Feature Byte");
        FailByName(*this, kBios, kPassword, L"IsSet", "Get IsSet");
        FailByName(*this, kBios, kAccessKey, L"Value", "Get Access Key");
    }
};

void Reading(FaultRun& run)
{
    Laptop wmi;
    Reader reader;
    run.Try([&] {
        const HRESULT result = reader.ReadSysInfo();
        const UnobservedAllocations own;
        return FormatText(L"%x %s", result, reader.GetSysInfoText());
    });
    run.Append(reader.m_bUseCtrlAltJ ? L", option code" : L"");
}

// One property, apart from the rows that it stands in.
template <typename Read> void OfProperty(FaultRun& run, std::vector<FakeAnswer> answers, Read read)
{
    FakeWmi wmi;
    wmi.onMethod = &Faults::MethodResult;
    Reader reader;
    IWbemClassObject* const row = wmi.NewRow({{L"Value", std::move(answers)}});
    run.Try([&] { return read(reader, row); });
    run.Append(L", " + std::to_wstring(wmi.waits.size()) + L" waits");
    row->Release();
}

void TextPropertyWithoutRetry(FaultRun& run)
{
    OfProperty(run, {Text(L"A")}, [](Reader& reader, IWbemClassObject* row) {
        std::wstring value = L"before";
        const HRESULT result = reader.GetBIOSValue(row, L"Value", value, false);
        const UnobservedAllocations own;
        return FormatText(L"%x '%s'", result, value);
    });
}

void NumberProperty(FaultRun& run)
{
    OfProperty(run, {Number(VT_I4, 7)}, [](Reader& reader, IWbemClassObject* row) {
        DWORD value = 5;
        const HRESULT result = reader.GetBIOSValue(row, L"Value", &value);
        const UnobservedAllocations own;
        return FormatText(L"%x %d", result, value);
    });
}

const Faults::Operation kOperations[] = {
    {"Reading", &Reading, LR"(
untouched ; IEnumWbemClassObject::Next 2, 5, 7, 9, 11; VariantClear 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15; SafeArrayUnaccessData 1; GetEnvironmentVariableW 1 => 0 Laptop 14 Model A<.^.>7XY45AV#AKL<.^.>20WWABCD601#S001#D001<.^.>16.00 GB (15.84 GB usable)<.^.>12th Gen Processor<.^.>A01 Ver. 01.02.03 - 05/16/2023<.^.>KBC Version 11.22.00<.^.>SN12345678<.^.>3X7<.^.>0x1, option code | holds nothing
CoCreateInstance 1 => {hx}  | holds nothing
  Error|RpcServer::WMIData::ReadSysInfo|Failed to create IWbemLocator object. [hr:0x{hX}]
SysAllocString 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16, 17, 18, 19 => exception | holds nothing
IWbemLocator::ConnectServer 1 => {hx}  | holds nothing
  Error|RpcServer::WMIData::ReadSysInfo|Could not connect to ROOT\wmi [hr:0x{hX}]
IWbemLocator::ConnectServer 2 => {hx} , option code | holds nothing
  Error|RpcServer::WMIData::ReadSysInfo|Could not connect to ROOT\cimv2. [hr:0x{hX}]
IWbemLocator::ConnectServer 3 => 0 , option code | holds nothing
  Error|RpcServer::WMIData::ReadSysInfo|Could not connect to ROOT\quil\instrumentedbios. [hr:0x{hX}]
CoSetProxyBlanket 1 => {hx}  | holds nothing
  Error|RpcServer::WMIData::ReadSysInfo|Could not set proxy blanket [hr:0x{hX}]
CoSetProxyBlanket 2 => {hx} , option code | holds nothing
  Error|RpcServer::WMIData::ReadSysInfo|Could not set proxy blanket. [hr:0x{hX}]
CoSetProxyBlanket 3 => 0 , option code | holds nothing
  Error|RpcServer::WMIData::ReadSysInfo|Could not set proxy blanket. [hr:0x{hX}]
IWbemServices::ExecQuery 1 => {hx}  | holds nothing
  Error|RpcServer::WMIData::ReadSysInfo|Query for system information failed. [hr:0x{hX}]
IWbemServices::ExecQuery 2, 3, 4, 5 => {hx} , option code | holds nothing
  Error|RpcServer::WMIData::ReadSysInfo|Query for system information failed. [hr:0x{hX}]
IWbemServices::ExecQuery 6 => 0 Laptop 14 Model A<.^.>7XY45AV#AKL<.^.>20WWABCD601#S001#D001<.^.>16.00 GB (15.84 GB usable)<.^.>12th Gen Processor<.^.>A01 Ver. 01.02.03 - 05/16/2023<.^.>KBC Version 11.22.00<.^.>SN12345678<.^.>3X7<.^.>0x1, option code | holds nothing
  Warning|RpcServer::WMIData::ReadFeatureByte|Query for QUILBIOS_BIOSString Feature Byte failed with error [hr:0x{hX}]. Trying with QUIL_BIOSSetting
IWbemServices::ExecQuery 6+ => {hx} Laptop 14 Model A<.^.>7XY45AV#AKL<.^.>20WWABCD601#S001#D001<.^.>16.00 GB (15.84 GB usable)<.^.>12th Gen Processor<.^.>A01 Ver. 01.02.03 - 05/16/2023<.^.>KBC Version 11.22.00<.^.>SN12345678<.^.>3X7<.^.>0x0, option code | holds nothing
  Warning|RpcServer::WMIData::ReadFeatureByte|Query for QUILBIOS_BIOSString Feature Byte failed with error [hr:0x{hX}]. Trying with QUIL_BIOSSetting
  Error|RpcServer::WMIData::ReadFeatureByte|Query for QUIL_BIOSSetting Feature Byte failed. [hr:0x{hX}]
  Error|RpcServer::WMIData::ReadSysInfo|Failed to read FeatureByte  [hr:0x{hX}]
  Error|RpcServer::WMIData::ReadBiosPasswordStatusLegacy|Query for Legacy BIOS Password value failed. [hr:0x{hX}]
  Error|RpcServer::WMIData::ReadBiosPasswordStatusVeralock|Query for Veralock BIOS Password status failed. [hr:0x{hX}]
  Error|RpcServer::WMIData::ReadSysInfo|Failed to read Bios Password Status  [hr:0x{hX}]
IWbemServices::ExecQuery 7 => {hx} Laptop 14 Model A<.^.>7XY45AV#AKL<.^.>20WWABCD601#S001#D001<.^.>16.00 GB (15.84 GB usable)<.^.>12th Gen Processor<.^.>A01 Ver. 01.02.03 - 05/16/2023<.^.>KBC Version 11.22.00<.^.>SN12345678<.^.>3X7<.^.>0x0, option code | holds nothing
  Error|RpcServer::WMIData::ReadBiosPasswordStatusLegacy|Query for Legacy BIOS Password value failed. [hr:0x{hX}]
  Error|RpcServer::WMIData::ReadSysInfo|Failed to read Bios Password Status  [hr:0x{hX}]
IWbemServices::ExecQuery 7+ => {hx} Laptop 14 Model A<.^.>7XY45AV#AKL<.^.>20WWABCD601#S001#D001<.^.>16.00 GB (15.84 GB usable)<.^.>12th Gen Processor<.^.>A01 Ver. 01.02.03 - 05/16/2023<.^.>KBC Version 11.22.00<.^.>SN12345678<.^.>3X7<.^.>0x0, option code | holds nothing
  Error|RpcServer::WMIData::ReadBiosPasswordStatusLegacy|Query for Legacy BIOS Password value failed. [hr:0x{hX}]
  Error|RpcServer::WMIData::ReadBiosPasswordStatusVeralock|Query for Veralock BIOS Password status failed. [hr:0x{hX}]
  Error|RpcServer::WMIData::ReadSysInfo|Failed to read Bios Password Status  [hr:0x{hX}]
IWbemServices::ExecQuery 8 => {hx} Laptop 14 Model A<.^.>7XY45AV#AKL<.^.>20WWABCD601#S001#D001<.^.>16.00 GB (15.84 GB usable)<.^.>12th Gen Processor<.^.>A01 Ver. 01.02.03 - 05/16/2023<.^.>KBC Version 11.22.00<.^.>SN12345678<.^.>3X7<.^.>0x1, option code | holds nothing
  Error|RpcServer::WMIData::ReadBiosPasswordStatusVeralock|Query for Veralock BIOS Password status failed. [hr:0x{hX}]
  Error|RpcServer::WMIData::ReadSysInfo|Failed to read Bios Password Status  [hr:0x{hX}]
IEnumWbemClassObject::Next 1 => 0 null<.^.>null<.^.>20WWABCD601#S001#D001<.^.>16.00 GB (15.84 GB usable)<.^.>12th Gen Processor<.^.>null<.^.>null<.^.>SN12345678<.^.>3X7<.^.>0x1 | holds nothing
IEnumWbemClassObject::Next 1+ => {hx} null<.^.>null<.^.>null<.^.>null<.^.>null<.^.>null<.^.>null<.^.>null<.^.>null<.^.>0x0 | holds nothing
  Error|RpcServer::WMIData::ReadSysInfo|Failed to read FeatureByte  [hr:0x{hX}]
  Error|RpcServer::WMIData::ReadSysInfo|Failed to read Bios Password Status  [hr:0x{hX}]
IEnumWbemClassObject::Next 2+, 3+, 4+, 5+, 6+ => {hx} Laptop 14 Model A<.^.>7XY45AV#AKL<.^.>null<.^.>null<.^.>null<.^.>A01 Ver. 01.02.03 - 05/16/2023<.^.>KBC Version 11.22.00<.^.>null<.^.>null<.^.>0x0, option code | holds nothing
  Error|RpcServer::WMIData::ReadSysInfo|Failed to read FeatureByte  [hr:0x{hX}]
  Error|RpcServer::WMIData::ReadSysInfo|Failed to read Bios Password Status  [hr:0x{hX}]
IEnumWbemClassObject::Next 3 => 0 Laptop 14 Model A<.^.>7XY45AV#AKL<.^.>20WWABCD601#S001#D001<.^.>0.00 GB (15.84 GB usable)<.^.>12th Gen Processor<.^.>A01 Ver. 01.02.03 - 05/16/2023<.^.>KBC Version 11.22.00<.^.>SN12345678<.^.>3X7<.^.>0x1, option code | holds nothing
IEnumWbemClassObject::Next 4 => 0 Laptop 14 Model A<.^.>7XY45AV#AKL<.^.>20WWABCD601#S001#D001<.^.>8.00 GB (15.84 GB usable)<.^.>12th Gen Processor<.^.>A01 Ver. 01.02.03 - 05/16/2023<.^.>KBC Version 11.22.00<.^.>SN12345678<.^.>3X7<.^.>0x1, option code | holds nothing
IEnumWbemClassObject::Next 6 => 0 Laptop 14 Model A<.^.>7XY45AV#AKL<.^.>null<.^.>null<.^.>12th Gen Processor<.^.>A01 Ver. 01.02.03 - 05/16/2023<.^.>KBC Version 11.22.00<.^.>SN12345678<.^.>3X7<.^.>0x1, option code | holds nothing
IEnumWbemClassObject::Next 7+, 8+ => {hx} Laptop 14 Model A<.^.>7XY45AV#AKL<.^.>20WWABCD601#S001#D001<.^.>16.00 GB (15.84 GB usable)<.^.>null<.^.>A01 Ver. 01.02.03 - 05/16/2023<.^.>KBC Version 11.22.00<.^.>null<.^.>3X7<.^.>0x0, option code | holds nothing
  Error|RpcServer::WMIData::ReadSysInfo|Failed to read FeatureByte  [hr:0x{hX}]
  Error|RpcServer::WMIData::ReadSysInfo|Failed to read Bios Password Status  [hr:0x{hX}]
IEnumWbemClassObject::Next 8 => 0 Laptop 14 Model A<.^.>7XY45AV#AKL<.^.>20WWABCD601#S001#D001<.^.>16.00 GB (15.84 GB usable)<.^.>null<.^.>A01 Ver. 01.02.03 - 05/16/2023<.^.>KBC Version 11.22.00<.^.>SN12345678<.^.>3X7<.^.>0x1, option code | holds nothing
IEnumWbemClassObject::Next 9+, 10+ => {hx} Laptop 14 Model A<.^.>7XY45AV#AKL<.^.>20WWABCD601#S001#D001<.^.>16.00 GB (15.84 GB usable)<.^.>12th Gen Processor<.^.>A01 Ver. 01.02.03 - 05/16/2023<.^.>KBC Version 11.22.00<.^.>null<.^.>3X7<.^.>0x0, option code | holds nothing
  Error|RpcServer::WMIData::ReadSysInfo|Failed to read FeatureByte  [hr:0x{hX}]
  Error|RpcServer::WMIData::ReadSysInfo|Failed to read Bios Password Status  [hr:0x{hX}]
IEnumWbemClassObject::Next 10 => 0 Laptop 14 Model A<.^.>7XY45AV#AKL<.^.>20WWABCD601#S001#D001<.^.>16.00 GB (15.84 GB usable)<.^.>12th Gen Processor<.^.>A01 Ver. 01.02.03 - 05/16/2023<.^.>KBC Version 11.22.00<.^.>null<.^.>3X7<.^.>0x1, option code | holds nothing
IEnumWbemClassObject::Next 11+, 12+, 13+ => {hx} Laptop 14 Model A<.^.>7XY45AV#AKL<.^.>20WWABCD601#S001#D001<.^.>16.00 GB (15.84 GB usable)<.^.>12th Gen Processor<.^.>A01 Ver. 01.02.03 - 05/16/2023<.^.>KBC Version 11.22.00<.^.>SN12345678<.^.>3X7<.^.>0x0, option code | holds nothing
  Error|RpcServer::WMIData::ReadSysInfo|Failed to read FeatureByte  [hr:0x{hX}]
  Error|RpcServer::WMIData::ReadSysInfo|Failed to read Bios Password Status  [hr:0x{hX}]
IEnumWbemClassObject::Next 12, 13 => 0 Laptop 14 Model A<.^.>7XY45AV#AKL<.^.>20WWABCD601#S001#D001<.^.>16.00 GB (15.84 GB usable)<.^.>12th Gen Processor<.^.>A01 Ver. 01.02.03 - 05/16/2023<.^.>KBC Version 11.22.00<.^.>SN12345678<.^.>3X7<.^.>0x1, option code | holds nothing
  Error|RpcServer::WMIData::ReadSysInfo|Failed to read FeatureByte  [hr:0x{hX}]
IEnumWbemClassObject::Next 14 => {hx} Laptop 14 Model A<.^.>7XY45AV#AKL<.^.>20WWABCD601#S001#D001<.^.>16.00 GB (15.84 GB usable)<.^.>12th Gen Processor<.^.>A01 Ver. 01.02.03 - 05/16/2023<.^.>KBC Version 11.22.00<.^.>SN12345678<.^.>3X7<.^.>0x0, option code | holds nothing
  Error|RpcServer::WMIData::ReadSysInfo|Failed to read Bios Password Status  [hr:0x{hX}]
IEnumWbemClassObject::Next 15, 16, 17 => {hx} Laptop 14 Model A<.^.>7XY45AV#AKL<.^.>20WWABCD601#S001#D001<.^.>16.00 GB (15.84 GB usable)<.^.>12th Gen Processor<.^.>A01 Ver. 01.02.03 - 05/16/2023<.^.>KBC Version 11.22.00<.^.>SN12345678<.^.>3X7<.^.>0x1, option code | holds nothing
  Error|RpcServer::WMIData::ReadSysInfo|Failed to read Bios Password Status  [hr:0x{hX}]
Get SystemProductName 1 => 0 Laptop 14 Model A<.^.>7XY45AV#AKL<.^.>20WWABCD601#S001#D001<.^.>16.00 GB (15.84 GB usable)<.^.>12th Gen Processor<.^.>A01 Ver. 01.02.03 - 05/16/2023<.^.>KBC Version 11.22.00<.^.>SN12345678<.^.>3X7<.^.>0x1, option code | holds nothing
  Error|RpcServer::WMIData::GetBIOSValue|Failed to get value of SystemProductName at count 0. Error = 0x{hX}. Re-trying...
Get SystemProductName 1+ => 0 null<.^.>7XY45AV#AKL<.^.>20WWABCD601#S001#D001<.^.>16.00 GB (15.84 GB usable)<.^.>12th Gen Processor<.^.>A01 Ver. 01.02.03 - 05/16/2023<.^.>KBC Version 11.22.00<.^.>SN12345678<.^.>3X7<.^.>0x1, option code | holds nothing
  Error|RpcServer::WMIData::GetBIOSValue|Failed to get value of SystemProductName at count 0. Error = 0x{hX}. Re-trying...
  Error|RpcServer::WMIData::GetBIOSValue|Failed to get value of SystemProductName at count 1. Error = 0x{hX}. Re-trying...
  Error|RpcServer::WMIData::GetBIOSValue|Failed to get value of SystemProductName at count 2. Error = 0x{hX}. Re-trying...
  Error|RpcServer::WMIData::GetBIOSValue|Failed to get value of SystemProductName at count 3. Error = 0x{hX}. Re-trying...
  Error|RpcServer::WMIData::GetBIOSValue|Failed to get value of SystemProductName at count 4. Error = 0x{hX}. Re-trying...
  Error|RpcServer::WMIData::GetBIOSValue|Failed to get value of SystemProductName at count 5. Error = 0x{hX}. Re-trying...
  Error|RpcServer::WMIData::ReadSysInfo|Failed to get SystemProductName 
Get SystemSKU 1 => 0 Laptop 14 Model A<.^.>7XY45AV#AKL<.^.>20WWABCD601#S001#D001<.^.>16.00 GB (15.84 GB usable)<.^.>12th Gen Processor<.^.>A01 Ver. 01.02.03 - 05/16/2023<.^.>KBC Version 11.22.00<.^.>SN12345678<.^.>3X7<.^.>0x1, option code | holds nothing
  Error|RpcServer::WMIData::GetBIOSValue|Failed to get value of SystemSKU at count 0. Error = 0x{hX}. Re-trying...
Get SystemSKU 1+ => 0 Laptop 14 Model A<.^.>null<.^.>20WWABCD601#S001#D001<.^.>16.00 GB (15.84 GB usable)<.^.>12th Gen Processor<.^.>A01 Ver. 01.02.03 - 05/16/2023<.^.>KBC Version 11.22.00<.^.>SN12345678<.^.>3X7<.^.>0x1 | holds nothing
  Error|RpcServer::WMIData::GetBIOSValue|Failed to get value of SystemSKU at count 0. Error = 0x{hX}. Re-trying...
  Error|RpcServer::WMIData::GetBIOSValue|Failed to get value of SystemSKU at count 1. Error = 0x{hX}. Re-trying...
  Error|RpcServer::WMIData::GetBIOSValue|Failed to get value of SystemSKU at count 2. Error = 0x{hX}. Re-trying...
  Error|RpcServer::WMIData::GetBIOSValue|Failed to get value of SystemSKU at count 3. Error = 0x{hX}. Re-trying...
  Error|RpcServer::WMIData::GetBIOSValue|Failed to get value of SystemSKU at count 4. Error = 0x{hX}. Re-trying...
  Error|RpcServer::WMIData::GetBIOSValue|Failed to get value of SystemSKU at count 5. Error = 0x{hX}. Re-trying...
  Error|RpcServer::WMIData::ReadSysInfo|Failed to get SystemSKU 
Get BIOSVersion 1 => 0 Laptop 14 Model A<.^.>7XY45AV#AKL<.^.>20WWABCD601#S001#D001<.^.>16.00 GB (15.84 GB usable)<.^.>12th Gen Processor<.^.>A01 Ver. 01.02.03 - 05/16/2023<.^.>KBC Version 11.22.00<.^.>SN12345678<.^.>3X7<.^.>0x1, option code | holds nothing
  Error|RpcServer::WMIData::GetBIOSValue|Failed to get value of BIOSVersion at count 0. Error = 0x{hX}. Re-trying...
Get BIOSVersion 1+ => 0 Laptop 14 Model A<.^.>7XY45AV#AKL<.^.>20WWABCD601#S001#D001<.^.>16.00 GB (15.84 GB usable)<.^.>12th Gen Processor<.^.> - 05/16/2023<.^.>KBC Version 11.22.00<.^.>SN12345678<.^.>3X7<.^.>0x1, option code | holds nothing
  Error|RpcServer::WMIData::GetBIOSValue|Failed to get value of BIOSVersion at count 0. Error = 0x{hX}. Re-trying...
  Error|RpcServer::WMIData::GetBIOSValue|Failed to get value of BIOSVersion at count 1. Error = 0x{hX}. Re-trying...
  Error|RpcServer::WMIData::GetBIOSValue|Failed to get value of BIOSVersion at count 2. Error = 0x{hX}. Re-trying...
  Error|RpcServer::WMIData::GetBIOSValue|Failed to get value of BIOSVersion at count 3. Error = 0x{hX}. Re-trying...
  Error|RpcServer::WMIData::GetBIOSValue|Failed to get value of BIOSVersion at count 4. Error = 0x{hX}. Re-trying...
  Error|RpcServer::WMIData::GetBIOSValue|Failed to get value of BIOSVersion at count 5. Error = 0x{hX}. Re-trying...
  Error|RpcServer::WMIData::ReadSysInfo|Failed to get BIOSVersion 
Get BIOSReleaseDate 1 => 0 Laptop 14 Model A<.^.>7XY45AV#AKL<.^.>20WWABCD601#S001#D001<.^.>16.00 GB (15.84 GB usable)<.^.>12th Gen Processor<.^.>A01 Ver. 01.02.03 - 05/16/2023<.^.>KBC Version 11.22.00<.^.>SN12345678<.^.>3X7<.^.>0x1, option code | holds nothing
  Error|RpcServer::WMIData::GetBIOSValue|Failed to get value of BIOSReleaseDate at count 0. Error = 0x{hX}. Re-trying...
Get BIOSReleaseDate 1+ => 0 Laptop 14 Model A<.^.>7XY45AV#AKL<.^.>20WWABCD601#S001#D001<.^.>16.00 GB (15.84 GB usable)<.^.>12th Gen Processor<.^.>A01 Ver. 01.02.03 - <.^.>KBC Version 11.22.00<.^.>SN12345678<.^.>3X7<.^.>0x1, option code | holds nothing
  Error|RpcServer::WMIData::GetBIOSValue|Failed to get value of BIOSReleaseDate at count 0. Error = 0x{hX}. Re-trying...
  Error|RpcServer::WMIData::GetBIOSValue|Failed to get value of BIOSReleaseDate at count 1. Error = 0x{hX}. Re-trying...
  Error|RpcServer::WMIData::GetBIOSValue|Failed to get value of BIOSReleaseDate at count 2. Error = 0x{hX}. Re-trying...
  Error|RpcServer::WMIData::GetBIOSValue|Failed to get value of BIOSReleaseDate at count 3. Error = 0x{hX}. Re-trying...
  Error|RpcServer::WMIData::GetBIOSValue|Failed to get value of BIOSReleaseDate at count 4. Error = 0x{hX}. Re-trying...
  Error|RpcServer::WMIData::GetBIOSValue|Failed to get value of BIOSReleaseDate at count 5. Error = 0x{hX}. Re-trying...
  Error|RpcServer::WMIData::ReadSysInfo|Failed to get BIOSReleaseDate 
Get BaseBoardVersion 1 => 0 Laptop 14 Model A<.^.>7XY45AV#AKL<.^.>20WWABCD601#S001#D001<.^.>16.00 GB (15.84 GB usable)<.^.>12th Gen Processor<.^.>A01 Ver. 01.02.03 - 05/16/2023<.^.>KBC Version 11.22.00<.^.>SN12345678<.^.>3X7<.^.>0x1, option code | holds nothing
  Error|RpcServer::WMIData::GetBIOSValue|Failed to get value of BaseBoardVersion at count 0. Error = 0x{hX}. Re-trying...
Get BaseBoardVersion 1+ => 0 Laptop 14 Model A<.^.>7XY45AV#AKL<.^.>20WWABCD601#S001#D001<.^.>16.00 GB (15.84 GB usable)<.^.>12th Gen Processor<.^.>A01 Ver. 01.02.03 - 05/16/2023<.^.>null<.^.>SN12345678<.^.>3X7<.^.>0x1, option code | holds nothing
  Error|RpcServer::WMIData::GetBIOSValue|Failed to get value of BaseBoardVersion at count 0. Error = 0x{hX}. Re-trying...
  Error|RpcServer::WMIData::GetBIOSValue|Failed to get value of BaseBoardVersion at count 1. Error = 0x{hX}. Re-trying...
  Error|RpcServer::WMIData::GetBIOSValue|Failed to get value of BaseBoardVersion at count 2. Error = 0x{hX}. Re-trying...
  Error|RpcServer::WMIData::GetBIOSValue|Failed to get value of BaseBoardVersion at count 3. Error = 0x{hX}. Re-trying...
  Error|RpcServer::WMIData::GetBIOSValue|Failed to get value of BaseBoardVersion at count 4. Error = 0x{hX}. Re-trying...
  Error|RpcServer::WMIData::GetBIOSValue|Failed to get value of BaseBoardVersion at count 5. Error = 0x{hX}. Re-trying...
  Error|RpcServer::WMIData::ReadSysInfo|Failed to get BaseBoardVersion 
Get SystemFamily 1 => 0 Laptop 14 Model A<.^.>7XY45AV#AKL<.^.>20WWABCD601#S001#D001<.^.>16.00 GB (15.84 GB usable)<.^.>12th Gen Processor<.^.>A01 Ver. 01.02.03 - 05/16/2023<.^.>KBC Version 11.22.00<.^.>SN12345678<.^.>3X7<.^.>0x1, option code | holds nothing
  Error|RpcServer::WMIData::GetBIOSValue|Failed to get value of SystemFamily at count 0. Error = 0x{hX}. Re-trying...
Get SystemFamily 1+ => 0 Laptop 14 Model A<.^.>7XY45AV#AKL<.^.>20WWABCD601#S001#D001<.^.>16.00 GB (15.84 GB usable)<.^.>12th Gen Processor<.^.>A01 Ver. 01.02.03 - 05/16/2023<.^.>KBC Version 11.22.00<.^.>SN12345678<.^.>3X7<.^.>0x1, option code | holds nothing
  Error|RpcServer::WMIData::GetBIOSValue|Failed to get value of SystemFamily at count 0. Error = 0x{hX}. Re-trying...
  Error|RpcServer::WMIData::GetBIOSValue|Failed to get value of SystemFamily at count 1. Error = 0x{hX}. Re-trying...
  Error|RpcServer::WMIData::GetBIOSValue|Failed to get value of SystemFamily at count 2. Error = 0x{hX}. Re-trying...
  Error|RpcServer::WMIData::GetBIOSValue|Failed to get value of SystemFamily at count 3. Error = 0x{hX}. Re-trying...
  Error|RpcServer::WMIData::GetBIOSValue|Failed to get value of SystemFamily at count 4. Error = 0x{hX}. Re-trying...
  Error|RpcServer::WMIData::GetBIOSValue|Failed to get value of SystemFamily at count 5. Error = 0x{hX}. Re-trying...
  Error|RpcServer::WMIData::ReadSysInfo|Failed to get SystemFamily 
Get Capacity 1, 2 => 0 Laptop 14 Model A<.^.>7XY45AV#AKL<.^.>20WWABCD601#S001#D001<.^.>16.00 GB (15.84 GB usable)<.^.>12th Gen Processor<.^.>A01 Ver. 01.02.03 - 05/16/2023<.^.>KBC Version 11.22.00<.^.>SN12345678<.^.>3X7<.^.>0x1, option code | holds nothing
  Error|RpcServer::WMIData::GetBIOSValue|Failed to get value of Capacity at count 0. Error = 0x{hX}. Re-trying...
Get Capacity 1+ => 0 Laptop 14 Model A<.^.>7XY45AV#AKL<.^.>20WWABCD601#S001#D001<.^.>0.00 GB (15.84 GB usable)<.^.>12th Gen Processor<.^.>A01 Ver. 01.02.03 - 05/16/2023<.^.>KBC Version 11.22.00<.^.>SN12345678<.^.>3X7<.^.>0x1, option code | holds nothing
  Error|RpcServer::WMIData::GetBIOSValue|Failed to get value of Capacity at count 0. Error = 0x{hX}. Re-trying... (2 times)
  Error|RpcServer::WMIData::GetBIOSValue|Failed to get value of Capacity at count 1. Error = 0x{hX}. Re-trying... (2 times)
  Error|RpcServer::WMIData::GetBIOSValue|Failed to get value of Capacity at count 2. Error = 0x{hX}. Re-trying... (2 times)
  Error|RpcServer::WMIData::GetBIOSValue|Failed to get value of Capacity at count 3. Error = 0x{hX}. Re-trying... (2 times)
  Error|RpcServer::WMIData::GetBIOSValue|Failed to get value of Capacity at count 4. Error = 0x{hX}. Re-trying... (2 times)
  Error|RpcServer::WMIData::GetBIOSValue|Failed to get value of Capacity at count 5. Error = 0x{hX}. Re-trying... (2 times)
  Error|RpcServer::WMIData::ReadSysInfo|Failed to get Capacity (2 times)
Get Capacity 2+ => 0 Laptop 14 Model A<.^.>7XY45AV#AKL<.^.>20WWABCD601#S001#D001<.^.>8.00 GB (15.84 GB usable)<.^.>12th Gen Processor<.^.>A01 Ver. 01.02.03 - 05/16/2023<.^.>KBC Version 11.22.00<.^.>SN12345678<.^.>3X7<.^.>0x1, option code | holds nothing
  Error|RpcServer::WMIData::GetBIOSValue|Failed to get value of Capacity at count 0. Error = 0x{hX}. Re-trying...
  Error|RpcServer::WMIData::GetBIOSValue|Failed to get value of Capacity at count 1. Error = 0x{hX}. Re-trying...
  Error|RpcServer::WMIData::GetBIOSValue|Failed to get value of Capacity at count 2. Error = 0x{hX}. Re-trying...
  Error|RpcServer::WMIData::GetBIOSValue|Failed to get value of Capacity at count 3. Error = 0x{hX}. Re-trying...
  Error|RpcServer::WMIData::GetBIOSValue|Failed to get value of Capacity at count 4. Error = 0x{hX}. Re-trying...
  Error|RpcServer::WMIData::GetBIOSValue|Failed to get value of Capacity at count 5. Error = 0x{hX}. Re-trying...
  Error|RpcServer::WMIData::ReadSysInfo|Failed to get Capacity
Get TotalPhysicalMemory 1 => 0 Laptop 14 Model A<.^.>7XY45AV#AKL<.^.>20WWABCD601#S001#D001<.^.>16.00 GB (15.84 GB usable)<.^.>12th Gen Processor<.^.>A01 Ver. 01.02.03 - 05/16/2023<.^.>KBC Version 11.22.00<.^.>SN12345678<.^.>3X7<.^.>0x1, option code | holds nothing
  Error|RpcServer::WMIData::GetBIOSValue|Failed to get value of TotalPhysicalMemory at count 0. Error = 0x{hX}. Re-trying...
Get TotalPhysicalMemory 1+ => 0 Laptop 14 Model A<.^.>7XY45AV#AKL<.^.>20WWABCD601#S001#D001<.^.>null<.^.>12th Gen Processor<.^.>A01 Ver. 01.02.03 - 05/16/2023<.^.>KBC Version 11.22.00<.^.>SN12345678<.^.>3X7<.^.>0x1, option code | holds nothing
  Error|RpcServer::WMIData::GetBIOSValue|Failed to get value of TotalPhysicalMemory at count 0. Error = 0x{hX}. Re-trying...
  Error|RpcServer::WMIData::GetBIOSValue|Failed to get value of TotalPhysicalMemory at count 1. Error = 0x{hX}. Re-trying...
  Error|RpcServer::WMIData::GetBIOSValue|Failed to get value of TotalPhysicalMemory at count 2. Error = 0x{hX}. Re-trying...
  Error|RpcServer::WMIData::GetBIOSValue|Failed to get value of TotalPhysicalMemory at count 3. Error = 0x{hX}. Re-trying...
  Error|RpcServer::WMIData::GetBIOSValue|Failed to get value of TotalPhysicalMemory at count 4. Error = 0x{hX}. Re-trying...
  Error|RpcServer::WMIData::GetBIOSValue|Failed to get value of TotalPhysicalMemory at count 5. Error = 0x{hX}. Re-trying...
  Error|RpcServer::WMIData::ReadSysInfo|Failed to get Capacity
Get OEMStringArray 1; SafeArrayGetDim 1; SafeArrayAccessData 1 => 0 Laptop 14 Model A<.^.>7XY45AV#AKL<.^.>null<.^.>16.00 GB (15.84 GB usable)<.^.>12th Gen Processor<.^.>A01 Ver. 01.02.03 - 05/16/2023<.^.>KBC Version 11.22.00<.^.>SN12345678<.^.>3X7<.^.>0x1, option code | holds nothing
Get Name 1 => 0 Laptop 14 Model A<.^.>7XY45AV#AKL<.^.>20WWABCD601#S001#D001<.^.>16.00 GB (15.84 GB usable)<.^.>12th Gen Processor<.^.>A01 Ver. 01.02.03 - 05/16/2023<.^.>KBC Version 11.22.00<.^.>SN12345678<.^.>3X7<.^.>0x1, option code | holds nothing
  Error|RpcServer::WMIData::GetBIOSValue|Failed to get value of Name at count 0. Error = 0x{hX}. Re-trying...
Get Name 1+ => 0 Laptop 14 Model A<.^.>7XY45AV#AKL<.^.>20WWABCD601#S001#D001<.^.>16.00 GB (15.84 GB usable)<.^.>null<.^.>A01 Ver. 01.02.03 - 05/16/2023<.^.>KBC Version 11.22.00<.^.>SN12345678<.^.>3X7<.^.>0x1, option code | holds nothing
  Error|RpcServer::WMIData::GetBIOSValue|Failed to get value of Name at count 0. Error = 0x{hX}. Re-trying...
  Error|RpcServer::WMIData::GetBIOSValue|Failed to get value of Name at count 1. Error = 0x{hX}. Re-trying...
  Error|RpcServer::WMIData::GetBIOSValue|Failed to get value of Name at count 2. Error = 0x{hX}. Re-trying...
  Error|RpcServer::WMIData::GetBIOSValue|Failed to get value of Name at count 3. Error = 0x{hX}. Re-trying...
  Error|RpcServer::WMIData::GetBIOSValue|Failed to get value of Name at count 4. Error = 0x{hX}. Re-trying...
  Error|RpcServer::WMIData::GetBIOSValue|Failed to get value of Name at count 5. Error = 0x{hX}. Re-trying...
  Error|RpcServer::WMIData::ReadSysInfo|Failed to get ProcessorName
Get IdentifyingNumber 1 => 0 Laptop 14 Model A<.^.>7XY45AV#AKL<.^.>20WWABCD601#S001#D001<.^.>16.00 GB (15.84 GB usable)<.^.>12th Gen Processor<.^.>A01 Ver. 01.02.03 - 05/16/2023<.^.>KBC Version 11.22.00<.^.>SN12345678<.^.>3X7<.^.>0x1, option code | holds nothing
  Error|RpcServer::WMIData::GetBIOSValue|Failed to get value of IdentifyingNumber at count 0. Error = 0x{hX}. Re-trying...
Get IdentifyingNumber 1+ => 0 Laptop 14 Model A<.^.>7XY45AV#AKL<.^.>20WWABCD601#S001#D001<.^.>16.00 GB (15.84 GB usable)<.^.>12th Gen Processor<.^.>A01 Ver. 01.02.03 - 05/16/2023<.^.>KBC Version 11.22.00<.^.>null<.^.>3X7<.^.>0x1, option code | holds nothing
  Error|RpcServer::WMIData::GetBIOSValue|Failed to get value of IdentifyingNumber at count 0. Error = 0x{hX}. Re-trying...
  Error|RpcServer::WMIData::GetBIOSValue|Failed to get value of IdentifyingNumber at count 1. Error = 0x{hX}. Re-trying...
  Error|RpcServer::WMIData::GetBIOSValue|Failed to get value of IdentifyingNumber at count 2. Error = 0x{hX}. Re-trying...
  Error|RpcServer::WMIData::GetBIOSValue|Failed to get value of IdentifyingNumber at count 3. Error = 0x{hX}. Re-trying...
  Error|RpcServer::WMIData::GetBIOSValue|Failed to get value of IdentifyingNumber at count 4. Error = 0x{hX}. Re-trying...
  Error|RpcServer::WMIData::GetBIOSValue|Failed to get value of IdentifyingNumber at count 5. Error = 0x{hX}. Re-trying...
  Error|RpcServer::WMIData::ReadSysInfo|Failed to get IdentifyingNumber
Get Feature Byte 1 => 0 Laptop 14 Model A<.^.>7XY45AV#AKL<.^.>20WWABCD601#S001#D001<.^.>16.00 GB (15.84 GB usable)<.^.>12th Gen Processor<.^.>A01 Ver. 01.02.03 - 05/16/2023<.^.>KBC Version 11.22.00<.^.>SN12345678<.^.>3X7<.^.>0x1, option code | holds nothing
  Error|RpcServer::WMIData::GetBIOSValue|Failed to get value of Value at count 0. Error = 0x{hX}. Re-trying...
Get Feature Byte 1+ => 0 Laptop 14 Model A<.^.>7XY45AV#AKL<.^.>20WWABCD601#S001#D001<.^.>16.00 GB (15.84 GB usable)<.^.>12th Gen Processor<.^.>A01 Ver. 01.02.03 - 05/16/2023<.^.>KBC Version 11.22.00<.^.>SN12345678<.^.> <.^.>0x1, option code | holds nothing
  Error|RpcServer::WMIData::GetBIOSValue|Failed to get value of Value at count 0. Error = 0x{hX}. Re-trying...
  Error|RpcServer::WMIData::GetBIOSValue|Failed to get value of Value at count 1. Error = 0x{hX}. Re-trying...
  Error|RpcServer::WMIData::GetBIOSValue|Failed to get value of Value at count 2. Error = 0x{hX}. Re-trying...
  Error|RpcServer::WMIData::GetBIOSValue|Failed to get value of Value at count 3. Error = 0x{hX}. Re-trying...
  Error|RpcServer::WMIData::GetBIOSValue|Failed to get value of Value at count 4. Error = 0x{hX}. Re-trying...
  Error|RpcServer::WMIData::GetBIOSValue|Failed to get value of Value at count 5. Error = 0x{hX}. Re-trying...
  Error|RpcServer::WMIData::ReadFeatureByte|Failed to get Feature Byte
Get IsSet 1 => 0 Laptop 14 Model A<.^.>7XY45AV#AKL<.^.>20WWABCD601#S001#D001<.^.>16.00 GB (15.84 GB usable)<.^.>12th Gen Processor<.^.>A01 Ver. 01.02.03 - 05/16/2023<.^.>KBC Version 11.22.00<.^.>SN12345678<.^.>3X7<.^.>0x1, option code | holds nothing
  Error|RpcServer::WMIData::GetBIOSValue|Failed to get value of IsSet at count 0. Error = 0x{hX}. Re-trying...
Get IsSet 1+ => 0 Laptop 14 Model A<.^.>7XY45AV#AKL<.^.>20WWABCD601#S001#D001<.^.>16.00 GB (15.84 GB usable)<.^.>12th Gen Processor<.^.>A01 Ver. 01.02.03 - 05/16/2023<.^.>KBC Version 11.22.00<.^.>SN12345678<.^.>3X7<.^.>0x0, option code | holds nothing
  Error|RpcServer::WMIData::GetBIOSValue|Failed to get value of IsSet at count 0. Error = 0x{hX}. Re-trying...
  Error|RpcServer::WMIData::GetBIOSValue|Failed to get value of IsSet at count 1. Error = 0x{hX}. Re-trying...
  Error|RpcServer::WMIData::GetBIOSValue|Failed to get value of IsSet at count 2. Error = 0x{hX}. Re-trying...
  Error|RpcServer::WMIData::GetBIOSValue|Failed to get value of IsSet at count 3. Error = 0x{hX}. Re-trying...
  Error|RpcServer::WMIData::GetBIOSValue|Failed to get value of IsSet at count 4. Error = 0x{hX}. Re-trying...
  Error|RpcServer::WMIData::GetBIOSValue|Failed to get value of IsSet at count 5. Error = 0x{hX}. Re-trying...
  Error|RpcServer::WMIData::ReadBiosPasswordStatusLegacy|Failed to get BIOS Credential State
Get Access Key 1 => 0 Laptop 14 Model A<.^.>7XY45AV#AKL<.^.>20WWABCD601#S001#D001<.^.>16.00 GB (15.84 GB usable)<.^.>12th Gen Processor<.^.>A01 Ver. 01.02.03 - 05/16/2023<.^.>KBC Version 11.22.00<.^.>SN12345678<.^.>3X7<.^.>0x1, option code | holds nothing
  Error|RpcServer::WMIData::GetBIOSValue|Failed to get value of Value at count 0. Error = 0x{hX}. Re-trying...
  Error|RpcServer::WMIData::ReadBiosPasswordStatusVeralock|Failed to get BIOS Credential State
allocation 1 => 0 Laptop 14 Model A<.^.>7XY45AV#AKL<.^.>20WWABCD601#S001#D001<.^.>16.00 GB (15.84 GB usable)<.^.>12th Gen Processor<.^.>A01 Ver. 01.02.03 - 05/16/2023<.^.>KBC Version 11.22.00<.^.>SN12345678<.^.>3X7<.^.>0x1, option code | holds nothing
  Error|RpcServer::WMIData::ReadBuildFromFile|Memory Allocation failed : Out of memory
)"},
    {"TextPropertyWithoutRetry", &TextPropertyWithoutRetry, LR"(
untouched ; VariantClear 1 => 0 'A', 0 waits | holds nothing
IWbemClassObject::Get 1 => {hx} 'before', 2 waits | holds nothing
  Error|RpcServer::WMIData::GetBIOSValue|Failed to get value of Value at count 0. Error = 0x{hX}. Re-trying...
)"},
    {"NumberProperty", &NumberProperty, LR"(
untouched ; VariantClear 1 => 0 7, 0 waits | holds nothing
IWbemClassObject::Get 1 => 0 7, 1 waits | holds nothing
  Error|RpcServer::WMIData::GetBIOSValue|Failed to get value of Value at count 0. Error = 0x{hX}. Re-trying...
IWbemClassObject::Get 1+ => {hx} 5, 7 waits | holds nothing
  Error|RpcServer::WMIData::GetBIOSValue|Failed to get value of Value at count 0. Error = 0x{hX}. Re-trying...
  Error|RpcServer::WMIData::GetBIOSValue|Failed to get value of Value at count 1. Error = 0x{hX}. Re-trying...
  Error|RpcServer::WMIData::GetBIOSValue|Failed to get value of Value at count 2. Error = 0x{hX}. Re-trying...
  Error|RpcServer::WMIData::GetBIOSValue|Failed to get value of Value at count 3. Error = 0x{hX}. Re-trying...
  Error|RpcServer::WMIData::GetBIOSValue|Failed to get value of Value at count 4. Error = 0x{hX}. Re-trying...
  Error|RpcServer::WMIData::GetBIOSValue|Failed to get value of Value at count 5. Error = 0x{hX}. Re-trying...
)"},
};

INSTANTIATE_TEST_SUITE_P(Wmi, Operations, testing::ValuesIn(kOperations), Faults::NameOf);

} // namespace
