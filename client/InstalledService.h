/// \file
/// What the Service Control Manager knows of the service: whether it is installed, its state, its program.
#pragma once

#include <windows.h>

#include <string>

namespace HotKey
{

/// The service as the Service Control Manager has it.
struct CInstalledService
{
    std::wstring strState;       ///< "not installed", "running" and so on, or why it is unknown
    DWORD dwProcessId;           ///< 0 when it does not run
    std::wstring strCommandLine; ///< what the manager runs, as registered
    std::wstring strProgram;     ///< path without quotation marks
    std::wstring strVersion;     ///< file version of the program; empty when it has none
};

/// Any user may ask. What cannot be read is empty.
CInstalledService QueryInstalledService();

} // namespace HotKey
