#include "client/CtlOutput.h"

namespace HotKey
{

std::string ToUtf8(std::wstring_view text)
{
    if (text.empty())
    {
        return {};
    }
    const int length = static_cast<int>(text.size());
    const int size = WideCharToMultiByte(CP_UTF8, 0, text.data(), length, nullptr, 0, nullptr, nullptr);
    std::string bytes(static_cast<std::size_t>(size), '\0');
    static_cast<void>(WideCharToMultiByte(CP_UTF8, 0, text.data(), length, bytes.data(), size, nullptr, nullptr));
    return bytes;
}

std::wstring FromUtf8(std::string_view text)
{
    if (text.empty())
    {
        return {};
    }
    const int length = static_cast<int>(text.size());
    const int size = MultiByteToWideChar(CP_UTF8, 0, text.data(), length, nullptr, 0);
    std::wstring wide(static_cast<std::size_t>(size), L'\0');
    static_cast<void>(MultiByteToWideChar(CP_UTF8, 0, text.data(), length, wide.data(), size));
    return wide;
}

bool CCtlOutput::Print(std::wstring_view text) const
{
    return m_bQuiet || Write(STD_OUTPUT_HANDLE, text);
}

void CCtlOutput::Complain(std::wstring_view text) const
{
    if (!m_bQuiet)
    {
        Write(STD_ERROR_HANDLE, L"hotkeyctl: " + std::wstring{text} + L"\n");
    }
}

bool CCtlOutput::Write(DWORD stream, std::wstring_view text)
{
    const HANDLE handle = GetStdHandle(stream);
    DWORD mode = 0;
    if (GetConsoleMode(handle, &mode))
    {
        return WriteConsoleW(handle, text.data(), static_cast<DWORD>(text.size()), &mode, nullptr) != FALSE;
    }
    const std::string bytes = ToUtf8(text);
    std::string_view rest{bytes};
    DWORD written = 0;
    // A pipe may take less than it is given; a reader that has gone away ends the output.
    while (!rest.empty() && WriteFile(handle, rest.data(), static_cast<DWORD>(rest.size()), &written, nullptr) &&
           written != 0)
    {
        rest.remove_prefix(written);
    }
    return rest.empty();
}

} // namespace HotKey
