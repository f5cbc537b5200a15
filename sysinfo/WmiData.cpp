#include "sysinfo/WmiData.h"

#include "shared/TraceScope.h"
#include "sysinfo/SysInfoText.h"
#include "sysinfo/WmiNamespace.h"

#include <windows.h>

#include <objbase.h>

using Quil::Shared::CTraceScope;

namespace RpcServer
{

WMIData::WMIData()
{
    CTraceScope trace{"RpcServer::WMIData::WMIData"};

    // The reading thread relies on the multithreaded apartment made here; it initialises nothing of its own.
    HRESULT result = CoInitializeEx(nullptr, COINIT_MULTITHREADED);
    if (FAILED(result))
    {
        trace.Error(L"CoInitializeEx failed.  Error: 0x%08X", result);
    }
    result = CoInitializeSecurity(nullptr, -1, nullptr, nullptr, RPC_C_AUTHN_LEVEL_DEFAULT, RPC_C_IMP_LEVEL_IMPERSONATE,
                                  nullptr, EOAC_NONE, nullptr);
    if (FAILED(result))
    {
        trace.Error(L"Failed to initialize security..  Error: 0x%08X", result);
    }
}

WMIData::~WMIData()
{
    CTraceScope trace{"RpcServer::WMIData::~WMIData"};

    // Deliberate: called also when the initialisation failed.
    CoUninitialize();
}

const std::wstring& WMIData::GetSysInfoText() const noexcept
{
    return m_bRendered.load(std::memory_order_acquire) ? m_strSysInfo : m_strNotYet;
}

HRESULT WMIData::ReadSysInfo()
{
    CTraceScope trace{"RpcServer::WMIData::ReadSysInfo"};

    CUniqueLocator locator;
    const HRESULT created = CreateLocator(locator);
    if (FAILED(created))
    {
        trace.Error(L"Failed to create IWbemLocator object. [hr:0x%08X]", created);
        // Deliberate: no exit record.
        trace.NoExit();
        return created;
    }
    if (const auto ended = ReadFirmware(trace, locator.Get()))
    {
        return *ended;
    }
    if (const auto ended = ReadComputer(trace, locator.Get()))
    {
        return *ended;
    }

    trace.Verbose(L"Started reading from ROOT\\quil\\instrumentedbios");
    CUniqueServices services;
    HRESULT result = ConnectNamespace(locator.Get(), L"ROOT\\quil\\instrumentedbios", services);
    if (FAILED(result))
    {
        trace.Error(L"Could not connect to ROOT\\quil\\instrumentedbios. [hr:0x%08X]", result);
    }
    else if (IsConnected(trace, services))
    {
        result = SetProxyBlanket(services.Get());
        if (SUCCEEDED(result))
        {
            result = ReadBios(trace, services.Get());
            services.Reset();
            trace.Verbose(L"Completed reading from ROOT\\quil\\instrumentedbios");
            FormatSysInfoString();
            return result;
        }
        trace.Error(L"Could not set proxy blanket. [hr:0x%08X]", result);
    }
    // Deliberate: a PC without the maker's provider is no failure, and has no text.
    locator.Reset();
    services.Reset();
    trace.Verbose(L"Reset return code to 0.");
    return S_OK;
}

HRESULT WMIData::ReadBios(const Quil::Shared::CLogName& log, IWbemServices* services)
{
    const HRESULT featureByte = ReadFeatureByte(services);
    if (FAILED(featureByte))
    {
        log.Error(L"Failed to read FeatureByte  [hr:0x%08X]", featureByte);
    }
    const HRESULT password = ReadBiosPasswordStatus(services);
    if (FAILED(password))
    {
        log.Error(L"Failed to read Bios Password Status  [hr:0x%08X]", password);
    }
    return password;
}

void WMIData::FormatSysInfoString()
{
    CTraceScope trace{"RpcServer::WMIData::FormatSysInfoString"};

    std::wstring* const fields[] = {&m_strSystemProductName,
                                    &m_strSystemSKU,
                                    &m_strBuild,
                                    &m_strMemory,
                                    &m_strProcessorName,
                                    &m_strBIOSVersion,
                                    &m_strBaseBoardVersion,
                                    &m_strSerialNumber,
                                    &m_strFeatureByte,
                                    &m_strBiosPasswordStatus};
    m_strSysInfo = JoinFields(fields);
    m_bRendered.store(true, std::memory_order_release);
    trace.ExitText(L"System Info = %s", m_strSysInfo);
}

} // namespace RpcServer
