/// \file
/// What hotkeyctl writes: UTF-8 bytes into files and pipes, wide text onto a console, so that every character survives.
#pragma once

#include <windows.h>

#include <string>
#include <string_view>

namespace HotKey
{

/// A lone surrogate becomes U+FFFD.
std::string ToUtf8(std::wstring_view text);
/// What is no UTF-8 becomes U+FFFD.
std::wstring FromUtf8(std::string_view text);

/// The two output streams of the process.
class CCtlOutput
{
  public:
    /// quiet: write nothing.
    explicit CCtlOutput(bool quiet) noexcept : m_bQuiet{quiet} {}

    /// One line or several on standard output; nothing when quiet. False when nobody reads it any more.
    bool Print(std::wstring_view text) const;
    /// One line on standard error, after the program's name; nothing when quiet.
    void Complain(std::wstring_view text) const;

  private:
    static bool Write(DWORD stream, std::wstring_view text);

    const bool m_bQuiet;
};

} // namespace HotKey
