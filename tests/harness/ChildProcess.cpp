#include "tests/harness/ChildProcess.h"

#include <gtest/gtest.h>

#include <atomic>

namespace
{
std::wstring TemporaryFolder()
{
    wchar_t folder[MAX_PATH]{};
    GetTempPathW(MAX_PATH, folder);
    return folder;
}

std::wstring ProgramFolder()
{
    wchar_t path[MAX_PATH]{};
    GetModuleFileNameW(nullptr, path, MAX_PATH);
    const std::wstring full{path};
    return full.substr(0, full.rfind(L'\\') + 1);
}
} // namespace

ChildProcess::ChildProcess(const std::wstring& baseName) : m_imageName{baseName + L".exe"}
{
    // Children of the same name live in folders of their own.
    static std::atomic<int> s_number{0};
    const std::wstring folder =
        TemporaryFolder() + L"quil" + std::to_wstring(GetCurrentProcessId()) + L"_" + std::to_wstring(s_number++);
    CreateDirectoryW(folder.c_str(), nullptr);
    m_path = folder + L"\\" + m_imageName;
    STARTUPINFOW startup{};
    startup.cb = sizeof startup;
    if (!CopyFileW((ProgramFolder() + L"waiting_child.exe").c_str(), m_path.c_str(), FALSE) ||
        !CreateProcessW(m_path.c_str(), nullptr, nullptr, nullptr, FALSE, 0, nullptr, nullptr, &startup, &m_process))
    {
        ADD_FAILURE() << "the child process could not be started: error " << GetLastError();
    }
}

ChildProcess::~ChildProcess()
{
    if (m_process.hProcess != nullptr)
    {
        TerminateProcess(m_process.hProcess, 1);
        WaitForSingleObject(m_process.hProcess, 10000);
        CloseHandle(m_process.hThread);
        CloseHandle(m_process.hProcess);
    }
    DeleteFileW(m_path.c_str());
    RemoveDirectoryW(m_path.substr(0, m_path.rfind(L'\\')).c_str());
}

std::wstring ChildProcess::UniqueBaseName()
{
    return L"Quil Child " + std::to_wstring(GetCurrentProcessId());
}

DWORD ChildProcess::ExitCode() const noexcept
{
    DWORD code = 0;
    GetExitCodeProcess(m_process.hProcess, &code);
    return code;
}
