#include "testbed/Recorder.h"

#include "testbed/Paths.h"
#include "testbed/Text.h"

#include <windows.h>

#include <string>

namespace Testbed
{
namespace
{

// Appending writes of several processes are not atomic everywhere, so one mutex orders them.
class CFileTurn
{
  public:
    CFileTurn() : m_mutex{CreateMutexW(nullptr, FALSE, L"Global\\QuilTestbedRecorder")}
    {
        WaitForSingleObject(m_mutex, INFINITE);
    }
    ~CFileTurn()
    {
        ReleaseMutex(m_mutex);
        CloseHandle(m_mutex);
    }
    CFileTurn(const CFileTurn&) = delete;
    CFileTurn& operator=(const CFileTurn&) = delete;

  private:
    HANDLE m_mutex;
};

HANDLE OpenForAppend(const wchar_t* path)
{
    return CreateFileW(path, FILE_APPEND_DATA, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
                       OPEN_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr);
}

std::wstring OneLine(std::wstring_view text)
{
    std::wstring line;
    for (const wchar_t character : text)
    {
        if (character == L'\n')
        {
            line += L"\\n";
        }
        else if (character == L'\r')
        {
            line += L"\\r";
        }
        else
        {
            line += character;
        }
    }
    return line;
}

} // namespace

void Record(std::wstring_view source, std::wstring_view text)
{
    AppendLine(kRecordsPath, std::wstring{source} + L": " + std::wstring{text});
}

void AppendLine(const wchar_t* path, std::wstring_view line)
{
    const DWORD lastError = GetLastError();
    const std::string bytes = Utf8FromWide(OneLine(line)) + "\n";
    {
        const CFileTurn turn;
        HANDLE file = OpenForAppend(path);
        if (file == INVALID_HANDLE_VALUE && CreateDirectoryW(kRootFolder, nullptr))
        {
            file = OpenForAppend(path);
        }
        if (file != INVALID_HANDLE_VALUE)
        {
            DWORD written = 0;
            WriteFile(file, bytes.data(), static_cast<DWORD>(bytes.size()), &written, nullptr);
            CloseHandle(file);
        }
    }
    SetLastError(lastError);
}

} // namespace Testbed
