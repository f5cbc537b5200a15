#include "shared/LogRotation.h"

#include "shared/UniqueHandle.h"
#include "shared/WideText.h"

#include <windows.h>

#include <algorithm>
#include <cstdlib>
#include <utility>

namespace Quil::Shared
{

namespace
{

constexpr std::size_t kFullHouse = 9;

std::vector<COldLog> FindOldLogs(const CLogFileNames& names)
{
    std::vector<COldLog> logs;
    WIN32_FIND_DATAW data{};
    const CUniqueFind find{FindFirstFileW((names.strBase + L"_*.log").c_str(), &data)};
    for (BOOL found = static_cast<bool>(find); found; found = FindNextFileW(find.Get(), &data))
    {
        if ((data.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) == 0)
        {
            const FILETIME& time = data.ftLastWriteTime;
            logs.push_back(
                {names.strFolder + data.cFileName, std::uint64_t{time.dwHighDateTime} << 32 | time.dwLowDateTime});
        }
    }
    return logs;
}

} // namespace

CRotationPlan PlanRotation(std::vector<COldLog> logs)
{
    // Files of the same instant keep the order of their numbers: the higher one is the older one.
    std::sort(logs.begin(), logs.end(), [](const COldLog& left, const COldLog& right) {
        return left.ullLastWrite != right.ullLastWrite ? left.ullLastWrite < right.ullLastWrite
                                                       : left.strPath > right.strPath;
    });
    CRotationPlan plan;
    for (COldLog& log : logs)
    {
        // Deliberate: exactly nine. With more nothing is deleted.
        const bool deleted = logs.size() == kFullHouse && &log == &logs.front();
        (deleted ? plan.vecToDelete : plan.vecToRename).push_back(std::move(log.strPath));
    }
    return plan;
}

bool IsLogTooLarge(std::uint32_t maximumKilobytes, std::uint32_t sizeHigh, std::uint32_t sizeLow) noexcept
{
    // Deliberate: a file of 4 GiB and more is too large whatever the maximum is.
    return maximumKilobytes >= 1 && (sizeHigh != 0 || sizeLow > std::uint64_t{maximumKilobytes} * 1024);
}

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

std::wstring CLogFileNames::Numbered(std::size_t number) const
{
    return strBase + FormatText(L"_%04d.log", Low32(number));
}

// With three old files:
//
//   _0003 (oldest)  ->  _lo4.tmp  ->  _0004
//   _0002           ->  _lo3.tmp  ->  _0003
//   _0001 (newest)  ->  _lo2.tmp  ->  _0002      all first steps before all second steps: names never collide
void ShiftNumberedLogs(const CLogFileNames& names)
{
    const CRotationPlan plan = PlanRotation(FindOldLogs(names));
    for (const std::wstring& path : plan.vecToDelete)
    {
        static_cast<void>(DeleteFileW(path.c_str()));
    }

    std::vector<std::pair<std::wstring, std::wstring>> renamed; // temporary name, final name
    renamed.reserve(plan.vecToRename.size());
    std::size_t number = plan.vecToRename.size() + 1;
    for (const std::wstring& path : plan.vecToRename)
    {
        wchar_t temporary[MAX_PATH]{};
        // Deliberate: an 8-bit number. 256 becomes 0, for which the system creates the file; 258 meets 2 again.
        if (GetTempFileNameW(names.strFolder.c_str(), L"_log_", static_cast<BYTE>(number), temporary) == 0)
        {
            break;
        }
        static_cast<void>(DeleteFileW(temporary));
        std::wstring final = names.Numbered(number);
        if (!MoveFileW(path.c_str(), temporary))
        {
            break;
        }
        renamed.emplace_back(temporary, std::move(final));
        --number;
    }
    for (const auto& [temporary, final] : renamed)
    {
        static_cast<void>(MoveFileW(temporary.c_str(), final.c_str()));
    }
}

} // namespace Quil::Shared
