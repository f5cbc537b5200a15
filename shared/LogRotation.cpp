#include "shared/LogRotation.h"

#include "shared/UniqueHandle.h"
#include "shared/WideText.h"

#include <windows.h>

#include <algorithm>
#include <cstdlib>
#include <utility>
#include <vector>

namespace Quil::Shared
{

namespace
{

constexpr std::size_t kFullHouse = 9;

struct OldLog
{
    std::wstring path;
    FILETIME written;
};

// Every file base_*.log, oldest first.
std::vector<OldLog> FindOldLogs(const CLogFileNames& names)
{
    std::vector<OldLog> logs;
    WIN32_FIND_DATAW data{};
    const CUniqueFind find{FindFirstFileW((names.strBase + L"_*.log").c_str(), &data)};
    if (find)
    {
        do
        {
            logs.push_back({names.strFolder + data.cFileName, data.ftLastWriteTime});
        } while (FindNextFileW(find.Get(), &data));
    }
    std::stable_sort(logs.begin(), logs.end(), [](const OldLog& left, const OldLog& right) {
        return CompareFileTime(&left.written, &right.written) < 0;
    });
    return logs;
}

} // namespace

bool CLogFileNames::Split(const std::wstring& path)
{
    wchar_t full[MAX_PATH]{};
    const DWORD length = GetFullPathNameW(path.c_str(), MAX_PATH, full, nullptr);
    if (length == 0 || length >= MAX_PATH)
    {
        return false;
    }
    wchar_t drive[_MAX_DRIVE]{};
    wchar_t directory[_MAX_DIR]{};
    wchar_t name[_MAX_FNAME]{};
    wchar_t extension[_MAX_EXT]{};
    if (_wsplitpath_s(full, drive, _MAX_DRIVE, directory, _MAX_DIR, name, _MAX_FNAME, extension, _MAX_EXT) != 0)
    {
        return false;
    }
    strFolder = std::wstring{drive} + directory;
    strBase = strFolder + name;
    return true;
}

std::wstring CLogFileNames::Numbered(unsigned number) const
{
    return strBase + FormatText(L"_%04d.log", number);
}

// With three old files:
//
//   _0003 (oldest)  ->  _lo4.tmp  ->  _0004
//   _0002           ->  _lo3.tmp  ->  _0003
//   _0001 (newest)  ->  _lo2.tmp  ->  _0002      all first steps before all second steps: names never collide
void ShiftNumberedLogs(const CLogFileNames& names)
{
    std::vector<OldLog> logs = FindOldLogs(names);
    // Deliberate: exactly nine. With more nothing is deleted.
    if (logs.size() == kFullHouse)
    {
        static_cast<void>(DeleteFileW(logs.front().path.c_str()));
        logs.erase(logs.begin());
    }

    std::vector<std::pair<std::wstring, std::wstring>> moved; // temporary name, final name
    unsigned number = static_cast<unsigned>(logs.size()) + 1;
    for (const OldLog& log : logs)
    {
        wchar_t temporary[MAX_PATH]{};
        // Deliberate: an 8-bit number; 256 becomes 0, for which the system makes the file itself.
        if (GetTempFileNameW(names.strFolder.c_str(), L"_log_", static_cast<BYTE>(number), temporary) == 0)
        {
            break;
        }
        static_cast<void>(DeleteFileW(temporary));
        if (!MoveFileW(log.path.c_str(), temporary))
        {
            break;
        }
        moved.emplace_back(temporary, names.Numbered(number));
        --number;
    }
    for (const auto& [temporary, final] : moved)
    {
        static_cast<void>(MoveFileW(temporary.c_str(), final.c_str()));
    }
}

} // namespace Quil::Shared
