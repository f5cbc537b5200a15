#include "tests/soak/SoakedService.h"

#include "testbed/Text.h"
#include "testbed/machine/Controls.h"
#include "testbed/machine/Processes.h"

#include <windows.h>

#include <shlobj.h>
#include <winternl.h>

#include <cctype>
#include <string_view>
#include <utility>

namespace Soak
{
namespace
{

constexpr wchar_t kServiceName[] = L"HotKeyServiceTLY";
constexpr wchar_t kProgram[] = L"\"C:\\Program Files\\Quil\\HotKeyService\\HotKeyServiceTLY.exe\"";
constexpr wchar_t kPolicyKey[] = L"Software\\Policies\\Quil\\Quil TLY Service";
constexpr DWORD kPatienceMilliseconds = 30000;
constexpr auto kInfoLengthMismatch = static_cast<NTSTATUS>(0xC0000004);

std::vector<BYTE> SystemList(SYSTEM_INFORMATION_CLASS kind)
{
    std::vector<BYTE> list(std::size_t{1} << 20);
    ULONG needed = 0;
    while (NtQuerySystemInformation(kind, list.data(), static_cast<ULONG>(list.size()), &needed) == kInfoLengthMismatch)
    {
        list.resize(list.size() * 2);
    }
    return list;
}

std::wstring LogFolder()
{
    wchar_t folder[MAX_PATH]{};
    SHGetFolderPathW(nullptr, CSIDL_APPDATA, nullptr, SHGFP_TYPE_CURRENT, folder);
    return std::wstring{folder} + L"\\quilLog\\";
}

// "2024/03/05 14:07:09.042|00001A2C|Information|Function|Message": the shape, without its values.
bool IsWhole(std::string_view line)
{
    constexpr std::string_view shape = "0000/00/00 00:00:00.000|XXXXXXXX|";
    if (line.size() < shape.size() + 13)
    {
        return false;
    }
    for (std::size_t i = 0; i < shape.size(); ++i)
    {
        const auto character = static_cast<unsigned char>(line[i]);
        const bool right = shape[i] == '0'   ? std::isdigit(character) != 0
                           : shape[i] == 'X' ? std::isxdigit(character) != 0
                                             : line[i] == shape[i];
        if (!right)
        {
            return false;
        }
    }
    constexpr std::string_view levels[] = {"TraceIn", "TraceOut", "Verbose", "Information", "Warning", "Error", "Diag"};
    std::string_view level = line.substr(shape.size(), 11);
    level = level.substr(0, level.find(' '));
    for (const std::string_view known : levels)
    {
        if (level == known)
        {
            return line[shape.size() + 11] == '|' && line.find('|', shape.size() + 12) != std::string_view::npos;
        }
    }
    return false;
}

void CheckFile(const std::string& bytes, LogCheck& check)
{
    const auto broken = [&](std::string_view line) {
        if (check.broken.size() < 10)
        {
            check.broken.emplace_back(line.substr(0, 120));
        }
    };
    constexpr std::string_view mark = "\xEF\xBB\xBF";
    std::string_view rest = bytes;
    if (!rest.starts_with(mark))
    {
        broken("(no byte-order mark)");
        return;
    }
    rest.remove_prefix(mark.size());
    std::string_view previous;
    while (!rest.empty())
    {
        const std::size_t end = rest.find("\r\n");
        const std::string_view line = rest.substr(0, end);
        // The recovery's own texts end in a line feed: they bring an empty line with them.
        const bool lineFeed = line.empty() && previous.find("ServiceRestartRecovery") != std::string_view::npos;
        if (end == std::string_view::npos || (!lineFeed && !IsWhole(line)))
        {
            broken(line);
        }
        ++check.lines;
        previous = line;
        rest.remove_prefix(end == std::string_view::npos ? rest.size() : end + 2);
    }
}

} // namespace

Child::Child(const std::wstring& commandLine)
{
    std::wstring text = commandLine;
    STARTUPINFOW startup{};
    startup.cb = sizeof(startup);
    PROCESS_INFORMATION process{};
    if (CreateProcessW(nullptr, text.data(), nullptr, nullptr, FALSE, DETACHED_PROCESS, nullptr, nullptr, &startup,
                       &process))
    {
        CloseHandle(process.hThread);
        m_process = process.hProcess;
    }
}

Child::~Child()
{
    if (m_process != nullptr)
    {
        Kill();
        CloseHandle(m_process);
    }
}

Child::Child(Child&& other) noexcept : m_process{std::exchange(other.m_process, nullptr)} {}

Child& Child::operator=(Child&& other) noexcept
{
    std::swap(m_process, other.m_process);
    return *this;
}

bool Child::EndsWithin(DWORD milliseconds) const
{
    return WaitForSingleObject(m_process, milliseconds) == WAIT_OBJECT_0;
}

void Child::Kill() const
{
    TerminateProcess(m_process, 1);
    WaitForSingleObject(m_process, 10000);
}

DWORD Child::ExitCode() const
{
    DWORD code = 0;
    GetExitCodeProcess(m_process, &code);
    return code;
}

std::wstring ProgramFolder()
{
    wchar_t path[MAX_PATH]{};
    GetModuleFileNameW(nullptr, path, MAX_PATH);
    const std::wstring full{path};
    return full.substr(0, full.rfind(L'\\') + 1);
}

SoakedService::SoakedService(DWORD logKilobytes)
{
    RegSetKeyValueW(HKEY_LOCAL_MACHINE, kPolicyKey, L"MaxLogSize", REG_DWORD, &logKilobytes, sizeof(logKilobytes));
    static_cast<void>(Child{std::wstring{kProgram} + L" -install"}.EndsWithin(kPatienceMilliseconds));
    m_manager = OpenSCManagerW(nullptr, nullptr, SC_MANAGER_CONNECT);
    m_service = OpenServiceW(m_manager, kServiceName, SERVICE_ALL_ACCESS);
}

SoakedService::~SoakedService()
{
    if (m_process != nullptr)
    {
        TerminateProcess(m_process, 1);
        CloseHandle(m_process);
    }
    CloseServiceHandle(m_service);
    CloseServiceHandle(m_manager);
}

DWORD SoakedService::State() const
{
    SERVICE_STATUS status{};
    return QueryServiceStatus(m_service, &status) ? status.dwCurrentState : 0;
}

bool SoakedService::AwaitState(DWORD state, DWORD milliseconds) const
{
    const ULONGLONG begin = GetTickCount64();
    while (State() != state)
    {
        if (GetTickCount64() - begin > milliseconds)
        {
            return false;
        }
        Sleep(5);
    }
    return true;
}

int SoakedService::Start()
{
    const ULONGLONG begin = GetTickCount64();
    if (!StartServiceW(m_service, 0, nullptr) || !AwaitState(SERVICE_RUNNING, kPatienceMilliseconds))
    {
        return -1;
    }
    const auto duration = static_cast<int>(GetTickCount64() - begin);
    SERVICE_STATUS_PROCESS status{};
    DWORD needed = 0;
    QueryServiceStatusEx(m_service, SC_STATUS_PROCESS_INFO, reinterpret_cast<BYTE*>(&status), sizeof(status), &needed);
    m_processId = status.dwProcessId;
    m_process = OpenProcess(PROCESS_ALL_ACCESS, FALSE, m_processId);
    return duration;
}

int SoakedService::Stop(const wchar_t* control)
{
    const ULONGLONG begin = GetTickCount64();
    // The control is sent from a program of its own: it waits as long as the handler does.
    const Child sender{L"C:\\testbed\\bin\\testbedctl.exe control " + std::wstring{control}};
    const bool stopped = AwaitState(SERVICE_STOPPED, kPatienceMilliseconds);
    const auto duration = static_cast<int>(GetTickCount64() - begin);
    // The last lines of the log are written before the process ends.
    if (!stopped || WaitForSingleObject(m_process, kPatienceMilliseconds) != WAIT_OBJECT_0)
    {
        Kill();
        return -1;
    }
    CloseHandle(std::exchange(m_process, nullptr));
    return duration;
}

void SoakedService::Kill()
{
    TerminateProcess(m_process, 1);
    WaitForSingleObject(m_process, kPatienceMilliseconds);
    CloseHandle(std::exchange(m_process, nullptr));
}

// From the system's lists: Wine tells neither memory nor handles of a single other process, and counts the places in a
// process's handle table where the list of processes has its handles.
Sample SoakedService::Measure() const
{
    Sample sample{};
    const std::vector<BYTE> processes = SystemList(SystemProcessInformation);
    const BYTE* place = processes.data();
    const auto process = [&] { return reinterpret_cast<const SYSTEM_PROCESS_INFORMATION*>(place); };
    while (HandleToULong(process()->UniqueProcessId) != m_processId && process()->NextEntryOffset != 0)
    {
        place += process()->NextEntryOffset;
    }
    sample.privateBytes = process()->VirtualMemoryCounters.PagefileUsage;
    sample.threads = process()->NumberOfThreads;

    const std::vector<BYTE> handles = SystemList(SystemHandleInformation);
    const auto* const list = reinterpret_cast<const SYSTEM_HANDLE_INFORMATION*>(handles.data());
    for (ULONG i = 0; i < list->Count; ++i)
    {
        sample.handles += list->Handle[i].OwnerPid == m_processId ? 1 : 0;
    }
    return sample;
}

unsigned SoakedService::CallsInProgress()
{
    const std::string log = Testbed::ReadWholeFile(LogFolder() + L"HotKeyServiceTLY.log");
    const auto count = [&](std::string_view part) {
        unsigned times = 0;
        for (std::size_t place = log.find(part); place != std::string::npos; place = log.find(part, place + 1))
        {
            ++times;
        }
        return times;
    };
    return count("|TraceIn    |ReadUSBTypeCInfo|") - count("|TraceOut   |ReadUSBTypeCInfo|");
}

LogCheck SoakedService::CheckLog()
{
    LogCheck check;
    const std::wstring folder = LogFolder();
    WIN32_FIND_DATAW found{};
    const HANDLE search = FindFirstFileW((folder + L"HotKeyServiceTLY*.log").c_str(), &found);
    for (BOOL more = search != INVALID_HANDLE_VALUE; more; more = FindNextFileW(search, &found))
    {
        const std::wstring path = folder + found.cFileName;
        ++check.files;
        CheckFile(Testbed::ReadWholeFile(path), check);
        DeleteFileW(path.c_str());
    }
    FindClose(search);
    return check;
}

} // namespace Soak
