// Entry point: chooses between installing, removing, running in the console and running as a service.
#include "service/MainService.h"
#include "service/ServiceInstaller.h"
#include "service/ServiceNames.h"
#include "shared/WideText.h"
#include "utils/ComSecurity.h"

#include <windows.h>

#include <cwchar>

using Quil::Shared::PrintText;

namespace
{

bool s_bSecurityInitialized = false;

void RunAsService()
{
    // Deliberate: printed before every service start; under the service manager nobody sees it.
    PrintText(L"Parameters:\n");
    PrintText(L" -install  to install the service.\n");
    PrintText(L" -remove   to remove the service.\n");
    PrintText(L" -console  to run in console mode.\n");

    if (!s_bSecurityInitialized)
    {
        s_bSecurityInitialized = SUCCEEDED(Utils::InitializeSecurity(1));
    }

    CMainService service{kServiceName, true, true, false};
    if (!CServiceBase::Run(service))
    {
        const DWORD error = GetLastError();
        PrintText(L"Service failed to run w/err 0x%08lx\n", error);
    }
}

void RunMode(const wchar_t* name)
{
    if (_wcsicmp(name, L"install") == 0)
    {
        InstallService(kServiceName, kServiceDisplayName, kServiceDescription, SERVICE_AUTO_START, L"", nullptr,
                       nullptr);
    }
    else if (_wcsicmp(name, L"remove") == 0)
    {
        UninstallService(kServiceName);
    }
    else if (_wcsicmp(name, L"console") == 0)
    {
        CMainService service{kServiceName, true, true, false};
        service.ConsoleRun();
    }
    // Deliberate: an unknown switch is ignored without a word.
}

} // namespace

// Deliberate: 0 in every mode and on every failure; failures are only printed.
int wmain(int argc, wchar_t** argv)
{
    if (argc > 1 && (argv[1][0] == L'-' || argv[1][0] == L'/'))
    {
        try
        {
            RunMode(argv[1] + 1);
        }
        catch (...)
        {
            // The service object has been destroyed on the way here; there is nothing else to undo.
        }
    }
    else
    {
        // Deliberate: nothing catches here. The error of a failed registration has to end the process.
        RunAsService();
    }
    return 0;
}
