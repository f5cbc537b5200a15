/// \file
/// What the log policy of this PC says, as it stands in the registry.
#pragma once

#include <windows.h>

#include <string>
#include <vector>

namespace HotKey
{

/// A value under the service's policy keys that it reads.
struct CPolicyValue
{
    std::wstring strKey;  ///< below HKEY_LOCAL_MACHINE
    std::wstring strName; ///< of the value
    DWORD dwType;         ///< REG_SZ, REG_DWORD and so on
    std::wstring strText; ///< of a text value
    DWORD dwNumber;       ///< of a number
};

/// Those of the product first, then those of the program, which win.
std::vector<CPolicyValue> ReadPolicyValues();

/// "MinLogLevel=Warning, MaxLogSize=4096": what wins of each value; "none set" without any.
std::wstring PolicyInForce(const std::vector<CPolicyValue>& values);

} // namespace HotKey
