// The system-information text, field by field. Text in, record out: no Windows header.
#pragma once

#include "client/ClientResult.h"

#include <cstdint>
#include <string>
#include <string_view>

namespace HotKey
{

// Texts stand as the service gives them: a value that it could not read is "null" or one blank.
struct CSysInfo
{
    std::wstring strProductName;
    std::wstring strSku;
    std::wstring strBuild;
    std::wstring strMemory;
    std::wstring strProcessor;
    std::wstring strBiosVersion;
    std::wstring strBaseBoardVersion;
    std::wstring strSerialNumber;
    std::wstring strFeatureByte;
    std::wstring strBiosPasswordStatus; // "0x" and the hexadecimal status byte
    std::uint8_t ucBiosPasswordStatus;  // low nibble: setup password, high nibble: local access key
    bool bUsbTypeC;
};

// Accepts exactly what the service writes; otherwise names the first thing that it does not.
CResult<CSysInfo> ParseSysInfo(std::wstring_view text);

} // namespace HotKey
