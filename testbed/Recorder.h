// The testbed's diary: what the service asked the system for, one line per request, in order.
#pragma once

#include <string_view>

namespace Testbed
{

// Appends "<source>: <text>" as one UTF-8 line to C:\testbed\records.log. Any thread, any process: lines never mix.
// A line feed inside the text is written as "\n" of two characters. The calling thread's last error is kept.
void Record(std::wstring_view source, std::wstring_view text);

// The same for another file, the line as it is given.
void AppendLine(const wchar_t* path, std::wstring_view line);

} // namespace Testbed
