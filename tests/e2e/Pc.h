// The PC that the end-to-end tests act on: the testbed's prefix, with the real service binary under the real service
// manager. One object at a time, made at the start of a test; it puts the PC in order before and after.
//
//   Pc pc{"healthy-laptop"};
//   pc.InstallAndStart();
//   pc.Control(L"logon");
//   EXPECT_THAT(pc.Events(), Contains(L"..."));
#pragma once

#include <windows.h>

#include <string>
#include <vector>

namespace E2e
{

struct ProgramResult
{
    DWORD exitCode{};
    std::string output; // bytes as the program wrote them
};

// Runs a program to its end and keeps its standard output.
ProgramResult RunProgram(const std::wstring& commandLine);

// The companion app's side: hotkeyctl with these arguments.
ProgramResult RunClient(const std::wstring& arguments);

// hotkeyctl at work, for tests that end it in the middle.
class Client
{
  public:
    explicit Client(const std::wstring& arguments);
    ~Client();
    Client(const Client&) = delete;
    Client& operator=(const Client&) = delete;

    void Kill() const;

  private:
    PROCESS_INFORMATION m_process{};
};

using Lines = std::vector<std::wstring>;

// Asks again every few milliseconds until the condition holds, ten seconds at most.
template <typename Condition> bool Eventually(Condition condition)
{
    for (const ULONGLONG start = GetTickCount64(); GetTickCount64() - start < 10000; Sleep(10))
    {
        if (condition())
        {
            return true;
        }
    }
    return condition();
}

class Pc
{
  public:
    explicit Pc(const std::wstring& profile = L"healthy-laptop");
    ~Pc();
    Pc(const Pc&) = delete;
    Pc& operator=(const Pc&) = delete;

    // The service program with one of its switches, in the folder where it is installed.
    ProgramResult Service(const std::wstring& arguments);
    void Install();
    // Starts it through the service manager and waits for RUNNING; any other end is a test failure.
    void Start();
    // Until the companion app can connect.
    void InstallAndStart();
    // The program in console mode, until the companion app can connect; it is ended with this object.
    void StartConsole();
    // Ends the service's process without a word to the service manager.
    void Kill();

    // A control by its name in testbed/machine/Controls.h; a failure to deliver is a test failure.
    void Control(const std::wstring& name);
    SERVICE_STATUS_PROCESS Status() const;
    bool WaitForState(DWORD state) const;
    // Waits until the service's process has ended: its last lines are written then.
    void WaitForEnd() const;

    // Puts one entry over the profile in force; asked-for entries take effect at once.
    void SetProfile(const std::wstring& section, const std::wstring& key, const std::wstring& value);

    // A value of the service's log policy, for its next start.
    void SetPolicy(const std::wstring& name, const std::wstring& value);

    // Texts behind "<source>: " in records.log, in order.
    Lines Records(const std::wstring& source) const;
    // Lines of events.log, in order.
    Lines Events() const;
    // Texts of the service's own events (source HotKeyServiceTLY), in order.
    Lines EventTexts() const;
    // The service's log as "Level|Function|Message", in order.
    Lines Log() const;
    // Only the messages of one function.
    Lines LogOf(const std::wstring& function) const;
    // A file of the log folder as it stands; empty when there is none.
    std::string LogBytes(const std::wstring& file) const;
    void WriteLog(const std::wstring& file, const std::string& bytes) const;

  private:
    void Clean() const;
};

} // namespace E2e
