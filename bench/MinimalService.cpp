// Memory and start-time peer of the service: it reports RUNNING, waits to be stopped, and does nothing else.
#include <windows.h>

namespace
{
SERVICE_STATUS_HANDLE s_status;

void Report(DWORD state)
{
    SERVICE_STATUS status{};
    status.dwServiceType = SERVICE_WIN32_OWN_PROCESS;
    status.dwCurrentState = state;
    status.dwControlsAccepted = SERVICE_ACCEPT_STOP;
    SetServiceStatus(s_status, &status);
}

DWORD WINAPI Handle(DWORD control, DWORD, void*, void*)
{
    if (control == SERVICE_CONTROL_STOP)
    {
        Report(SERVICE_STOPPED);
    }
    return NO_ERROR;
}

void WINAPI ServiceMain(DWORD, wchar_t**)
{
    s_status = RegisterServiceCtrlHandlerExW(L"MinimalService", Handle, nullptr);
    Report(SERVICE_RUNNING);
}
} // namespace

int main()
{
    wchar_t name[] = L"MinimalService";
    const SERVICE_TABLE_ENTRYW table[] = {{name, ServiceMain}, {nullptr, nullptr}};
    return StartServiceCtrlDispatcherW(table) ? 0 : 1;
}
