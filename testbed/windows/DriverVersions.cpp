// Wine never reads a driver's version; the profile says it: "driver, 1.2.30.4" at the node in [nodes].
#include "testbed/Profile.h"
#include "testbed/Text.h"
#include "testbed/windows/ImportTable.h"
#include "testbed/windows/StandIns.h"

#include <windows.h>

#include <cfgmgr32.h>
#include <setupapi.h>

#include <string>

namespace Testbed
{
namespace
{

DWORDLONG VersionOf(std::wstring_view text)
{
    DWORDLONG version = 0;
    for (const std::wstring& part : SplitList(text, L'.'))
    {
        version = (version << 16) | std::wcstoul(part.c_str(), nullptr, 10);
    }
    return version;
}

BOOL WINAPI EnumDriver(HDEVINFO devices, PSP_DEVINFO_DATA device, DWORD type, DWORD index, PSP_DRVINFO_DATA_W driver)
{
    if (!SetupDiEnumDriverInfoW(devices, device, type, index, driver))
    {
        return FALSE;
    }
    wchar_t hardwareId[MAX_DEVICE_ID_LEN] = {};
    SetupDiGetDeviceRegistryPropertyW(devices, device, SPDRP_HARDWAREID, nullptr, reinterpret_cast<PBYTE>(hardwareId),
                                      sizeof(hardwareId) - sizeof(wchar_t), nullptr);
    const std::vector<std::wstring> node = SplitList(ProfileValue(L"nodes", hardwareId, L""), L',');
    if (node.size() > 1)
    {
        driver->DriverVersion = VersionOf(node[1]);
    }
    return TRUE;
}

} // namespace

void InstallDeviceStandIns()
{
    TESTBED_REPLACE(SetupDiEnumDriverInfoW, EnumDriver);
}

} // namespace Testbed
