// Numbered old log files beside a live one: App.log, App_0001.log (newest) and so on.
#pragma once

#include <string>

namespace Quil::Shared
{

// The parts of a live log's full path that rotation works with.
struct CLogFileNames
{
    std::wstring strFolder; // drive and directory, with the backslash at the end
    std::wstring strBase;   // folder and file name without extension

    // False when the full path has more than 260 characters.
    bool Split(const std::wstring& path);
    // base_NNNN.log
    std::wstring Numbered(unsigned number) const;
};

// Makes room for number 0001: the old files move up by one, the oldest of exactly nine is deleted.
void ShiftNumberedLogs(const CLogFileNames& names);

} // namespace Quil::Shared
