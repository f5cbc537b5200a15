// What the pure sources take from Microsoft's C run time, for their native build; included before everything else.
// wchar_t has 16 bits here (-fshort-wchar), so MicrosoftRuntime.cpp also defines the wide functions of the C library
// that the standard library's headers call.
#pragma once

#include <cstdarg>
#include <cstddef>
#include <cstdio>
#include <cwchar>

extern "C"
{
    int _wcsnicmp(const wchar_t* left, const wchar_t* right, std::size_t count);
    int _vscwprintf(const wchar_t* format, va_list arguments);
    int _vsnwprintf(wchar_t* buffer, std::size_t count, const wchar_t* format, va_list arguments);
    int vwprintf_s(const wchar_t* format, va_list arguments);
}
