// A folder for log files that is empty at first and gone at the end of the scope, with the file operations that the
// tests of the file listener need.
#pragma once

#include <windows.h>

#include <string>
#include <vector>

class LogFolder
{
  public:
    LogFolder();
    ~LogFolder();
    LogFolder(const LogFolder&) = delete;
    LogFolder& operator=(const LogFolder&) = delete;

    const std::wstring& Path() const noexcept { return m_path; }
    std::wstring File(const std::wstring& name) const { return m_path + L"\\" + name; }

    // Bytes of a file; "(missing)" when it is not there.
    std::string Read(const std::wstring& name) const;
    // The same without byte-order mark and, in each line, without time stamp and thread: "Error      |A::B|text".
    std::vector<std::string> Lines(const std::wstring& name) const;
    // How many these are: "2 lines".
    std::wstring LineCountText(const std::wstring& name) const;
    void Write(const std::wstring& name, const std::string& bytes) const;
    // Minutes after an arbitrary start, so that files have an order.
    void SetLastWrite(const std::wstring& name, int minute) const;
    // Names of all files, sorted.
    std::vector<std::wstring> Names() const;

  private:
    std::wstring m_path;
};

// The name of the mutex of a log file.
std::wstring MutexNameOf(const std::wstring& path);

// Another writer of the file that holds its mutex; in the thread that it is made in.
class MutexHeld
{
  public:
    explicit MutexHeld(const std::wstring& path);
    ~MutexHeld() { Release(); }
    MutexHeld(const MutexHeld&) = delete;
    MutexHeld& operator=(const MutexHeld&) = delete;

    void Release();

  private:
    HANDLE m_mutex;
};

// Leaves the file's mutex abandoned. The handle keeps it in existence.
class AbandonedMutex
{
  public:
    explicit AbandonedMutex(const std::wstring& path);
    ~AbandonedMutex() { CloseHandle(m_mutex); }
    AbandonedMutex(const AbandonedMutex&) = delete;
    AbandonedMutex& operator=(const AbandonedMutex&) = delete;

    // True when nobody owns it: asked from a thread of its own.
    bool IsFree() const;

  private:
    HANDLE m_mutex;
};
