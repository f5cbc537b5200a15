// A folder of its own for a log and its old files, and what the service does to them.
#pragma once

#include "shared/LogRotation.h"

#include <gtest/gtest.h>

#include <windows.h>

#include <filesystem>
#include <fstream>
#include <string>
#include <string_view>

class LogFolder
{
  public:
    LogFolder()
        : m_path{std::filesystem::temp_directory_path() / (L"hotkeyctl-log-" + std::to_wstring(GetCurrentProcessId()))}
    {
        std::filesystem::remove_all(m_path);
        std::filesystem::create_directories(m_path);
    }
    ~LogFolder()
    {
        std::error_code error;
        std::filesystem::remove_all(m_path, error);
        EXPECT_FALSE(error) << "something in " << m_path << " is still open";
    }
    LogFolder(const LogFolder&) = delete;
    LogFolder& operator=(const LogFolder&) = delete;

    std::wstring Path(std::wstring_view name) const { return (m_path / name).wstring(); }
    std::wstring Live() const { return Path(L"App.log"); }

    void Put(std::wstring_view name, std::string_view text) const { Write(name, text, std::ios::trunc); }
    void Append(std::wstring_view name, std::string_view text) const { Write(name, text, std::ios::app); }

    void Rename(std::wstring_view from, std::wstring_view to) const
    {
        EXPECT_TRUE(MoveFileW(Path(from).c_str(), Path(to).c_str())) << GetLastError();
    }

    // What the service does before it begins a new live file.
    void Rotate() const
    {
        Quil::Shared::CLogFileNames names;
        ASSERT_TRUE(names.Split(Live()));
        Quil::Shared::ShiftNumberedLogs(names);
        Rename(L"App.log", L"App_0001.log");
    }

  private:
    void Write(std::wstring_view name, std::string_view text, std::ios::openmode mode) const
    {
        std::ofstream file{m_path / name, std::ios::binary | mode};
        file << text;
        file.close();
        EXPECT_TRUE(file.good()) << "cannot write " << (m_path / name);
    }

    const std::filesystem::path m_path;
};
