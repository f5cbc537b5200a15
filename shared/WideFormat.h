/// \file
/// Formats the conversions that nearly all log texts consist of, several times faster than the C run time.
#pragma once

#include <cstdarg>
#include <cstddef>
#include <optional>

namespace Quil::Shared
{

/// Writes at most size - 1 characters and a NUL, cuts what does not fit; returns the number of characters.
/// Knows `%% %s %S %d %u %x %X` with the flags `-` and `0`, a width, and l or ll, and gives what Microsoft's
/// _vsnwprintf gives for them. Nothing when the format has any other conversion: the arguments are then to be formatted
/// another way.
std::optional<std::size_t> FormatSimple(wchar_t* buffer, std::size_t size, const wchar_t* format,
                                        va_list arguments) noexcept;

} // namespace Quil::Shared
