/// \file
/// The USB Type-C capabilities of the machine and the text that the companion app shows of them.
/// Values in, values out: no Windows header, no logging.
#pragma once

#include <cstdint>
#include <string>

/// The handler behind the bridge.
namespace RpcServer::SysInfo
{

/// The framework's answers, in the order in which it is asked; flags are 1 or 0.
struct USBC_BIOS_INFO
{
    std::uint32_t dwNumberOfUsbPorts{};             ///< not shown
    std::uint32_t dwSizeOfUsbPort{};                ///< as the framework gives it; not shown
    std::uint8_t bSupportBasicUsb{};                ///< USB 2.0
    std::uint8_t bSupportUsb31Gen2{};               ///< 0: Gen 1
    std::uint8_t bSupportUpstreamPowerDelivery{};   ///< 1 or 0
    std::uint8_t bSupportDownstreamPowerDelivery{}; ///< 1 or 0
    std::uint8_t bSupportDisplayPort{};             ///< 1 or 0
    std::uint8_t bSupportThunderbolt{};             ///< 1 or 0
    std::uint8_t bSupportDisplayPortLaneX2{};       ///< not shown
    std::uint8_t bSupportDisplayPortLaneX4{};       ///< not shown
    std::uint32_t dwMaxUpstreamPower{};             ///< as the framework gives it; not shown
    std::int32_t dwMaxDownstreamPower{};            ///< units of 250 mW
};

/// The names of the USB 2 and USB 3 devices with the list's own separator between them.
std::wstring UsbDeviceList(const USBC_BIOS_INFO& info);

/// Whole watts, cut toward zero.
std::int32_t DownstreamWatts(const USBC_BIOS_INFO& info) noexcept;

/// Device list, Thunderbolt, DisplayPort, downstream and upstream power delivery, power.
/// Port count and size, lanes and upstream power are not part of it.
std::wstring UsbCText(const USBC_BIOS_INFO& info);

} // namespace RpcServer::SysInfo
