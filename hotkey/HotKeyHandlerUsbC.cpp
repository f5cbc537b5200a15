#include "hotkey/HotKeyHandler.h"
#include "shared/TraceScope.h"

#include <type_traits>

using namespace Quil::Shared;

namespace RpcServer::SysInfo
{

namespace
{

// Asks the framework one question; false ends the series. The answer is kept only when the call succeeded.
template <typename Answer, typename Field>
bool Ask(const CLogName& log, const CUniqueCom<IFennix>& fennix, const wchar_t* method,
         HRESULT (STDMETHODCALLTYPE IFennix::*getter)(Answer*), Field& field)
{
    log.Verbose(L"Trying to get %s using Fennix... ", method);
    if (!fennix)
    {
        return false;
    }
    Answer answer{};
    const HRESULT result = (fennix.Get()->*getter)(&answer);
    Field value{};
    if constexpr (std::is_same_v<Answer, VARIANT_BOOL>)
    {
        value = answer == VARIANT_TRUE ? 1 : 0;
    }
    else
    {
        value = static_cast<Field>(answer);
    }
    log.Verbose(L"%s : Return %d - HRESULT : 0x%08X", method, value, result);
    if (FAILED(result))
    {
        return false;
    }
    field = value;
    return true;
}

} // namespace

void CHotKeyHandler::GetUSBTypeCInfoUsingFennix(USBC_BIOS_INFO& info)
{
    CTraceScope trace{"RpcServer::SysInfo::CHotKeyHandler::GetUSBTypeCInfoUsingFennix"};

    if (!m_pFennix)
    {
        trace.Error(L"Fennix Handler is NULL");
        info = {};
        return;
    }
    trace.Verbose(L"Trying to get USB Type C Information using Fennix... ");

    USBC_BIOS_INFO read;
    const auto ask = [&](const wchar_t* method, auto getter, auto& field) {
        return Ask(trace, m_pFennix, method, getter, field);
    };
    // The first failure ends the series; what was not asked stays 0.
    static_cast<void>(ask(L"GetNumberOfUsbPorts", &IFennix::GetNumberOfUsbPorts, read.dwNumberOfUsbPorts) &&
                      ask(L"GetSizeOfUsbPort", &IFennix::GetSizeOfUsbPort, read.dwSizeOfUsbPort) &&
                      ask(L"GetBasicUsbSupport", &IFennix::GetBasicUsbSupport, read.bSupportBasicUsb) &&
                      ask(L"GetUsb31Gen2Support", &IFennix::GetUsb31Gen2Support, read.bSupportUsb31Gen2) &&
                      ask(L"GetUsbUpstreamPowerDeliverySupport", &IFennix::GetUsbUpstreamPowerDeliverySupport,
                          read.bSupportUpstreamPowerDelivery) &&
                      ask(L"GetUsbDownstreamPowerDeliverySupport", &IFennix::GetUsbDownstreamPowerDeliverySupport,
                          read.bSupportDownstreamPowerDelivery) &&
                      ask(L"GetUsbDisplayPortSupport", &IFennix::GetUsbDisplayPortSupport, read.bSupportDisplayPort) &&
                      ask(L"GetUsbThunderboltSupport", &IFennix::GetUsbThunderboltSupport, read.bSupportThunderbolt) &&
                      ask(L"GetUsbDisplayPortLaneX2Support", &IFennix::GetUsbDisplayPortLaneX2Support,
                          read.bSupportDisplayPortLaneX2) &&
                      ask(L"GetUsbDisplayPortLaneX4Support", &IFennix::GetUsbDisplayPortLaneX4Support,
                          read.bSupportDisplayPortLaneX4) &&
                      ask(L"GetUsbMaxUpstreamPower", &IFennix::GetUsbMaxUpstreamPower, read.dwMaxUpstreamPower) &&
                      ask(L"GetUsbMaxDownstreamPower", &IFennix::GetUsbMaxDownstreamPower, read.dwMaxDownstreamPower));
    info = read;
}

std::wstring CHotKeyHandler::GenerateUSBTypeCInfo(const USBC_BIOS_INFO& info)
{
    CTraceScope trace{"RpcServer::SysInfo::CHotKeyHandler::GenerateUSBTypeCInfo"};

    trace.Verbose(L"USBC_BIOS_INFO.bSupportBasicUsb : %d", info.bSupportBasicUsb);
    trace.Verbose(L"USBC_BIOS_INFO.bSupportUsb31Gen2 : %d", info.bSupportUsb31Gen2);
    trace.Information(L"USB Devices : %s", UsbDeviceList(info));
    trace.Verbose(L"USBC_BIOS_INFO.bSupportThunderbolt : %d", info.bSupportThunderbolt);
    trace.Verbose(L"USBC_BIOS_INFO.bSupportDisplayPort : %d", info.bSupportDisplayPort);
    trace.Verbose(L"USBC_BIOS_INFO.bSupportDownstreamPowerDelivery : %d", info.bSupportDownstreamPowerDelivery);
    trace.Verbose(L"USBC_BIOS_INFO.bSupportUpstreamPowerDelivery : %d", info.bSupportUpstreamPowerDelivery);
    trace.Information(L"MaxPowerOutput : %dW", DownstreamWatts(info));
    std::wstring text = UsbCText(info);
    trace.Information(L"USB Type C Information: %s", text);
    return text;
}

std::wstring CHotKeyHandler::GetUSBTypeCInfoAsWString()
{
    CTraceScope trace{"RpcServer::SysInfo::CHotKeyHandler::GetUSBTypeCInfoAsWString"};

    if (!m_pFennix)
    {
        trace.Error(L"FennixSdkVoraCommand Instance is NULL");
        return m_strUSBTypeCInfo.Get();
    }
    std::wstring text = m_strUSBTypeCInfo.Get();
    if (text.empty())
    {
        trace.Information(L"Trying to get  USB Type C Information using Fennix... ");
        try
        {
            USBC_BIOS_INFO info;
            GetUSBTypeCInfoUsingFennix(info);
            text = GenerateUSBTypeCInfo(info);
            m_strUSBTypeCInfo.Set(text);
        }
        catch (...)
        {
            trace.Error(L"Exception occurred when calling GetUSBTypeCInfoUsingFennix");
        }
    }
    trace.Information(L"USB Type C Information = %s", text);
    return text;
}

bool CHotKeyHandler::IsUSBCSupported()
{
    CTraceScope trace{"RpcServer::SysInfo::CHotKeyHandler::IsUSBCSupported"};

    if (!m_pFennix)
    {
        trace.Error(L"FennixSdkVoraCommand Instance is NULL");
        return trace.Exit(false, L"USB Type C Support: 0x%08X", 0);
    }
    HRESULT result = E_FAIL;
    try
    {
        trace.Verbose(L"Trying to Get USB Type C Support using Fennix");
        VARIANT_BOOL answer = VARIANT_FALSE;
        result = m_pFennix.Get()->GetPlatformUsbcSupported(&answer);
        if (FAILED(result))
        {
            trace.Error(L"Failed to get Platform.USBC.Supported [hr:0x%08X]", result);
            return false;
        }
        const bool supported = answer == VARIANT_TRUE;
        trace.Verbose(L"USB TypeC Support : %d", supported ? 1 : 0);
        return supported;
    }
    catch (...)
    {
        trace.Error(L"Exception occurred when calling Platform.USBC.Supported [hr:0x%08X]", result);
        return false;
    }
}

} // namespace RpcServer::SysInfo
