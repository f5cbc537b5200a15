/// \file
/// Numbered old log files beside a live one: App.log, App_0001.log (newest) and so on.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace Quil::Shared
{

/// A numbered log file as the folder shows it.
struct COldLog
{
    std::wstring strPath;       ///< full path
    std::uint64_t ullLastWrite; ///< file time, 100 ns units
};

/// What a rotation does with the old files, before the live file becomes number 1.
struct CRotationPlan
{
    std::vector<std::wstring> vecToDelete; ///< the oldest of exactly nine, else none
    std::vector<std::wstring> vecToRename; ///< oldest first; the first gets the number size() + 1, the last one 2
};

/// What becomes of these files, given in any order. Of two of the same time the one with the higher number is older.
CRotationPlan PlanRotation(std::vector<COldLog> logs);

/// True for a file beyond the maximum, and for any from 4 GiB on; never when the maximum is 0.
bool IsLogTooLarge(std::uint32_t maximumKilobytes, std::uint32_t sizeHigh, std::uint32_t sizeLow) noexcept;

/// The parts of a live log's full path that rotation works with.
struct CLogFileNames
{
    std::wstring strFolder; ///< drive and directory, with the backslash at the end
    std::wstring strBase;   ///< folder and file name without extension

    /// False when the full path does not fit into 260 characters.
    bool Split(const std::wstring& path);
    /// `base_NNNN.log`
    std::wstring Numbered(std::size_t number) const;
};

/// Makes room for number 0001: the old files move up by one, the oldest of exactly nine is deleted. The first file that
/// cannot be moved ends it. The caller owns the log's mutex.
void ShiftNumberedLogs(const CLogFileNames& names);

} // namespace Quil::Shared
