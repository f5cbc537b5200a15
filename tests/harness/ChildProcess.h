// A running process with an image name of the test's choice: a copy of waiting_child.exe in the temporary folder.
// It is ended, and the copy deleted, at the end of the scope.
//
//   ChildProcess child{L"Quil Child"};      runs "Quil Child.exe"
//   EXPECT_TRUE(child.Ended());             has it ended by itself or by the unit under test?
#pragma once

#include <windows.h>

#include <string>

class ChildProcess
{
  public:
    explicit ChildProcess(const std::wstring& baseName);
    ~ChildProcess();
    ChildProcess(const ChildProcess&) = delete;
    ChildProcess& operator=(const ChildProcess&) = delete;

    // A base name that no other test process uses at the same time.
    static std::wstring UniqueBaseName();

    bool Running() const noexcept { return m_process.hProcess != nullptr && !Ended(); }
    // Waits up to 10 seconds for a process that is being ended.
    bool EndsSoon() const noexcept { return WaitForSingleObject(m_process.hProcess, 10000) == WAIT_OBJECT_0; }
    bool Ended() const noexcept { return WaitForSingleObject(m_process.hProcess, 0) == WAIT_OBJECT_0; }
    DWORD ExitCode() const noexcept;
    DWORD Id() const noexcept { return m_process.dwProcessId; }
    const std::wstring& ImageName() const noexcept { return m_imageName; }

  private:
    std::wstring m_imageName;
    std::wstring m_path;
    PROCESS_INFORMATION m_process{};
};
