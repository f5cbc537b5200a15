#include "testbed/windows/StandIns.h"

#include <windows.h>

extern "C" BOOL WINAPI DllMain(HINSTANCE instance, DWORD reason, void*)
{
    if (reason == DLL_PROCESS_ATTACH)
    {
        DisableThreadLibraryCalls(instance);
        Testbed::InstallSessionStandIns();
        Testbed::InstallTokenStandIns();
        Testbed::InstallLaunchStandIns();
        Testbed::InstallEventLogStandIns();
        Testbed::InstallCapabilityStandIns();
        Testbed::InstallControlStandIns();
        Testbed::InstallEndpointStandIns();
        Testbed::InstallDeviceStandIns();
        Testbed::InstallLocaleStandIns();
    }
    return TRUE;
}
