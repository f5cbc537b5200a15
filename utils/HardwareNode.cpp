#include "utils/HardwareNode.h"

#include "shared/TraceScope.h"
#include "shared/UniqueHandle.h"

#include <windows.h>

#include <setupapi.h>

using Quil::Shared::CTraceScope;
using Quil::Shared::CUniqueDeviceSet;

namespace Utils
{

long IsHardwareNodePresent(const wchar_t* node)
{
    CTraceScope trace{"Utils::IsHardwareNodePresent", L"Node = %s", node};

    const CUniqueDeviceSet devices{SetupDiGetClassDevsW(nullptr, node, nullptr, DIGCF_ALLCLASSES)};
    if (!devices)
    {
        trace.Error(L"SetupDiGetClassDevs failed (may due to non-availability of node) with error: %x", GetLastError());
        return trace.Exit(0L, L"Node - %s is not present", node);
    }
    SP_DEVINFO_DATA device{};
    device.cbSize = sizeof device;
    if (!SetupDiEnumDeviceInfo(devices.Get(), 0, &device))
    {
        trace.Error(L"SetupDiEnumDeviceInfo failed (may due to non-availability of node) with error: %x",
                    GetLastError());
        return trace.Exit(0L, L"Node - %s is not present", node);
    }
    if (!SetupDiBuildDriverInfoList(devices.Get(), &device, SPDIT_COMPATDRIVER))
    {
        // Deliberate: the exit record of this path is empty.
        trace.Warning(
            L"SetupDiBuildDriverInfoList failed (may due to non-availability of driver in Node - %s) with error: %x",
            node, GetLastError());
        return 0;
    }

    long result = 0;
    SP_DRVINFO_DATA_W driver{};
    driver.cbSize = sizeof driver;
    if (SetupDiEnumDriverInfoW(devices.Get(), &device, SPDIT_COMPATDRIVER, 0, &driver))
    {
        ULARGE_INTEGER version{};
        version.QuadPart = driver.DriverVersion;
        trace.Verbose(L"Driver Found : Description: %s, MfgName : %s, ProviderName : %s, Driver Type : %d, "
                      L"Version : %d.%d.%d.%d",
                      driver.Description, driver.MfgName, driver.ProviderName, driver.DriverType,
                      HIWORD(version.HighPart), LOWORD(version.HighPart), HIWORD(version.LowPart),
                      LOWORD(version.LowPart));
        result = 1;
    }
    else if (const DWORD error = GetLastError(); error == ERROR_NO_MORE_ITEMS)
    {
        trace.Warning(L"No driver installed in this Node %s\n", node);
    }
    else
    {
        trace.Error(L"SetupDiEnumDriverInfo failed with error %d", error);
    }
    // Deliberate: the node counts as present in the exit record also without a driver.
    return trace.Exit(result, L"Node - %s is present", node);
}

} // namespace Utils
