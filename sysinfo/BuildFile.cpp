// The optional build file of the factory on the system drive.
#include "sysinfo/WmiData.h"

#include "shared/TraceScope.h"

#include <windows.h>

#include <exception>
#include <fstream>
#include <memory>
#include <new>
#include <string>

using Quil::Shared::CTraceScope;

namespace RpcServer
{

namespace
{

// Below the system drive.
constexpr wchar_t kBuildFilePath[] = L"\\Quil\\support\\build.txt";

// A text of the system's ANSI code page, up to its first NUL.
std::wstring WideFromAnsi(const std::string& text)
{
    const int size = MultiByteToWideChar(CP_ACP, 0, text.c_str(), -1, nullptr, 0);
    if (size <= 0)
    {
        return {};
    }
    std::wstring wide(static_cast<std::size_t>(size), L'\0');
    static_cast<void>(MultiByteToWideChar(CP_ACP, 0, text.c_str(), -1, wide.data(), size));
    wide.resize(static_cast<std::size_t>(size) - 1);
    return wide;
}

} // namespace

bool WMIData::ReadBuildFromFile()
{
    CTraceScope trace{"RpcServer::WMIData::ReadBuildFromFile"};

    constexpr DWORD usualSize = 260;
    std::unique_ptr<wchar_t[]> drive{new (std::nothrow) wchar_t[usualSize]()};
    if (drive == nullptr)
    {
        trace.Error(L"Memory Allocation failed : Out of memory");
        // Deliberate: no exit record.
        trace.NoExit();
        return false;
    }
    const DWORD needed = GetEnvironmentVariableW(L"SystemDrive", drive.get(), usualSize);
    if (needed == 0)
    {
        if (GetLastError() == ERROR_ENVVAR_NOT_FOUND)
        {
            // Deliberate: the exit record of this path is empty.
            trace.Error(L"Environment variable does not exist.");
            return false;
        }
        return trace.ExitValue(false, L"Return Value = %d");
    }
    if (needed > usualSize)
    {
        drive.reset();
        drive.reset(new (std::nothrow) wchar_t[needed]{});
        if (drive == nullptr)
        {
            trace.Error(L"Memory Allocation failed during resizing : Out of memory");
            // Deliberate: no exit record.
            trace.NoExit();
            return false;
        }
        if (GetEnvironmentVariableW(L"SystemDrive", drive.get(), needed) == 0)
        {
            trace.Error(L"GetEnvironmentVariable failed (%d)\n", GetLastError());
            // Deliberate: no exit record.
            trace.NoExit();
            return false;
        }
    }

    bool read = false;
    try
    {
        std::ifstream file;
        file.exceptions(std::ios::failbit | std::ios::badbit);
        const std::wstring path = std::wstring{drive.get()} + kBuildFilePath;
        trace.Verbose(L"Build File Path = %s", path);
        // Text mode; the run-time library opens so that others may read and write meanwhile.
        file.open(path.c_str());
        std::string line;
        std::getline(file, line);
        std::wstring build = WideFromAnsi(line);
        trace.Verbose(L"Build = %s", build);
        file.close();
        m_strBuild = std::move(build);
        read = true;
    }
    catch (const std::ios_base::failure&)
    {
        trace.Warning(L"Exception opening/reading/closing file. Production build this is expected");
    }
    catch (const std::exception&)
    {
        trace.Warning(L"Exception caught : Unknown");
    }
    return trace.ExitValue(read, L"Return Value = %d");
}

} // namespace RpcServer
