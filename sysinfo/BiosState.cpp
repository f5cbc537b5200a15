// ROOT\quil\instrumentedbios: the feature byte, and whether passwords are set. No password is ever read or compared.
#include "sysinfo/WmiData.h"
#include "sysinfo/WmiNamespace.h"

#include "shared/TraceScope.h"
#include "shared/WideText.h"

#include <windows.h>

using Quil::Shared::CTraceScope;
using Quil::Shared::FormatText;
using Quil::Shared::Low32;

namespace RpcServer
{

namespace
{

// The end of the rows is no failure.
HRESULT RowsResult(HRESULT next) noexcept
{
    return next == WBEM_S_FALSE ? S_OK : next;
}

} // namespace

HRESULT WMIData::ReadFeatureByte(IWbemServices* services)
{
    CTraceScope trace{"RpcServer::WMIData::ReadFeatureByte", L"IWbemServices = 0x%x", Low32(services)};

    if (services == nullptr)
    {
        return trace.ExitValue(E_FAIL, L"Return Value = 0x%x");
    }
    bool completed = false;
    CUniqueRows rows;
    HRESULT result = StartQuery(services, L"SELECT * FROM QUILBIOS_BIOSString  WHERE Name='Feature Byte'", rows);
    if (SUCCEEDED(result))
    {
        if (HasEnumerator(trace, rows))
        {
            result = RowsResult(ForEachRow(trace, rows, [&](IWbemClassObject* row) {
                m_strFeatureByte = L" ";
                if (FAILED(GetBIOSValue(row, L"Value", m_strFeatureByte, true)))
                {
                    trace.Error(L"Failed to get Feature Byte");
                }
            }));
            completed = true;
        }
    }
    else
    {
        trace.Warning(L"Query for QUILBIOS_BIOSString Feature Byte failed with error [hr:0x%08X]. "
                      L"Trying with QUIL_BIOSSetting",
                      result);
        result = StartQuery(services, L"SELECT * FROM QUIL_BIOSSetting  WHERE Name='Feature Byte'", rows);
        if (SUCCEEDED(result))
        {
            // Deliberate: the second query only shows that the class is there; its rows are not read.
            rows.Reset();
            completed = true;
        }
        else
        {
            trace.Error(L"Query for QUIL_BIOSSetting Feature Byte failed. [hr:0x%08X]", result);
        }
    }
    if (completed)
    {
        trace.Verbose(L"Completed reading feature byte from ROOT\\quil\\instrumentedbios");
    }
    trace.Verbose(L"Completed reading from ROOT\\quil\\instrumentedbios");
    return trace.ExitValue(result, L"Return Value = 0x%x");
}

HRESULT WMIData::ReadBiosPasswordStatusLegacy(IWbemServices* services, BYTE* status)
{
    CTraceScope trace{"RpcServer::WMIData::ReadBiosPasswordStatusLegacy", L"IWbemServices = 0x%x", Low32(services)};

    if (services == nullptr)
    {
        return trace.ExitValue(E_FAIL, L"Return Value = 0x%x");
    }
    *status = 0;
    CUniqueRows rows;
    // Deliberate: the query begins with a blank.
    HRESULT result =
        StartQuery(services, L" SELECT IsSet FROM QUILBIOS_BIOSPassword WHERE Name='Setup Password'", rows);
    if (FAILED(result))
    {
        trace.Error(L"Query for Legacy BIOS Password value failed. [hr:0x%08X]", result);
    }
    else if (HasEnumerator(trace, rows))
    {
        result = RowsResult(ForEachRow(trace, rows, [&](IWbemClassObject* row) {
            DWORD isSet = 0;
            if (FAILED(GetBIOSValue(row, L"IsSet", &isSet)))
            {
                trace.Error(L"Failed to get BIOS Credential State");
                return;
            }
            *status = static_cast<BYTE>((*status << 1) | (isSet != 0 ? 0x01 : 0));
        }));
        trace.Verbose(L"Completed reading legacy BIOS password state from ROOT\\quil\\instrumentedbios");
    }
    return trace.ExitValue(result, L"Return Value = 0x%x");
}

HRESULT WMIData::ReadBiosPasswordStatusVeralock(IWbemServices* services, BYTE* status)
{
    CTraceScope trace{"RpcServer::WMIData::ReadBiosPasswordStatusVeralock", L"IWbemServices = 0x%x", Low32(services)};

    if (services == nullptr)
    {
        return trace.ExitValue(E_FAIL, L"Return Value = 0x%x");
    }
    *status = 0;
    CUniqueRows rows;
    HRESULT result = StartQuery(services,
                                L"SELECT Value FROM QUILBIOS_BIOSString where "
                                L"Name='Enhanced BIOS Authentication Mode Local Access Key 1'",
                                rows);
    if (FAILED(result))
    {
        trace.Error(L"Query for Veralock BIOS Password status failed. [hr:0x%08X]", result);
    }
    else if (HasEnumerator(trace, rows))
    {
        int settings = 0;
        std::wstring key;
        result = RowsResult(ForEachRow(trace, rows, [&](IWbemClassObject* row) {
            ++settings;
            if (FAILED(GetBIOSValue(row, L"Value", key, false)))
            {
                trace.Error(L"Failed to get BIOS Credential State");
                return;
            }
            // Deliberate: the flag is set before the shift, so that one key shows as 0x20.
            *status = static_cast<BYTE>((*status | (key.empty() ? 0 : 0x10)) << 1);
        }));
        if (settings == 0)
        {
            trace.Information(L"Could not found Veralock Settings. This is expected from old BIOS and old platforms");
        }
        trace.Verbose(L"Total Settings fetched for Veralock = %d", settings);
        // Deliberate: the same text as the legacy reader's.
        trace.Verbose(L"Completed reading legacy BIOS password state from ROOT\\quil\\instrumentedbios");
    }
    return trace.ExitValue(result, L"Return Value = 0x%x");
}

HRESULT WMIData::ReadBiosPasswordStatus(IWbemServices* services)
{
    CTraceScope trace{"RpcServer::WMIData::ReadBiosPasswordStatus", L"IWbemServices = 0x%x", Low32(services)};

    BYTE legacyStatus = 0;
    BYTE veralockStatus = 0;
    const HRESULT legacy = ReadBiosPasswordStatusLegacy(services, &legacyStatus);
    const HRESULT veralock = ReadBiosPasswordStatusVeralock(services, &veralockStatus);
    // Deliberate: whatever could be read counts, also when a reader failed.
    m_strBiosPasswordStatus = FormatText(L"0x%X", (veralockStatus & 0xF0) | (legacyStatus & 0x0F));
    return trace.Exit(legacy | veralock, L"Password Return Value = 0x%x, Veralock Return Value = 0x%x", legacy,
                      veralock);
}

} // namespace RpcServer
