#include "shared/Process.h"

#include "shared/UniqueHandle.h"

#include <tlhelp32.h>

namespace Quil::Shared
{

namespace
{

// The id of the first process of that name in a fresh snapshot, 0 when there is none.
DWORD FindProcess(const wchar_t* imageName)
{
    const CUniqueHandle snapshot{CreateToolhelp32Snapshot(TH32CS_SNAPPROCESS, 0)};
    if (!snapshot)
    {
        return 0;
    }
    PROCESSENTRY32W entry{};
    entry.dwSize = sizeof entry;
    for (BOOL found = Process32FirstW(snapshot.Get(), &entry); found; found = Process32NextW(snapshot.Get(), &entry))
    {
        if (lstrcmpiW(entry.szExeFile, imageName) == 0)
        {
            return entry.th32ProcessID;
        }
    }
    return 0;
}

} // namespace

CqlProcess::~CqlProcess() = default;

HRESULT CqlProcess::KillProcessByName(const wchar_t* imageName)
{
    if (imageName == nullptr)
    {
        return E_FAIL;
    }
    if (*imageName == L'\0')
    {
        return E_INVALIDARG;
    }
    const DWORD processId = FindProcess(imageName);
    if (processId == 0)
    {
        return S_OK;
    }
    // Deliberate: the handle stays open, and nobody asks whether the process ended.
    const HANDLE process = OpenProcess(PROCESS_TERMINATE, FALSE, processId);
    if (process != nullptr)
    {
        static_cast<void>(TerminateProcess(process, 0));
    }
    return S_OK;
}

HRESULT CqlProcess::GetProcessIdByName(const wchar_t* imageName, DWORD* processId)
{
    if (processId == nullptr)
    {
        return E_POINTER;
    }
    *processId = 0;
    if (imageName == nullptr || *imageName == L'\0')
    {
        return E_INVALIDARG;
    }
    *processId = FindProcess(imageName);
    return S_OK;
}

} // namespace Quil::Shared
