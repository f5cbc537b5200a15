#include "hotkey/UsbCText.h"

#include "shared/WideText.h"

namespace RpcServer::SysInfo
{

namespace
{
const wchar_t* SupportText(std::uint8_t flag) noexcept
{
    return flag != 0 ? L"Supported" : L"Not Supported";
}
} // namespace

std::wstring UsbDeviceList(const USBC_BIOS_INFO& info)
{
    std::wstring list{info.bSupportBasicUsb != 0 ? L"USB 2.0" : L""};
    list += L"|.#.$";
    // Deliberate: a port without Gen 2 still counts as Gen 1.
    list += info.bSupportUsb31Gen2 != 0 ? L"USB 3.1 Gen 2" : L"USB 3.1 Gen 1";
    return list;
}

std::int32_t DownstreamWatts(const USBC_BIOS_INFO& info) noexcept
{
    return static_cast<std::int32_t>(std::int64_t{info.dwMaxDownstreamPower} * 250 / 1000);
}

std::wstring UsbCText(const USBC_BIOS_INFO& info)
{
    const wchar_t* const separator = L"<.^.>";
    std::wstring text = UsbDeviceList(info);
    for (const std::uint8_t flag : {info.bSupportThunderbolt, info.bSupportDisplayPort,
                                    info.bSupportDownstreamPowerDelivery, info.bSupportUpstreamPowerDelivery})
    {
        text += separator;
        text += SupportText(flag);
    }
    text += separator;
    text += Quil::Shared::FormatText(L"%dW", DownstreamWatts(info));
    return text;
}

} // namespace RpcServer::SysInfo
