/// \file
/// The system-information text, field by field. Text in, record out: no Windows header.
#pragma once

#include "client/ClientResult.h"

#include <cstdint>
#include <string>
#include <string_view>

namespace HotKey
{

/// Texts stand as the service gives them: a value that it could not read is "null" or one blank.
struct CSysInfo
{
    std::wstring strProductName;        ///< field 1 of the text
    std::wstring strSku;                ///< field 2
    std::wstring strBuild;              ///< field 3
    std::wstring strMemory;             ///< field 4, installed and usable
    std::wstring strProcessor;          ///< field 5
    std::wstring strBiosVersion;        ///< field 6, with the release date
    std::wstring strBaseBoardVersion;   ///< field 7
    std::wstring strSerialNumber;       ///< field 8
    std::wstring strFeatureByte;        ///< field 9
    std::wstring strBiosPasswordStatus; ///< field 10, "0x" and the hexadecimal status byte
    std::uint8_t ucBiosPasswordStatus;  ///< low nibble: setup password, high nibble: local access key
    bool bUsbTypeC;                     ///< field 11
};

/// Accepts exactly what the service writes; otherwise names the first thing that it does not.
CResult<CSysInfo> ParseSysInfo(std::wstring_view text);

} // namespace HotKey
