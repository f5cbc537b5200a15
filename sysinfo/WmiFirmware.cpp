// ROOT\wmi and ROOT\CIMV2: model, firmware, memory, OEM strings, processor and serial number.
#include "sysinfo/ModelTables.h"
#include "sysinfo/SysInfoText.h"
#include "sysinfo/WmiData.h"
#include "sysinfo/WmiNamespace.h"

#include "shared/TraceScope.h"
#include "shared/UniqueHandle.h"

#include <windows.h>

#include <oleauto.h>

#include <span>
#include <string>

using Quil::Shared::CLogName;
using Quil::Shared::CTraceScope;

namespace RpcServer
{

namespace
{

class CVariant
{
  public:
    CVariant() noexcept { VariantInit(&m_value); }
    ~CVariant() { VariantClear(&m_value); }
    CVariant(const CVariant&) = delete;
    CVariant& operator=(const CVariant&) = delete;

    VARIANT* Put() noexcept { return &m_value; }
    const VARIANT& Get() const noexcept { return m_value; }

  private:
    VARIANT m_value{};
};

// The strings of an array, accessible for a scope; none for a value of any other type.
class CArrayStrings
{
  public:
    explicit CArrayStrings(const VARIANT& array) noexcept
    {
        void* data = nullptr;
        if (V_VT(&array) == (VT_ARRAY | VT_BSTR) && V_ARRAY(&array) != nullptr &&
            SafeArrayGetDim(V_ARRAY(&array)) == 1 && SUCCEEDED(SafeArrayAccessData(V_ARRAY(&array), &data)))
        {
            m_pArray = V_ARRAY(&array);
            m_strings = {static_cast<const BSTR*>(data), m_pArray->rgsabound[0].cElements};
        }
    }
    ~CArrayStrings()
    {
        if (m_pArray != nullptr)
        {
            SafeArrayUnaccessData(m_pArray);
        }
    }
    CArrayStrings(const CArrayStrings&) = delete;
    CArrayStrings& operator=(const CArrayStrings&) = delete;

    std::span<const BSTR> Get() const noexcept { return m_strings; }

