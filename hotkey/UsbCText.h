// The USB Type-C capabilities of the machine and the text that the companion app shows of them.
// Values in, values out: no Windows header, no logging.
#pragma once

#include <cstdint>
#include <string>

namespace RpcServer::SysInfo
{

// In the order in which the framework is asked.
struct USBC_BIOS_INFO
{
    std::uint32_t dwNumberOfUsbPorts{};
    std::uint32_t dwSizeOfUsbPort{};
    std::uint8_t bSupportBasicUsb{};
    std::uint8_t bSupportUsb31Gen2{};
    std::uint8_t bSupportUpstreamPowerDelivery{};
    std::uint8_t bSupportDownstreamPowerDelivery{};
    std::uint8_t bSupportDisplayPort{};
    std::uint8_t bSupportThunderbolt{};
    std::uint8_t bSupportDisplayPortLaneX2{};
    std::uint8_t bSupportDisplayPortLaneX4{};
    std::uint32_t dwMaxUpstreamPower{};
    std::int32_t dwMaxDownstreamPower{}; // units of 250 mW
};

// The names of the USB 2 and USB 3 devices with the list's own separator between them.
std::wstring UsbDeviceList(const USBC_BIOS_INFO& info);

// Whole watts, cut toward zero.
std::int32_t DownstreamWatts(const USBC_BIOS_INFO& info) noexcept;

// Device list, Thunderbolt, DisplayPort, downstream and upstream power delivery, power.
// Port count and size, lanes and upstream power are not part of it.
std::wstring UsbCText(const USBC_BIOS_INFO& info);

} // namespace RpcServer::SysInfo
