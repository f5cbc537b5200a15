// A UTF-8 log file that several processes append to: opened and held only while its mutex is owned, kept below a size
// by rotation. Only the thread that owns the mutex uses the object, so threads of one process take turns as well.
#pragma once

#include "shared/UniqueHandle.h"

#include <windows.h>

#include <string>

namespace Quil::Shared
{

class CLogFile
{
  public:
    // An empty path: nothing is ever written. maximumKilobytes: size at which a check rotates.
    CLogFile(std::wstring path, DWORD maximumKilobytes);
    CLogFile(const CLogFile&) = delete;
    CLogFile& operator=(const CLogFile&) = delete;

    // Waits for the file's mutex and opens the file; false when there is none or it cannot be opened.
    bool Acquire();
    // Writes what is buffered, closes the file and gives the mutex back as often as it was taken.
    void Release();

    // While acquired: rotates at once when the file does not begin like a log.
    void RotateForeignFile();
    // While acquired: one line and its end, after a size check when one is due.
    void WriteLine(const std::wstring& line);

  private:
    bool Open();
    void Flush();
    bool IsTooLarge(const WIN32_FILE_ATTRIBUTE_DATA& attributes) const noexcept;
    bool RotateWhenNeeded(bool force);

    const std::wstring m_strPath;
    const DWORD m_dwMaximumKilobytes;
    int m_nWritesSinceCheck;
    CUniqueHandle m_hMutex;
    DWORD m_dwOwnerships{0}; // of the mutex
    CUniqueHandle m_hFile;
    std::string m_strBuffer; // UTF-8, not yet in the file
};

} // namespace Quil::Shared
