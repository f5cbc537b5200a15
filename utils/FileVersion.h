/// \file
/// Versions of program files, from their version resources. Any thread may call these.
#pragma once

#include <windows.h>

#include <string>

namespace Utils
{

/// The version record of a file; zeros when it has none or cannot be read.
VS_FIXEDFILEINFO GetVersionValue(const wchar_t* path);

/// Puts the version of the running program into version ("0.0.0.0" when it has none) and returns it.
std::wstring& GetBinaryVersion(std::wstring& version);

/// The two halves of a version as "major.minor.build.revision". Throws std::bad_alloc only.
std::wstring FileVersionText(DWORD mostSignificant, DWORD leastSignificant);

} // namespace Utils
