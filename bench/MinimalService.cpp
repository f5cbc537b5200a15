// Memory and start-time peer of the service: it reports RUNNING, waits to be stopped, and does nothing else.
// Built twice: bare, and with WITH_RPC as a service that listens on an empty RPC interface and brings in the system
// libraries that starting programs and asking the system take.
#include <windows.h>

#ifdef WITH_RPC
#include "EmptyRpc.h"

#include <objbase.h>
#include <rpc.h>
#include <setupapi.h>
#include <shlobj.h>
#include <userenv.h>
#include <wtsapi32.h>
#endif

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

#ifdef WITH_RPC
// One function of each further library, so that the loader brings it in.
void* const volatile kImports[] = {
    reinterpret_cast<void*>(&SetupDiGetClassDevsW), reinterpret_cast<void*>(&SHGetFolderPathW),
    reinterpret_cast<void*>(&CreateEnvironmentBlock), reinterpret_cast<void*>(&WTSEnumerateSessionsW),
    reinterpret_cast<void*>(&GetFileVersionInfoSizeW)};

void CALLBACK Listen(PTP_CALLBACK_INSTANCE, void*, PTP_WORK)
{
    wchar_t protocol[] = L"ncalrpc";
    wchar_t endpoint[] = L"MinimalServiceEndpoint";
    RpcServerUseProtseqEpW(reinterpret_cast<RPC_WSTR>(protocol), RPC_C_PROTSEQ_MAX_REQS_DEFAULT,
                           reinterpret_cast<RPC_WSTR>(endpoint), nullptr);
    RpcServerRegisterIf2(EmptyRpc_v1_0_s_ifspec, nullptr, nullptr, RPC_IF_ALLOW_LOCAL_ONLY, 1234,
                         static_cast<unsigned>(-1), nullptr);
    RpcServerListen(1, 1234, 0);
}
#endif

void WINAPI ServiceMain(DWORD, wchar_t**)
{
    s_status = RegisterServiceCtrlHandlerExW(L"MinimalService", Handle, nullptr);
#ifdef WITH_RPC
    static_cast<void>(kImports[0]);
    CoInitializeEx(nullptr, COINIT_MULTITHREADED);
    SubmitThreadpoolWork(CreateThreadpoolWork(Listen, nullptr, nullptr));
#endif
    Report(SERVICE_RUNNING);
}
} // namespace

int main()
{
    wchar_t name[] = L"MinimalService";
    const SERVICE_TABLE_ENTRYW table[] = {{name, ServiceMain}, {nullptr, nullptr}};
    return StartServiceCtrlDispatcherW(table) ? 0 : 1;
}
