// The service's whole first reading of the system information against the same queries and property reads made bare,
// on the same provider. Runs in a testbed whose firmware answers at once.
#include "bench/Measure.h"

#include "shared/Logger.h"
#include "shared/UniqueHandle.h"
#include "sysinfo/WmiData.h"

#include <windows.h>

#include <comdef.h>
#include <wbemcli.h>

#include <memory>
#include <vector>

using Quil::Shared::CUniqueCom;

namespace
{

struct Query
{
    const wchar_t* nameSpace;
    const wchar_t* text;
    std::vector<const wchar_t*> properties;
};

// In the order of the reading; the namespace is connected when it changes.
const Query kQueries[] = {
    {L"ROOT\\wmi",
     L"Select * from MS_SystemInformation",
     {L"SystemProductName", L"SystemSKU", L"BIOSVersion", L"BIOSReleaseDate", L"BaseBoardVersion", L"SystemFamily"}},
    {L"ROOT\\CIMV2", L"Select * from Win32_PhysicalMemory", {L"Capacity"}},
    {L"ROOT\\CIMV2", L"Select * from Win32_ComputerSystem", {L"TotalPhysicalMemory", L"OEMStringArray"}},
    {L"ROOT\\CIMV2", L"Select * from Win32_Processor", {L"Name"}},
    {L"ROOT\\CIMV2", L"Select * from Win32_ComputerSystemProduct", {L"IdentifyingNumber"}},
    {L"ROOT\\quil\\instrumentedbios", L"SELECT * FROM QUILBIOS_BIOSString  WHERE Name='Feature Byte'", {L"Value"}},
    {L"ROOT\\quil\\instrumentedbios",
     L" SELECT IsSet FROM QUILBIOS_BIOSPassword WHERE Name='Setup Password'",
     {L"IsSet"}},
    {L"ROOT\\quil\\instrumentedbios",
     L"SELECT Value FROM QUILBIOS_BIOSString where Name='Enhanced BIOS Authentication Mode Local Access Key 1'",
     {L"Value"}},
};

void ReadBare()
{
    CUniqueCom<IWbemLocator> locator;
    CoCreateInstance(CLSID_WbemLocator, nullptr, CLSCTX_INPROC_SERVER, IID_IWbemLocator,
                     reinterpret_cast<void**>(locator.Put()));
    CUniqueCom<IWbemServices> services;
    const wchar_t* connected = nullptr;
    for (const Query& query : kQueries)
    {
        if (query.nameSpace != connected)
        {
            connected = query.nameSpace;
            locator.Get()->ConnectServer(_bstr_t{connected}, nullptr, nullptr, nullptr, 0, nullptr, nullptr,
                                         services.Put());
            CoSetProxyBlanket(services.Get(), RPC_C_AUTHN_WINNT, RPC_C_AUTHZ_NONE, nullptr, RPC_C_AUTHN_LEVEL_CALL,
                              RPC_C_IMP_LEVEL_IMPERSONATE, nullptr, EOAC_NONE);
        }
        CUniqueCom<IEnumWbemClassObject> rows;
        services.Get()->ExecQuery(_bstr_t{L"WQL"}, _bstr_t{query.text},
                                  WBEM_FLAG_FORWARD_ONLY | WBEM_FLAG_RETURN_IMMEDIATELY, nullptr, rows.Put());
        for (;;)
        {
            CUniqueCom<IWbemClassObject> row;
            ULONG count = 0;
            if (!rows || FAILED(rows.Get()->Next(static_cast<LONG>(WBEM_INFINITE), 1, row.Put(), &count)) || count == 0)
            {
                break;
            }
            for (const wchar_t* const property : query.properties)
            {
                VARIANT value{};
                VariantInit(&value);
                row.Get()->Get(property, 0, &value, nullptr, nullptr);
                VariantClear(&value);
            }
        }
    }
}

} // namespace

int main()
{
    // The log has a table of its own.
    auto previous = Quil::Shared::CqlLogger::ExchangeInstance(std::make_unique<Quil::Shared::CqlLogger>());
    RpcServer::WMIData warm; // the multithreaded apartment of the process
    const auto reading = [] {
        RpcServer::WMIData reader;
        return Bench::NanosecondsPerOperation([&] { static_cast<void>(reader.ReadSysInfo()); }, 1) / 1000;
    };
    const auto bare = [] { return Bench::NanosecondsPerOperation(ReadBare, 1) / 1000; };
    const bool met = Bench::PrintRow("the whole first reading of the system information", "the same queries made bare",
                                     Bench::SideBySide(reading, bare), Bench::Bar::AtMost, 1.10, "us");
    Quil::Shared::CqlLogger::ExchangeInstance(std::move(previous));
    return met ? 0 : 1;
}
