#include "shared/LogListenerFile.h"

#include "shared/LogPolicy.h"
#include "shared/WideText.h"

#include <windows.h>

#include <shlobj.h>

namespace Quil::Shared
{

namespace
{

// Empty when the folder cannot be made or the path gets too long.
std::wstring ProgramLogPath()
{
    wchar_t appData[MAX_PATH]{};
    if (FAILED(SHGetFolderPathW(nullptr, CSIDL_APPDATA | CSIDL_FLAG_CREATE, nullptr, SHGFP_TYPE_CURRENT, appData)))
    {
        return {};
    }
    const std::wstring folder = (appData + std::wstring{L"\\quilLog"}).substr(0, MAX_PATH - 1);
    if (!CreateDirectoryW(folder.c_str(), nullptr) && GetLastError() != ERROR_ALREADY_EXISTS)
    {
        return {};
    }
    std::wstring path = folder + L"\\" + ProgramBaseName() + L".log";
    return path.size() < MAX_PATH ? path : std::wstring{};
}

// Empty when the folder cannot be made.
std::wstring GivenLogPath(const std::wstring& path)
{
    const int made = SHCreateDirectoryExW(nullptr, DirectoryOf(path).c_str(), nullptr);
    return made == ERROR_SUCCESS || made == ERROR_ALREADY_EXISTS || made == ERROR_FILE_EXISTS ? path : std::wstring{};
}

} // namespace

CqlLogListenerFile::CqlLogListenerFile(bool queuedWrites, int minimumLevel)
    : CqlLogListener{minimumLevel, nullptr, nullptr, false}, m_bQueuedWrites{queuedWrites}
{
    Initialize(ProgramLogPath());
}

CqlLogListenerFile::CqlLogListenerFile(bool queuedWrites, int minimumLevel, const std::wstring& path)
    : CqlLogListener{minimumLevel, nullptr, nullptr, false}, m_bQueuedWrites{queuedWrites}
{
    Initialize(GivenLogPath(path));
}

void CqlLogListenerFile::Initialize(const std::wstring& path)
{
    const CLogPolicy policy;
    const DWORD maximum = policy.Number(L"MaxLogSize", false).value_or(0);
    m_pFile = std::make_shared<CLogFile>(path, maximum != 0 ? maximum : kDefaultMaximumKilobytes);

    const bool acquired = m_pFile->Acquire();
    if (acquired)
    {
        m_pFile->RotateForeignFile();
    }
    m_bQueuedWrites = policy.Number(L"QueuedWrites", true).value_or(m_bQueuedWrites ? 1 : 0) != 0;
    if (m_bQueuedWrites)
    {
        m_pQueue = std::make_unique<CLogQueue>(m_pFile);
    }
    if (acquired)
    {
        m_pFile->Release();
    }
}

void CqlLogListenerFile::Write(const LogData& record)
{
    if (m_pQueue != nullptr)
    {
        m_pQueue->Push(record);
        return;
    }
    if (m_pFile->Acquire())
    {
        m_pFile->WriteLine(record.Line());
        m_pFile->Release();
    }
}

DWORD CqlLogListenerFile::Type() const
{
    return m_bQueuedWrites ? FileQueued : FileDirect;
}

} // namespace Quil::Shared
