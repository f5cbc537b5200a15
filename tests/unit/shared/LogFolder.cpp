#include "tests/unit/shared/LogFolder.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <thread>

LogFolder::LogFolder()
{
    static std::atomic<int> s_number{0};
    wchar_t temporary[MAX_PATH]{};
    GetTempPathW(MAX_PATH, temporary);
    m_path = temporary + (L"quillog" + std::to_wstring(GetCurrentProcessId())) + L"_" + std::to_wstring(s_number++);
    EXPECT_TRUE(CreateDirectoryW(m_path.c_str(), nullptr)) << GetLastError();
}

LogFolder::~LogFolder()
{
    for (const std::wstring& name : Names())
    {
        DeleteFileW(File(name).c_str());
    }
    EXPECT_TRUE(RemoveDirectoryW(m_path.c_str())) << GetLastError();
}

std::string LogFolder::Read(const std::wstring& name) const
{
    const HANDLE file =
        CreateFileW(File(name).c_str(), GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
                    OPEN_EXISTING, 0, nullptr);
    if (file == INVALID_HANDLE_VALUE)
    {
        return "(missing)";
    }
    std::string bytes(GetFileSize(file, nullptr), '\0');
    DWORD read = 0;
    EXPECT_TRUE(ReadFile(file, bytes.data(), static_cast<DWORD>(bytes.size()), &read, nullptr));
    CloseHandle(file);
    return bytes;
}

std::vector<std::string> LogFolder::Lines(const std::wstring& name) const
{
    std::string text = Read(name);
    if (text.substr(0, 3) == "\xEF\xBB\xBF")
    {
        text.erase(0, 3);
    }
    std::vector<std::string> lines;
    for (std::size_t begin = 0; begin < text.size();)
    {
        const std::size_t end = std::min(text.find("\r\n", begin), text.size());
        const std::string line = text.substr(begin, end - begin);
        lines.push_back(line.size() > 33 && line[23] == '|' && line[32] == '|' ? line.substr(33) : line);
        begin = end + 2;
    }
    return lines;
}

std::wstring LogFolder::LineCountText(const std::wstring& name) const
{
    return std::to_wstring(Read(name) == "(missing)" ? 0 : Lines(name).size()) + L" lines";
}

void LogFolder::Write(const std::wstring& name, const std::string& bytes) const
{
    const HANDLE file = CreateFileW(File(name).c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, 0, nullptr);
    DWORD written = 0;
    EXPECT_TRUE(WriteFile(file, bytes.data(), static_cast<DWORD>(bytes.size()), &written, nullptr));
    CloseHandle(file);
}

void LogFolder::SetLastWrite(const std::wstring& name, int minute) const
{
    const HANDLE file = CreateFileW(File(name).c_str(), FILE_WRITE_ATTRIBUTES, 0, nullptr, OPEN_EXISTING, 0, nullptr);
    const ULONGLONG time = 133000000000000000ULL + static_cast<ULONGLONG>(minute) * 600000000ULL;
    const FILETIME stamp{static_cast<DWORD>(time), static_cast<DWORD>(time >> 32)};
    EXPECT_TRUE(SetFileTime(file, nullptr, nullptr, &stamp)) << GetLastError();
    CloseHandle(file);
}

std::vector<std::wstring> LogFolder::Names() const
{
    std::vector<std::wstring> names;
    WIN32_FIND_DATAW data{};
    const HANDLE find = FindFirstFileW(File(L"*").c_str(), &data);
    for (BOOL found = find != INVALID_HANDLE_VALUE; found; found = FindNextFileW(find, &data))
    {
        if ((data.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) == 0)
        {
            names.emplace_back(data.cFileName);
        }
    }
    FindClose(find);
    std::sort(names.begin(), names.end());
    return names;
}

std::wstring MutexNameOf(const std::wstring& path)
{
    std::wstring name = path.substr(path.find(L':') + 1);
    std::replace(name.begin(), name.end(), L'\\', L'.');
    return L"Global\\" + name;
}

MutexHeld::MutexHeld(const std::wstring& path) : m_mutex{CreateMutexW(nullptr, FALSE, MutexNameOf(path).c_str())}
{
    EXPECT_EQ(WAIT_OBJECT_0, WaitForSingleObject(m_mutex, 10000));
}

void MutexHeld::Release()
{
    if (m_mutex != nullptr)
    {
        EXPECT_TRUE(ReleaseMutex(m_mutex));
        CloseHandle(m_mutex);
        m_mutex = nullptr;
    }
}

AbandonedMutex::AbandonedMutex(const std::wstring& path)
    : m_mutex{CreateMutexW(nullptr, FALSE, MutexNameOf(path).c_str())}
{
    std::thread{[this] { WaitForSingleObject(m_mutex, INFINITE); }}.join();
}

bool AbandonedMutex::IsFree() const
{
    DWORD waited = WAIT_FAILED;
    std::thread{[&] {
        waited = WaitForSingleObject(m_mutex, 0);
        ReleaseMutex(m_mutex);
    }}.join();
    return waited == WAIT_OBJECT_0;
}
