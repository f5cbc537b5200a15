/// \file
/// Wide text: formatting, printing and the few conversions that the program needs.
/// All formatted text goes through here: MinGW's own wprintf and swprintf take `%s` for narrow text, these follow
/// Microsoft's rules (`%s` wide, `%S` narrow) with every compiler.
#pragma once

#include "shared/LogFormat.h"

#include <cstdarg>
#include <string>
#include <string_view>

/// The wide string of the handler's interfaces.
using CStringW = std::wstring;

namespace Quil::Shared
{

namespace WideTextDetail
{
std::wstring FormatText(const wchar_t* format, ...);
int PrintText(const wchar_t* format, ...);
} // namespace WideTextDetail

/// The formatted text, of any length. Throws std::bad_alloc only.
template <typename... Args>
std::wstring FormatText(CLogFormat<std::type_identity_t<Args>...> format, const Args&... args)
{
    return WideTextDetail::FormatText(format.Text(), ToVariadic(args)...);
}

/// Prints to standard output; a character above U+00FF ends the output of the call, as the C locale has it.
template <typename... Args> void PrintText(CLogFormat<std::type_identity_t<Args>...> format, const Args&... args)
{
    static_cast<void>(WideTextDetail::PrintText(format.Text(), ToVariadic(args)...));
}

/// Formats into a buffer of size characters (at least 1), cuts what does not fit and always terminates.
/// Returns the number of characters before the NUL.
std::size_t FormatBuffer(wchar_t* buffer, std::size_t size, const wchar_t* format, va_list arguments) noexcept;

/// The part of a path before its last backslash; the whole path when it has none.
std::wstring DirectoryOf(std::wstring_view path);

} // namespace Quil::Shared
