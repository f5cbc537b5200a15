#include "testbed/machine/Processes.h"

#include "testbed/Text.h"

#include <tlhelp32.h>

#include <string>

namespace Testbed
{

std::vector<DWORD> ProcessIds(std::wstring_view image)
{
    std::vector<DWORD> ids;
    const HANDLE snapshot = CreateToolhelp32Snapshot(TH32CS_SNAPPROCESS, 0);
    PROCESSENTRY32W entry{};
    entry.dwSize = sizeof(entry);
    for (BOOL more = Process32FirstW(snapshot, &entry); more; more = Process32NextW(snapshot, &entry))
    {
        if (SameName(entry.szExeFile, image))
        {
            ids.push_back(entry.th32ProcessID);
        }
    }
    CloseHandle(snapshot);
    return ids;
}

DWORD StartDetached(std::wstring_view commandLine)
{
    std::wstring text{commandLine};
    STARTUPINFOW startup{};
    startup.cb = sizeof(startup);
    PROCESS_INFORMATION process{};
    if (!CreateProcessW(nullptr, text.data(), nullptr, nullptr, FALSE, DETACHED_PROCESS, nullptr, nullptr, &startup,
                        &process))
    {
        return 0;
    }
    CloseHandle(process.hThread);
    CloseHandle(process.hProcess);
    return process.dwProcessId;
}

} // namespace Testbed
