#include "client/SysInfoFields.h"

#include "client/FieldText.h"

#include <string>
#include <vector>

namespace
{

constexpr std::size_t kFieldCount = 11;

// "0x" and one byte in upper-case hexadecimal digits without leading zeros; -1 for anything else.
int StatusByte(std::wstring_view text)
{
    if (text.size() < 3 || text.size() > 4 || !text.starts_with(L"0x") || (text.size() == 4 && text[2] == L'0'))
    {
        return -1;
    }
    int value = 0;
    for (const wchar_t c : text.substr(2))
    {
        if (c >= L'0' && c <= L'9')
        {
            value = value * 16 + (c - L'0');
        }
        else if (c >= L'A' && c <= L'F')
        {
            value = value * 16 + (c - L'A' + 10);
        }
        else
        {
            return -1;
        }
    }
    return value;
}

} // namespace

HotKey::CResult<HotKey::CSysInfo> HotKey::ParseSysInfo(std::wstring_view text)
{
    const std::vector<std::wstring_view> fields = SplitText(text, kFieldSeparator);
    if (fields.size() != kFieldCount)
    {
        return NotUnderstood(L"the system-information text has " + std::to_wstring(fields.size()) +
                             L" fields instead of 11");
    }
    for (std::size_t i = 0; i < 10; ++i)
    {
        if (fields[i].empty())
        {
            return NotUnderstood(L"field " + std::to_wstring(i + 1) + L" of the system-information text is empty");
        }
    }
    const int status = StatusByte(fields[9]);
    if (status < 0)
    {
        return NotUnderstood(L"field 10 of the system-information text is no BIOS password status: \"" +
                             std::wstring{fields[9]} + L"\"");
    }
    if (fields[10] != L"yes" && fields[10] != L"0x0")
    {
        return NotUnderstood(L"field 11 of the system-information text is no USB Type-C support: \"" +
                             std::wstring{fields[10]} + L"\"");
    }

    const auto field = [&fields](std::size_t i) { return std::wstring{fields[i]}; };
    return CSysInfo{field(0),
                    field(1),
                    field(2),
                    field(3),
                    field(4),
                    field(5),
                    field(6),
                    field(7),
                    field(8),
                    field(9),
                    static_cast<std::uint8_t>(status),
                    fields[10] == L"yes"};
}
