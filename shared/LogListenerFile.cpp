#include "shared/LogListenerFile.h"

#include "shared/LogPolicy.h"
#include "shared/WideText.h"

#include <windows.h>

#include <shlobj.h>

#include <utility>

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

// Empty when the folder cannot be made or the path is too long.
std::wstring GivenLogPath(const std::wstring& path)
{
    const int made = SHCreateDirectoryExW(nullptr, DirectoryOf(path).c_str(), nullptr);
    const bool there = made == ERROR_SUCCESS || made == ERROR_ALREADY_EXISTS || made == ERROR_FILE_EXISTS;
    return there && path.size() < MAX_PATH ? path : std::wstring{};
}

// The file for a scope, when it could be had.
class CFileHold
{
  public:
    explicit CFileHold(CLogFile& file) noexcept : m_file{file}, m_bHeld{file.Acquire()} {}
    ~CFileHold()
    {
        if (m_bHeld)
        {
            m_file.Release();
        }
    }
    CFileHold(const CFileHold&) = delete;
    CFileHold& operator=(const CFileHold&) = delete;

    explicit operator bool() const noexcept { return m_bHeld; }

  private:
    CLogFile& m_file;
    const bool m_bHeld;
};

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

void CqlLogListenerFile::Initialize(std::wstring path)
{
    const CLogPolicy policy;
    m_pFile =
        std::make_shared<CLogFile>(std::move(path), policy.Number(L"MaxLogSize").value_or(kDefaultMaximumKilobytes));
    const CFileHold hold{*m_pFile};
    if (hold)
    {
        m_pFile->RotateForeignFile();
    }
    m_bQueuedWrites = policy.Flag(L"QueuedWrites").value_or(m_bQueuedWrites);
    if (m_bQueuedWrites)
    {
        m_pQueue = std::make_unique<CLogQueue>(m_pFile);
    }
}

void CqlLogListenerFile::Write(const LogData& record)
{
    if (!m_pFile->IsUsable())
    {
        return;
    }
    if (m_pQueue != nullptr)
    {
        m_pQueue->Push(record);
        return;
    }
    const CFileHold hold{*m_pFile};
    if (hold)
    {
        m_pFile->WriteLine(record.Line());
    }
}

DWORD CqlLogListenerFile::Type() const
{
    return m_bQueuedWrites ? FileQueued : FileDirect;
}

} // namespace Quil::Shared
