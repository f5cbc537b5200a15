#include "testbed/Text.h"

#include <windows.h>

#include <cwctype>

namespace Testbed
{

std::wstring WideFromUtf8(std::string_view text)
{
    const int bytes = static_cast<int>(text.size());
    const int length = MultiByteToWideChar(CP_UTF8, 0, text.data(), bytes, nullptr, 0);
    std::wstring wide(static_cast<std::size_t>(length), L'\0');
    MultiByteToWideChar(CP_UTF8, 0, text.data(), bytes, wide.data(), length);
    return wide;
}

std::string Utf8FromWide(std::wstring_view text)
{
    const int length = static_cast<int>(text.size());
    const int bytes = WideCharToMultiByte(CP_UTF8, 0, text.data(), length, nullptr, 0, nullptr, nullptr);
    std::string narrow(static_cast<std::size_t>(bytes), '\0');
    WideCharToMultiByte(CP_UTF8, 0, text.data(), length, narrow.data(), bytes, nullptr, nullptr);
    return narrow;
}

std::wstring_view Trimmed(std::wstring_view text)
{
    const std::size_t first = text.find_first_not_of(L" \t");
    if (first == std::wstring_view::npos)
    {
        return {};
    }
    return text.substr(first, text.find_last_not_of(L" \t") - first + 1);
}

bool SameName(std::wstring_view left, std::wstring_view right)
{
    return left.size() == right.size() && CompareStringOrdinal(left.data(), static_cast<int>(left.size()), right.data(),
                                                               static_cast<int>(right.size()), TRUE) == CSTR_EQUAL;
}

std::vector<std::wstring> SplitLines(std::wstring_view text)
{
    constexpr wchar_t byteOrderMark = 0xFEFF;
    if (!text.empty() && text.front() == byteOrderMark)
    {
        text.remove_prefix(1);
    }
    std::vector<std::wstring> lines;
    while (!text.empty())
    {
        const std::size_t end = text.find(L'\n');
        std::wstring line{text.substr(0, end)};
        if (!line.empty() && line.back() == L'\r')
        {
            line.pop_back();
        }
        lines.push_back(std::move(line));
        text.remove_prefix(end == std::wstring_view::npos ? text.size() : end + 1);
    }
    return lines;
}

std::vector<std::wstring> SplitList(std::wstring_view text, wchar_t separator)
{
    std::vector<std::wstring> parts;
    while (!Trimmed(text).empty())
    {
        const std::size_t end = text.find(separator);
        parts.emplace_back(Trimmed(text.substr(0, end)));
        text.remove_prefix(end == std::wstring_view::npos ? text.size() : end + 1);
    }
    return parts;
}

std::string ReadWholeFile(const std::wstring& path)
{
    const HANDLE file = CreateFileW(path.c_str(), GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE,
                                    nullptr, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr);
    if (file == INVALID_HANDLE_VALUE)
    {
        return {};
    }
    std::string text;
    char block[4096];
    DWORD read = 0;
    while (ReadFile(file, block, sizeof(block), &read, nullptr) && read > 0)
    {
        text.append(block, read);
    }
    CloseHandle(file);
    return text;
}

std::wstring Hex(unsigned long value)
{
    constexpr wchar_t digits[] = L"0123456789abcdef";
    std::wstring text;
    do
    {
        text.insert(text.begin(), digits[value % 16]);
        value /= 16;
    } while (value != 0);
    return L"0x" + text;
}

} // namespace Testbed