  private:
    SAFEARRAY* m_pArray{nullptr};
    std::span<const BSTR> m_strings;
};

// All strings of an array one after the other, each up to its first NUL.
std::wstring JoinStrings(const VARIANT& array)
{
    std::wstring joined;
    const CArrayStrings strings{array};
    for (const BSTR string : strings.Get())
    {
        joined += string != nullptr ? string : L"";
    }
    return joined;
}

// Runs a query of the computer's own data. The result with which the reading ends, nothing when it goes on.
template <typename HandleRow>
std::optional<HRESULT> ReadRows(const CLogName& log, IWbemServices* services, const wchar_t* query, HandleRow handleRow)
{
    CUniqueRows rows;
    const HRESULT result = StartQuery(services, query, rows);
    if (FAILED(result))
    {
        log.Error(L"Query for system information failed. [hr:0x%08X]", result);
        return result;
    }
    if (!HasEnumerator(log, rows))
    {
        return result;
    }
    // Deliberate: a failing Next only ends the rows.
    static_cast<void>(ForEachRow(log, rows, handleRow));
    return std::nullopt;
}

} // namespace

std::optional<HRESULT> WMIData::ReadFirmware(CTraceScope& trace, IWbemLocator* locator)
{
    trace.Verbose(L"Started reading from ROOT\\WMI");
    CUniqueServices services;
    HRESULT result = ConnectNamespace(locator, L"ROOT\\wmi", services);
    if (FAILED(result) || !IsConnected(trace, services))
    {
        if (FAILED(result))
        {
            trace.Error(L"Could not connect to ROOT\\wmi [hr:0x%08X]", result);
        }
        // Deliberate: no exit record.
        trace.NoExit();
        return result;
    }
    result = SetProxyBlanket(services.Get());
    if (FAILED(result))
    {
        trace.Error(L"Could not set proxy blanket [hr:0x%08X]", result);
        // Deliberate: no exit record.
        trace.NoExit();
        return result;
    }
    const auto ended = ReadRows(trace, services.Get(), L"Select * from MS_SystemInformation",
                                [&](IWbemClassObject* row) { ReadSystemInformation(trace, row); });
    if (!ended)
    {
        services.Reset();
        trace.Verbose(L"Completed reading from ROOT\\wmi");
    }
    return ended;
}

void WMIData::ReadSystemInformation(const CLogName& log, IWbemClassObject* row)
{
    if (FAILED(GetBIOSValue(row, L"SystemProductName", m_strSystemProductName, true)))
    {
        log.Error(L"Failed to get SystemProductName ");
    }

    if (FAILED(GetBIOSValue(row, L"SystemSKU", m_strSystemSKU, true)))
    {
        log.Error(L"Failed to get SystemSKU ");
    }
    else if (IsListed(OptionCode(m_strSystemSKU), kSkuOptionCodes))
    {
        m_bUseCtrlAltJ = true;
        log.Verbose(L"Set m_bUseCtrlAltJ to TRUE");
    }

    if (FAILED(GetBIOSValue(row, L"BIOSVersion", m_strBIOSVersion, true)))
    {
        log.Error(L"Failed to get BIOSVersion ");
    }
    // Deliberate: the separator stands there also without version or date.
    m_strBIOSVersion += L" - ";
    std::wstring releaseDate;
    if (FAILED(GetBIOSValue(row, L"BIOSReleaseDate", releaseDate, true)))
    {
        log.Error(L"Failed to get BIOSReleaseDate ");
    }
    else
    {
        m_strBIOSVersion += releaseDate;
    }

    if (FAILED(GetBIOSValue(row, L"BaseBoardVersion", m_strBaseBoardVersion, true)))
    {
        log.Error(L"Failed to get BaseBoardVersion ");
    }

    if (FAILED(GetBIOSValue(row, L"SystemFamily", m_strSystemFamily, true)))
    {
        log.Error(L"Failed to get SystemFamily ");
    }
    else if (IsListed(FamilyCode(m_strSystemFamily), kFamilyCodes))
    {
        m_bFamilyCodeMatch = true;
    }
}

std::optional<HRESULT> WMIData::ReadComputer(const CLogName& log, IWbemLocator* locator)
{
    log.Verbose(L"Started reading from ROOT\\CIMV2");
    CUniqueServices services;
    HRESULT result = ConnectNamespace(locator, L"ROOT\\CIMV2", services);
    if (FAILED(result))
    {
        log.Error(L"Could not connect to ROOT\\cimv2. [hr:0x%08X]", result);
        return result;
    }
    if (!IsConnected(log, services))
    {
        return result;
    }
    result = SetProxyBlanket(services.Get());
    if (FAILED(result))
    {
        // Deliberate: the full stop tells this record from that of ROOT\wmi.
        log.Error(L"Could not set proxy blanket. [hr:0x%08X]", result);
        return result;
    }

    if (const auto ended = ReadRows(log, services.Get(), L"Select * from Win32_PhysicalMemory",
                                    [&](IWbemClassObject* row) { ReadMemoryModule(log, row); }))
    {
        return ended;
    }
    if (const auto ended = ReadRows(log, services.Get(), L"Select * from Win32_ComputerSystem",
                                    [&](IWbemClassObject* row) { ReadComputerSystem(log, row); }))
    {
        return ended;
    }
    if (const auto ended = ReadRows(log, services.Get(), L"Select * from Win32_Processor", [&](IWbemClassObject* row) {
            if (FAILED(GetBIOSValue(row, L"Name", m_strProcessorName, true)))
            {
                log.Error(L"Failed to get ProcessorName");
            }
        }))
    {
        return ended;
    }
    if (const auto ended =
            ReadRows(log, services.Get(), L"Select * from Win32_ComputerSystemProduct", [&](IWbemClassObject* row) {
                if (FAILED(GetBIOSValue(row, L"IdentifyingNumber", m_strSerialNumber, true)))
                {
                    log.Error(L"Failed to get IdentifyingNumber");
                }
            }))
    {
        return ended;
    }
    services.Reset();
    log.Verbose(L"Completed reading from ROOT\\CIMV2");
    return std::nullopt;
}

void WMIData::ReadMemoryModule(const CLogName& log, IWbemClassObject* row)
{
    std::wstring capacity;
    if (FAILED(GetBIOSValue(row, L"Capacity", capacity, true)))
    {
        log.Error(L"Failed to get Capacity");
        return;
    }
    m_llInstalledMemory = WrappingSum(m_llInstalledMemory, LeadingNumber(capacity));
}

void WMIData::ReadComputerSystem(const CLogName& log, IWbemClassObject* row)
{
    std::wstring total;
    if (FAILED(GetBIOSValue(row, L"TotalPhysicalMemory", total, true)))
    {
        // Deliberate: the same text as for a memory module.
        log.Error(L"Failed to get Capacity");
    }
    else
    {
        const LONGLONG usable = LeadingNumber(total) / 1024 / 1024;
        m_llInstalledMemory /= 1048576;
        m_strMemory = MemoryText(m_llInstalledMemory, usable);
    }

    CVariant value;
    if (FAILED(row->Get(L"OEMStringArray", 0, value.Put(), nullptr, nullptr)))
    {
        return;
    }
    const std::wstring oemStrings = JoinStrings(value.Get());
    if (!oemStrings.empty())
    {
        TakeOemStrings(log, oemStrings);
    }
}

void WMIData::TakeOemStrings(const CLogName& log, const std::wstring& oemStrings)
{
    const auto featureByte = FindOemField(oemStrings, L"FBYTE#");
    if (!featureByte)
    {
        log.Verbose(L"Do not see FBYTE# tag.");
    }
    else if (!featureByte->delimited)
    {
        log.Verbose(L"Do not see any semicolon delimiter after FBYTE#.");
    }
    m_strFeatureByte = featureByte ? featureByte->text : L" ";

    // A build file goes before the tag and is taken as it is.
    if (ReadBuildFromFile())
    {
        return;
    }
    const auto build = FindOemField(oemStrings, L"BUILDID#");
    if (!build)
    {
        log.Verbose(L"Do not see BUILDID# tag.");
        m_strBuild = L" ";
        return;
    }
    if (!build->delimited)
    {
        log.Verbose(L"Do not see any semicolon delimiter after BUILDID#.");
    }
    m_strBuild = build->text;
    if (!IsFactoryBuild(m_strBuild))
    {
        m_strBuild += L" (Recovery Media Used)";
    }
}

} // namespace RpcServer
