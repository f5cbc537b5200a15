// Puts a replacement into the import table of this process's program.
// Only calls that the program itself makes are redirected; the stand-ins' own calls reach the system.
#pragma once

#include <string_view>

namespace Testbed
{

// False when the program does not import a function of that name.
bool ReplaceImport(const char* function, void* replacement);

// Checks at compile time that the replacement has the function's type.
template <typename Function> bool ReplaceImport(const char* name, Function* replacement)
{
    return ReplaceImport(name, reinterpret_cast<void*>(replacement));
}

#define TESTBED_REPLACE(function, replacement)                                                                         \
    Testbed::ReplaceImport(#function, static_cast<decltype(&::function)>(replacement))

} // namespace Testbed
