// The USB Type-C text: the service renders, the client reads the same values.
#include "FuzzInput.h"
#include "client/UsbTypeCFields.h"
#include "hotkey/UsbCText.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    CFuzzInput input{data, size};
    const auto info = input.Take<RpcServer::SysInfo::USBC_BIOS_INFO>();

    const std::wstring text = RpcServer::SysInfo::UsbCText(info);
    const auto read = HotKey::ParseUsbTypeC(text);

    HOLDS(read);
    const HotKey::CUsbTypeC& record = read.Value();
    HOLDS(record.bUsb20 == (info.bSupportBasicUsb != 0));
    HOLDS(record.bUsb31Gen2 == (info.bSupportUsb31Gen2 != 0));
    HOLDS(record.bThunderbolt == (info.bSupportThunderbolt != 0));
    HOLDS(record.bDisplayPort == (info.bSupportDisplayPort != 0));
    HOLDS(record.bDownstreamPowerDelivery == (info.bSupportDownstreamPowerDelivery != 0));
    HOLDS(record.bUpstreamPowerDelivery == (info.bSupportUpstreamPowerDelivery != 0));
    HOLDS(record.nMaximumWatts == info.dwMaxDownstreamPower / 4);
    return 0;
}
