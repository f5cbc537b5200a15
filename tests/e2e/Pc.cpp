#include "tests/e2e/Pc.h"

#include "testbed/Paths.h"
#include "testbed/Profile.h"
#include "testbed/Text.h"
#include "testbed/machine/Controls.h"
#include "testbed/machine/Machine.h"
#include "testbed/machine/Processes.h"

#include <gtest/gtest.h>

#include <shlobj.h>

#include <memory>
#include <string_view>
#include <type_traits>

namespace E2e
{
namespace
{

constexpr wchar_t kServiceName[] = L"HotKeyServiceTLY";
constexpr wchar_t kImage[] = L"HotKeyServiceTLY.exe";
constexpr wchar_t kProgram[] = L"\"C:\\Program Files\\Quil\\HotKeyService\\HotKeyServiceTLY.exe\"";
constexpr wchar_t kClient[] = L"\"C:\\testbed\\bin\\hotkeyctl.exe\"";

struct ServiceCloser
{
    void operator()(SC_HANDLE handle) const { CloseServiceHandle(handle); }
};
using ServiceHandle = std::unique_ptr<std::remove_pointer_t<SC_HANDLE>, ServiceCloser>;

struct Registration
{
    ServiceHandle manager{OpenSCManagerW(nullptr, nullptr, SC_MANAGER_CONNECT)};
    ServiceHandle service{OpenServiceW(manager.get(), kServiceName, SERVICE_ALL_ACCESS)};
};

std::wstring LogFolder()
{
    wchar_t folder[MAX_PATH] = {};
    SHGetFolderPathW(nullptr, CSIDL_APPDATA, nullptr, SHGFP_TYPE_CURRENT, folder);
    return std::wstring{folder} + L"\\quilLog";
}

Lines LinesOf(const std::wstring& path)
{
    return Testbed::SplitLines(Testbed::WideFromUtf8(Testbed::ReadWholeFile(path)));
}

void WriteBytes(const std::wstring& path, const std::string& bytes)
{
    const HANDLE file = CreateFileW(path.c_str(), GENERIC_WRITE, FILE_SHARE_READ, nullptr, CREATE_ALWAYS,
                                    FILE_ATTRIBUTE_NORMAL, nullptr);
    ASSERT_NE(INVALID_HANDLE_VALUE, file) << Testbed::Utf8FromWide(path);
    DWORD written = 0;
    EXPECT_TRUE(WriteFile(file, bytes.data(), static_cast<DWORD>(bytes.size()), &written, nullptr));
    CloseHandle(file);
}

void EndProcesses(const wchar_t* image)
{
    for (const DWORD id : Testbed::ProcessIds(image))
    {
        const HANDLE process = OpenProcess(PROCESS_TERMINATE | SYNCHRONIZE, FALSE, id);
        TerminateProcess(process, 1);
        WaitForSingleObject(process, 10000);
        CloseHandle(process);
    }
}

void DeleteLogs()
{
    WIN32_FIND_DATAW found{};
    const HANDLE search = FindFirstFileW((LogFolder() + L"\\HotKeyServiceTLY*.log").c_str(), &found);
    for (BOOL more = search != INVALID_HANDLE_VALUE; more; more = FindNextFileW(search, &found))
    {
        DeleteFileW((LogFolder() + L"\\" + found.cFileName).c_str());
    }
    FindClose(search);
}

DWORD StateOf(SC_HANDLE service)
{
    SERVICE_STATUS status{};
    return QueryServiceStatus(service, &status) ? status.dwCurrentState : SERVICE_STOPPED;
}

void StopAndWait(SC_HANDLE service)
{
    SERVICE_STATUS status{};
    ControlService(service, SERVICE_CONTROL_STOP, &status);
    static_cast<void>(Eventually([&] { return StateOf(service) == SERVICE_STOPPED; }));
}

// The service manager believes for ever that a killed service runs, and keeps its registration;
// a new start and a proper stop set it right.
void BringBackAndStop(SC_HANDLE service)
{
    EndProcesses(kImage);
    if (StartServiceW(service, 0, nullptr))
    {
        static_cast<void>(Eventually([&] { return StateOf(service) != SERVICE_START_PENDING; }));
        StopAndWait(service);
    }
}

void DeleteRegistration()
{
    const auto exists = [] { return Registration{}.service != nullptr; };
    if (exists())
    {
        const Registration registration;
        if (!Testbed::ProcessIds(kImage).empty())
        {
            StopAndWait(registration.service.get());
        }
        if (StateOf(registration.service.get()) != SERVICE_STOPPED)
        {
            BringBackAndStop(registration.service.get());
        }
        DeleteService(registration.service.get());
    }
    EXPECT_TRUE(Eventually([&] { return !exists(); })) << "the service of an earlier test is still registered";
}

} // namespace

ProgramResult RunProgram(const std::wstring& commandLine)
{
    SECURITY_ATTRIBUTES inheritable{sizeof(inheritable), nullptr, TRUE};
    HANDLE reader = nullptr;
    HANDLE writer = nullptr;
    CreatePipe(&reader, &writer, &inheritable, 0);
    SetHandleInformation(reader, HANDLE_FLAG_INHERIT, 0);

    STARTUPINFOW startup{};
    startup.cb = sizeof(startup);
    startup.dwFlags = STARTF_USESTDHANDLES;
    startup.hStdOutput = writer;
    startup.hStdError = GetStdHandle(STD_ERROR_HANDLE);
    PROCESS_INFORMATION process{};
    std::wstring text = commandLine;
    const BOOL started =
        CreateProcessW(nullptr, text.data(), nullptr, nullptr, TRUE, 0, nullptr, nullptr, &startup, &process);
    const DWORD error = GetLastError();
    CloseHandle(writer);
    ProgramResult result{};
    if (!started)
    {
        ADD_FAILURE() << "cannot start " << Testbed::Utf8FromWide(commandLine) << ": error " << error;
        CloseHandle(reader);
        return result;
    }
    char block[4096];
    for (DWORD read = 0; ReadFile(reader, block, sizeof(block), &read, nullptr) && read > 0;)
    {
        result.output.append(block, read);
    }
    WaitForSingleObject(process.hProcess, INFINITE);
    GetExitCodeProcess(process.hProcess, &result.exitCode);
    CloseHandle(process.hThread);
    CloseHandle(process.hProcess);
    CloseHandle(reader);
    return result;
}

ProgramResult RunClient(const std::wstring& arguments)
{
    return RunProgram(std::wstring{kClient} + L" " + arguments);
}

Client::Client(const std::wstring& arguments)
{
    std::wstring commandLine = std::wstring{kClient} + L" " + arguments;
    STARTUPINFOW startup{};
    startup.cb = sizeof(startup);
    EXPECT_TRUE(CreateProcessW(nullptr, commandLine.data(), nullptr, nullptr, FALSE, DETACHED_PROCESS, nullptr, nullptr,
                               &startup, &m_process))
        << "error " << GetLastError();
}

Client::~Client()
{
    Kill();
    CloseHandle(m_process.hThread);
    CloseHandle(m_process.hProcess);
}

void Client::Kill() const
{
    TerminateProcess(m_process.hProcess, 1);
    WaitForSingleObject(m_process.hProcess, 10000);
}

Pc::Pc(const std::wstring& profile)
{
    Clean();
    std::wstring reason;
    EXPECT_TRUE(Testbed::ApplyProfile(profile, reason)) << Testbed::Utf8FromWide(reason);
}

Pc::~Pc()
{
    Clean();
    // What other test programs find: none of the maker's services and devices.
    std::wstring reason;
    EXPECT_TRUE(Testbed::ApplyProfile(L"no-framework", reason)) << Testbed::Utf8FromWide(reason);
}

void Pc::Clean() const
{
    DeleteRegistration();
    EndProcesses(kImage);
    EndProcesses(L"msinfo32.exe");
    EndProcesses(L"QuilUsbCConfiguration.exe");
    EndProcesses(L"QuilHotkeyNotification.exe");
    DeleteFileW(Testbed::kRecordsPath);
    DeleteFileW(Testbed::kEventsPath);
    DeleteLogs();
}

ProgramResult Pc::Service(const std::wstring& arguments)
{
    return RunProgram(std::wstring{kProgram} + L" " + arguments);
}

void Pc::Install()
{
    EXPECT_EQ("HotKeyServiceTLY is installed.\r\n", Service(L"-install").output);
}

void Pc::Start()
{
    const Registration open;
    ASSERT_TRUE(StartServiceW(open.service.get(), 0, nullptr)) << "error " << GetLastError();
    // Without the device-information framework the start takes six seconds.
    ASSERT_TRUE(Eventually([&] { return Status().dwCurrentState != SERVICE_START_PENDING; }));
    ASSERT_EQ(static_cast<DWORD>(SERVICE_RUNNING), Status().dwCurrentState);
}

void Pc::InstallAndStart()
{
    Install();
    Start();
    // The endpoint opens on a thread of its own, a moment after RUNNING.
    EXPECT_TRUE(Eventually([&] { return !Records(L"RpcServerListen").empty(); }));
}

void Pc::StartConsole()
{
    ASSERT_NE(0u, Testbed::StartDetached(std::wstring{kProgram} + L" -console")) << "error " << GetLastError();
    EXPECT_TRUE(Eventually([&] { return !Records(L"RpcServerListen").empty(); }));
}

void Pc::Kill()
{
    EndProcesses(kImage);
    WaitForEnd();
}

void Pc::Control(const std::wstring& name)
{
    const std::optional<DWORD> code = Testbed::ControlCode(name);
    ASSERT_TRUE(code.has_value()) << Testbed::Utf8FromWide(name);
    EXPECT_EQ(0u, Testbed::SendControl(*code)) << Testbed::Utf8FromWide(name);
}

SERVICE_STATUS_PROCESS Pc::Status() const
{
    const Registration open;
    SERVICE_STATUS_PROCESS status{};
    DWORD needed = 0;
    EXPECT_TRUE(QueryServiceStatusEx(open.service.get(), SC_STATUS_PROCESS_INFO, reinterpret_cast<BYTE*>(&status),
                                     sizeof(status), &needed));
    return status;
}

bool Pc::WaitForState(DWORD state) const
{
    return Eventually([&] { return Status().dwCurrentState == state; });
}

void Pc::WaitForEnd() const
{
    EXPECT_TRUE(Eventually([] { return Testbed::ProcessIds(kImage).empty(); })) << "the service's process goes on";
}

void Pc::SetProfile(const std::wstring& section, const std::wstring& key, const std::wstring& value)
{
    WriteBytes(Testbed::kProfilePath,
               Testbed::ReadWholeFile(Testbed::kProfilePath) +
                   Testbed::Utf8FromWide(L"\n[" + section + L"]\n" + key + L" = " + value + L"\n"));
}

void Pc::SetPolicy(const std::wstring& name, const std::wstring& value)
{
    SetProfile(L"policy", name, value);
    std::wstring reason;
    EXPECT_TRUE(Testbed::ApplyFiles(reason)) << Testbed::Utf8FromWide(reason);
}

Lines Pc::Records(const std::wstring& source) const
{
    const std::wstring prefix = source + L": ";
    Lines texts;
    for (const std::wstring& line : LinesOf(Testbed::kRecordsPath))
    {
        if (line.starts_with(prefix))
        {
            texts.push_back(line.substr(prefix.size()));
        }
    }
    return texts;
}

Lines Pc::Events() const
{
    return LinesOf(Testbed::kEventsPath);
}

Lines Pc::EventTexts() const
{
    constexpr std::wstring_view source = L" source=HotKeyServiceTLY: ";
    Lines texts;
    for (const std::wstring& line : Events())
    {
        const std::size_t place = line.find(source);
        if (place != std::wstring::npos)
        {
            texts.push_back(line.substr(place + source.size()));
        }
    }
    return texts;
}

Lines Pc::Log() const
{
    // "2024/03/05 14:07:09.042|00001A2C|Information|Function|Message"
    constexpr std::size_t levelAt = 33;
    constexpr std::size_t levelWidth = 11;
    Lines records;
    for (const std::wstring& line : LinesOf(LogFolder() + L"\\HotKeyServiceTLY.log"))
    {
        if (line.size() > levelAt + levelWidth)
        {
            const std::wstring level = line.substr(levelAt, levelWidth);
            records.push_back(level.substr(0, level.find(L' ')) + line.substr(levelAt + levelWidth));
        }
    }
    return records;
}

Lines Pc::LogOf(const std::wstring& function) const
{
    Lines messages;
    const std::wstring part = L"|" + function + L"|";
    for (const std::wstring& record : Log())
    {
        const std::size_t place = record.find(part);
        if (place != std::wstring::npos)
        {
            messages.push_back(record.substr(0, place) + L"|" + record.substr(place + part.size()));
        }
    }
    return messages;
}

std::string Pc::LogBytes(const std::wstring& file) const
{
    return Testbed::ReadWholeFile(LogFolder() + L"\\" + file);
}

void Pc::WriteLog(const std::wstring& file, const std::string& bytes) const
{
    CreateDirectoryW(LogFolder().c_str(), nullptr);
    WriteBytes(LogFolder() + L"\\" + file, bytes);
}

} // namespace E2e
