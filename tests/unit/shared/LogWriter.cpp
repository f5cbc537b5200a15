// A process that logs: log_writer <path> <direct|queued> <id> <records> <maximum kilobytes>
// Record n of writer i is "<i> <n> " and n % 64 times the letter x, from function Writer::Write. "go" on standard
// output says that the listener is there.
#include "shared/LogLevel.h"
#include "shared/LogListenerFile.h"
#include "shared/Logger.h"
#include "tests/harness/RegistryScope.h"

#include <cstdio>
#include <cstdlib>
#include <memory>

using namespace Quil::Shared;

int wmain(int argc, wchar_t** argv)
{
    if (argc != 6)
    {
        return 2;
    }
    const bool queued = std::wstring_view{argv[2]} == L"queued";
    const int writer = _wtoi(argv[3]);
    const int records = _wtoi(argv[4]);
    const std::wstring padding(64, L'x');
    std::unique_ptr<CqlLogListenerFile> listener;
    {
        RegistryScope registry;
        registry.SetNumber(L"Software\\Policies\\Quil\\Tests in Windows characters", L"MaxLogSize",
                           static_cast<DWORD>(_wtoi(argv[5])));
        listener = std::make_unique<CqlLogListenerFile>(queued, TraceIn, argv[1]);
    }
    CqlLogger logger;
    logger.AddListener(std::move(listener));
    std::puts("go");
    std::fflush(stdout);
    for (int record = 0; record < records; ++record)
    {
        logger.Log(Information, "Writer::Write", L"%d %d %s", writer, record, padding.c_str() + 64 - record % 64);
        if (queued && record % 1000 == 999)
        {
            // What waits at the end is lost by design: the worker gets the time to keep up.
            Sleep(10);
        }
    }
    if (queued)
    {
        // The last batch may have to wait for the file behind all other writers.
        Sleep(3000);
    }
    return 0;
}
