// The installed service as the soak handles it: registered, started, stopped against the clock, measured, its log read.
// Used from the soak's one thread.
#pragma once

#include <windows.h>

#include <cstdint>
#include <string>
#include <vector>

namespace Soak
{

// A child process; ended with its object.
class Child
{
  public:
    Child() = default;
    explicit Child(const std::wstring& commandLine);
    ~Child();
    Child(Child&& other) noexcept;
    Child& operator=(Child&& other) noexcept;

    bool Started() const noexcept { return m_process != nullptr; }
    bool EndsWithin(DWORD milliseconds) const;
    void Kill() const;
    DWORD ExitCode() const;

  private:
    HANDLE m_process{nullptr};
};

// The folder of this program, with its last backslash.
std::wstring ProgramFolder();

struct Sample
{
    std::uint64_t privateBytes{};
    std::uint32_t handles{};
    std::uint32_t threads{};
};

struct LogCheck
{
    std::uint64_t lines{};
    unsigned files{};
    std::vector<std::string> broken; // lines that are not whole, at most ten of them
};

class SoakedService
{
  public:
    // Registers it, under a log of that many kilobytes a file.
    explicit SoakedService(DWORD logKilobytes);
    ~SoakedService();
    SoakedService(const SoakedService&) = delete;
    SoakedService& operator=(const SoakedService&) = delete;

    // Milliseconds until RUNNING; negative when it does not come in thirty seconds.
    int Start();
    // Milliseconds from the control to STOPPED; negative when it does not come in thirty seconds: the process is ended.
    int Stop(const wchar_t* control);
    // Ends the process without a word to the service manager; the next Start works.
    void Kill();
    Sample Measure() const;
    DWORD State() const;

    // Requests for the USB Type-C text that have begun and not ended, by the log of this run.
    static unsigned CallsInProgress();
    // Reads all log files of the run that has ended and deletes them.
    static LogCheck CheckLog();

  private:
    bool AwaitState(DWORD state, DWORD milliseconds) const;

    SC_HANDLE m_manager{nullptr};
    SC_HANDLE m_service{nullptr};
    HANDLE m_process{nullptr};
    DWORD m_processId{0};
};

} // namespace Soak
