// start_bench SERVICE: milliseconds from StartService to RUNNING, the median of five starts, alone on standard output.
// The service is stopped before each start and left running after the last.
#include "bench/Measure.h"

#include "shared/UniqueHandle.h"
#include "shared/WideText.h"

#include <windows.h>

#include <cstdio>
#include <string>

using Quil::Shared::CUniqueService;

namespace
{

bool Await(SC_HANDLE service, DWORD state)
{
    const ULONGLONG end = GetTickCount64() + 60000;
    while (GetTickCount64() < end)
    {
        SERVICE_STATUS status{};
        if (QueryServiceStatus(service, &status) && status.dwCurrentState == state)
        {
            return true;
        }
        Sleep(1);
    }
    return false;
}

// Asks until it has stopped: a service that is just starting refuses.
bool Stop(SC_HANDLE service)
{
    const ULONGLONG end = GetTickCount64() + 60000;
    while (GetTickCount64() < end)
    {
        SERVICE_STATUS status{};
        if (QueryServiceStatus(service, &status) && status.dwCurrentState == SERVICE_STOPPED)
        {
            return true;
        }
        ControlService(service, SERVICE_CONTROL_STOP, &status);
        Sleep(50);
    }
    return false;
}

} // namespace

int main(int argc, char** argv)
{
    if (argc != 2)
    {
        std::fputs("usage: start_bench SERVICE\n", stderr);
        return 2;
    }
    const std::string name{argv[1]};
    const CUniqueService manager{OpenSCManagerW(nullptr, nullptr, SC_MANAGER_CONNECT)};
    const CUniqueService service{
        OpenServiceW(manager.Get(), std::wstring{name.begin(), name.end()}.c_str(), SERVICE_ALL_ACCESS)};
    std::vector<double> times;
    for (int i = 0; i < 5 && service; ++i)
    {
        if (!Stop(service.Get()))
        {
            break;
        }
        Sleep(500); // the former process ends
        times.push_back(Bench::NanosecondsPerOperation(
                            [&] {
                                StartServiceW(service.Get(), 0, nullptr);
                                Await(service.Get(), SERVICE_RUNNING);
                            },
                            1) /
                        1e6);
    }
    if (times.size() != 5)
    {
        std::fputs("the service does not start and stop\n", stderr);
        return 1;
    }
    std::printf("%.1f\n", Bench::Median(times));
    return 0;
}
