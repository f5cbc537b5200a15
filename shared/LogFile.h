/// \file
/// A UTF-8 log file that several processes append to: open only while its mutex is owned, kept below a size by
/// rotation. Only the thread that owns the mutex uses the object, so threads of one process take turns as well.
#pragma once

#include "shared/UniqueHandle.h"

#include <windows.h>

#include <memory>
#include <string>
#include <string_view>

namespace Quil::Shared
{

/// One path and its mutex, shared by whoever logs there. Reports no errors: what cannot be written is lost.
class CLogFile
{
  public:
    /// An empty path: nothing is ever written. maximumKilobytes: the size beyond which a check rotates.
    CLogFile(std::wstring path, DWORD maximumKilobytes);
    CLogFile(const CLogFile&) = delete;
    CLogFile& operator=(const CLogFile&) = delete;

    /// False when nothing can ever be written: no path or no mutex.
    bool IsUsable() const noexcept { return m_hMutex && m_buffer != nullptr; }

    /// Waits for the mutex and opens the file; false when there is no mutex or the file cannot be opened.
    bool Acquire() noexcept;
    /// Writes what is buffered, closes the file and gives the mutex back as often as it was taken.
    void Release() noexcept;

    /// While acquired: rotates at once when the file has contents that do not begin with a line.
    void RotateForeignFile();
    /// While acquired: a size check when one is due, then the line and its end into the buffer.
    void WriteLine(std::wstring_view line);
    /// While acquired: puts what is buffered into the file. A full disk loses it: there is nobody to tell.
    void Flush() noexcept;

  private:
    bool Open() noexcept;
    void PutByteOrderMark() noexcept;
    void EndTornLine() noexcept;
    void Put(std::wstring_view text) noexcept;
    bool IsForeign() const noexcept;
    bool CheckSize(bool force);

    const std::wstring m_strPath;
    const DWORD m_dwMaximumKilobytes;
    int m_nWritesSinceCheck;
    CUniqueHandle m_hMutex;
    DWORD m_dwOwnerships{0}; // of the mutex
    CUniqueHandle m_hFile;
    std::unique_ptr<char[]> m_buffer; // UTF-8, whole lines where they fit
    std::size_t m_nBuffered{0};
    bool m_bMayBeEmpty{true}; // a file that was there already, without a look at its size so far
};

} // namespace Quil::Shared
