// Stand-in for the service of the maker's device-information framework: it runs, it stops, it has a file version.
#include <windows.h>

namespace
{

SERVICE_STATUS_HANDLE statusHandle;
HANDLE stopRequested;

void Report(DWORD state)
{
    SERVICE_STATUS status{};
    status.dwServiceType = SERVICE_WIN32_OWN_PROCESS;
    status.dwCurrentState = state;
    status.dwControlsAccepted = SERVICE_ACCEPT_STOP;
    SetServiceStatus(statusHandle, &status);
}

DWORD WINAPI Control(DWORD control, DWORD, void*, void*)
{
    if (control == SERVICE_CONTROL_STOP)
    {
        SetEvent(stopRequested);
    }
    return NO_ERROR;
}

void WINAPI Serve(DWORD, wchar_t** arguments)
{
    statusHandle = RegisterServiceCtrlHandlerExW(arguments[0], Control, nullptr);
    Report(SERVICE_RUNNING);
    WaitForSingleObject(stopRequested, INFINITE);
    Report(SERVICE_STOPPED);
}

} // namespace

int wmain()
{
    stopRequested = CreateEventW(nullptr, TRUE, FALSE, nullptr);
    wchar_t anyName[] = L"";
    const SERVICE_TABLE_ENTRYW table[] = {{anyName, Serve}, {nullptr, nullptr}};
    return StartServiceCtrlDispatcherW(table) ? 0 : 1;
}
