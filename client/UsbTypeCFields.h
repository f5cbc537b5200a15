/// \file
/// The USB Type-C text, field by field. Text in, record out: no Windows header.
#pragma once

#include "client/ClientResult.h"

#include <cstdint>
#include <string_view>

namespace HotKey
{

/// What the USB Type-C ports of the PC can do.
struct CUsbTypeC
{
    bool bUsb20;                   ///< a USB 2.0 device is listed
    bool bUsb31Gen2;               ///< false: Gen 1
    bool bThunderbolt;             ///< supported
    bool bDisplayPort;             ///< supported
    bool bDownstreamPowerDelivery; ///< supported
    bool bUpstreamPowerDelivery;   ///< supported
    std::int32_t nMaximumWatts;    ///< downstream
};

/// Accepts exactly what the service writes; otherwise names the first thing that it does not.
CResult<CUsbTypeC> ParseUsbTypeC(std::wstring_view text);

} // namespace HotKey
